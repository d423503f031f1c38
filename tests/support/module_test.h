// SPDX-License-Identifier: Apache-2.0
// Fixture and helpers of the module's tests: a directory of its own, the hand-driven clock, the probe, and
// short ways to write what a test does and sees.
#ifndef JORN_TESTS_SUPPORT_MODULE_TEST_H
#define JORN_TESTS_SUPPORT_MODULE_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "csvfile/file_analysis.h"
#include "jorn.h"
#include "registry/log_object.h"
#include "support/probe.h"

namespace test {

/// A directory below /tmp, removed with all it holds. Its path is short enough for a log object, with
/// room for one more short level.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::string &path() const { return path_; }
    const char *name() const { return path_.c_str(); }

    void write(const std::string &fileName, const std::string &bytes) const;
    /// All bytes of a file; fails the test when it cannot be read.
    std::string read(const std::string &fileName) const;
    bool has(const std::string &fileName) const;
    void remove(const std::string &fileName) const;
    /// Names of all entries, sorted.
    std::vector<std::string> names() const;
    /// Makes an entry that cannot be opened as a file for writing, not even by root: a directory of that
    /// name. (fopen opens it for reading; use the probe to make that fail.)
    void block(const std::string &fileName) const;

private:
    std::string path_;
};

/// A log object made by hand, for tests of internal functions: not in the registry unless linked.
class HandMadeObject {
public:
    HandMadeObject(const std::string &dirName, int32_t csvNum, int32_t slotMax = 8, int32_t handle = 1);

    JORN_OBJ *get() { return &obj_; }
    JORN_OBJ *operator->() { return &obj_; }
    JORN_CSV_INFO &info(int32_t position) { return infos_[static_cast<size_t>(position)]; }
    void setRange(int32_t oldest, int32_t latest);

private:
    JORN_OBJ obj_;
    std::vector<JORN_CSV_INFO> infos_;
};

/// A requirement without limits; set what a test needs.
JORN_REQUIRE anything();
/// As anything(), but with levels 0 to 3, and a page.
JORN_REQUIRE everything(int32_t page = 1, int32_t itemsPerPage = 20);

/// A data file line.
std::string line(uint32_t time, int32_t level, int32_t slot, const std::string &text);
/// `count` lines with times from `firstTime` on, a second apart, level and slot fixed, texts
/// "<prefix><number>" with numbers from `firstNumber`.
std::string lines(int count, uint32_t firstTime, const std::string &prefix, int firstNumber = 0,
                  int32_t level = 1, int32_t slot = 2);

/// Time at the start of a day, in seconds.
constexpr uint32_t dayStart(uint32_t day) { return day * 86400U; }

/// The texts of a page, without their line feeds.
std::vector<std::string> texts(const JORN_LOG_PAGE &page);

/// Fails the test unless `action` prints the message (text between prefix and line end) exactly once at
/// print level `level`, and not at all at the level below. Sets the print level back to 1.
void expectMessageAt(int32_t level, const std::string &message, const std::function<void()> &action);

/// The probe of the running test, and what it has seen.
probe::Probe &platform();
std::vector<std::string> messages();

/// Fails the test unless the module has given back all memory, streams, directories and ids.
void expectNothingHeld();

/// Stops the clock, resets the probe and checks that the module is empty before each test; destroys what
/// a test left afterwards, and checks that all it took is given back.
class ModuleTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Creates an object on the test's directory and lets its first item be written and its file be
    /// closed, so that a test starts with everything at rest.
    int32_t createAtRest(int32_t csvNum, int32_t slotMax = 8);

    /// Stores `count` items in batches that fit the queue, texts "<prefix><number>". The items stay in an
    /// open file until settle() or a pass without items.
    static void store(int32_t handle, int count, const std::string &prefix, int firstNumber = 0,
                      int32_t level = 1, int32_t slot = 2);

    /// One pass of the store task: 100 ticks, until it waits again.
    static void pass();

    /// Passes until the queue is empty and the open file is closed.
    static void settle();

    /// Puts a message of any form on the store task's queue.
    static void sendRaw(const std::string &bytes);

    TempDir dir_;
};

}  // namespace test

#endif
