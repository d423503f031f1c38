// SPDX-License-Identifier: Apache-2.0
// What `jorn export` says of its transfers: in the status, and in messages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "cursor/shipped_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class CursorStatusTest : public ::testing::Test, protected ShippedLog {};

TEST_F(CursorStatusTest, PendingItems_OfAFormerEpochCountToo) {
    for (int i = 3; i < 12; ++i) {
        append("u1/door/0.csv", dataLine(i, "item"));
    }
    ASSERT_EQ(ship("--retries 0 --exec false").status, 4);
    writeLog("u1/door", dataLine(-100, "other"));
    ASSERT_THAT(ship("--to a.csv").err, HasSubstr("a new epoch begins\n1 item\n"));
    EXPECT_EQ(status().at("pending"), 12);
    EXPECT_THAT(jorn("--cursor-file c --status").out, HasSubstr("  12\n"));
}

TEST_F(CursorStatusTest, Json_HasProblemAndNotes) {
    ASSERT_EQ(ship("--to a.csv").status, 0);
    EXPECT_TRUE(status().at("problem").is_null());
    EXPECT_EQ(status().at("notes"), nlohmann::json::array());
    append("u1/door/0.csv", "junk\n" + dataLine(3, "d"));
    EXPECT_EQ(status("u1/door --device u1").at("notes"),
              nlohmann::json({"u1/door/0.csv: 1 line that is not an item, at offset 51; left out"}));
    fs::remove_all(path("u1/door"));
    const std::string place = fs::canonical(path("u1")).string() + "/door";
    EXPECT_EQ(status().at("problem"), place + ": No such file or directory");
    EXPECT_TRUE(status().at("behind").is_null());
}

TEST_F(CursorStatusTest, CursorFileThatDoesNotExist_IsNoted) {
    const std::string note = "jorn: note: c: does not exist yet: nothing has been sent\n";
    const ShippingResult run = jorn("--cursor-file c --status");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, note);
    EXPECT_EQ(run.out, "log  shipped  last  behind  gaps  lost  damaged  pending\n");
    const ShippingResult json = ship("--status -o json");
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.err, note);
    EXPECT_THAT(json.out, HasSubstr("\"behind\":3,"));
    EXPECT_EQ(ship("--dry-run").err, "");
    ASSERT_EQ(ship("--to a.csv").status, 0);
    EXPECT_EQ(jorn("--cursor-file c --status").err, "");
}

TEST_F(CursorStatusTest, Directory_IsKeptAbsolute) {
    ASSERT_EQ(ship("--to a.csv").status, 0);
    EXPECT_EQ(status().at("directory"), fs::canonical(path("u1")).string() + "/door");
    append("u1/door/0.csv", dataLine(3, "d"));
    fs::create_directory(path("elsewhere"));
    jorn("--help > /dev/null; cd elsewhere; " JORN_TRACED_TOOL " export --cursor-file ../c --status -o json");
    EXPECT_THAT(read("elsewhere/stdout"), HasSubstr("\"behind\":1,"));
}

TEST_F(CursorStatusTest, CursorFileThatIsADanglingLink_IsNamedAsOne) {
    fs::create_symlink("nowhere", path("c"));
    const ShippingResult run = ship("--to a.csv");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: c: is a symbolic link to a file that does not exist\n");
}

TEST_F(CursorStatusTest, CursorFileThatIsALink_StaysOneAndItsTargetHasTheCursors) {
    fs::create_directory(path("state"));
    ASSERT_EQ(ship("--to a.csv").status, 0);
    fs::rename(path("c"), path("state/c"));
    fs::create_symlink("state/c", path("c"));
    append("u1/door/0.csv", dataLine(3, "d"));
    EXPECT_EQ(ship("--to b.csv").err, "1 item\n");
    EXPECT_TRUE(fs::is_symlink(path("c")));
    EXPECT_THAT(read("state/c"), HasSubstr("\"shipped\":4"));
}

