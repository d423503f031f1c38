// SPDX-License-Identifier: Apache-2.0
// Every command over every kind of directory: its exit code, its time and memory, and that it changes
// nothing.
#include "directory_matrix.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <numeric>

#include "jorn.h"

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr char kGarbage[] = "\x1b[2J\x9b\xff\xfe\x07,\x1b]0;x\x07,\r,,\n\x7f\x80\n,,\n";

using Test = DirectoryMatrixTest;
using Maker = std::function<void(const Test &)>;

/// Logs of three files, with one thing that is not as the store leaves it.
Maker logWith(const std::string &name, const std::string &bytes) {
    return [=](const Test &test) {
        test.writeLog();
        test.write("log/" + name, bytes);
    };
}

Maker logWithIndex(const std::string &positions) {
    return [=](const Test &test) {
        test.writeLog();
        test.writeIndex(positions);
    };
}

Maker logWithout(const std::string &name) {
    return [=](const Test &test) { test.writeLogWithout(name); };
}

Maker logWithPipe(const std::string &name) {
    return [=](const Test &test) {
        test.writeLogWithout(name);
        test.makePipe("log/" + name);
    };
}

Maker logWithDirectory(const std::string &name) {
    return [=](const Test &test) {
        test.writeLogWithout(name);
        test.makeDirectory("log/" + name);
    };
}

Maker logWithLink(const std::string &name, const std::string &target) {
    return [=](const Test &test) {
        test.writeLogWithout(name);
        test.makeLink(target, "log/" + name);
    };
}

/// Sets the permissions of the log's directory, or of a file in it.
Maker logWithRights(const std::string &name, mode_t mode) {
    return [=](const Test &test) {
        test.writeLog();
        test.permit(name, mode);
    };
}

