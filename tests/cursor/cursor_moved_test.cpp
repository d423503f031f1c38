// SPDX-License-Identifier: Apache-2.0
// Exports with a cursor from logs whose files have gone, have other numbers, or are older ones again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "cursor/shipped_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class CursorMovedTest : public ::testing::Test, protected ShippedLog {
protected:
    static std::string lines(int first, int items) {
        std::string text;
        for (int i = first; i < first + items; ++i) {
            text += dataLine(i, "item");
        }
        return text;
    }
    static std::string file(int number) { return "u1/door/" + std::to_string(number) + ".csv"; }

    /// Files of 40 items, the newest with 20.
    void writeFiles(int latest) const {
        for (int number = 0; number <= latest; ++number) {
            write(file(number), lines(100 * number, number == latest ? 20 : 40));
        }
        writeIndex(0, latest);
    }
    void writeIndex(int oldest, int latest) const {
        write("u1/door/index.csv",
              "version:1\n" + std::to_string(oldest) + "," + std::to_string(latest) + "\n");
    }
    void move(int from, int to) const { fs::rename(path(file(from)), path(file(to))); }
    int repair(const std::string &words) const {
        return runByShell("cd " + path("") + " && " JORN_TRACED_TOOL " repair --yes " + words +
                          " u1/door > repaired 2>&1");
    }
};

TEST_F(CursorMovedTest, FileThatRepairLeavesOut_MakesNothingBeSentAgain) {
    writeFiles(4);
    ASSERT_EQ(ship("--to a.csv").err, "180 items\n");
    write(file(3), "");
    ASSERT_EQ(repair(""), 0) << read("repaired");
    ASSERT_FALSE(fs::exists(path(file(4))));
    append(file(3), lines(500, 2));
    EXPECT_EQ(ship("--to b.csv").err, "2 items\n");
    EXPECT_THAT(got("b.csv"), HasSubstr("\n1700000500,1,0,item,u1,door,E,181\n"));
}

TEST_F(CursorMovedTest, FileThatIsGone_MakesNothingBeSentAgain) {
    writeFiles(4);
    ASSERT_EQ(ship("--to a.csv").err, "180 items\n");
    fs::remove(path(file(3)));
    append(file(4), lines(500, 2));
    EXPECT_THAT(ship("--to b.csv").err, HasSubstr("not tidy"));
    EXPECT_THAT(got("b.csv"), HasSubstr("\n1700000500,1,0,item,u1,door,E,181\n"));
}

/// The store began a ring of its own beside the files that it did not see.
TEST_F(CursorMovedTest, StartWithoutAnIndexThatIsRepaired_MakesNothingBeSentAgain) {
    writeFiles(5);
    ASSERT_EQ(ship("--to a.csv").err, "220 items\n");
    write(file(1), lines(600, 50));
    writeIndex(0, 1);
    ASSERT_EQ(ship("--to b.csv").err, "50 items\n");
    move(1, 9);
    for (int number = 2; number <= 5; ++number) {
        move(number, number - 1);
    }
    move(9, 5);
    writeIndex(0, 5);
    append(file(5), lines(700, 2));
    EXPECT_EQ(ship("--to c.csv").err, "2 items\n");
    EXPECT_THAT(got("c.csv"), HasSubstr("\n1700000700,1,0,item,u1,door,E,271\n"));
}

/// By chance, the file that is left begins with all that was in the one that is gone.
TEST_F(CursorMovedTest, FileOfOneItemThatIsGone_IsNotTakenForAnotherThatBeginsWithIt) {
    writeFiles(2);
    write(file(2), lines(300, 1));
    write(file(3), lines(300, 20));
    writeIndex(0, 3);
    ASSERT_EQ(ship("--to a.csv").err, "101 items\n");
    move(3, 2);
    writeIndex(0, 2);
    append(file(2), lines(500, 2));
    EXPECT_EQ(ship("--to b.csv").err, "2 items\n");
    EXPECT_THAT(got("b.csv"), HasSubstr("\n1700000500,1,0,item,u1,door,E,102\n"));
}

TEST_F(CursorMovedTest, FileThatHasMovedAndLostHalfOfItsItems_IsNotSentAgain) {
    writeFiles(4);
    ASSERT_EQ(ship("--to a.csv").err, "180 items\n");
    move(2, 1);
    write(file(1), lines(200, 10) + lines(230, 10));
    move(3, 2);
    move(4, 3);
    writeIndex(0, 3);
    append(file(3), lines(500, 2));
    EXPECT_EQ(ship("--to b.csv").err, "2 items\n");
    EXPECT_THAT(got("b.csv"), HasSubstr("\n1700000500,1,0,item,u1,door,E,181\n"));
}

