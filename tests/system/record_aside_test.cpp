// SPDX-License-Identifier: Apache-2.0
// `jorn record --if-unclear aside`: a ring whose order cannot be determined is put aside, and no cut loses
// anything.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>

#include "damaged_log.h"
#include "record/putting_aside.h"
#include "trace/traced_run.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

constexpr int kKilled = 128 + SIGKILL;

using Contents = std::map<std::string, std::string>;

class RecordAsideTest : public DamagedLogTest {
protected:
    /// The backup alone could be relied on, but it does not agree with the times.
    void makeUnclearRing() const {
        writeFiles({2, 3, 0, 1});
        write("log/index.csv", "version:");
        write("log/index.bak", "version:1\n3,2\n");
    }

    void beginAnew() const {
        fs::remove_all(path("log"));
        makeDirectory("log");
    }

    Contents contents(const std::string &directory) const {
        Contents all;
        for (const auto &entry : fs::directory_iterator(path(directory))) {
            if (entry.is_regular_file()) {
                const std::string name = entry.path().filename().string();
                all[name] = read(std::string(directory).append("/").append(name));
            }
        }
        return all;
    }

    std::vector<std::string> directoriesInLog() const {
        std::vector<std::string> names;
        for (const auto &entry : fs::directory_iterator(path("log"))) {
            if (entry.is_directory()) {
                names.push_back("log/" + entry.path().filename().string());
            }
        }
        return names;
    }

    Outcome record(const std::string &input = "new\n", std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"record", "log", "--if-unclear", "aside"});
        return jorn(options, {input, "", {}, {}});
    }

    /// Expects a recorder with a ring of 4 files to put aside what is in the log, and to say why.
    void expectPutAsideForFour(const std::string &reason) const {
        const Contents before = contents("log");
        const Outcome run = record("new\n", {"--files", "4"});
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.err, MatchesRegex("jorn: log: " + reason +
                                          ": the files are now in log/aside-20[0-9]{6}T[0-9]{6}Z, and the "
                                          "log starts over\n"));
        const auto asides = directoriesInLog();
        ASSERT_EQ(asides.size(), 1U);
        EXPECT_TRUE(contents(asides[0]) == before);
        EXPECT_THAT(contents("log"), ::testing::SizeIs(3));
        EXPECT_THAT(textsIn("log/0.csv"), ElementsAre(kStart, "new"));
        EXPECT_EQ(record("again\n", {"--files", "4"}).err, "");
    }
};

TEST_F(RecordAsideTest, Record_OrderUnclear_RingIsKeptAndTheLogBeginsAnew) {
    makeUnclearRing();
    ASSERT_EQ(chmod(path("log").c_str(), 0750), 0);
    const Contents before = contents("log");
    const Outcome run = record();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, MatchesRegex("jorn: log: index.csv was not whole, and [^\n]*: the files are now in "
                                      "log/aside-20[0-9]{6}T[0-9]{6}Z, and the log starts over\n"));
    const auto asides = directoriesInLog();
    ASSERT_EQ(asides.size(), 1U);
    EXPECT_TRUE(contents(asides[0]) == before);
    struct stat status = {};
    ASSERT_EQ(stat(path(asides[0]).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0750U);
    EXPECT_THAT(contents("log"), ::testing::SizeIs(3));
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre(kStart, "new"));
    const Outcome checked = check();
    EXPECT_EQ(checked.status, 0);
    EXPECT_THAT(checked.out, HasSubstr("note: holds a ring that was put aside"));
    EXPECT_EQ(record("again\n").err, "");
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre(kStart, "new", kStart, "again"));
}

TEST_F(RecordAsideTest, Record_OrderClear_NothingIsPutAside) {
    writeRing({2, 3, 0, 1});
    EXPECT_EQ(record().status, 0);
    EXPECT_THAT(directoriesInLog(), ::testing::IsEmpty());
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,1\n");
}

TEST_F(RecordAsideTest, Record_StrayFileBeyondTheRing_RingIsKeptAndTheLogBeginsAnew) {
    writeFiles({0, 1});
    writeIndex("0,1");
    write("log/89.csv", "");
    expectPutAsideForFour("holds a ring of 90 files or more, and --files 4 may delete the oldest of them");
}

TEST_F(RecordAsideTest, Record_RingIsLarger_RingIsKeptAndTheLogBeginsAnew) {
    writeFiles({2, 3, 4, 0, 1});
    writeIndex("2,1");
    expectPutAsideForFour("holds a ring of 5 files or more, and --files 4 may delete the oldest of them");
}

