// SPDX-License-Identifier: Apache-2.0
// `jorn record` and the ring: rotation, size, what a restart with another size keeps.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <algorithm>
#include <map>

#include "common_values.h"
#include "tool_run.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class RecordRingTest : public ToolTest {
protected:
    Outcome record(const std::string &input, std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"record", "log"});
        return jorn(options, {input, "", {}, {}});
    }

    static std::string fileName(int position) { return "log/" + std::to_string(position) + ".csv"; }

    /// All texts of the files at these positions, one after the other, except the store's own.
    std::vector<std::string> textsOf(const std::vector<int> &positions) const {
        std::vector<std::string> all;
        for (const int position : positions) {
            for (const std::string &text : textsIn(fileName(position))) {
                if (text != "Log start init!") {
                    all.push_back(text);
                }
            }
        }
        return all;
    }

    /// Texts of all pages of `show`, oldest first.
    std::vector<std::string> shownOldestFirst(int pages) const {
        std::vector<std::string> all;
        for (int page = 1; page <= pages; ++page) {
            const auto texts =
                shownTexts(jorn({"show", "log", "-p", "2", "--page", std::to_string(page)}).out);
            all.insert(all.end(), texts.begin(), texts.end());
        }
        std::reverse(all.begin(), all.end());
        return all;
    }

    /// A directory written by hand, one item in each file, whose text is the file's first position.
    void makeRing(const std::vector<int> &files, const std::string &index) const {
        makeDirectory("log");
        write("log/index.csv", "version:1\n" + index + "\n");
        for (const int position : files) {
            write(fileName(position), dataLine(1700000000, 1, 0, "of " + std::to_string(position)));
        }
    }
};

TEST_F(RecordRingTest, Record_12000LinesInto2Files_KeepsTheNewest) {
    ASSERT_EQ(record(numberedLines("line", 12000), {"--files", "2"}).status, 0);
    EXPECT_EQ(read("log/index.csv"), "version:1\n1,0\n");
    EXPECT_EQ(textsOf({1, 0}), numberedTexts("line", kFull, 12000));
    EXPECT_FALSE(exists("log/2.csv"));
    EXPECT_FALSE(exists("log/index.bak"));
}

TEST_F(RecordRingTest, Record_123456LinesIntoLargeRing_LosesNone) {
    constexpr int kLines = 123456;
    ASSERT_EQ(record(numberedLines("line", kLines), {"--files", "30"}).status, 0);
    std::vector<int> positions;
    for (int position = 0; position <= kLines / kFull; ++position) {
        positions.push_back(position);
    }
    EXPECT_EQ(textsOf(positions), numberedTexts("line", 1, kLines));
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,24\n");
}

TEST_F(RecordRingTest, Show_PagesOfARotatedRing_AreThoseOfTheInput) {
    constexpr int kLines = 60000;
    ASSERT_EQ(record(numberedLines("line", kLines), {"--files", "4"}).status, 0);
    // 60,001 with the first item: twelve full files and one item, of which the last four files are kept.
    constexpr int kKept = 3 * kFull + 1;
    const auto page = [&](int number) {
        const Outcome run = jorn({"show", "log", "--page", std::to_string(number)});
        EXPECT_EQ(run.err, "page " + std::to_string(number) + " of 751 (15001 items)\n");
        auto texts = shownTexts(run.out);
        std::reverse(texts.begin(), texts.end());
        return texts;
    };
    EXPECT_EQ(page(1), numberedTexts("line", kLines - 19, kLines));
    // The newest file holds one item: pages 1 and 251 span two files.
    EXPECT_EQ(page(250), numberedTexts("line", kLines - 4999, kLines - 4980));
    EXPECT_EQ(page(251), numberedTexts("line", kLines - 5019, kLines - 5000));
    EXPECT_EQ(page(376), numberedTexts("line", kLines - 7519, kLines - 7500));
    EXPECT_EQ(page(751), numberedTexts("line", kLines - kKept + 1, kLines - kKept + 1));
}

TEST_F(RecordRingTest, Show_EveryPageOfSmallPages_GivesEveryItemOnce) {
    ASSERT_EQ(record(numberedLines("line", 130), {"--files", "2"}).status, 0);
    EXPECT_EQ(shownOldestFirst(7), numberedTexts("line", 1, 130));
}

