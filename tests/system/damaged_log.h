// SPDX-License-Identifier: Apache-2.0
// Logs as power cuts, flash and outside changes leave them, and the store itself to prove what it sees in
// them.
#ifndef JORN_TESTS_SYSTEM_DAMAGED_LOG_H
#define JORN_TESTS_SYSTEM_DAMAGED_LOG_H

#include <cstdint>
#include <string>
#include <vector>

#include "common_values.h"
#include "tool_run.h"

namespace test {

/// Time of item 1; items are a second apart.
constexpr uint32_t kFirstTime = 1700000000;

class DamagedLogTest : public LogTest {
protected:
    static std::string fileName(int position) { return "log/" + std::to_string(position) + ".csv"; }

    /// Lines of the items with these numbers.
    static std::string items(int first, int last);

    /// Files with `count` items each, numbered consecutively across the files, the oldest first.
    void writeFiles(const std::vector<int> &positions, int count = 10, int firstNumber = 1) const;

    /// Full files, numbered on from file to file, the oldest first, and the newest with a few items.
    void writeRing(const std::vector<int> &positions) const;

    /// The number of items of such a ring.
    static int itemsOfRing(int files) { return (files - 1) * kFull + kNewest; }

    /// Items of its newest file.
    static constexpr int kNewest = 10;

    /// A full ring whose index rewrite was cut when the store moved on to the file after `latest`.
    void makeCutRing(int ringSize, int latest) const;

    /// Makes every file look as if nothing had been written for a long time.
    void age(const std::string &name = "log") const;

    /// Starts the store on the log, lets it write what it writes at a start, and ends it.
    void startStore(int ringSize) const;

    /// Starts the store, checks that it changes nothing, and returns how many items it sees.
    int itemsSeenByStore(int ringSize) const;

    /// Texts of the items in the index's range, oldest first.
    std::vector<std::string> textsInRange(int ringSize) const;

    Outcome check(std::vector<std::string> options = {}) const;
    Outcome repair(std::vector<std::string> options = {}) const;
};

/// The texts of items().
std::vector<std::string> itemTexts(int first, int last);

}  // namespace test

#endif