TEST_F(RecordAsideTest, Record_RingIsLargerAndOrderUnclear_PutAsideOnce) {
    makeUnclearRing();
    write("log/89.csv", "");
    expectPutAsideForFour("index.csv was not whole, and [^\n]*");
}

TEST_F(RecordAsideTest, RecordShrink_RingIsLarger_MadeSmaller) {
    writeFiles({0, 1, 2, 3, 4});
    writeIndex("0,4");
    EXPECT_EQ(record("new\n", {"--files", "4", "--shrink"}).status, 0);
    EXPECT_THAT(directoriesInLog(), ::testing::IsEmpty());
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,3\n");
}

TEST_F(RecordAsideTest, PutAside_NameIsTaken_AnotherOne) {
    for (const char *name : {"aside-20231114T221320Z", "aside-20231114T221320Z-2.partial"}) {
        makeDirectory("log/" + std::string(name));
    }
    makeUnclearRing();
    const Contents before = contents("log");
    const auto directory =
        tool::StoreDirectory::openForRecording(path("log"), tool::StoreDirectory::Making::LastLevel);
    EXPECT_EQ(tool::putAside(directory, kFirstTime), "aside-20231114T221320Z-3");
    EXPECT_TRUE(contents("log/aside-20231114T221320Z-3") == before);
}

TEST_F(RecordAsideTest, Record_FormerStartWasCut_RestFollows) {
    makeUnclearRing();
    const Contents before = contents("log");
    makeDirectory("log/aside-20231114T221320Z.partial");
    for (const char *name : {"index.bak", "index.csv", "0.csv", "1.csv", "2.csv"}) {
        fs::rename(path("log/" + std::string(name)),
                   path("log/aside-20231114T221320Z.partial/" + std::string(name)));
    }
    // What is left could be ordered by itself, but belongs to the others.
    const Outcome run = jorn({"record", "log"}, {"new\n", "", {}, {}});
    EXPECT_EQ(
        run.err,
        "jorn: log: the files that an earlier start began to put aside are in log/aside-20231114T221320Z\n");
    EXPECT_TRUE(contents("log/aside-20231114T221320Z") == before);
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre(kStart, "new"));
}

/// Nothing of it belongs together with what was put aside: the ring is as it was.
TEST_F(RecordAsideTest, Record_FormerStartHadMovedNothing_IsForgotten) {
    makeUnclearRing();
    const Contents before = contents("log");
    makeDirectory("log/aside-20231114T221320Z.partial");
    EXPECT_EQ(jorn({"record", "log"}).status, 3);
    EXPECT_TRUE(contents("log") == before);
    EXPECT_THAT(directoriesInLog(), ::testing::IsEmpty());
}

TEST_F(RecordAsideTest, Record_FormerStartHadMovedTheBackupAlone_IsTakenBack) {
    makeUnclearRing();
    const Contents before = contents("log");
    makeDirectory("log/aside-20231114T221320Z.partial");
    fs::rename(path("log/index.bak"), path("log/aside-20231114T221320Z.partial/index.bak"));
    EXPECT_EQ(jorn({"record", "log"}).status, 3);
    EXPECT_TRUE(contents("log") == before);
    EXPECT_THAT(directoriesInLog(), ::testing::IsEmpty());
}

TEST_F(RecordAsideTest, Record_FormerStartHadMovedTheBackupAndThereIsAnother_BothAreKept) {
    writeFiles({0, 1});
    writeIndex("0,1");
    write("log/index.bak", "version:1\n0,0\n");
    makeDirectory("log/aside-20231114T221320Z.partial");
    write("log/aside-20231114T221320Z.partial/index.bak", "another");
    EXPECT_EQ(record().status, 0);
    EXPECT_EQ(read("log/aside-20231114T221320Z/index.bak"), "another");
}

TEST_F(RecordAsideTest, Record_FormerStartWasCutAndAnIndexGiven_RestStays) {
    makeDirectory("log/aside-20231114T221320Z.partial");
    write("log/aside-20231114T221320Z.partial/0.csv", "put aside");
    writeFiles({0, 1});
    writeIndex("0,1");
    EXPECT_EQ(record().status, 0);
    EXPECT_EQ(textsIn("log/1.csv").back(), "new");
    EXPECT_EQ(read("log/aside-20231114T221320Z/0.csv"), "put aside");
}

