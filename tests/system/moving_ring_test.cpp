// SPDX-License-Identifier: Apache-2.0
// Commands that read a log while its writer moves on around the ring: the writer's steps happen while the
// tool is held before one of its own calls.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>

#include "damaged_log.h"
#include "trace/traced_run.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr uint32_t kTime = kMidnight;
constexpr uint32_t kLater = kTime + 1000;

/// Whether the tool is about to open a file of the log.
bool opens(const SystemCall &call, const std::string &path) {
    return call.isEntry() && call.isOpen() && call.path == path;
}

/// Whether the tool is about to open the oldest file, from wherever.
bool opensOldest(const SystemCall &call) {
    return call.isEntry() && call.isOpen() && fs::path(call.path).filename() == "0.csv";
}

/// Whether the tool is about to print items.
bool prints(const SystemCall &call) { return call.isEntry() && call.isWrite() && call.fd == STDOUT_FILENO; }

class MovingRingTest : public LogTest {
protected:
    void SetUp() override {
        if (!TracedRun::isPossible()) {
            GTEST_SKIP() << TracedRun::obstacle();
        }
    }

    /// Lines "a1", "a2" ... whose level tells in which round the file was written.
    static std::string lines(const std::string &prefix, int count, int level) {
        std::string all;
        for (int number = 1; number <= count; ++number) {
            all += dataLine(kTime, level, 0, prefix + std::to_string(number));
        }
        return all;
    }

    static std::string fileName(int number) { return "log/" + std::to_string(number) + ".csv"; }

    /// A ring of three files that has wrapped.
    void makeRing() const {
        write(fileName(0), lines("a", 2, 0));
        write(fileName(1), lines("b", 2, 1));
        write(fileName(2), lines("c", 2, 2));
        writeIndex("0,2");
    }

    /// A ring in whose oldest file the day of most items begins.
    void makeRingOfTwoDays() const {
        makeRing();
        write(fileName(0), dataLine(kTime - 1, 0, 0, "the day before") + lines("a", 2, 0));
    }

    /// As the store does it: empties the next file, rewrites the index, and only then stores items there.
    void moveOn(int oldest, int latest, const std::string &bytes) const {
        write(fileName(latest), "");
        fs::rename(path("log/index.csv"), path("log/index.bak"));
        writeIndex(std::to_string(oldest) + "," + std::to_string(latest));
        fs::remove(path("log/index.bak"));
        write(fileName(latest), bytes);
    }

    void moveOnOnce() const { moveOn(1, 0, lines("d", 4, 3)); }

    /// Goes all around the ring, so that the index holds the same as before.
    void comeRound() const {
        moveOnOnce();
        moveOn(2, 1, lines("e", 5, 0));
        moveOn(0, 2, lines("f", 1, 1));
    }

    /// Runs the tool; `meanwhile` happens once, while it is held before the first matching call.
    TraceOutcome jornMeanwhile(const std::vector<std::string> &arguments,
                               const std::function<bool(const SystemCall &)> &isMeant,
                               const std::function<void()> &meanwhile) const {
        TraceOptions options;
        options.directory = root_;
        TracedRun run(jornCommand(arguments), options);
        auto wasHeld = std::make_shared<bool>(false);
        run.onCall([=](const SystemCall &call) {
            if (!*wasHeld && isMeant(call)) {
                *wasHeld = true;
                meanwhile();
            }
            return Action::proceed();
        });
        TraceOutcome outcome = run.wait();
        EXPECT_TRUE(*wasHeld) << outcome.err;
        return outcome;
    }

