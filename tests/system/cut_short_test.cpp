// SPDX-License-Identifier: Apache-2.0
// Commands that write, ended before any of their system calls: what the names then refer to, and that the
// next command tidies up. Each on a file system that supports unnamed files, and on one that does not.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <set>

#include "damaged_log.h"
#include "trace/traced_run.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSubsetOf;

using Names = std::vector<std::string>;

constexpr int kEndedByKill = 128 + SIGKILL;

bool asksForNamelessFile(const SystemCall &call) {
    return call.isEntry() && call.is("openat") && (call.arguments[2] & O_TMPFILE) == O_TMPFILE;
}

class CutShortTest : public DamagedLogTest {
protected:
    void SetUp() override {
        if (!TracedRun::isPossible()) {
            GTEST_SKIP() << TracedRun::obstacle();
        }
    }

    /// Runs the tool here; `decide` sees every call that has to do with files.
    TraceOutcome traced(const Names &arguments, const TracedRun::Callback &decide,
                        std::vector<SystemCall> *calls = nullptr) const {
        TraceOptions options;
        options.directory = root_;
        TracedRun run(jornCommand(arguments), options);
        run.onCall(decide);
        TraceOutcome outcome = run.wait();
        if (calls != nullptr) {
            *calls = run.calls();
        }
        return outcome;
    }

    /// The calls of a whole run.
    std::vector<SystemCall> callsOf(const Names &arguments) const {
        std::vector<SystemCall> calls;
        const TraceOutcome outcome = traced(
            arguments, [](const SystemCall &) { return Action::proceed(); }, &calls);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return calls;
    }

    Names namesIn(const std::string &directory) const {
        Names names;
        for (const auto &entry : fs::directory_iterator(path(directory))) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    Names temporaryNamesIn(const std::string &directory) const {
        Names names = namesIn(directory);
        names.erase(std::remove_if(names.begin(), names.end(),
                                   [](const std::string &name) { return name.find(".jorn-") != 0; }),
                    names.end());
        return names;
    }
};

/// With support for unnamed files, and without.
class EveryCutTest : public CutShortTest, public ::testing::WithParamInterface<bool> {
protected:
    void SetUp() override {
        CutShortTest::SetUp();
        if (knowsNameless() && !hasNamelessFiles(root_)) {
            GTEST_SKIP() << "the file system knows no files without a name";
        }
    }

    bool knowsNameless() const { return GetParam(); }

    Action answer(const SystemCall &call) const {
        return !knowsNameless() && asksForNamelessFile(call) ? Action::fail(EOPNOTSUPP) : Action::proceed();
    }

    /// Runs the tool once for each call below the test's directory that changes something, and ends it there.
    /// `prepare` runs before each of these runs, `examine` after it.
    void cutEverywhere(const Names &arguments, const std::function<void()> &prepare,
                       const std::function<void()> &examine) const {
        int cut = 0;
        for (bool isWhole = false; !isWhole; ++cut) {
            SCOPED_TRACE("cut before change " + std::to_string(cut));
            ASSERT_LT(cut, 200);
            prepare();
            isWhole = runUntil(cut, arguments);
            examine();
            if (HasFatalFailure()) {
                return;
            }
        }
        EXPECT_GT(cut, 4);
    }

