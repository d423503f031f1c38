// SPDX-License-Identifier: Apache-2.0
// What a cursor file says is on the medium before items leave, and again when they have arrived.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kills/scratch_directory.h"
#include "trace/traced_run.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

/// Syncs and names of the process itself in their order, and where its command opens what it writes.
std::vector<std::string> eventsOf(const TracedRun &run, const std::string &folder,
                                  const std::string &cursors) {
    std::vector<std::string> events;
    for (const SystemCall &call : run.calls()) {
        const bool isOwn = call.process == run.process();
        if (!isOwn && call.isOpen() && call.path == folder + "/got") {
            events.emplace_back("command");
        } else if (isOwn && call.isSync()) {
            events.emplace_back(call.path == folder ? "sync of the directory" : "sync");
        } else if (isOwn && (call.isRename() || call.is("linkat")) && call.newPath == cursors) {
            events.emplace_back("name");
        }
    }
    return events;
}

TEST(CursorSyncTest, Exec_OneBatch_CursorsAreWrittenAndSyncedBeforeAndAfterIt) {
    if (!TracedRun::isPossible()) {
        GTEST_SKIP() << TracedRun::obstacle();
    }
    const ScratchDirectory scratch;
    fs::create_directory(scratch.path("log"));
    std::ofstream(scratch.path("log/index.csv")) << "version:1\n0,0\n";
    std::ofstream(scratch.path("log/0.csv")) << "1700000000,1,0,item\n";
    TraceOptions options;
    options.directory = scratch.path("");
    TracedRun run(jornCommand({"export", "--cursor-file", "cursors", "-q", "--exec", "cat > got", "log"}),
                  options);
    ASSERT_EQ(run.wait().status, 0);
    const std::string folder = fs::canonical(scratch.path("")).string();
    // A file of no cursors is made first, to be locked.
    EXPECT_THAT(eventsOf(run, folder, folder + "/cursors"),
                ElementsAre("sync", "name", "sync of the directory", "sync", "name", "sync of the directory",
                            "command", "sync", "name", "sync of the directory"));
}

}  // namespace
}  // namespace test
