// SPDX-License-Identifier: Apache-2.0
// Commands that write, ended before any of their system calls: what the names then refer to, and that the
// next command tidies up. Each on a file system that supports unnamed files, and on one that does not.
#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <set>

#include "cut_short.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSubsetOf;

constexpr int kEndedByKill = 128 + SIGKILL;

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
    void cutEverywhere(const NameList &arguments, const std::function<void()> &prepare,
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
    bool runUntil(int cut, const NameList &arguments) const {
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
        const NameList temporary = temporaryNamesIn("log");
        ASSERT_LE(temporary.size(), 2U);
        const std::string found = check().out;
        for (const std::string &name : temporary) {
            EXPECT_THAT(found,
                        HasSubstr("log/" + name +
                                  ":0: note: is left over from a command that was cut short; the next one "
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
    NameList newestFirst = itemTexts(1, 8);
    std::reverse(newestFirst.begin(), newestFirst.end());
    const auto shown = [this] { return shownTexts(jorn({"show", "-r", "-p", "2", "log"}).out); };
    std::set<NameList> left;
    const auto examine = [&] {
        left.insert(namesIn("log"));
        EXPECT_EQ(shown(), newestFirst);
        const Outcome run = jorn({"record", "--files", "6", "log"});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(shown(), newestFirst);
        EXPECT_EQ(namesIn("log"), (NameList{"0.csv", "3.csv", "4.csv", "5.csv", "index.csv", "jorn.ring"}));
        EXPECT_EQ(read("log/index.csv"), "version:1\n3,0\n");
    };
    cutEverywhere({"record", "--files", "6", "log"}, prepare, examine);
    EXPECT_THAT(left, ::testing::IsSupersetOf({NameList{"0.csv", "1.csv", "2.csv", "3.csv", "index.csv"},
                                               NameList{"0.csv", "1.csv", "2.csv", "5.csv", "index.csv"},
                                               NameList{"0.csv", "1.csv", "4.csv", "5.csv", "index.csv"},
                                               NameList{"0.csv", "3.csv", "4.csv", "5.csv", "index.csv"}}));
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
        const NameList temporary = temporaryNamesIn(".");
        const Outcome found = check();
        for (const std::string &name : temporary) {
            EXPECT_THAT(found.out, HasSubstr("log/../" + name + ":0: note: is left over from a command"));
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

}  // namespace
}  // namespace test