    /// The ring moves on once, or all around, after the tool has read the index and when it opens a file of
    /// the ring. The answer must be the one that a later run gives.
    void expectAnswerOfAfterwards(const std::vector<std::string> &arguments) {
        for (const bool isWholeRound : {false, true}) {
            for (const int number : {0, 1}) {
                SCOPED_TRACE(std::to_string(number) + (isWholeRound ? ".csv, all around" : ".csv, once"));
                makeRing();
                const TraceOutcome run = jornMeanwhile(
                    arguments, [&](const SystemCall &call) { return opens(call, path(fileName(number))); },
                    [&] { isWholeRound ? comeRound() : moveOnOnce(); });
                const Outcome afterwards = jorn(arguments);
                EXPECT_EQ(run.status, 0);
                EXPECT_EQ(run.out, afterwards.out);
                EXPECT_EQ(run.err, afterwards.err);
                EXPECT_THAT(run.err, ::testing::Not(HasSubstr("note")));
            }
        }
    }
};

TEST_F(MovingRingTest, ShowAll_RingMovesOnWhileItIsOpened_ShowsItAsItIsThen) {
    expectAnswerOfAfterwards({"show", "log"});
    expectAnswerOfAfterwards({"show", "-r", "log"});
}

TEST_F(MovingRingTest, ShowAll_RingMovesOnBeforeTheOldestFileIsOpened_BeginsWithTheNextOne) {
    makeRing();
    const TraceOutcome run = jornMeanwhile(
        {"show", "-r", "log"}, [&](const SystemCall &call) { return opens(call, path("log/0.csv")); },
        [&] { moveOnOnce(); });
    EXPECT_THAT(shownTexts(run.out), ElementsAre("d4", "d3", "d2", "d1", "c2", "c1", "b2", "b1"));
}

TEST_F(MovingRingTest, ShowNewest_RingMovesOnBeforeAFileIsRead_ShowsItAsItIsThen) {
    expectAnswerOfAfterwards({"show", "-n", "100", "log"});
    expectAnswerOfAfterwards({"show", "-n", "100", "-r", "log"});
}

TEST_F(MovingRingTest, ShowPage_RingMovesOnWhileItIsOpened_ShowsItAsItIsThen) {
    expectAnswerOfAfterwards({"show", "-g", ".", "--page", "1", "log"});
}

TEST_F(MovingRingTest, Stats_RingMovesOnWhileItIsOpened_TellsItAsItIsThen) {
    expectAnswerOfAfterwards({"stats", "-o", "json", "log"});
}

TEST_F(MovingRingTest, Count_RingMovesOnWhileItIsOpened_CountsItAsItIsThen) {
    expectAnswerOfAfterwards({"count", "log"});
    expectAnswerOfAfterwards({"count", "-g", "[a-f]", "log"});
}

TEST_F(MovingRingTest, Export_RingMovesOnWhileItIsOpened_PassesItOnAsItIsThen) {
    expectAnswerOfAfterwards({"export", "-o", "csv", "log"});
}

TEST_F(MovingRingTest, Follow_RingMovesOnWhileItIsOpened_PassesItOnAsItIsThen) {
    // The end time has already passed, so it looks once.
    expectAnswerOfAfterwards({"follow", "-n", "all", "-U", "@" + std::to_string(kLater), "log"});
}

/// The module opens the files again, by their names.
TEST_F(MovingRingTest, PageOfTheModule_RingMovesOnAfterTheSummariesWereMade_IsAnsweredAsItIsThen) {
    const std::vector<std::string> words = {"show",       "--utc", "--page",     "1",  "-S",
                                            "2023-11-15", "-U",    "2023-11-15", "log"};
    makeRingOfTwoDays();
    int openings = 0;
    const TraceOutcome run = jornMeanwhile(
        words, [&](const SystemCall &call) { return opensOldest(call) && ++openings == 2; },
        [&] { moveOnOnce(); });
    const Outcome afterwards = jorn(words);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, afterwards.out);
    EXPECT_EQ(run.err, afterwards.err);
}