const std::vector<Kind> kinds = {
    {"EmptyDirectory", {2, 0, 0}, "", [](const Test &) {}},
    {"Missing", {4, 4, 4}, ": No such", [](const Test &test) { fs::remove(test.path("log")); }},
    {"File",
     {4, 4, 4},
     ": Not a dir",
     [](const Test &test) {
         fs::remove(test.path("log"));
         test.write("log", "1700000000,1,2,x\n");
     }},
    {"DanglingLink",
     {4, 4, 4},
     ": No such",
     [](const Test &test) {
         fs::remove(test.path("log"));
         test.makeLink("nowhere", "log");
     }},
    {"Pipe",
     {4, 4, 4},
     ": Not a dir",
     [](const Test &test) {
         fs::remove(test.path("log"));
         test.makePipe("log");
     }},
    {"LinkToDirectory",
     {0, 0, 0},
     "",
     [](const Test &test) {
         test.writeLog();
         fs::rename(test.path("log"), test.path("real"));
         test.makeLink("real", "log");
     }},
    {"Sound", {0, 0, 0}, "", [](const Test &test) { test.writeLog(); }},
    {"NinetyFullFiles",
     {0, 0, 0},
     "",
     [](const Test &test) {
         std::vector<int> positions(JORN_CSV_NUM_MAX);
         std::iota(positions.begin(), positions.end(), 0);
         std::rotate(positions.begin(), positions.begin() + 31, positions.end());
         test.writeFiles(positions, JORN_IS_SLOW ? 100 : kFull);
         test.writeIndex("31,30");
     }},
    // Permissions.
    {"NoRights", {4, 4, 4}, "", logWithRights("log", 0), true},
    {"NoRightsForRoot",
     {0, 0, 0},
     "",
     [](const Test &test) {
         if (geteuid() != 0) {
             GTEST_SKIP() << "not root";
         }
         test.writeLog();
         test.permit("log", 0);
     }},
    {"NamesNotReadable", {0, 4, 4}, "", logWithRights("log", 0300), true},
    {"NothingInItReachable", {4, 4, 4}, "", logWithRights("log", 0600), true},
    {"OneFileNotReadable", {3, 4, 4}, "", logWithRights("log/1.csv", 0), true},
    {"IndexNotReadable", {4, 4, 4}, "index.csv: Perm", logWithRights("log/index.csv", 0), true},
    {"OfAnotherOwner",
     {0, 0, 0},
     "",
     [](const Test &test) {
         if (geteuid() != 0) {
             GTEST_SKIP() << "not root";
         }
         test.writeLog();
         for (const auto &entry : fs::directory_iterator(test.path("log"))) {
             ASSERT_EQ(chown(entry.path().c_str(), 65534, 65534), 0);
         }
     },
     true},
    // The index.
    {"NoIndex", {3, 3, 3}, "", logWithout("index.csv")},
    {"EmptyIndex", {3, 3, 3}, "", logWith("index.csv", "")},
    {"HalfIndex", {0, 3, 3}, "", logWith("index.csv", "version:1\n0,")},
    {"IndexOfGarbage", {3, 3, 3}, "", logWith("index.csv", kGarbage)},
    {"BackupOnly",
     {0, 3, 3},
     "",
     [](const Test &test) {
         test.writeLog();
         fs::rename(test.path("log/index.csv"), test.path("log/index.bak"));
     }},
    {"EmptyIndexBesideBackup",
     {3, 3, 3},
     "",
     [](const Test &test) {
         test.writeLog();
         test.write("log/index.csv", "");
         test.write("log/index.bak", "version:1\n0,1\n");
     }},
    {"IndexOutOfRange", {3, 3, 3}, "", logWithIndex("0,90")},
    {"IndexBeyondFiles", {0, 3, 3}, "", logWithIndex("0,80")},
    {"IndexNegative", {0, 3, 3}, "", logWithIndex("-1,-7")},
    {"IndexAlone", {0, 0, 0}, "", [](const Test &test) { test.writeIndex("0,0"); }},
    {"IndexDirectory", {3, 3, 3}, "", logWithDirectory("index.csv")},
    {"IndexPipe", {3, 3, 3}, "", logWithPipe("index.csv")},
    {"IndexLinkInACircle", {3, 3, 3}, "", logWithLink("index.csv", "index.csv")},
    // The files of the ring.
    {"Gap", {0, 3, 3}, "", logWithout("1.csv")},
    {"FilesOutOfView", {0, 3, 3}, "", logWithIndex("0,1")},
    {"WrappedWithGaps",
     {0, 3, 3},
     "",
     [](const Test &test) {
         test.writeFiles({4, 6, 0, 2});
         test.writeIndex("4,2");
     }},
    {"EmptyFiles",
     {0, 3, 3},
     "",
     [](const Test &test) {
         test.writeLog();
         test.write("log/1.csv", "");
         test.write("log/2.csv", "");
     }},
    {"DirectoryForAFile", {3, 3, 3}, "1.csv", logWithDirectory("1.csv")},
    {"PipeForTheOldest", {3, 3, 3}, "0.csv", logWithPipe("0.csv")},
    {"PipeForTheNewest", {3, 3, 3}, "2.csv", logWithPipe("2.csv")},
    {"SocketForAFile",
     {3, 3, 3},
     "1.csv",
     [](const Test &test) {
         test.writeLogWithout("1.csv");
         test.makeSocket("log/1.csv");
     }},
    {"LinkToAFile",
     {0, 3, 3},
     "1.csv",
     [](const Test &test) {
         test.writeLogWithout("1.csv");
         test.write("elsewhere", Test::items(11, 20));
         test.makeLink("../elsewhere", "log/1.csv");
     }},
    {"LinkToAnEndlessDevice", {3, 3, 3}, "1.csv", logWithLink("1.csv", "/dev/zero")},
    {"DanglingLinkForAFile", {0, 3, 3}, "1.csv", logWithLink("1.csv", "nowhere")},
    // Their lines.
    {"TornEnd", {0, 3, 3}, "", logWith("2.csv", Test::items(21, 22) + "1700000000,1")},
    {"TornLine", {3, 3, 3}, "1.csv", logWith("1.csv", "170\n" + Test::items(11, 12))},
    {"Zeros", {3, 3, 3}, "1.csv", logWith("1.csv", std::string(5000, '\0') + Test::items(11, 12))},
    {"LongLine", {3, 3, 3}, "1.csv", logWith("1.csv", "1700000010,1,2," + std::string(100000, 'l') + "\n")},
    {"Garbage", {3, 3, 3}, "1.csv", logWith("1.csv", kGarbage)},
    {"HostileItems",
     {0, 0, 0},
     "",
     logWith("1.csv", dataLine(kFirstTime + 10, 1, 2, "\x1b[2J\x07 \x9b \xff"))},
    {"SparseFile",
     {3, 3, 3},
     "1.csv",
     [](const Test &test) {
         test.writeLog();
         fs::resize_file(test.path("log/1.csv"), static_cast<uintmax_t>(kSparseSize));
     }},
    // Names of levels and slots.
    {"NamesPipe", {0, 0, 0}, "jorn.names", logWithPipe("jorn.names")},
    {"NamesOfGarbage",
     {0, 0, 0},
     "jorn.names",
     logWith("jorn.names", std::string("[levels]\n0 = ") + kGarbage)},
    {"NamesSparse",
     {0, 0, 0},
     "jorn.names",
     [](const Test &test) {
         test.writeLog();
         test.write("log/jorn.names", "[levels]\n");
         fs::resize_file(test.path("log/jorn.names"), static_cast<uintmax_t>(kSparseSize));
     }},
};