    /// Returns whether it ran to its end.
    bool runUntil(int cut, const Names &arguments) const {
        int changes = 0;
        const TraceOutcome outcome = traced(arguments, [&](const SystemCall &call) {
            const bool isHere = call.path.find(root_) == 0 || call.newPath.find(root_) == 0;
            const bool isChange = call.isEntry() && isHere && call.changesFiles();
            return isChange && changes++ == cut ? Action::kill() : answer(call);
        });
        EXPECT_TRUE(outcome.status == kEndedByKill || outcome.status == 0) << outcome.status << outcome.err;
        return outcome.status != kEndedByKill;
    }
};

TEST_P(EveryCutTest, Clear_CutAnywhere_CheckNamesTheLeftoverAndTheNextClearRemovesIt) {
    std::set<bool> left;
    const auto prepare = [this] {
        fs::remove_all(path("log"));
        makeDirectory("log");
        writeFiles({0});
        writeIndex("0,0");
        age();
    };
    const auto examine = [&] {
        const Names temporary = temporaryNamesIn("log");
        ASSERT_LE(temporary.size(), 2U);
        const std::string found = check().out;
        for (const std::string &name : temporary) {
            EXPECT_THAT(found, HasSubstr("log/" + name +
                                         ":0: note: is left of a command that was cut short; the next one "
                                         "that writes there removes it\n"));
        }
        left.insert(!temporary.empty());
        EXPECT_THAT(read("log/index.csv"), ::testing::AnyOf("version:1\n0,0\n", "version:1\n1,1\n"));
        EXPECT_EQ(jorn({"clear", "--yes", "--files", "3", "log"}).status, 0);
        EXPECT_THAT(namesIn("log"), IsSubsetOf({"0.csv", "1.csv", "2.csv", "index.csv"}));
    };
    cutEverywhere({"clear", "--yes", "--files", "3", "log"}, prepare, examine);
    EXPECT_THAT(left, ElementsAre(false, true));
}

TEST_P(EveryCutTest, Clear_CutAnywhere_TheNextRecorderRemovesWhatIsLeft) {
    const auto prepare = [this] {
        fs::remove_all(path("log"));
        makeDirectory("log");
        writeFiles({0});
        writeIndex("0,0");
    };
    const auto examine = [&] {
        EXPECT_EQ(jorn({"record", "--files", "3", "log"}).status, 0);
        EXPECT_THAT(temporaryNamesIn("log"), IsEmpty());
    };
    cutEverywhere({"clear", "--yes", "--files", "3", "log"}, prepare, examine);
}

/// Two files of the wrapped ring have to move out of each other's way.
TEST_P(EveryCutTest, RecordIntoLargerRing_CutAnywhere_OrderOfTheItemsStays) {
    const auto prepare = [this] {
        fs::remove_all(path("log"));
        makeDirectory("log");
        writeFiles({1, 2, 3, 0}, 2);
        writeIndex("1,0");
    };
    Names newestFirst = itemTexts(1, 8);
    std::reverse(newestFirst.begin(), newestFirst.end());
    const auto shown = [this] { return shownTexts(jorn({"show", "-r", "-p", "2", "log"}).out); };
    std::set<Names> left;
    const auto examine = [&] {
        left.insert(namesIn("log"));
        EXPECT_EQ(shown(), newestFirst);
        const Outcome run = jorn({"record", "--files", "6", "log"});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(shown(), newestFirst);
        EXPECT_EQ(namesIn("log"), (Names{"0.csv", "3.csv", "4.csv", "5.csv", "index.csv"}));
        EXPECT_EQ(read("log/index.csv"), "version:1\n3,0\n");
    };
    cutEverywhere({"record", "--files", "6", "log"}, prepare, examine);
    EXPECT_THAT(left, ::testing::IsSupersetOf({Names{"0.csv", "1.csv", "2.csv", "3.csv", "index.csv"},
                                               Names{"0.csv", "1.csv", "2.csv", "5.csv", "index.csv"},
                                               Names{"0.csv", "1.csv", "4.csv", "5.csv", "index.csv"},
                                               Names{"0.csv", "3.csv", "4.csv", "5.csv", "index.csv"}}));
}

TEST_P(EveryCutTest, ExportOfNewFile_CutAnywhere_FileIsWholeOrMissing) {
    writeFiles({0});
    writeIndex("0,0");
    std::set<bool> left;
    const auto prepare = [this] {
        fs::remove_all(path("out"));
        makeDirectory("out");
    };
    const auto examine = [&] {
        if (exists("out/x.csv")) {
            EXPECT_EQ(linesOf(read("out/x.csv")).size(), 11U);
        }
        left.insert(!temporaryNamesIn("out").empty());
        EXPECT_EQ(jorn({"export", "--to", "out/y.csv", "log"}).status, 0);
        EXPECT_THAT(namesIn("out"), IsSubsetOf({"x.csv", "y.csv"}));
    };
    cutEverywhere({"export", "--to", "out/x.csv", "log"}, prepare, examine);
    if (knowsNameless()) {
        EXPECT_THAT(left, ElementsAre(false));
    } else {
        EXPECT_THAT(left, ElementsAre(false, true));
    }
}

TEST_P(EveryCutTest, ExportOverAFile_CutAnywhere_FileIsTheFormerOrTheNewOne) {
    writeFiles({0});
    writeIndex("0,0");
    for (const char *const form : {"csv", "sqlite"}) {
        const auto prepare = [this] {
            fs::remove_all(path("out"));
            makeDirectory("out");
            write("out/x", "former");
        };
        const auto examine = [&] {
            EXPECT_TRUE(read("out/x") == "former" || read("out/x").size() > 100) << read("out/x");
            EXPECT_LE(temporaryNamesIn("out").size(), 1U);
            EXPECT_EQ(jorn({"export", "--to", "out/y.csv", "log"}).status, 0);
            EXPECT_THAT(namesIn("out"), ElementsAre("x", "y.csv"));
        };
        cutEverywhere({"export", "--force", "-o", form, "--to", "out/x", "log"}, prepare, examine);
    }
}

/// Its directory always has a name.
class EveryCutOfRepairTest : public EveryCutTest {};

TEST_P(EveryCutOfRepairTest, Repair_CutAnywhere_LogIsWholeAndTheNextRepairTidiesUp) {
    std::set<bool> left;
    const auto prepare = [this] {
        for (const std::string &name : namesIn(".")) {
            fs::remove_all(path(name));
        }
        makeDirectory("log");
        write("log/2.csv", items(1, 10));
        write("log/0.csv", items(11, 20) + "torn\n");
        write("log/1.csv", items(21, 25));
        write("log/index.csv", "");
        age();
    };
    const auto examine = [&] {
        const Names temporary = temporaryNamesIn(".");
        const Outcome found = check();
        for (const std::string &name : temporary) {
            EXPECT_THAT(found.out, HasSubstr("log/../" + name + ":0: note: is left of a command"));
        }
        left.insert(!temporary.empty());
        EXPECT_EQ(repair({"--yes", "--backup", "second"}).status, 0);
        EXPECT_TRUE(textsInRange(3) == itemTexts(1, 25));
        EXPECT_EQ(exists("second"), found.status == 3);
        if (found.status == 3) {
            EXPECT_THAT(namesIn("."), IsSubsetOf({"backup.partial", "log", "second"}));
            EXPECT_EQ(read("second/0.csv"), items(11, 20) + "torn\n");
        } else {
            EXPECT_THAT(temporary, IsEmpty());
            const std::string kept = exists("backup") ? "backup" : "backup.partial";
            EXPECT_EQ(read(kept + "/0.csv"), items(11, 20) + "torn\n");
        }
    };
    cutEverywhere({"repair", "--yes", "--backup", "backup", "log"}, prepare, examine);
    EXPECT_THAT(left, ElementsAre(false, true));
}

std::string nameOfFileSystem(const ::testing::TestParamInfo<bool> &knowsNameless) {
    return knowsNameless.param ? "KnowsNamelessFiles" : "NeedsNames";
}

INSTANTIATE_TEST_SUITE_P(FileSystem, EveryCutTest, ::testing::Bool(), nameOfFileSystem);
INSTANTIATE_TEST_SUITE_P(FileSystem, EveryCutOfRepairTest, ::testing::Values(false), nameOfFileSystem);

/// The order in which calls were made, as far as it decides what a power cut leaves.
class CallOrderTest : public CutShortTest {
protected:
    using Calls = std::vector<SystemCall>;

