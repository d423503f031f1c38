// SPDX-License-Identifier: Apache-2.0
// A medium that fails within a file: what could not be read is said, and sent once it can be.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "cursor/shipped_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class CursorFailingTest : public ::testing::Test, protected ShippedLog {
protected:
    static constexpr int kItems = 5000;
    static constexpr uint64_t kReadable = 512 * 1024;

    void SetUp() override {
        if (!TracedRun::isPossible()) {
            GTEST_SKIP() << TracedRun::obstacle();
        }
        write("u1/door/0.csv", lines(0, kItems));
        write("u1/door/1.csv", lines(kItems, 3));
        write("u1/door/index.csv", "version:1\n0,1\n");
        ASSERT_GT(fs::file_size(path("u1/door/0.csv")), kReadable);
    }

    static std::string lines(int first, int items) {
        std::string text;
        for (int i = 0; i < items; ++i) {
            text += dataLine(first + i, std::string(120, 'x'));
        }
        return text;
    }

    /// Nothing of 0.csv can be read from `limit` on.
    TraceOutcome shipFailing(const std::vector<std::string> &words, uint64_t limit) const {
        TraceOptions options;
        options.directory = path("");
        options.calls = {SYS_pread64};
        std::vector<std::string> all = {"export", "--cursor-file", "c", "--device", "u1"};
        all.insert(all.end(), words.begin(), words.end());
        all.emplace_back("u1/door");
        TracedRun run(jornCommand(std::move(all)), options);
        const fs::path name = fs::canonical(path("u1/door/0.csv"));
        run.onCall([&](const SystemCall &call) {
            const std::string link = "/proc/" + std::to_string(call.process) + "/fd/" +
                                     std::to_string(static_cast<int>(call.arguments[0]));
            std::error_code ignored;
            const bool isBeyond = call.arguments[3] + call.arguments[2] > limit;
            if (!call.isExit() && isBeyond && fs::read_symlink(link, ignored) == name) {
                return Action::fail(EIO);
            }
            return Action::proceed();
        });
        return run.wait();
    }

    int itemsIn(const std::string &name) const {
        const std::string bytes = read(name);
        return static_cast<int>(std::count(bytes.begin(), bytes.end(), '\n')) - 1;
    }
};

TEST_F(CursorFailingTest, To_RestOfAFileFailsInTheFirstPull_IsSentLater) {
    const TraceOutcome run = shipFailing({"--to", "a.csv"}, kReadable);
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, HasSubstr("0.csv"));
    const int sent = itemsIn("a.csv");
    EXPECT_GT(sent, 3);
    EXPECT_LT(sent, kItems);
    EXPECT_EQ(ship("--to b.csv").err, std::to_string(kItems + 3 - sent) + " items\n");
}

TEST_F(CursorFailingTest, To_PendingItemsFail_WaitWithExitCode3) {
    ASSERT_EQ(ship("--retries 0 --exec false").status, 4);
    const TraceOutcome run = shipFailing({"--to", "a.csv"}, kReadable);
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, StartsWith("jorn: note: "));
    EXPECT_THAT(run.err, HasSubstr("u1/door/0.csv: cannot be read; its items wait until it can\n3 items\n"));
    EXPECT_EQ(ship("--to b.csv").err, "5000 items\n");
}

}  // namespace
}  // namespace test
