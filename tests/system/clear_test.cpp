// SPDX-License-Identifier: Apache-2.0
// `jorn clear`: what it hides, what stays, when it is refused.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "damaged_log.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

class ClearTest : public DamagedLogTest {
protected:
    Outcome clear(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"clear", "log"});
        return jorn(options);
    }

    /// Runs on a terminal, where it asks.
    Outcome answered(const std::string &answer) const {
        Setting setting;
        setting.input = answer;
        return runOnTerminal({"clear", path("log")}, setting);
    }

    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const auto &entry : std::filesystem::directory_iterator(path("log"))) {
            all.push_back(entry.path().filename().string());
        }
        std::sort(all.begin(), all.end());
        return all;
    }

    std::vector<std::string> shown() const { return shownTexts(jorn({"show", "log", "-r"}).out); }

    void expectUntouched(const std::vector<std::string> &options, int status, const std::string &why,
                         const Setting &setting = {}) const {
        const std::string before = stateOf(path("log"));
        std::vector<std::string> arguments = {"clear", "log"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome run = jorn(arguments, setting);
        EXPECT_EQ(run.status, status) << run.err;
        EXPECT_THAT(run.err, HasSubstr(why));
        EXPECT_EQ(run.out, "");
        EXPECT_TRUE(stateOf(path("log")) == before);
    }
};

TEST_F(ClearTest, Clear_RingThatHasNotComeRound_EveryFileStays) {
    writeFiles({0, 1, 2});
    writeIndex("0,2");
    const std::string former = read("log/0.csv") + read("log/1.csv") + read("log/2.csv");
    const Outcome run = clear({"--yes", "--files", "9"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "log: 30 items out of view, 30 still in the files until the ring reaches them\n");
    EXPECT_EQ(read("log/index.csv"), "version:1\n3,3\n");
    EXPECT_THAT(read("log/3.csv"), EndsWith(",3,0,Log all cleared!\n"));
    EXPECT_EQ(read("log/0.csv") + read("log/1.csv") + read("log/2.csv"), former);
    EXPECT_THAT(shown(), ElementsAre("Log all cleared!"));
    EXPECT_THAT(names(), ElementsAre("0.csv", "1.csv", "2.csv", "3.csv", "index.csv"));
}

TEST_F(ClearTest, Clear_RingThatCameRound_WritesOverTheOldestFileOnly) {
    writeFiles({2, 3, 0, 1});
    writeIndex("2,1");
    const std::string former = read("log/3.csv") + read("log/0.csv") + read("log/1.csv");
    const Outcome run = clear({"--yes"});
    EXPECT_EQ(
        run.out,
        "log: 40 items out of view, 10 overwritten in 2.csv, 30 still in the files until the ring reaches "
        "them\n");
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,2\n");
    EXPECT_EQ(read("log/3.csv") + read("log/0.csv") + read("log/1.csv"), former);
    EXPECT_THAT(shown(), ElementsAre("Log all cleared!"));
}

TEST_F(ClearTest, Clear_StoreGoesOn_SeesNothingOlder) {
    writeFiles({2, 3, 0, 1});
    writeIndex("2,1");
    ASSERT_EQ(clear({"--yes"}).status, 0);
    // The item of the clearing.
    EXPECT_EQ(itemsSeenByStore(4), 1);
    ASSERT_EQ(jorn({"record", "log"}, {"new\n", "", {}, {}}).status, 0);
    EXPECT_THAT(shown(), ElementsAre("new", "Log start init!", "Log all cleared!"));
}

TEST_F(ClearTest, Clear_SameAsTheStoresOwn_ByCheckAndRepair) {
    writeFiles({0, 1, 2});
    writeIndex("0,2");
    ASSERT_EQ(clear({"--yes", "--files", "9"}).status, 0);
    age();
    const Outcome checked = check();
    EXPECT_EQ(checked.status, 0) << checked.out;
    EXPECT_EQ(repair({"--yes"}).out, "log: nothing to do\n");
    // What was cleared comes back on request.
    ASSERT_EQ(repair({"--yes", "--oldest", "0", "--latest", "3"}).status, 0);
    EXPECT_EQ(shown().size(), 31U);
    EXPECT_EQ(shown().back(), itemTexts(1, 1).front());
}

TEST_F(ClearTest, Clear_Twice_MovesOnTwice) {
    writeFiles({0});
    writeIndex("0,0");
    ASSERT_EQ(clear({"--yes", "--files", "9"}).status, 0);
    EXPECT_EQ(clear({"--yes", "--files", "9"}).out,
              "log: 1 item out of view, 1 still in the files until the ring reaches them\n");
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,2\n");
}

TEST_F(ClearTest, ClearJson_TellsTheResult) {
    writeFiles({2, 3, 0, 1});
    writeIndex("2,1");
    EXPECT_EQ(clear({"--yes", "-o", "json"}).out,
              "{\"directory\":\"log\",\"cleared\":40,\"overwritten\":10,"
              "\"former\":{\"oldest\":2,\"latest\":1},\"file\":\"2.csv\"}\n");
}

TEST_F(ClearTest, Clear_EmptyDirectory_NothingToDo) {
    const std::string before = stateOf(path("log"));
    const Outcome run = clear();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "log: nothing to clear\n");
    EXPECT_EQ(clear({"-o", "json"}).out, "{\"directory\":\"log\",\"cleared\":0,\"overwritten\":0}\n");
    EXPECT_TRUE(stateOf(path("log")) == before);
}