    static Calls::const_iterator find(const Calls &calls, const std::function<bool(const SystemCall &)> &is) {
        return std::find_if(calls.begin(), calls.end(), is);
    }

    /// Where a file gets its name, by a rename or a link.
    Calls::const_iterator naming(const Calls &calls, const std::string &name) const {
        return find(calls,
                    [&](const SystemCall &call) { return call.newPath == path(name) && call.result == 0; });
    }

    ptrdiff_t writesHere(const Calls &calls, Calls::const_iterator end) const {
        return std::count_if(calls.begin(), end, [this](const SystemCall &call) {
            return call.isWrite() && call.path.find(root_) == 0;
        });
    }

    /// Which of the files written before `end` were not synced after that.
    Names unsynced(const Calls &calls, Calls::const_iterator end) const {
        std::set<std::string> pending;
        std::for_each(calls.begin(), end, [&](const SystemCall &call) {
            if (call.isWrite() && call.path.find(root_) == 0) {
                pending.insert(call.path);
            } else if (call.isSync() && call.result == 0) {
                pending.erase(call.path);
            }
        });
        return {pending.begin(), pending.end()};
    }
};

TEST_F(CallOrderTest, Export_ContentIsSyncedBeforeTheFileGetsItsName) {
    writeFiles({0});
    writeIndex("0,0");
    makeDirectory("out");
    for (const char *const form : {"csv", "sqlite"}) {
        // A new file, and one that replaces it.
        for (int time = 1; time <= 2; ++time) {
            SCOPED_TRACE(std::string(form) + " " + std::to_string(time));
            const Calls calls =
                callsOf({"export", "--force", "-o", form, "--to", std::string("out/") + form, "log"});
            const auto named = naming(calls, std::string("out/") + form);
            ASSERT_NE(named, calls.end());
            EXPECT_GT(writesHere(calls, named), 0);
            EXPECT_THAT(unsynced(calls, named), IsEmpty());
            const auto synced = std::find_if(named, calls.end(), [this](const SystemCall &call) {
                return call.isSync() && call.path == path("out");
            });
            EXPECT_NE(synced, calls.end());
        }
    }
}

TEST_F(CallOrderTest, Clear_AllIsSyncedBeforeTheIndexTakesItsPlaceAndTheDataFileFollows) {
    writeFiles({0});
    writeIndex("0,0");
    const Calls calls = callsOf({"clear", "--yes", "log"});
    const auto index = naming(calls, "log/index.csv");
    const auto data = naming(calls, "log/1.csv");
    ASSERT_NE(index, calls.end());
    ASSERT_NE(data, calls.end());
    EXPECT_LT(index, data);
    EXPECT_EQ(writesHere(calls, index), 2);
    EXPECT_THAT(unsynced(calls, index), IsEmpty());
    const auto synced = std::find_if(data, calls.end(), [this](const SystemCall &call) {
        return call.isSync() && call.path == path("log");
    });
    EXPECT_NE(synced, calls.end());
}

TEST_F(CallOrderTest, Repair_EveryCopyIsSyncedBeforeTheDirectoriesChangePlaces) {
    writeFiles({0, 1, 2});
    write("log/1.csv", items(11, 20) + "torn\n" + items(21, 21));
    write("log/note.txt", "a note");
    write("log/index.csv", "");
    age();
    const Calls calls = callsOf({"repair", "--yes", "--backup", "backup", "log"});
    const auto changed = naming(calls, "log");
    ASSERT_NE(changed, calls.end());
    std::set<std::string> written;
    std::for_each(calls.begin(), changed, [&](const SystemCall &call) {
        if (call.isWrite() && call.path.find(root_) == 0) {
            written.insert(fs::path(call.path).filename().string());
        }
    });
    EXPECT_THAT(written, ElementsAre("0.csv", "1.csv", "2.csv", "index.csv", "note.txt"));
    EXPECT_THAT(unsynced(calls, changed), IsEmpty());
    EXPECT_THAT(unsynced(calls, calls.end()), IsEmpty());
}

/// File systems that support less.
class PoorFileSystemTest : public CutShortTest {
protected:
    PoorFileSystemTest() {
        writeFiles({0, 1});
        writeIndex("0,1");
        makeDirectory("out");
    }

