// SPDX-License-Identifier: Apache-2.0
// A view of a ring that was opened, and a writer that moves on before the view is queried.
#include "log/ring_view.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "common_values.h"
#include "query/item_query.h"
#include "query/ring_stats.h"
#include "tool_run.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kTime = kMidnight;

class RingViewTest : public LogTest {
protected:
    RingViewTest() : directory_((makeRing(), tool::StoreDirectory::openForReading(path("log")))) {}

    static std::string lines(const std::string &prefix, int count, int level) {
        std::string all;
        for (int number = 1; number <= count; ++number) {
            all += dataLine(kTime, level, 0, prefix + std::to_string(number));
        }
        return all;
    }

    void makeRing() const {
        write("log/0.csv", lines("a", 3, 0));
        write("log/1.csv", lines("b", 2, 1));
        write("log/2.csv", lines("c", 2, 2));
        writeIndex("0,2");
    }

    tool::RingView open() const { return {directory_, std::nullopt}; }

    /// As the store does it, but without the items that the store then writes.
    void rewriteIndex(const std::string &positions) const {
        fs::rename(path("log/index.csv"), path("log/index.bak"));
        writeIndex(positions);
        fs::remove(path("log/index.bak"));
    }

    void moveOn() const {
        write("log/0.csv", "");
        rewriteIndex("1,0");
        write("log/0.csv", lines("d", 9, 3));
    }

    std::vector<std::string> lossOf(const std::string &name) const {
        return {path("log/" + name) +
                ": started over by a writer while it was being read; items may be missing here"};
    }

    const tool::StoreDirectory directory_;
    tool::DamageLog damage_;
};

std::vector<uint64_t> levelsOf(const tool::Tally &tally) {
    return {tally.levels.begin(), tally.levels.end()};
}

std::vector<std::string> textsOf(const std::vector<tool::Item> &items) {
    std::vector<std::string> texts;
    for (const tool::Item &item : items) {
        texts.push_back(item.text);
    }
    return texts;
}

TEST_F(RingViewTest, CountItems_RingHasMovedOn_CountsNothingOfTheNewFile) {
    const tool::RingView view = open();
    moveOn();
    EXPECT_THAT(levelsOf(tool::countItems(view, {}, &damage_).tally), ElementsAre(0, 2, 2, 0));
    EXPECT_EQ(damage_.losses(), lossOf("0.csv"));
    EXPECT_TRUE(damage_.isEmpty());
}

TEST_F(RingViewTest, CountItems_RingHasMovedOnAndAPatternIsAsked_CountsNothingOfTheNewFile) {
    const tool::RingView view = open();
    moveOn();
    tool::ItemFilter filter;
    filter.pattern = std::make_shared<const RE2>("[a-d]");
    EXPECT_THAT(levelsOf(tool::countItems(view, filter, &damage_).tally), ElementsAre(0, 2, 2, 0));
    EXPECT_EQ(damage_.losses(), lossOf("0.csv"));
}

TEST_F(RingViewTest, Stats_RingHasMovedOn_TellNothingOfTheNewFile) {
    const tool::RingView view = open();
    moveOn();
    const tool::RingStats stats = tool::statsOf(view, {}, &damage_);
    EXPECT_EQ(stats.span.items, 4U);
    EXPECT_EQ(stats.table.totalOfLevel(3), 0U);
    EXPECT_EQ(damage_.losses(), lossOf("0.csv"));
}

TEST_F(RingViewTest, Page_RingHasMovedOn_HoldsNothingOfTheNewFile) {
    const tool::RingView view = open();
    moveOn();
    const tool::PageAnswer page = tool::pageOf(view, {}, {}, &damage_);
    EXPECT_THAT(textsOf(page.items), ElementsAre("c2", "c1", "b2", "b1"));
    EXPECT_EQ(page.total, 4U);
    EXPECT_EQ(damage_.losses(), lossOf("0.csv"));
}

