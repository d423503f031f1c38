// SPDX-License-Identifier: Apache-2.0
// Logs that cannot be shipped: each is reported, the others go on, and the exit code shows it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "cursor/shipped_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;

class CursorProblemTest : public ::testing::Test, protected ShippedLog {
protected:
    /// Of the only log.
    nlohmann::json status(const std::string &words = "") const {
        return nlohmann::json::parse(jorn("--cursor-file c --status -o json " + words).out);
    }
};

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
    EXPECT_EQ(run.err, "jorn: note: empty: no log here: neither an index nor a data file\n");
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

}  // namespace
}  // namespace test