TEST_F(RecordAsideTest, Repair_RingWasPutAside_StaysInTheLog) {
    makeDirectory("log/aside-20231114T221320Z");
    write("log/aside-20231114T221320Z/0.csv", "put aside");
    writeFiles({0, 1});
    const Outcome run = repair({"--yes", "--backup", path("backup")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(read("log/aside-20231114T221320Z/0.csv"), "put aside");
    EXPECT_FALSE(exists("backup/aside-20231114T221320Z"));
}

/// One run after the other is killed, each at the next system call that changes anything, until one runs to
/// its end.
class RecordKilledTest : public RecordAsideTest {
protected:
    void SetUp() override {
        if (!TracedRun::isPossible()) {
            GTEST_SKIP() << TracedRun::obstacle();
        }
    }

    /// `make` makes the log anew for each; after each, an undisturbed start must leave what `expect` wants.
    void killAtEachCall(const std::function<void()> &make, const std::function<void(const Outcome &)> &expect,
                        const std::vector<std::string> &options = {}) const {
        int status = kKilled;
        size_t kills = 0;
        for (; status == kKilled; ++kills) {
            beginAnew();
            make();
            status = killAtCall(kills, options);
            const Outcome run = record("new\n", options);
            ASSERT_EQ(run.status, 0) << kills << run.err;
            expect(run);
            ASSERT_FALSE(HasFailure()) << kills << " calls before the kill";
        }
        EXPECT_EQ(status, 0);
        EXPECT_GT(kills, 10U);
    }

private:
    int killAtCall(size_t number, const std::vector<std::string> &further) const {
        TraceOptions options;
        options.directory = root_;
        std::vector<std::string> words = {"record", "log", "--if-unclear", "aside"};
        words.insert(words.end(), further.begin(), further.end());
        TracedRun run(jornCommand(words), options);
        size_t changes = 0;
        run.onCall([&](const SystemCall &call) {
            const bool isChange = call.isEntry() && call.changesFiles() && call.path.rfind(root_, 0) == 0;
            return isChange && changes++ == number ? Action::kill() : Action::proceed();
        });
        return run.wait().status;
    }
};

TEST_F(RecordKilledTest, Record_KilledWhilePuttingAside_NextStartKeepsEveryFile) {
    makeUnclearRing();
    const Contents before = contents("log");
    killAtEachCall([this] { makeUnclearRing(); },
                   [&](const Outcome &) {
                       const auto asides = directoriesInLog();
                       ASSERT_EQ(asides.size(), 1U);
                       EXPECT_THAT(asides[0], MatchesRegex("log/aside-20[0-9]{6}T[0-9]{6}Z"));
                       EXPECT_TRUE(contents(asides[0]) == before);
                       EXPECT_THAT(contents("log"), ::testing::SizeIs(3));
                       EXPECT_EQ(textsIn("log/0.csv").back(), "new");
                   });
}

/// The index is whole here, so that a start after a kill may find that nothing is lost.
TEST_F(RecordKilledTest, Record_KilledWhilePuttingLargerRingAside_NextStartKeepsEveryFile) {
    const auto make = [this] {
        writeFiles({2, 3, 4, 0, 1});
        writeIndex("2,1");
        write("log/index.bak", "version:1\n1,0\n");
    };
    make();
    const Contents before = contents("log");
    killAtEachCall(make,
                   [&](const Outcome &) {
                       const auto asides = directoriesInLog();
                       ASSERT_EQ(asides.size(), 1U);
                       EXPECT_TRUE(contents(asides[0]) == before);
                       EXPECT_THAT(contents("log"), ::testing::SizeIs(3));
                       EXPECT_EQ(textsIn("log/0.csv").back(), "new");
                   },
                   {"--files", "4"});
}

TEST_F(RecordKilledTest, Record_KilledWhileMending_NextStartShowsEveryItem) {
    const auto make = [this] {
        writeRing({2, 3, 0, 1});
        write("log/index.csv", "version:1\n2,");
        write("log/index.bak", "version:1\n1,0\n");
    };
    killAtEachCall(make, [this](const Outcome &) {
        auto texts = textsInRange(4);
        EXPECT_EQ(texts.back(), "new");
        texts.resize(static_cast<size_t>(itemsOfRing(4)));
        EXPECT_TRUE(texts == itemTexts(1, itemsOfRing(4)));
        EXPECT_EQ(read("log/index.csv"), "version:1\n2,1\n");
        EXPECT_EQ(read("log/index.csv.lost"), "version:1\n2,");
        for (const auto &[name, content] : contents("log")) {
            EXPECT_NE(name[0], '.') << name;
        }
    });
}

}  // namespace
}  // namespace test
