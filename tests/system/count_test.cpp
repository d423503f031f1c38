// SPDX-License-Identifier: Apache-2.0
// `jorn count` over directories written by hand, and what it has in common with `jorn show`.
#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "show_log.h"

namespace test {
namespace {

TEST_F(ShowTest, ShowAndCount_Quiet_OnlyTheExitCodeTells) {
    writeMixed();
    for (const char *command : {"show", "count"}) {
        Outcome run = jorn({command, "log", "-q", "-s", "5"});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out + run.err, "");
        run = jorn({command, "log", "-q", "-s", "6"});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.out + run.err, "");
    }
}

TEST_F(ShowTest, Count_NoFilter_CountsEveryLevel) {
    writeMixed();
    const Outcome run = jorn({"count", "log"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out,
              "level      items\n"
              "    0          2\n"
              "    1          2\n"
              "    2          1\n"
              "    3          1\n"
              "total          6\n");
    EXPECT_EQ(run.err, "");
}

TEST_F(ShowTest, Count_Filters_Apply) {
    writeMixed();
    EXPECT_EQ(jorn({"count", "log", "-s", "5", "--utc", "--since", "2023-11-16", "-p", "1"}).out,
              "level      items\n"
              "    0          1\n"
              "    1          0\n"
              "total          1\n");
    EXPECT_EQ(jorn({"count", "log", "--level", "3"}).out,
              "level      items\n"
              "    3          1\n"
              "total          1\n");
}

TEST_F(ShowTest, ShowAndCount_WhileARecorderWrites_WhatIsThereIsGivenWhole) {
    RunningTool recorder(root_, {"record", "live", "--files", "3"});
    size_t seen = 0;
    for (int round = 0; round < 12; ++round) {
        recorder.feed(numberedLines("round" + std::to_string(round) + "-", 1500));
        const Outcome run = jorn({"show", "live", "-n", "15000", "-r", "-p", "2"});
        if (run.status == 4) {
            continue;  // The recorder has not made the directory yet.
        }
        EXPECT_EQ(run.status, 0) << run.err;
        std::vector<std::string> texts = shownTexts(run.out);
        // The newest line may be only partly in the file, and is shown as far as it is there.
        const auto isWhole = [](const std::string &text) { return text.size() == text.find('-') + 8; };
        if (!texts.empty() && !isWhole(texts.front())) {
            texts.erase(texts.begin());
        }
        // Without gaps: each item is followed by the one before it, and the store's ring keeps at least
        // 10,001.
        for (size_t i = 1; i < texts.size(); ++i) {
            const int number = std::stoi(texts[i].substr(texts[i].find('-') + 1));
            const int newer = std::stoi(texts[i - 1].substr(texts[i - 1].find('-') + 1));
            ASSERT_EQ(newer, number == 1500 ? 1 : number + 1) << texts[i - 1] << " before " << texts[i];
        }
        EXPECT_GE(texts.size() + 2, std::min<size_t>(seen, 10000));
        seen = texts.size();
    }
    recorder.endInput();
    EXPECT_EQ(recorder.wait().status, 0);
    EXPECT_EQ(jorn({"count", "live", "-p", "2"}).status, 0);
}

class CountTest : public ShowTest {
protected:
    /// The note of --explain.
    std::string explained(std::vector<std::string> options) const {
        options.insert(options.begin(), {"count", "log", "--utc", "--explain"});
        const Outcome run = jorn(options);
        EXPECT_EQ(run.status, 0);
        return run.err;
    }
};

TEST_F(CountTest, CountExplain_EachWayToTheAnswer_SaysWhatWasRead) {
    writeMixed();
    EXPECT_EQ(explained({}), "jorn: answered from the summaries of 3 files alone\n");
    EXPECT_EQ(explained({"-S", "2023-11-16", "-s", "0"}),
              "jorn: answered from the summaries of 3 files alone\n");
    EXPECT_EQ(explained({"-S", "2023-11-16", "-U", "2023-11-16"}),
              "jorn: answered from the summaries of 3 files, and the lines of 1 of them\n");
    EXPECT_EQ(explained({"-g", "d1"}), "jorn: answered by reading the lines of 3 files\n");
}

TEST_F(CountTest, Count_JsonAndCsv_WithNamesAndTheLevelsThatNoLogHas) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 0, 1, "a") + dataLine(kMidnight, 2, 1, "b") +
                           dataLine(kMidnight, 2, 5, "c") + dataLine(kMidnight, 7, 1, "d"));
    write("log/jorn.names", "[levels]\n0 = error\n");
    EXPECT_EQ(jorn({"count", "log", "-o", "csv"}).out,
              "level,items\n"
              "error,1\n"
              "1,0\n"
              "2,2\n"
              "3,0\n"
              "other,1\n"
              "total,4\n");
    EXPECT_EQ(jorn({"count", "log", "-o", "json", "-p", "1"}).out,
              "{\"levels\":[{\"level\":0,\"level_name\":\"error\",\"items\":1},{\"level\":1,\"items\":0}],"
              "\"total\":1}\n");
}

}  // namespace
}  // namespace test
