// SPDX-License-Identifier: Apache-2.0
// The calls of commands that write: their order, as far as it decides what a power cut leaves, and what takes
// their place on file systems that support less.
#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <set>

#include "cut_short.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

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
    NameList unsynced(const Calls &calls, Calls::const_iterator end) const {
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
    TraceOutcome without(const std::map<std::string, int> &refused, const NameList &arguments) const {
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
        EXPECT_EQ(late.err, "jorn: out/late: already exists; --force replaces it\n");
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

}  // namespace
}  // namespace test