/// What the summaries leave undecided is read from the file as it was opened, so that no writer can
/// interfere.
TEST_F(MovingRingTest, Count_DayThatBeginsWithinAFile_OpensEachFileOnce) {
    makeRingOfTwoDays();
    int openings = 0;
    TraceOptions options;
    options.directory = root_;
    TracedRun run(jornCommand({"count", "--utc", "-S", "2023-11-15", "-U", "2023-11-15", "log"}), options);
    run.onCall([&](const SystemCall &call) {
        openings += opensOldest(call) ? 1 : 0;
        return Action::proceed();
    });
    const TraceOutcome outcome = run.wait();
    EXPECT_EQ(outcome.out,
              "level      items\n"
              "    0          2\n"
              "    1          2\n"
              "    2          2\n"
              "    3          0\n"
              "total          6\n");
    EXPECT_EQ(openings, 1);
}

TEST_F(MovingRingTest, AnyReader_RingMovesOnAtEachOpening_GivesUpAndPrintsNothing) {
    for (const char *const command : {"show", "count", "stats", "export"}) {
        SCOPED_TRACE(command);
        makeRing();
        TraceOptions options;
        options.directory = root_;
        options.calls = {callNumber("openat")};
        TracedRun run(jornCommand({command, "log"}), options);
        int moves = 0;
        run.onCall([&](const SystemCall &call) {
            if (opens(call, path("log/1.csv"))) {
                ++moves;
                comeRound();
            }
            return Action::proceed();
        });
        const TraceOutcome outcome = run.wait();
        EXPECT_EQ(outcome.status, 4);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
                  "jorn: log: the ring moved on during each of 100 attempts to open it; nothing is shown; "
                  "try again\n");
        EXPECT_EQ(moves, 100);
    }
}

TEST_F(MovingRingTest, AnyReader_NewestFileGrowsAtEachOpening_IsNoChange) {
    for (const char *const command : {"show", "count", "stats", "export"}) {
        SCOPED_TRACE(command);
        makeRing();
        int openings = 0;
        TraceOptions options;
        options.directory = root_;
        TracedRun run(jornCommand({command, "log"}), options);
        run.onCall([&](const SystemCall &call) {
            if (call.isExit() && call.isOpen() && call.path == path("log/2.csv")) {
                ++openings;
                std::ofstream(path("log/2.csv"), std::ios::app) << lines("c", 1, 2);
            }
            return Action::proceed();
        });
        const TraceOutcome outcome = run.wait();
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.err, ::testing::Not(HasSubstr("note")));
        // More than once where the module's own retrieval makes the page: it opens the file for each look at
        // it.
        EXPECT_LE(openings, 4);
    }
}

/// Enough of a file to be printed before the next one is read.
constexpr int kMany = 4000;

TEST_F(MovingRingTest, ShowAll_OldestFileIsStartedAfreshWhileNewerOnesArePrinted_NoteAndNothingOfIt) {
    makeRing();
    write(fileName(2), lines("c", kMany, 2));
    const TraceOutcome run =
        jornMeanwhile({"show", "-r", "log"}, prints, [&] { moveOn(1, 0, lines("d", 10, 3)); });
    EXPECT_EQ(run.status, 0);
    const std::vector<std::string> texts = shownTexts(run.out);
    ASSERT_EQ(texts.size(), kMany + 2U);
    EXPECT_EQ(texts.front(), "c4000");
    EXPECT_EQ(texts.back(), "b1");
    EXPECT_EQ(run.err,
              "jorn: note: log/0.csv: started over by a writer while it was being read; items may be missing "
              "here\n");
}