TEST_F(CursorStatusTest, DirectoriesThatAreBothMissing_AreNotTheSame) {
    const ShippingResult run = jorn("--cursor-file gone/c --to a.csv u1/gone");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: gone/c: No such file or directory\n");
}

/// A command that adds an item to the log each time, and counts its runs in `n`.
constexpr char kCounts[] = "echo >> n; n=$(wc -l < n); ";

TEST_F(CursorStatusTest, Every_FailureThatStaysTheSame_IsPrintedOnceUntilItChanges) {
    const ShippingResult run = ship("--every 1ms --retries 0 --exec '" + std::string(kCounts) +
                                    "test $n -lt 6 || kill -TERM $PPID; exit $((n / 3 + 1))'");
    EXPECT_EQ(run.status, 4);
    const std::string message = "jorn: note: echo >> n";
    size_t count = 0;
    for (size_t at = run.err.find(message); at != std::string::npos; at = run.err.find(message, at + 1)) {
        ++count;
    }
    EXPECT_EQ(count, 3U) << run.err;
    EXPECT_THAT(run.err, HasSubstr("exited with code 1\n"));
    EXPECT_THAT(run.err, HasSubstr("exited with code 2\n"));
    EXPECT_THAT(run.err, HasSubstr("exited with code 3\n0 items\n"));
}

TEST_F(CursorStatusTest, Every_RetriesOfAFailureThatIsKnown_AreNotPrintedAgain) {
    const ShippingResult run = ship("--every 1ms --retries 1 --exec '" + std::string(kCounts) +
                                    "test $n -lt 4 || kill -TERM $PPID; exit 1'");
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 3) << run.err;
}

TEST_F(CursorStatusTest, Every_LogThatGoesComesBackAndGoesAgain_IsNotedTwice) {
    writeLog("u1/gate", dataLine(0, "gate"));
    const ShippingResult run =
        jorn("--cursor-file c --device u1 --every 1ms --exec '" + std::string(kCounts) +
             "echo 1700000010,1,0,more >> u1/door/0.csv; test $n -lt 5 || kill -TERM $PPID; "
             "test $n = 2 && mv u1/aside u1/gate || test $n -ge 4 || mv u1/gate u1/aside' u1/door u1/gate");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(
        run.err,
        "jorn: note: u1/gate: No such file or directory\njorn: note: u1/gate: No such file or directory\n"
        "8 items\n");
}

class CursorSignalTest : public CursorStatusTest {
protected:
    /// The third batch brings the signal. Of each batch, `runs` has a line.
    ShippingResult shipUntilSignal(const std::string &words) const {
        for (int i = 3; i < 50; ++i) {
            append("u1/door/0.csv", dataLine(i, "item"));
        }
        return ship(
            "--batch 5 --exec 'cat >> got; echo >> runs; "
            "test $(wc -l < runs) -ne 3 || kill -TERM $PPID' " +
            words);
    }
};

TEST_F(CursorSignalTest, SignalDuringABatch_StartsNoOther) {
    const ShippingResult run = shipUntilSignal("");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: interrupted; 15 items have been sent\n");
    EXPECT_EQ(read("runs"), "\n\n\n");
    EXPECT_EQ(ship("--exec 'cat >> got'").err, "35 items\n");
    const std::string all = got("got");
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 50);
    EXPECT_THAT(all, HasSubstr("\"seq\":15}\n{"));
}

TEST_F(CursorSignalTest, Every_SignalDuringABatch_StartsNoOther) {
    const ShippingResult run = shipUntilSignal("--every 1h");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "15 items\n");
    EXPECT_EQ(read("runs"), "\n\n\n");
}

TEST_F(CursorSignalTest, Every_SignalDuringABatch_OtherLogsAreLeft) {
    writeLog("u1/gate", dataLine(0, "gate"));
    const ShippingResult run = jorn(
        "--cursor-file c --device u1 --every 1h --batch 3 --exec 'cat > got; kill -TERM $PPID' u1/door "
        "u1/gate");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "3 items\n");
}

}  // namespace
}  // namespace test