    /// Unnamed files and the calls named here are refused.
    TraceOutcome without(const std::map<std::string, int> &refused, const Names &arguments) const {
        return traced(arguments, [&](const SystemCall &call) {
            const auto error = refused.find(call.name);
            if (call.isEntry() && error != refused.end()) {
                return Action::fail(error->second);
            }
            return asksForNamelessFile(call) ? Action::fail(EOPNOTSUPP) : Action::proceed();
        });
    }
};

TEST_F(PoorFileSystemTest, Export_RenamesCannotRefuse_ExistingFileStaysAndNewOneIsWhole) {
    const std::vector<std::map<std::string, int>> kinds = {
        {}, {{"renameat2", EINVAL}}, {{"renameat2", ENOSYS}, {"linkat", EPERM}}};
    for (const auto &kind : kinds) {
        write("out/taken", "former");
        const TraceOutcome whole = without(kind, {"export", "-o", "csv", "--to", "out/x", "log"});
        EXPECT_EQ(whole.status, 0) << whole.err;
        EXPECT_EQ(linesOf(read("out/x")).size(), 21U);
        // The file appears when the export has already begun.
        const TraceOutcome late =
            traced({"export", "-o", "csv", "--to", "out/late", "log"}, [&](const SystemCall &call) {
                const auto error = kind.find(call.name);
                if (call.isEntry() && call.isSync()) {
                    write("out/late", "late");
                }
                if (call.isEntry() && error != kind.end()) {
                    return Action::fail(error->second);
                }
                return asksForNamelessFile(call) ? Action::fail(EOPNOTSUPP) : Action::proceed();
            });
        EXPECT_EQ(late.status, 2);
        EXPECT_EQ(late.err, "jorn: out/late: there is such a file already; --force replaces it\n");
        EXPECT_EQ(read("out/late"), "late");
        const TraceOutcome forced =
            without(kind, {"export", "--force", "-o", "csv", "--to", "out/taken", "log"});
        EXPECT_EQ(forced.status, 0) << forced.err;
        EXPECT_EQ(linesOf(read("out/taken")).size(), 21U);
        EXPECT_THAT(namesIn("out"), ElementsAre("late", "taken", "x"));
        fs::remove_all(path("out"));
        makeDirectory("out");
    }
}

TEST_F(PoorFileSystemTest, Repair_NamesCannotChangePlaces_IsDoneByTwoRenames) {
    write("log/index.csv", "");
    age();
    for (const int error : {EINVAL, ENOSYS}) {
        write("log/index.csv", "");
        const TraceOutcome run =
            without({{"renameat2", error}}, {"repair", "--yes", "--backup", "backup", "log"});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_TRUE(textsInRange(2) == itemTexts(1, 20));
        EXPECT_EQ(read("backup/index.csv"), "");
        EXPECT_THAT(namesIn("."), ElementsAre("backup", "log", "out"));
        fs::remove_all(path("backup"));
    }
}

/// Two commands that write into one directory at the same moment.
class MeetingTest : public CutShortTest {
protected:
    MeetingTest() {
        writeFiles({0, 1, 2});
        writeIndex("0,2");
        makeDirectory("out");
        makeDirectory("other");
        write("other/index.csv", "version:1\n0,0\n");
        write("other/0.csv", items(1, 10));
    }