TEST_F(MovingRingTest, Export_OldestFileIsStartedAfreshWhileItIsRead_NoteAndNothingOfItsNewItems) {
    makeRing();
    const std::string long190(190, '-');
    write(fileName(0), lines("a" + long190, kFull, 0));
    const TraceOutcome run = jornMeanwhile({"export", "-o", "csv", "log"}, prints,
                                           [&] { moveOn(1, 0, lines("d" + long190, kFull, 3)); });
    EXPECT_EQ(run.status, 0);
    const std::vector<std::string> items = linesOf(run.out);
    EXPECT_LT(items.size(), kFull);
    EXPECT_THAT(run.out, ::testing::Not(HasSubstr(",3,0,d")));
    EXPECT_EQ(items.back(), std::to_string(kTime) + ",2,0,c2");
    EXPECT_EQ(run.err,
              "jorn: note: log/0.csv: started over by a writer while it was being read; items may be missing "
              "here\n");
}

/// A log without an index, which `repair` copies; it then puts the copy in its place.
class SwappedDirectoryTest : public DamagedLogTest {
protected:
    void SetUp() override {
        if (!TracedRun::isPossible()) {
            GTEST_SKIP() << TracedRun::obstacle();
        }
        writeFiles({0, 1});
        former_ = read("log/1.csv");
    }

    /// Locks the log's directory; temporary files have locks of their own.
    bool locks(const SystemCall &call) const {
        return call.isEntry() && call.is("flock") &&
               (call.path == path("log") || call.path == path("backup"));
    }

    /// Runs the tool; while it is held before its first lock, a repair puts another directory in place.
    TraceOutcome jornWhileRepaired(const std::vector<std::string> &arguments, const std::string &input = "") {
        TraceOptions options;
        options.directory = root_;
        options.input = input;
        TracedRun run(jornCommand(arguments), options);
        int locks = 0;
        run.onCall([&](const SystemCall &call) {
            if (this->locks(call) && ++locks == 1) {
                const Outcome repaired = repair({"--yes", "--backup", path("backup")});
                EXPECT_EQ(repaired.status, 0) << repaired.err;
            }
            return Action::proceed();
        });
        TraceOutcome outcome = run.wait();
        EXPECT_EQ(locks, 2);
        EXPECT_TRUE(exists("backup"));
        return outcome;
    }

    void expectBackupUntouched() const {
        EXPECT_EQ(read("backup/1.csv"), former_);
        EXPECT_FALSE(exists("backup/index.csv"));
        EXPECT_FALSE(exists("backup/2.csv"));
    }

    std::string former_;
};

TEST_F(SwappedDirectoryTest, Record_DirectoryIsRepairedBeforeItIsLocked_RecordsIntoTheNewOne) {
    const TraceOutcome run = jornWhileRepaired({"record", "log"}, "new\n");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(read("log/1.csv"), ::testing::EndsWith(",new\n"));
    expectBackupUntouched();
}

TEST_F(SwappedDirectoryTest, Clear_DirectoryIsRepairedBeforeItIsLocked_ClearsTheNewOne) {
    const TraceOutcome run = jornWhileRepaired({"clear", "--yes", "--files", "9", "log"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,2\n");
    expectBackupUntouched();
}

TEST_F(SwappedDirectoryTest, Repair_DirectoryIsRepairedBeforeItIsLocked_FindsNothingToDo) {
    const TraceOutcome run = jornWhileRepaired({"repair", "--yes", "--backup", path("second"), "log"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "log: nothing to do\n");
    EXPECT_FALSE(exists("second"));
    expectBackupUntouched();
}

TEST_F(SwappedDirectoryTest, AnyWriter_DirectoryIsReplacedAtEachLock_GivesUp) {
    TraceOptions options;
    options.directory = root_;
    TracedRun run(jornCommand({"clear", "--yes", "log"}), options);
    int locks = 0;
    run.onCall([&](const SystemCall &call) {
        if (SwappedDirectoryTest::locks(call)) {
            fs::rename(path("log"), path("log" + std::to_string(++locks)));
            makeDirectory("log");
        }
        return Action::proceed();
    });
    const TraceOutcome outcome = run.wait();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.err, "jorn: log: led to another directory after each of 20 attempts to lock it\n");
    EXPECT_EQ(locks, 20);
}

}  // namespace
}  // namespace test
