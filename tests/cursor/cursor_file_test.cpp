// SPDX-License-Identifier: Apache-2.0
// One process at a time has a cursor file, whatever happens to the file and to its directory meanwhile.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "cursor/shipped_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;

class CursorFileTest : public ::testing::Test, protected ShippedLog {};

TEST_F(CursorFileTest, DirectoryThatCannotBeSynced_LeavesTheNewFileLocked) {
    if (!TracedRun::isPossible()) {
        GTEST_SKIP() << TracedRun::obstacle();
    }
    TraceOptions options;
    options.directory = path("");
    options.calls.push_back(SYS_poll);
    TracedRun run(jornCommand({"export", "--cursor-file", "c", "--device", "u1", "-q", "--every", "1h",
                               "--exec", "cat >> got", "u1/door"}),
                  options);
    const std::string folder = fs::canonical(path("")).string();
    int syncs = 0;
    run.onCall([&](const SystemCall &call) {
        if (call.process != run.process() || !call.isEntry()) {
            return Action::proceed();
        }
        // The first sync is that of the file that is made to be locked.
        if (call.isSync() && call.path == folder && ++syncs == 2) {
            return Action::fail(EIO);
        }
        if (call.number == SYS_poll && syncs == 2) {
            ++syncs;
            ship("--exec 'cat >> got'");
            kill(call.process, SIGTERM);
        }
        return Action::proceed();
    });
    const TraceOutcome outcome = run.wait();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.err, "jorn: note: c: Input/output error\n");
    EXPECT_EQ(read("stderr"), "jorn: c: another jorn is using this cursor file\n");
    EXPECT_FALSE(fs::exists(path("got")));
}

TEST_F(CursorFileTest, FileThatIsReplacedDuringABatch_IsLeftAloneAndNothingMoreIsSent) {
    const ShippingResult run = ship("--batch 1 --exec 'cat >> got; mv c aside; cp aside c'");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: c: has been moved, removed or replaced; nothing more is sent\n");
    EXPECT_EQ(read("c"), read("aside"));
    const std::string sent = read("got");
    EXPECT_EQ(std::count(sent.begin(), sent.end(), '\n'), 1);
}

TEST_F(CursorFileTest, FileThatIsRemovedDuringABatch_IsNotMadeAgain) {
    const ShippingResult run = ship("--every 1ms --exec 'cat >> got; rm c'");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: c: has been moved, removed or replaced; nothing more is sent\n");
    EXPECT_FALSE(fs::exists(path("c")));
}

}  // namespace
}  // namespace test