    static Names exportTo(const std::string &file) { return {"export", "--force", "--to", file, "log"}; }

    TraceOptions here() const {
        TraceOptions options;
        options.directory = root_;
        return options;
    }

    static TracedRun::Callback failing(bool knowsNameless, std::function<bool(const SystemCall &)> isHeld) {
        return [knowsNameless, isHeld = std::move(isHeld)](const SystemCall &call) {
            if (!knowsNameless && asksForNamelessFile(call)) {
                return Action::fail(EOPNOTSUPP);
            }
            return call.isEntry() && isHeld(call) ? Action::hold() : Action::proceed();
        };
    }

    static bool isOfTemporary(const SystemCall &call) {
        return call.path.find("/.jorn-") != std::string::npos;
    }

    /// An export into the same directory, which removes what it takes for a leftover.
    void tidyUp(const std::string &directory) const {
        EXPECT_EQ(jorn({"export", "--to", directory + "/tidied.csv", "other"}).status, 0);
        fs::remove(path(directory + "/tidied.csv"));
    }
};

TEST_F(MeetingTest, Export_OtherOneTidiesUpBeforeItsRename_IsNotDisturbed) {
    for (const bool knowsNameless : {true, false}) {
        write("out/x.csv", "former");
        TracedRun run(jornCommand(exportTo("out/x.csv")), here());
        run.onCall(failing(knowsNameless, [](const SystemCall &call) {
            return call.is("renameat") && isOfTemporary(call);
        }));
        ASSERT_TRUE(run.waitUntilHeld());
        EXPECT_EQ(temporaryNamesIn("out").size(), 1U);
        EXPECT_EQ(check().out.find("left of a command"), std::string::npos);
        tidyUp("out");
        run.letGo();
        const TraceOutcome outcome = run.wait();
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(linesOf(read("out/x.csv")).size(), 31U);
        EXPECT_THAT(namesIn("out"), ElementsAre("x.csv"));
    }
}

TEST_F(MeetingTest, Export_OtherOneTidiesUpBeforeItsLock_BeginsAgainUnderAnotherName) {
    TracedRun run(jornCommand(exportTo("out/x.csv")), here());
    int locks = 0;
    run.onCall(failing(false, [&locks](const SystemCall &call) {
        return call.is("flock") && isOfTemporary(call) && ++locks == 1;
    }));
    ASSERT_TRUE(run.waitUntilHeld());
    tidyUp("out");
    EXPECT_THAT(namesIn("out"), IsEmpty());
    run.letGo();
    const TraceOutcome outcome = run.wait();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(linesOf(read("out/x.csv")).size(), 31U);
    EXPECT_THAT(namesIn("out"), ElementsAre("x.csv"));
}

TEST_F(MeetingTest, Repair_ExportTidiesUpBeforeItsLock_BeginsAgainUnderAnotherName) {
    write("log/index.csv", "");
    age();
    TracedRun run(jornCommand({"repair", "--yes", "--backup", "backup", "log"}), here());
    int locks = 0;
    run.onCall(failing(true, [&locks](const SystemCall &call) {
        return call.is("flock") && isOfTemporary(call) && ++locks == 1;
    }));
    ASSERT_TRUE(run.waitUntilHeld());
    tidyUp(".");
    EXPECT_THAT(temporaryNamesIn("."), IsEmpty());
    run.letGo();
    const TraceOutcome outcome = run.wait();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(namesIn("."), ElementsAre("backup", "log", "other", "out"));
    EXPECT_TRUE(textsInRange(3) == itemTexts(1, 30));
}

/// The export has opened what the repair was building, and gets its lock once that has become the log.
TEST_F(MeetingTest, Export_TidiesUpWhileARepairIsDone_RepairedLogStays) {
    write("log/index.csv", "");
    age();
    TracedRun repairing(jornCommand({"repair", "--yes", "--backup", "backup", "log"}), here());
    int owned = 0;
    repairing.onCall(
        failing(true, [&owned](const SystemCall &call) { return call.is("fchown") && ++owned == 1; }));
    ASSERT_TRUE(repairing.waitUntilHeld());
    ASSERT_EQ(temporaryNamesIn(".").size(), 1U);
    TracedRun exporting(jornCommand({"export", "--to", "x.csv", "other"}), here());
    exporting.onCall(
        failing(true, [](const SystemCall &call) { return call.is("flock") && isOfTemporary(call); }));
    ASSERT_TRUE(exporting.waitUntilHeld());
    repairing.letGo();
    EXPECT_EQ(repairing.wait().status, 0);
    exporting.letGo();
    EXPECT_EQ(exporting.wait().status, 0);
    EXPECT_TRUE(textsInRange(3) == itemTexts(1, 30));
    EXPECT_THAT(namesIn("log"), ElementsAre("0.csv", "1.csv", "2.csv", "index.csv"));
}

/// What a name refers to is exchanged between two accesses of a repair.
class SwappedTest : public CutShortTest {
protected:
    SwappedTest() {
        write("secret", "for other eyes");
        writeFiles({0, 1});
        write("log/note.txt", "a note");
        write("log/index.csv", "");
        age();
    }