TEST_F(CursorMovedTest, ChangeOfFilesThatAPowerCutTookBack_BringsNothingTwice) {
    writeFiles(3);
    ASSERT_EQ(ship("--files 4 --to a.csv").err, "140 items\n");
    const std::string before = read(file(0));
    append(file(3), lines(320, 20));
    write(file(0), lines(400, 3));
    writeIndex(1, 0);
    ASSERT_EQ(ship("--files 4 --to b.csv").err, "23 items\n");
    write(file(0), before);
    writeIndex(0, 3);
    append(file(3), lines(500, 1));
    EXPECT_EQ(ship("--files 4 --to c.csv").err, "1 item\n");
    EXPECT_THAT(got("c.csv"), HasSubstr("\n1700000500,1,0,item,u1,door,E,164\n"));
}

TEST_F(CursorMovedTest, NewestFileThatAPowerCutTook_LosesNothingThatCameSince) {
    writeFiles(3);
    ASSERT_EQ(ship("--to a.csv").err, "140 items\n");
    fs::remove(path(file(3)));
    writeIndex(0, 2);
    append(file(2), lines(500, 1));
    EXPECT_EQ(ship("--to b.csv").err, "1 item\n");
    EXPECT_THAT(got("b.csv"), HasSubstr("\n1700000500,1,0,item,u1,door,E,141\n"));
}

TEST_F(CursorMovedTest, PendingItemsThatWereOverwritten_AreToldBesideTheGap) {
    writeFiles(1);
    ASSERT_EQ(ship("--retries 0 --exec false").status, 4);
    write(file(0), lines(500, 40));
    write(file(1), lines(600, 20));
    EXPECT_EQ(
        ship("--to b.csv").err,
        "jorn: note: u1/door: 40 items are gone of a transfer whose outcome is unknown: it may have arrived\n"
        "jorn: note: u1/door: 20 items are gone of a transfer whose outcome is unknown: it may have arrived\n"
        "jorn: note: u1/door: written faster than it was read: items may be gone\n60 items\n");
}

TEST_F(CursorMovedTest, SmallerRingWithLaterTimes_IsAnotherLog) {
    writeFiles(5);
    writeIndex(2, 1);
    ASSERT_EQ(ship("--to a.csv").err, "220 items\n");
    fs::remove_all(path("u1/door"));
    writeLog("u1/door", lines(1000, 40));
    write(file(1), lines(1100, 40));
    writeIndex(0, 1);
    EXPECT_THAT(ship("--to b.csv").err, HasSubstr("a new epoch begins\n80 items\n"));
    EXPECT_THAT(got("b.csv"), HasSubstr("\n1700001000,1,0,item,u1,door,E,1\n"));
}

TEST_F(CursorMovedTest, PendingItemsOfAFileThatCannotBeReadForAWhile_AreSentOnceItCan) {
    writeFiles(1);
    ASSERT_EQ(ship("--retries 0 --exec false").status, 4);
    move(0, 9);
    fs::rename(path(file(9)), path("aside"));
    fs::create_directory(path(file(0)));
    const ShippingResult run = ship("--to b.csv");
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, HasSubstr("\n20 items\n"));
    fs::remove(path(file(0)));
    fs::rename(path("aside"), path(file(0)));
    EXPECT_EQ(ship("--to c.csv").err, "40 items\n");
    EXPECT_THAT(got("c.csv"), HasSubstr("\n1700000000,1,0,item,u1,door,E,1\n"));
}

/// All of the files are of the second time around.
TEST_F(CursorMovedTest, RingThatCameRoundAndWasCleared_SendsWhatIsLeft) {
    writeFiles(3);
    ASSERT_EQ(ship("--to a.csv").err, "140 items\n");
    for (int number = 1; number < 4; ++number) {
        write(file(number), lines(1000 + 100 * number, 40));
    }
    write(file(0), dataLine(2000, "Log all cleared!", 3));
    writeIndex(0, 0);
    EXPECT_EQ(ship("--to b.csv").err,
              "jorn: note: u1/door: written faster than it was read: at least 1 item is gone\n121 items\n");
    EXPECT_THAT(got("b.csv"), HasSubstr("\n1700001100,1,0,item,u1,door,E,10121\n"));
    EXPECT_THAT(got("b.csv"), HasSubstr("\n1700002000,3,0,Log all cleared!,u1,door,E,10241\n"));
}

}  // namespace
}  // namespace test
