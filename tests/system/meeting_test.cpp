// SPDX-License-Identifier: Apache-2.0
// Commands that write, and others that act on the same names between two of their system calls.
#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <functional>

#include "cut_short.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

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

    static NameList exportTo(const std::string &file) { return {"export", "--force", "--to", file, "log"}; }

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
        EXPECT_EQ(check().out.find("left over from a command"), std::string::npos);
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
    EXPECT_EQ(run.err, "jorn: log/0.csv: not a regular file; move it elsewhere first\n");
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