    /// Runs a repair and puts a link to the secret in place of a file when that is opened for the `nth` time.
    /// The link is never followed.
    TraceOutcome repairSwapping(const std::string &name, int nth) const {
        int opened = 0;
        TraceOutcome outcome =
            traced({"repair", "--yes", "--backup", "backup", "log"}, [&](const SystemCall &call) {
                const bool isIt = call.isOpen() && call.path == path("log/" + name);
                if (isIt && call.isEntry() && ++opened == nth) {
                    fs::remove(path("log/" + name));
                    fs::create_symlink(path("secret"), path("log/" + name));
                }
                if (isIt && call.isExit() && opened >= nth) {
                    EXPECT_EQ(call.result, -ELOOP) << call.text();
                }
                return Action::proceed();
            });
        EXPECT_GE(opened, nth);
        return outcome;
    }

    void expectSecretIsKept() const {
        for (const auto &entry : fs::recursive_directory_iterator(root_)) {
            if (fs::is_regular_file(fs::symlink_status(entry.path())) && entry.path() != path("secret")) {
                EXPECT_EQ(read(fs::relative(entry.path(), root_).string()).find("for other eyes"),
                          std::string::npos)
                    << entry.path();
            }
        }
    }
};

TEST_F(SwappedTest, Repair_OtherFileBecomesALinkBeforeItIsOpened_LinkIsCopied) {
    EXPECT_EQ(repairSwapping("note.txt", 1).status, 0);
    expectSecretIsKept();
    EXPECT_TRUE(fs::is_symlink(path("log/note.txt")));
}

TEST_F(SwappedTest, Repair_DataFileBecomesALinkBeforeItIsCopied_FailsAndNothingIsChanged) {
    const TraceOutcome run = repairSwapping("0.csv", 2);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log/0.csv: is no file; move it elsewhere first\n");
    expectSecretIsKept();
    EXPECT_THAT(namesIn("."), ElementsAre("log", "secret"));
}

TEST_F(SwappedTest, Repair_DataFileBecomesALinkBeforeItIsRead_NothingOfItsTargetIsTold) {
    const TraceOutcome run = repairSwapping("0.csv", 1);
    EXPECT_NE(run.status, 0);
    expectSecretIsKept();
    EXPECT_THAT(namesIn("."), ElementsAre("log", "secret"));
}

}  // namespace
}  // namespace test
