// SPDX-License-Identifier: Apache-2.0
// Cursors against random histories of a log: nothing that was in view at a pull is lost, and no item has two
// keys or a key two items. JORN_CURSOR_HISTORIES, JORN_CURSOR_PULLS and JORN_CURSOR_SEED choose others.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "cursor/cursor_history.h"

namespace test {
namespace {

uint32_t setting(const char *name, uint32_t otherwise) {
    const char *const text = getenv(name);
    return text != nullptr ? static_cast<uint32_t>(strtoul(text, nullptr, 10)) : otherwise;
}

/// In memory where that can be had: tens of thousands of small files are written.
class MemoryDirectory {
public:
    MemoryDirectory() : path_(std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp") {
        path_ += "/jorn-cursor-XXXXXX";
        EXPECT_NE(mkdtemp(path_.data()), nullptr);
    }
    ~MemoryDirectory() { std::filesystem::remove_all(path_); }
    MemoryDirectory(const MemoryDirectory &) = delete;
    MemoryDirectory &operator=(const MemoryDirectory &) = delete;
    std::string path(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

TEST(CursorModelTest, Pulls_OfRandomHistories_LoseAndDoubleNothing) {
    const MemoryDirectory scratch;
    const uint32_t histories = setting("JORN_CURSOR_HISTORIES", 40);
    const uint32_t pulls = setting("JORN_CURSOR_PULLS", 30);
    const uint32_t first = setting("JORN_CURSOR_SEED", 1);
    HistoryCounts counts;
    for (uint32_t seed = first; seed < first + histories; ++seed) {
        const std::string wrong = runHistory(seed, static_cast<int>(pulls), scratch.path("log"), &counts);
        ASSERT_EQ(wrong, "") << "JORN_CURSOR_SEED=" << seed << " JORN_CURSOR_HISTORIES=1";
    }
    std::cout << "seeds " << first << " to " << first + histories - 1 << ": " << counts.items << " items, "
              << counts.arrived << " arrived, " << counts.pulls << " pulls, " << counts.failures
              << " transfers failed, " << counts.ambiguous << " times the same bytes in the same places, "
              << counts.forgotten << " logs forgotten, " << counts.doubtful << " times items in doubt, "
              << counts.twins << " twins, " << counts.waiting << " pulls waited\n";
    EXPECT_EQ(counts.pulls, uint64_t{histories} * pulls);
    EXPECT_GT(counts.failures, counts.pulls / 4);
    EXPECT_LT(counts.ambiguous + counts.forgotten + counts.doubtful, counts.pulls / 25);
    EXPECT_LT(counts.twins, counts.items / 1000);
    EXPECT_LT(counts.waiting, counts.pulls / 10);
}

}  // namespace
}  // namespace test
