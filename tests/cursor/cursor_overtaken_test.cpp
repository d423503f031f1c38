// SPDX-License-Identifier: Apache-2.0
// A writer that comes round each time while the tool reads: what is left is not passed over in silence.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "cursor/shipped_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

constexpr char kOvertaken[] = "u1/door: the log is written faster than it can be read\n";

class CursorOvertakenTest : public ::testing::Test, protected ShippedLog {
protected:
    /// A file of this size is not read as a whole when its begin and end are looked at.
    static constexpr int kItems = 600;

    void SetUp() override {
        if (!TracedRun::isPossible()) {
            GTEST_SKIP() << TracedRun::obstacle();
        }
        write("u1/door/0.csv", lines(0));
    }

    static std::string lines(int first) {
        std::string text;
        for (int i = 0; i < kItems; ++i) {
            text += dataLine(first + i, "item");
        }
        return text;
    }

    /// A writer starts the file afresh after each of the first `times` readings of its items.
    TraceOutcome shipOvertaken(const std::vector<std::string> &words, int times,
                               const std::string &file = "u1/door/0.csv") const {
        constexpr uint64_t kLooked = 4096;
        TraceOptions options;
        options.directory = path("");
        options.calls = {SYS_pread64};
        std::vector<std::string> all = {"export", "--cursor-file", "c", "--device", "u1"};
        all.insert(all.end(), words.begin(), words.end());
        TracedRun run(jornCommand(std::move(all)), options);
        const fs::path name = fs::canonical(path(file));
        int readings = 0;
        run.onCall([&](const SystemCall &call) {
            const std::string link = "/proc/" + std::to_string(call.process) + "/fd/" +
                                     std::to_string(static_cast<int>(call.arguments[0]));
            std::error_code ignored;
            if (call.isExit() && call.result > 0 && call.arguments[2] > kLooked && readings < times &&
                fs::read_symlink(link, ignored) == name) {
                write(file, lines(10000 * ++readings));
            }
            return Action::proceed();
        });
        return run.wait();
    }
};

TEST_F(CursorOvertakenTest, To_LogIsNeverStill_SaysSoWithExitCode4) {
    const TraceOutcome run = shipOvertaken({"--to", "a.csv", "u1/door"}, 1000);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, std::string("jorn: note: ") + kOvertaken + "0 items\n");
    EXPECT_FALSE(fs::exists(path("a.csv")));
}

TEST_F(CursorOvertakenTest, Exec_LogIsNeverStill_SaysSoWithExitCode4AndOthersAreShipped) {
    writeLog("u1/gate", dataLine(0, "gate"));
    const TraceOutcome run = shipOvertaken({"--exec", "cat > got", "u1/door", "u1/gate"}, 1000);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, std::string("jorn: note: ") + kOvertaken + "1 item\n");
    EXPECT_THAT(got("got"), HasSubstr("\"text\":\"gate\""));
}

TEST_F(CursorOvertakenTest, Status_LogIsNeverStill_DoesNotClaimToKnowWhatIsToCome) {
    const TraceOutcome run = shipOvertaken({"--status", "u1/door"}, 1000);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, std::string("jorn: note: c: does not exist yet: nothing has been sent\njorn: note: ") +
                           kOvertaken);
    EXPECT_EQ(run.out,
              "log      shipped   last  behind  gaps  lost  damaged  pending\n"
              "u1/door        0  never       ?     0     0        0        0\n");
}

TEST_F(CursorOvertakenTest, LogThatComesToRest_IsReadAgain) {
    EXPECT_THAT(shipOvertaken({"--status", "u1/door"}, 3).out, HasSubstr("  never     600  "));
    const TraceOutcome run = shipOvertaken({"--to", "a.csv", "u1/door"}, 3);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "600 items\n");
    EXPECT_THAT(got("a.csv"), HasSubstr("1700030000,1,0,item,u1,door,E,1\n"));
}

/// The one batch of a file cannot be continued once it has items of the log.
TEST_F(CursorOvertakenTest, To_WriterComesRoundAfterTheFirstFile_SendsThatAndExitCodeIs4) {
    write("u1/door/1.csv", lines(1000));
    write("u1/door/index.csv", "version:1\n0,1\n");
    const TraceOutcome run = shipOvertaken({"--to", "a.csv", "u1/door"}, 1000, "u1/door/1.csv");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, std::string("jorn: note: ") + kOvertaken + "600 items\n");
    EXPECT_EQ(ship("--to b.csv").err, "600 items\n");
    EXPECT_THAT(got("b.csv"), HasSubstr(",item,u1,door,E,601\n"));
}

}  // namespace
}  // namespace test