TEST_F(RingViewTest, NewestItems_RingHasMovedOn_NothingOfTheNewFile) {
    const tool::RingView view = open();
    moveOn();
    EXPECT_THAT(textsOf(tool::newestItems(view, {}, 99, &damage_)), ElementsAre("c2", "c1", "b2", "b1"));
    EXPECT_EQ(damage_.losses(), lossOf("0.csv"));
}

TEST_F(RingViewTest, AnyQuestion_NewestFileHasGrown_AnsweredAsOfTheOpening) {
    const tool::RingView view = open();
    std::ofstream(path("log/2.csv"), std::ios::app) << lines("c", 5, 2);
    EXPECT_TRUE(view.isCurrent());
    tool::ItemFilter filter;
    filter.pattern = std::make_shared<const RE2>("");
    EXPECT_THAT(levelsOf(tool::countItems(view, filter, &damage_).tally), ElementsAre(3, 2, 2, 0));
    EXPECT_THAT(damage_.losses(), IsEmpty());
}

TEST_F(RingViewTest, CountItems_RingHasMovedOnIntoANewFile_AnsweredAsOfTheOpening) {
    const tool::RingView view = open();
    write("log/3.csv", "");
    rewriteIndex("0,3");
    write("log/3.csv", lines("d", 9, 3));
    EXPECT_FALSE(view.isCurrent());
    EXPECT_THAT(levelsOf(tool::countItems(view, {}, &damage_).tally), ElementsAre(3, 2, 2, 0));
    EXPECT_THAT(damage_.losses(), IsEmpty());
}

/// As when `yes` is recorded: only the times distinguish one round from the next.
TEST_F(RingViewTest, CountItems_FileStartedAfreshBeginsWithTheSameBytes_IsALossAllTheSame) {
    const std::string begin = lines("x", 1000, 0);
    write("log/0.csv", begin + dataLine(kTime + 1, 0, 0, "y"));
    const tool::RingView view = open();
    write("log/0.csv", begin + dataLine(kTime + 2, 0, 0, "y"));
    EXPECT_THAT(levelsOf(tool::countItems(view, {}, &damage_).tally), ElementsAre(0, 2, 2, 0));
    EXPECT_EQ(damage_.losses(), lossOf("0.csv"));
}

TEST_F(RingViewTest, IsCurrent_EachStepOfAMove_IsNoMore) {
    EXPECT_TRUE(open().isCurrent());
    const tool::RingView emptied = open();
    write("log/0.csv", "");
    EXPECT_FALSE(emptied.isCurrent());
    const tool::RingView renamed = open();
    fs::rename(path("log/index.csv"), path("log/index.bak"));
    EXPECT_FALSE(renamed.isCurrent());
    const tool::RingView ofBackup = open();
    EXPECT_TRUE(ofBackup.isCurrent());
    writeIndex("0,2");
    EXPECT_FALSE(ofBackup.isCurrent());
    const tool::RingView rewritten = open();
    fs::remove(path("log/index.bak"));
    EXPECT_TRUE(rewritten.isCurrent());
    const tool::RingView joined = open();
    write("log/3.csv", "");
    EXPECT_FALSE(joined.isCurrent());
    const tool::RingView tidied = open();
    fs::rename(path("log/3.csv"), path("log/4.csv"));
    EXPECT_FALSE(tidied.isCurrent());
}

/// The file system's clock stands still for milliseconds, and inode numbers of removed files are reused.
TEST_F(RingViewTest, IsCurrent_IndexRewrittenManyTimesWithinATick_IsNoMore) {
    struct stat status = {};
    ASSERT_EQ(stat(path("log/index.csv").c_str(), &status), 0);
    const timespec times[2] = {status.st_atim, status.st_mtim};
    const tool::RingView view = open();
    for (int round = 0; round < 4; ++round) {
        rewriteIndex("0,2");
        ASSERT_EQ(utimensat(AT_FDCWD, path("log/index.csv").c_str(), times, 0), 0);
        EXPECT_FALSE(view.isCurrent()) << round;
    }
}

TEST_F(RingViewTest, OpenOnce_RingAtRest_IsOpened) {
    const auto view = tool::RingView::openOnce(directory_, std::nullopt);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->files().size(), 3U);
}

}  // namespace
}  // namespace test
