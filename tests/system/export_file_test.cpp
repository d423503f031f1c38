// SPDX-License-Identifier: Apache-2.0
// The file that `jorn export` writes: whole or not at all, its permissions, and what is shown meanwhile.
#include <gmock/gmock.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>

#include "exported_log.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

TEST_F(ExportTest, Export_ExistingFile_RefusedUnlessForced) {
    writeLog("door", dataLine(kMidnight, 1, 5, "x"));
    write("out/x.csv", "precious");
    fs::permissions(path("out/x.csv"), fs::perms(0640));
    fs::create_symlink("x.csv", path("out/link.csv"));
    for (const char *file : {"out/x.csv", "out/link.csv"}) {
        const Outcome run = exportLog({"--to", file, "door"});
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, "jorn: " + std::string(file) + ": already exists; --force replaces it\n");
        EXPECT_EQ(read("out/x.csv"), "precious");
    }
    EXPECT_EQ(exportLog({"--to", "out/link.csv", "--force", "door"}).status, 0);
    EXPECT_EQ(read("out/x.csv"), "time,level,slot,text\n1700006400,1,5,x\n");
    EXPECT_TRUE(fs::is_symlink(path("out/link.csv")));
    EXPECT_EQ(fs::status(path("out/x.csv")).permissions(), fs::perms(0640));
    EXPECT_EQ(namesIn("out").size(), 2U);
}

TEST_F(ExportTest, Export_NewFile_HasUsualPermissions) {
    writeLog("door", "");
    const mode_t mask = umask(027);
    EXPECT_EQ(exportLog({"--to", "out/x.csv", "door"}).status, 0);
    umask(mask);
    EXPECT_EQ(fs::status(path("out/x.csv")).permissions(), fs::perms(0640));
}

TEST_F(ExportTest, Export_FileThatCannotBe_TellsAndLeavesNothing) {
    writeLog("door", dataLine(kMidnight, 1, 5, "x"));
    const std::string before = stateOf(path("door"));
    EXPECT_EQ(exportLog({"--to", "missing/x.csv", "door"}).err,
              "jorn: missing/x.csv: No such file or directory\n");
    EXPECT_EQ(exportLog({"--to", "missing/x.csv", "door"}).status, 4);
    EXPECT_THAT(exportLog({"--to", "out", "-o", "csv", "--force", "door"}).err,
                HasSubstr("out: not a regular file"));
    for (const char *file : {"door/x.csv", "out/../door/0.csv", "door/0.csv"}) {
        const Outcome run = exportLog({"--to", file, "--force", "door"});
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err, HasSubstr("is inside the log's own directory"));
    }
    fs::create_symlink("../door/0.csv", path("out/link.csv"));
    EXPECT_EQ(exportLog({"--to", "out/link.csv", "--force", "door"}).status, 2);
    EXPECT_EQ(stateOf(path("door")), before);
}

TEST_F(ExportTest, Export_FromWithinTheLogsDirectory_WritesNothingThere) {
    writeLog("door", dataLine(kMidnight, 1, 5, "x"));
    const std::string before = stateOf(path("door"));
    Setting within;
    within.directory = path("door");
    const Outcome run = jorn({"export", "--to", "x.csv", "."}, within);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "jorn: x.csv: is inside the log's own directory; write it elsewhere\n");
    EXPECT_EQ(stateOf(path("door")), before);
}

TEST_F(ExportTest, Export_WritingFails_NoHalfFileAndTheOlderOneStays) {
    std::string lines;
    for (uint32_t number = 0; number < 4000; ++number) {
        lines += dataLine(kMidnight + number, 1, 5, "a text that takes some room in every form of an export");
    }
    writeLog("door", lines);
    for (const char *form : {"jsonl", "csv", "syslog", "sqlite"}) {
        write("out/old", "precious");
        for (const char *file : {"out/new", "out/old"}) {
            const Outcome run =
                jorn({"export", "door", "-o", form, "--force", "--to", file}, {"", "", {}, uint64_t{20000}});
            EXPECT_EQ(run.status, 4) << form;
            EXPECT_EQ(run.out, "");
            EXPECT_THAT(run.err, HasSubstr("jorn: " + std::string(file) + ": ")) << form;
        }
        EXPECT_EQ(read("out/old"), "precious");
        EXPECT_THAT(namesIn("out"), ElementsAre("old"));
    }
}

TEST_F(ExportTest, Export_Interrupted_NoHalfFile) {
    write("door/index.csv", "version:1\n0,0\n");
    write("door/0.csv", dataLine(kMidnight, 1, 5, "x"));
    fs::resize_file(path("door/0.csv"), uint64_t{1} << 30);
    for (const char *form : {"csv", "sqlite"}) {
        const int watch = inotify_init1(IN_CLOEXEC);
        // For an unnamed file inotify reports no creation, but the opening of the directory where it is made.
        ASSERT_GE(inotify_add_watch(watch, path("out").c_str(), IN_CREATE | IN_OPEN), 0);
        RunningTool tool(root_, {"export", "door", "-o", form, "--to", "out/x"});
        std::array<char, 4096> events{};
        ASSERT_GT(::read(watch, events.data(), events.size()), 0);
        close(watch);
        tool.signal(SIGTERM);
        const Outcome run = tool.wait();
        EXPECT_EQ(run.status, 4);
        EXPECT_EQ(run.err, "jorn: out/x: interrupted; nothing was written\n");
        EXPECT_THAT(namesIn("out"), IsEmpty());
    }
}

}  // namespace
}  // namespace test