TEST_F(ClearTest, Clear_NoConsent_ChangesNothing) {
    writeFiles({0});
    writeIndex("0,0");
    expectUntouched({}, 2, "jorn: log: nothing was changed; --yes clears it without asking\n");
}

TEST_F(ClearTest, Clear_DamagedIndex_ChangesNothing) {
    writeFiles({0, 1});
    for (const char *index : {"", "version:2\n0,1\n", "version:1\n0,-1\n"}) {
        write("log/index.csv", index);
        expectUntouched({"--yes"}, 3, "nothing was changed. See jorn check and jorn repair");
    }
    ASSERT_EQ(::remove(path("log/index.csv").c_str()), 0);
    expectUntouched({"--yes"}, 3, "log: the index is missing or damaged; ");
}

TEST_F(ClearTest, Clear_BackupIndexOnly_GoesByIt) {
    writeFiles({0, 1});
    write("log/index.bak", "version:1\n0,1\n");
    EXPECT_EQ(clear({"--yes", "--files", "9"}).status, 0);
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,2\n");
    EXPECT_FALSE(exists("log/index.bak"));
}

/// Whoever clears it; otherwise its recorder could not continue.
TEST_F(ClearTest, Clear_LogOfAnotherUser_FilesAreTheirs) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    constexpr uid_t kUser = 12345;
    writeFiles({0, 1});
    write("log/index.bak", "version:1\n0,1\n");
    ASSERT_EQ(chmod(path("log").c_str(), 0750), 0);
    ASSERT_EQ(chown(path("log").c_str(), kUser, kUser), 0);
    ASSERT_EQ(clear({"--yes", "--files", "9"}).status, 0);
    for (const char *const name : {"log/index.csv", "log/2.csv"}) {
        struct stat status = {};
        ASSERT_EQ(stat(path(name).c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, kUser) << name;
        EXPECT_EQ(status.st_gid, kUser) << name;
        EXPECT_EQ(status.st_mode & 07777, 0640U) << name;
    }
}

TEST_F(ClearTest, Clear_MissingDirectory_Fails) {
    const Outcome run = jorn({"clear", "--yes", "none"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: none: No such file or directory\n");
}

TEST_F(ClearTest, Clear_WhileRecording_Refused) {
    RunningTool recorder(root_, {"record", "log"});
    CloseWatch watch(path("log"));
    recorder.feed("one\n");
    watch.waitUntil([&] { return exists("log/0.csv") && linesOf(read("log/0.csv")).size() == 2; });
    expectUntouched({"--yes"}, 4, "another jorn is recording into this directory");
}

TEST_F(ClearTest, Clear_NoRights_ChangesNothing) {
    writeFiles({0});
    writeIndex("0,0");
    ASSERT_EQ(chmod(path("log").c_str(), 0500), 0);
    Setting setting;
    setting.obeysPermissions = true;
    const Outcome run = jorn({"clear", "--yes", "log"}, setting);
    if (run.status == 126) {
        GTEST_SKIP() << "permissions cannot be made to hold here";
    }
    expectUntouched({"--yes"}, 4, "jorn: log: files cannot be written in this directory: Permission denied\n",
                    setting);
    ASSERT_EQ(chmod(path("log").c_str(), 0700), 0);
}

TEST_F(ClearTest, Clear_Help_NamesTheCommandThatBringsItemsBackAsItIsGiven) {
    EXPECT_THAT(jorn({"clear", "--help"}).out,
                HasSubstr("jorn repair --yes --oldest A --latest B DIR brings"));
}

TEST_F(ClearTest, Clear_MediumFull_ChangesNothing) {
    writeFiles({0});
    writeIndex("0,0");
    Setting full;
    full.fileSizeLimit = 28;  // Less than the item takes; the message is cut too.
    const auto contentOf = [&] { return read("log/0.csv") + read("log/index.csv"); };
    const std::string before = contentOf();
    const Outcome run = jorn({"clear", "--yes", "log"}, full);
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("jorn: log/1.csv: File too "));
    EXPECT_EQ(contentOf(), before);
    EXPECT_THAT(names(), ElementsAre("0.csv", "index.csv"));
}

TEST_F(ClearTest, Clear_OnTerminal_Asks) {
    writeFiles({0});
    writeIndex("0,0");
    for (const char *answer : {"n\n", "\n", "\x04"}) {
        const Outcome run = answered(answer);
        EXPECT_THAT(run.out, HasSubstr("Clear 10 items of " + path("log") + "? [y/N] "));
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(read("log/index.csv"), "version:1\n0,0\n");
    }
    const Outcome run = answered("y\n");
    EXPECT_THAT(run.out, HasSubstr("10 items out of view"));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(read("log/index.csv"), "version:1\n1,1\n");
}

TEST_F(ClearTest, Clear_InterruptedAtTheQuestion_ChangesNothing) {
    writeFiles({0});
    writeIndex("0,0");
    const std::string before = stateOf(path("log"));
    EXPECT_EQ(answered("\x03").status, 128 + SIGINT);
    EXPECT_EQ(stateOf(path("log")), before);
}

TEST_F(ClearTest, Clear_WrongUsage_Refused) {
    writeFiles({0, 1, 2});
    writeIndex("0,2");
    EXPECT_EQ(jorn({"clear"}).status, 2);
    expectUntouched({"--yes", "--files", "1"}, 2, "--files");
    expectUntouched({"--yes", "--files", "2"}, 2, "--files 2");
    EXPECT_THAT(jorn({"clear", "--help"}).out, HasSubstr("jorn clear --yes DIR"));
}

}  // namespace
}  // namespace test