TEST_P(DirectoryMatrixTest, EveryCommand_Directory_TellsAndLeavesIt) {
    const Kind &kind = kinds[static_cast<size_t>(GetParam())];
    kind.make(*this);
    if (IsSkipped() || HasFatalFailure()) {
        return;
    }
    makeOld();
    const std::string bytes = contents();
    const std::string before = namesAndTimes();
    for (const Command &command : commands()) {
        expectOutcome(kind, command, before);
    }
    EXPECT_TRUE(contents() == bytes);
}

INSTANTIATE_TEST_SUITE_P(Kinds, DirectoryMatrixTest, ::testing::Range(0, static_cast<int>(kinds.size())),
                         [](const auto &kind) { return kinds[static_cast<size_t>(kind.param)].name; });

TEST_F(DirectoryMatrixTest, MeasuredRun_TestIsLarge_ToolAloneIsMeasured) {
    constexpr size_t kBallast = size_t{256} << 20;
    const std::vector<char> ballast(kBallast, 'x');
    Setting setting;
    setting.isMeasured = true;
    const Outcome run = jorn({"--version"}, setting);
    EXPECT_EQ(run.status, 0);
    EXPECT_GT(run.peakKibibytes, 1024);
    EXPECT_LT(run.peakKibibytes, static_cast<long>(kBallast / 1024));
    EXPECT_EQ(jorn({"--no-such-option"}, setting).status, 2);
    EXPECT_EQ(ballast.back(), 'x');
}

TEST_F(DirectoryMatrixTest, EveryCommand_DirectoryBeingRecorded_TellsAndLeavesIt) {
    RunningTool recorder(root_, {"record", "--files", "3", "log"});
    CloseWatch written(path("log"));
    recorder.feed("one\ntwo\n");
    written.waitUntil([&] { return exists("log/0.csv") && linesOf(read("log/0.csv")).size() >= 3; });
    recorder.halt();
    const Kind kind = {"a directory being recorded", {0, 0, 4}, ": another jorn is recording", nullptr};
    const std::string before = namesAndTimes();
    for (const Command &command : commands()) {
        expectOutcome(kind, command, before);
    }
    recorder.resume();
    recorder.endInput();
    EXPECT_EQ(recorder.wait().status, 0);
}

TEST_F(DirectoryMatrixTest, EveryCommand_HostileNameOfDirectory_MessageIsHarmless) {
    for (const Command &command : commands()) {
        std::vector<std::string> arguments = command.arguments;
        arguments.emplace_back("\x1b[2J\x07\xff");
        EXPECT_EQ(jorn(arguments).err,
                  command.isWaiting ? "jorn: note: \\x1b[2J\\x07\\xff: does not exist yet; waiting for it\n"
                                    : "jorn: \\x1b[2J\\x07\\xff: No such file or directory\n");
    }
    expectNoControls(jorn({"show", "log", "-g", "(\x1b[2J"}).err);
    expectNoControls(jorn({"show", "log", "--\x1b[2J"}).err);
    expectNoControls(jorn({"\x1b[2J"}).err);
}

}  // namespace
}  // namespace test
