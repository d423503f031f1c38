// SPDX-License-Identifier: Apache-2.0
// Logs that cannot be shipped: each is reported, the others go on, and the exit code shows it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "cursor/shipped_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class CursorProblemTest : public ::testing::Test, protected ShippedLog {};

TEST_F(CursorProblemTest, DirectoryWithoutLog_OthersAreShippedAndExitCodeIs2) {
    fs::create_directory(path("empty"));
    const ShippingResult run = jorn("--cursor-file c --device u1 --to a.csv empty u1 u1/door");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(
        run.err,
        "jorn: note: empty: no log here: neither an index nor a data file\n"
        "jorn: note: u1: no log here: neither an index nor a data file; logs in it: u1/door\n3 items\n");
}

TEST_F(CursorProblemTest, DirectoryWithoutLog_IsNoSuccessOfAnotherThatIsDamaged) {
    fs::create_directory(path("empty"));
    append("u1/door/0.csv", "junk\n");
    EXPECT_EQ(jorn("--cursor-file c --device u1 --to a.csv empty u1/door").status, 2);
    EXPECT_EQ(jorn("--cursor-file c --device u1 --to b.csv empty gone u1/door").status, 4);
}

TEST_F(CursorProblemTest, DirectoryWithoutLog_IsAProblemInTheStatus) {
    fs::create_directory(path("empty"));
    const ShippingResult run = jorn("--cursor-file c --status empty");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err,
              "jorn: note: c: does not exist yet: nothing has been sent\n"
              "jorn: note: empty: no log here: neither an index nor a data file\n");
    EXPECT_EQ(run.out,
              "log    shipped   last  behind  gaps  lost  damaged  pending\n"
              "empty        0  never       ?     0     0        0        0\n");
    EXPECT_EQ(status("empty").at("problem"), "empty: no log here: neither an index nor a data file");
}

TEST_F(CursorProblemTest, Every_LogThatIsMadeLater_IsShipped) {
    fs::create_directory(path("later"));
    const ShippingResult run = jorn(
        "--cursor-file c --device u1 --every 1ms --exec 'cat >> got; cp u1/door/* later; "
        "test $(wc -l < got) -lt 6 || kill -TERM $PPID' u1/door later");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "jorn: note: later: no log here: neither an index nor a data file\n6 items\n");
}

/// As soon as its device has written anything, that is sent.
TEST_F(CursorProblemTest, LogWithoutItems_IsNoProblem) {
    fs::remove(path("u1/door/0.csv"));
    const ShippingResult run = ship("--to a.csv");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "0 items\n");
    EXPECT_EQ(status("u1/door").at("behind"), 0);
}

TEST_F(CursorProblemTest, IndexThatIsLost_HoldsTheLogBackWithExitCode4) {
    write("u1/door/1.csv", dataLine(3, "d"));
    write("u1/door/index.csv", "version:1\n0,1\n");
    ASSERT_EQ(ship("--to a.csv").err, "4 items\n");
    fs::remove(path("u1/door/index.csv"));
    append("u1/door/0.csv", dataLine(9, "x"));
    const std::string reason =
        "u1/door: the index is missing or damaged: only the items of 0.csv are in view, as for the store "
        "itself; see jorn check";
    const ShippingResult run = ship("--to b.csv");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: note: " + reason + "\n0 items\n");
    EXPECT_FALSE(fs::exists(path("b.csv")));
    EXPECT_EQ(ship("--dry-run").status, 4);
    const ShippingResult status = ship("--status");
    EXPECT_EQ(status.status, 4);
    EXPECT_EQ(status.err, "jorn: note: " + reason + "\n");
    EXPECT_THAT(status.out, HasSubstr("       ?     0     0        0        0\n"));
    EXPECT_EQ(this->status("u1/door --device u1").at("problem"), reason);
    EXPECT_TRUE(this->status("u1/door --device u1").at("behind").is_null());
}

/// Even before anything was sent: nothing shows which file is the newest.
TEST_F(CursorProblemTest, IndexThatIsLostBeforeTheFirstItem_HoldsTheLogBackWithExitCode4) {
    write("u1/door/1.csv", dataLine(3, "d"));
    fs::remove(path("u1/door/index.csv"));
    EXPECT_EQ(ship("--to a.csv").status, 4);
    EXPECT_FALSE(fs::exists(path("a.csv")));
}

TEST_F(CursorProblemTest, NewestFileThatCannotBeRead_HoldsTheLogBackUntilItCan) {
    ASSERT_EQ(ship("--to a.csv").err, "3 items\n");
    fs::rename(path("u1/door/0.csv"), path("aside"));
    fs::create_directory(path("u1/door/0.csv"));
    const ShippingResult run = ship("--to b.csv");
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("u1/door/0.csv: cannot be read; new items wait until it can\n0 items\n"));
    EXPECT_THAT(status("u1/door --device u1").at("problem"), HasSubstr("u1/door/0.csv: cannot be read"));
    fs::remove(path("u1/door/0.csv"));
    fs::rename(path("aside"), path("u1/door/0.csv"));
    append("u1/door/0.csv", dataLine(3, "d"));
    EXPECT_EQ(ship("--to c.csv").err, "1 item\n");
    EXPECT_THAT(got("c.csv"), HasSubstr(",d,u1,door,E,4\n"));
}

}  // namespace
}  // namespace test
