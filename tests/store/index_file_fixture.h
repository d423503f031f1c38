// SPDX-License-Identifier: Apache-2.0
// Shared by the tests of the index file: an object made by hand, and the index and its backup as bytes.
#ifndef JORN_TESTS_STORE_INDEX_FILE_FIXTURE_H
#define JORN_TESTS_STORE_INDEX_FILE_FIXTURE_H

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

#include "store/index_file.h"
#include "store/store_fixture.h"

namespace test {

/// Bytes of the index and of its backup; none where there is no such file.
struct IndexFiles {
    std::optional<std::string> index;
    std::optional<std::string> backup;
};

inline bool operator==(const IndexFiles &left, const IndexFiles &right) {
    return left.index == right.index && left.backup == right.backup;
}

inline std::ostream &operator<<(std::ostream &out, const IndexFiles &files) {
    return out << "index.csv " << ::testing::PrintToString(files.index) << ", index.bak "
               << ::testing::PrintToString(files.backup);
}

inline constexpr auto kNone = std::nullopt;

/// What memory holds before a read: numbers that are in no file of these tests.
inline constexpr int32_t kVersionBefore = 77;
inline constexpr int32_t kOldestBefore = 55;
inline constexpr int32_t kLatestBefore = 66;

class IndexFileTest : public ModuleTest {
protected:
    IndexFileTest() : obj_(dir_.path(), 10) {
        obj_->index_version = kVersionBefore;
        obj_.setRange(kOldestBefore, kLatestBefore);
    }

    static void layOut(const TempDir &dir, const IndexFiles &files) {
        if (files.index) {
            dir.write("index.csv", *files.index);
        }
        if (files.backup) {
            dir.write("index.bak", *files.backup);
        }
    }

    static IndexFiles filesIn(const TempDir &dir) {
        return {bytesOf(dir, "index.csv"), bytesOf(dir, "index.bak")};
    }

    static std::optional<std::string> bytesOf(const TempDir &dir, const std::string &name) {
        return dir.has(name) ? std::optional<std::string>(dir.read(name)) : kNone;
    }

    void layOut(const IndexFiles &files) const { layOut(dir_, files); }
    IndexFiles files() const { return filesIn(dir_); }

    /// A message about this object's directory.
    std::string about(const std::string &text) const { return dir_.path() + ": " + text; }

    void expectFields(int32_t version, int32_t oldest, int32_t latest) {
        EXPECT_EQ(obj_->index_version, version);
        EXPECT_EQ(obj_->csv_oldest, oldest);
        EXPECT_EQ(obj_->csv_latest, latest);
    }

    HandMadeObject obj_;
};

inline constexpr int32_t kMost = 2147483647;
inline constexpr int32_t kLeast = -2147483647 - 1;

}  // namespace test

#endif
