// SPDX-License-Identifier: Apache-2.0
// Every command over every kind of directory: its exit code, its time and memory, and that it changes
// nothing.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <numeric>
#include <sstream>

#include "damaged_log.h"
#include "jorn.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;

/// Where an instruction costs ten or more, a file has to be shorter to be read in the same time.
constexpr int64_t kSparseSize = JORN_IS_SLOW ? int64_t{16} << 20 : int64_t{1} << 30;

class DirectoryMatrixTest;

/// Exit codes by kind of command: those that read items, `check`, and `repair` without --yes.
struct Verdicts {
    int reading;
    int checking;
    int repairing;
};

/// A directory, or what is in its place.
struct Kind {
    const char *name;
    Verdicts verdicts;
    const char *named;  ///< What messages with an exit code above 2 contain besides DIR; may be empty.
    std::function<void(const DirectoryMatrixTest &)> make;
    bool obeysPermissions = false;  ///< Even when root runs the tests.
};

struct Command {
    const char *name;
    std::vector<std::string> arguments;  ///< Before DIR.
    int Verdicts::*verdict;
    bool isOutputEscaped;    ///< Otherwise the items' bytes pass unchanged.
    bool isWaiting = false;  ///< Waits for a missing DIR: here without end.
};

const std::vector<Command> &commands() {
    static const std::vector<Command> all = [] {
        std::vector<Command> list = {
            {"show a page", {"show", "--page", "1", "--escape"}, &Verdicts::reading, true},
            {"show all", {"show"}, &Verdicts::reading, false},
            {"count a slot's", {"count", "-s", "2", "-S", "@1", "-o", "json"}, &Verdicts::reading, true},
            {"stats", {"stats", "--disk-usage"}, &Verdicts::reading, true},
            {"export", {"export"}, &Verdicts::reading, false},
            {"follow to a time", {"follow", "--escape", "-U", "@1700000009"}, &Verdicts::reading, true, true},
            {"check", {"check"}, &Verdicts::checking, true},
            {"repair", {"repair"}, &Verdicts::repairing, true},
        };
        const std::vector<Command> variants = {
            {"show a page of some",
             {"show", "--page", "1", "--escape", "-s", "2", "-s", "5"},
             &Verdicts::reading,
             true},
            {"show the newest", {"show", "-n", "25", "--escape"}, &Verdicts::reading, true},
            {"show all as JSON", {"show", "-r", "-o", "json", "--escape"}, &Verdicts::reading, true},
            {"count", {"count"}, &Verdicts::reading, true},
            {"stats as JSON", {"stats", "-o", "json"}, &Verdicts::reading, true},
            {"export as CSV", {"export", "-o", "csv"}, &Verdicts::reading, false},
            {"export as syslog", {"export", "-o", "syslog"}, &Verdicts::reading, false},
            {"check as JSON", {"check", "-o", "json"}, &Verdicts::checking, true},
        };
        if (!JORN_IS_SLOW) {
            list.insert(list.end(), variants.begin(), variants.end());
        }
        return list;
    }();
    return all;
}

/// Time and memory that no command needs, whatever it is given; sanitizers take a multiple of both.
constexpr rlim_t kMostSeconds = 100;
constexpr long kMostKibibytes = JORN_IS_SLOW ? 1024 * 1024 : 48 * 1024;

class DirectoryMatrixTest : public DamagedLogTest, public ::testing::WithParamInterface<int> {
public:
    using DamagedLogTest::age;
    using DamagedLogTest::fileName;
    using DamagedLogTest::items;
    using DamagedLogTest::makeDirectory;
    using DamagedLogTest::path;
    using DamagedLogTest::write;
    using DamagedLogTest::writeFiles;
    using DamagedLogTest::writeIndex;

    /// Three files of ten items.
    void writeLog() const {
        writeFiles({0, 1, 2});
        writeIndex("0,2");
    }

    /// A log with one entry removed, to be made anew.
    void writeLogWithout(const std::string &name) const {
        writeLog();
        fs::remove(path("log/" + name));
    }

    void makePipe(const std::string &name) const { ASSERT_EQ(mkfifo(path(name).c_str(), 0600), 0); }

