// SPDX-License-Identifier: Apache-2.0
// When a transfer counts as done.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "cursor/shipped_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class CursorTargetTest : public ::testing::Test, protected ShippedLog {};

TEST_F(CursorTargetTest, To_DirectoryCannotBeSynced_ItemsArePendingAndExitCodeIs4) {
    if (!TracedRun::isPossible()) {
        GTEST_SKIP() << TracedRun::obstacle();
    }
    fs::create_directory(path("out"));
    TraceOptions options;
    options.directory = path("");
    TracedRun run(
        jornCommand({"export", "--cursor-file", "c", "--device", "u1", "--to", "out/a.csv", "u1/door"}),
        options);
    const std::string out = fs::canonical(path("out")).string();
    run.onCall([&](const SystemCall &call) {
        return call.isEntry() && call.isSync() && call.path == out ? Action::fail(EIO) : Action::proceed();
    });
    const TraceOutcome outcome = run.wait();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.err,
              "jorn: out/a.csv: is written, but its directory could not be synced, so that a power cut may "
              "remove it: "
              "Input/output error; its items count as not sent\n");
    EXPECT_THAT(jorn("--cursor-file c --status -o json").out, HasSubstr("\"shipped\":0,"));
    EXPECT_THAT(jorn("--cursor-file c --status -o json").out, HasSubstr("\"pending\":3"));
    const std::string sent = read("out/a.csv");
    EXPECT_EQ(ship("--to b.csv").err, "3 items\n");
    EXPECT_EQ(read("b.csv"), sent);
}

}  // namespace
}  // namespace test