TEST_F(RecordRingTest, Record_NoFilesOption_KeepsSizeOfRingThatCameRound) {
    ASSERT_EQ(record(numberedLines("a", 3 * kFull), {"--files", "3"}).status, 0);
    ASSERT_EQ(record(numberedLines("b", kFull)).status, 0);
    EXPECT_FALSE(exists("log/3.csv"));
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,1\n");
    EXPECT_EQ(textsOf({1}).back(), numberedText("b", kFull));
}

TEST_F(RecordRingTest, Record_NoFilesOption_AdoptsRingLargerThanDefault) {
    makeRing({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, "0,11");
    ASSERT_EQ(record("x\n").status, 0);
    EXPECT_THAT(textsOf({0}), ElementsAre("of 0"));
    EXPECT_THAT(textsOf({11}), ElementsAre("of 11", "x"));
}

TEST_F(RecordRingTest, Record_SmallerRing_RefusedAndNothingChanged) {
    makeRing({0, 1, 2, 3, 4, 5}, "0,5");
    const std::string before = stateOf(path("log"));
    const Outcome run = record("x\n", {"--files", "5"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("--files 5"));
    EXPECT_THAT(run.err, HasSubstr("--shrink"));
    EXPECT_EQ(stateOf(path("log")), before);
}

TEST_F(RecordRingTest, RecordShrink_SmallerRing_KeepsTheNewest) {
    makeRing({0, 1, 2, 3, 4, 5}, "0,5");
    ASSERT_EQ(record("x\n", {"--files", "3", "--shrink"}).status, 0);
    EXPECT_EQ(textsOf({0, 1, 2}), (std::vector<std::string>{"of 3", "of 4", "of 5", "x"}));
    EXPECT_FALSE(exists("log/3.csv"));
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,2\n");
}

/// The store's own start-up would rename 2.csv onto 3.csv and 3.csv onto 4.csv here, oldest first.
TEST_F(RecordRingTest, Record_RingThatCameRoundGrowsByOne_KeepsEveryFile) {
    makeRing({0, 1, 2, 3, 4}, "2,1");
    ASSERT_EQ(record("x\n", {"--files", "6"}).status, 0);
    EXPECT_EQ(textsOf({3, 4, 5, 0, 1}),
              (std::vector<std::string>{"of 2", "of 3", "of 4", "of 0", "of 1", "x"}));
    EXPECT_EQ(read("log/index.csv"), "version:1\n3,1\n");
    EXPECT_EQ(shownOldestFirst(1), (std::vector<std::string>{"of 2", "of 3", "of 4", "of 0", "of 1", "x"}));
}

TEST_F(RecordRingTest, Record_RingThatCameRoundGrowsByMuch_KeepsEveryFile) {
    makeRing({0, 1, 2}, "2,1");
    ASSERT_EQ(record("x\n", {"--files", "90"}).status, 0);
    EXPECT_EQ(shownOldestFirst(1), (std::vector<std::string>{"of 2", "of 0", "of 1", "x"}));
    EXPECT_TRUE(exists("log/89.csv"));
}

TEST_F(RecordRingTest, Record_GapInRing_KeepsEveryFile) {
    makeRing({0, 1, 2, 4, 5}, "0,5");
    ASSERT_EQ(record("x\n").status, 0);
    EXPECT_EQ(textsOf({1, 2, 3, 4, 5}),
              (std::vector<std::string>{"of 0", "of 1", "of 2", "of 4", "of 5", "x"}));
    EXPECT_EQ(read("log/index.csv"), "version:1\n1,5\n");
}

TEST_F(RecordRingTest, Record_OneFileMoves_MessageCountsOne) {
    makeRing({0, 1}, "1,0");
    const Outcome run = record("x\n", {"--files", "3"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "jorn: log: 1 file renamed or deleted to fit a ring of 3 files\n");
}

TEST_F(RecordRingTest, Record_BackupIndexOnly_GoesOnWhereItTells) {
    makeRing({0, 1}, "0,1");
    write("log/index.bak", "version:1\n0,1\n");
    ASSERT_EQ(::remove(path("log/index.csv").c_str()), 0);
    ASSERT_EQ(record("x\n").status, 0);
    EXPECT_THAT(textsOf({1}), ElementsAre("of 1", "x"));
    EXPECT_FALSE(exists("log/index.bak"));
}

/// Applies to what is started during its lifetime.
class FileSizeLimit {
public:
    explicit FileSizeLimit(uint64_t bytes) {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before_), 0);
        const rlimit limit = {bytes, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

private:
    rlimit before_ = {};
};

/// A ring of three whose newest file, 2.csv, holds 1,000 items; no file may grow beyond 64 KiB.
class RecordShortFileTest : public RecordRingTest {
protected:
    static constexpr int kBefore = 1000;
    static constexpr uint64_t kMost = 65536;

    RecordShortFileTest() {
        makeDirectory("log");
        write("log/index.csv", "version:1\n0,2\n");
        writeFile(0, kFull);
        writeFile(1, kFull);
        writeFile(2, kBefore);
        for (const std::string &name : {fileName(0), fileName(1), std::string("log/index.csv")}) {
            others_[name] = read(name);
        }
    }

    void writeFile(int position, int items) const {
        std::string bytes;
        for (int item = 0; item < items; ++item) {
            bytes += dataLine(1700000000, 1, 0, "of " + std::to_string(position));
        }
        write(fileName(position), bytes);
    }

    /// How many lines of the input are whole in 2.csv; they must be its first ones, without a gap.
    size_t storedOf(int lines) const {
        const std::string bytes = read(fileName(2));
        const auto whole = static_cast<size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
        const size_t stored = whole - kBefore - 1;
        auto texts = textsOf({2});
        texts.resize(whole - 1);
        texts.erase(texts.begin(), texts.begin() + kBefore);
        EXPECT_EQ(texts, [&] {
            auto all = numberedTexts("line", 1, lines);
            all.resize(stored);
            return all;
        }());
        return stored;
    }

    /// Expects a run of `lines` lines to have ended with the failure of 2.csv and to have touched nothing
    /// else.
    void expectOthersStay(const Outcome &run, int lines) const {
        for (const auto &[name, bytes] : others_) {
            EXPECT_TRUE(read(name) == bytes) << name;
        }
        EXPECT_FALSE(exists("log/index.bak"));
        EXPECT_EQ(run.status, 4);
        const size_t stored = storedOf(lines);
        EXPECT_LT(stored, 3000U);
        EXPECT_EQ(run.err, "jorn: log/2.csv: cannot be written: File too large; " +
                               std::to_string(static_cast<size_t>(lines) - stored) +
                               " of the lines read are not in the files\n");
    }

    std::map<std::string, std::string> others_;
};

TEST_F(RecordShortFileTest, Record_NewestFileShortAndNoPause_OldestFileAndIndexStay) {
    // A file, because as input it never pauses.
    const Setting setting = {numberedLines("line", 4200), "", {}, kMost};
    expectOthersStay(jorn({"record", "log", "--files", "3"}, setting), 4200);
}

/// All lines are read at once, and the failure shows when those of the first file have been passed on.
TEST_F(RecordRingTest, Record_MoreLinesWereReadThanPassedOn_AllThatAreMissingAreCounted) {
    constexpr size_t kLines = 8000;
    std::string input;
    for (size_t line = 0; line < kLines; ++line) {
        input += "x\n";
    }
    const Outcome run = jorn({"record", "log", "--files", "3", "--stats"}, {input, "", {}, 65536});
    EXPECT_EQ(run.status, 4);
    const std::string bytes = read(fileName(0));
    const auto whole = static_cast<size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
    ASSERT_GT(whole, 3000U);
    ASSERT_LT(whole, 5000U);
    EXPECT_THAT(run.err, HasSubstr("jorn: log/0.csv: cannot be written: File too large; " +
                                   std::to_string(kLines - (whole - 1)) +
                                   " of the lines read are not in the files\n"));
    EXPECT_THAT(run.err, HasSubstr("jorn: 8000 lines, " + std::to_string(whole - 1) + " items, 16000 bytes"));
}

/// The rest of the unended line comes when the file, by the store's count, is full: after the failure.
TEST_F(RecordShortFileTest, Record_ShortFileFoundInAPauseWithinALine_OldestFileAndIndexStay) {
    const FileSizeLimit limit(kMost);
    RunningTool tool(root_, {"record", "log", "--files", "3"});
    tool.halt();
    std::string input = numberedLines("line", kFull - kBefore);
    input.pop_back();
    tool.feed(input);
    tool.resume();
    expectOthersStay(tool.wait(), kFull - kBefore);
}

}  // namespace
}  // namespace test