    void makeLink(const std::string &target, const std::string &name) const {
        fs::create_symlink(target, path(name));
    }

    void makeSocket(const std::string &name) const {
        const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ASSERT_GE(socket, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path(name).copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        close(socket);
    }

    void permit(const std::string &name, mode_t mode) const { ASSERT_EQ(chmod(path(name).c_str(), mode), 0); }

protected:
    ~DirectoryMatrixTest() override {
        std::error_code ignored;
        fs::permissions(path("log"), fs::perms::owner_all, ignored);
    }

    /// Sets times long past, for what is reported about the newest file.
    void makeOld() const {
        const timespec longAgo[2] = {{kFirstTime, 0}, {kFirstTime + 1, 0}};
        for (const std::string &name : names()) {
            utimensat(AT_FDCWD, name.c_str(), longAgo, AT_SYMLINK_NOFOLLOW);
        }
    }

    void expectOutcome(const Kind &kind, const Command &command, const std::string &before) const {
        SCOPED_TRACE(std::string(command.name) + " on " + kind.name);
        std::vector<std::string> arguments = command.arguments;
        arguments.emplace_back("log");
        Setting setting;
        setting.variables = {{"TZ", "UTC"}, {"LC_ALL", "C"}};
        setting.obeysPermissions = kind.obeysPermissions;
        setting.processorSeconds = kMostSeconds;
        setting.isMeasured = true;
        const Outcome run = jorn(arguments, setting);
        const bool isToWait = !fs::exists(path("log")) || kind.verdicts.reading == 2;
        const bool hasWaited = command.isWaiting && isToWait;
        EXPECT_EQ(run.status, hasWaited ? 0 : kind.verdicts.*command.verdict) << run.out << run.err;
        EXPECT_GT(run.peakKibibytes, 0);
        EXPECT_LT(run.peakKibibytes, kMostKibibytes);
        if (run.status > 2) {
            EXPECT_THAT(run.out + run.err, HasSubstr("log"));
            // `repair` refers to `check` for what is in its way.
            EXPECT_THAT(run.out + run.err,
                        HasSubstr(command.verdict == &Verdicts::repairing ? "log" : kind.named));
        }
        expectNoControls(run.err);
        expectNoControls(command.isOutputEscaped ? run.out : "");
        EXPECT_TRUE(namesAndTimes() == before) << before << namesAndTimes();
    }

    static void expectNoControls(const std::string &text) {
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            ASSERT_TRUE(c == '\n' || c == '\t' || (byte >= ' ' && byte != 0x7f && byte < 0x80)) << text;
        }
    }

    /// Names and times of DIR and all that is in it.
    std::string namesAndTimes() const {
        std::ostringstream state;
        for (const std::string &name : names()) {
            struct stat status = {};
            if (lstat(name.c_str(), &status) == 0) {
                state << name << ' ' << status.st_ino << ' ' << status.st_mode << ' ' << status.st_size;
                for (const timespec &time : {status.st_mtim, status.st_ctim}) {
                    state << ' ' << time.tv_sec << '.' << time.tv_nsec;
                }
                state << '\n';
            }
        }
        return state.str();
    }

    /// The bytes of all files that are not of extreme size, in the order of their names.
    std::string contents() const {
        std::string all;
        for (const std::string &name : names()) {
            struct stat status = {};
            if (lstat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size < 1 << 20) {
                std::array<char, 1 << 20> bytes;
                const int file = open(name.c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC);
                const ssize_t length = ::read(file, bytes.data(), bytes.size());
                all.append(bytes.data(), static_cast<size_t>(std::max<ssize_t>(length, 0)));
                close(file);
            }
        }
        return all;
    }

private:
    std::vector<std::string> names() const {
        std::vector<std::string> all = {path("log")};
        std::error_code unreadable;
        for (const auto &entry : fs::directory_iterator(path("log"), unreadable)) {
            all.push_back(entry.path().string());
        }
        std::sort(all.begin(), all.end());
        return all;
    }
};

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
    const Kind kind = {"a directory being recorded", {0, 0, 4}, ": a jorn is recording", nullptr};
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
