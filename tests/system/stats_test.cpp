// SPDX-License-Identifier: Apache-2.0
// `jorn stats` over directories written by hand.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "common_values.h"
#include "tool_run.h"

namespace test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class StatsTest : public LogTest {
protected:
    /// A ring of three files that has wrapped.
    void writeRing() const {
        writeIndex("1,0");
        write("log/1.csv", dataLine(kMidnight, 1, 5, "a") + dataLine(kMidnight + kDay, 0, 5, "b"));
        write("log/2.csv", dataLine(kMidnight + 5 * kDay, 1, 0, "c"));
        write("log/0.csv", dataLine(kMidnight + 10 * kDay, 1, 5, "d") +
                               dataLine(kMidnight + 10 * kDay + kHour, 2, 7, "e"));
    }

    Outcome statsIn(const std::string &zone, std::vector<std::string> options,
                    const std::string &locale = "C") const {
        options.insert(options.begin(), {"stats", "log"});
        return jorn(options, {"", "", {{"TZ", zone}, {"COLUMNS", "40"}, {"LC_ALL", locale}}, {}});
    }

    std::string statsOf(std::vector<std::string> options = {}) const {
        options.emplace_back("--utc");
        const Outcome run = statsIn("XYZ-5", options);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "");
        return run.out;
    }

    nlohmann::json jsonOf(std::vector<std::string> options = {}) const {
        options.insert(options.end(), {"-o", "json"});
        return nlohmann::json::parse(statsOf(options));
    }
};

TEST_F(StatsTest, Stats_RingThatCameRound_AllOfIt) {
    writeRing();
    EXPECT_EQ(statsOf(),
              "log     log\n"
              "ring    3 files; oldest at position 1, newest at 0\n"
              "index   index.csv\n"
              "items   5 from 2023-11-15 00:00:00Z to 2023-11-25 01:00:00Z\n"
              "bytes   85\n"
              "\n"
              "file   position  items              earliest                latest  bytes\n"
              "1.csv         1      2  2023-11-15 00:00:00Z  2023-11-16 00:00:00Z     34\n"
              "2.csv         2      1  2023-11-20 00:00:00Z  2023-11-20 00:00:00Z     17\n"
              "0.csv         0      2  2023-11-25 00:00:00Z  2023-11-25 01:00:00Z     34\n"
              "\n"
              "level  slot 0  slot 5  slot 7  total\n"
              "0           0       1       0      1\n"
              "1           1       2       0      3\n"
              "2           0       0       1      1\n"
              "3           0       0       0      0\n"
              "total       1       3       1      5\n"
              "\n"
              "2023-11-15  1  ############\n"
              "2023-11-16  1  ############\n"
              "2023-11-17  0\n"
              "2023-11-18  0\n"
              "2023-11-19  0\n"
              "2023-11-20  1  ############\n"
              "... 4 days without items\n"
              "2023-11-25  2  #########################\n");
}

TEST_F(StatsTest, StatsJson_RingThatCameRound_AllOfIt) {
    writeRing();
    EXPECT_EQ(statsOf({"-o", "json", "-S", "2023-11-20"}),
              "{\"log\":\"log\",\"ring\":{\"files\":3,\"is_exact\":true,\"oldest\":1,\"newest\":0},"
              "\"index\":\"index.csv\",\"items\":3,\"earliest\":\"2023-11-20T00:00:00Z\","
              "\"latest\":\"2023-11-25T01:00:00Z\",\"bytes\":85,\"files\":["
              "{\"file\":\"1.csv\",\"position\":1,\"items\":0,\"bytes\":34},"
              "{\"file\":\"2.csv\",\"position\":2,\"items\":1,\"earliest\":\"2023-11-20T00:00:00Z\","
              "\"latest\":\"2023-11-20T00:00:00Z\",\"bytes\":17},"
              "{\"file\":\"0.csv\",\"position\":0,\"items\":2,\"earliest\":\"2023-11-25T00:00:00Z\","
              "\"latest\":\"2023-11-25T01:00:00Z\",\"bytes\":34}],"
              "\"levels\":[{\"level\":0,\"items\":0,\"slots\":[]},"
              "{\"level\":1,\"items\":2,\"slots\":[{\"slot\":0,\"items\":1},{\"slot\":5,\"items\":1}]},"
              "{\"level\":2,\"items\":1,\"slots\":[{\"slot\":7,\"items\":1}]},"
              "{\"level\":3,\"items\":0,\"slots\":[]}],"
              "\"per\":\"day\",\"buckets\":[{\"start\":\"2023-11-20\",\"items\":1},"
              "{\"start\":\"2023-11-25\",\"items\":2}]}\n");
}

TEST_F(StatsTest, Stats_LogWithoutItems_SaysSo) {
    writeIndex("0,0");
    EXPECT_EQ(statsOf(),
              "log     log\n"
              "ring    at least 2 files; oldest at position 0, newest at 0\n"
              "index   index.csv\n"
              "items   0\n"
              "bytes   0\n");
    EXPECT_EQ(jsonOf()["items"], 0);
    EXPECT_FALSE(jsonOf().contains("earliest"));
}

TEST_F(StatsTest, Stats_DamagedLog_CountsWhatIsThereAndTells) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 9, "no such slot") + "no item\n" +
                           dataLine(kMidnight + 1, 7, 5, "no such level") +
                           dataLine(kMidnight + 2, -1, 5, "nor this") + dataLine(kMidnight + 3, 0, 5, "x"));
    const Outcome run = statsIn("UTC0", {"--utc"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err, "jorn: note: log/0.csv: 1 line that is not an item, at offset 28; left out\n");
    EXPECT_THAT(run.out, HasSubstr("\nlevel  slot 5  other  total\n"
                                   "0           1      0      1\n"
                                   "1           0      1      1\n"
                                   "2           0      0      0\n"
                                   "3           0      0      0\n"
                                   "other                     2\n"
                                   "total       1      1      4\n"));
    const auto levels = nlohmann::json::parse(statsIn("UTC0", {"-o", "json"}).out)["levels"];
    EXPECT_EQ(levels[1]["slots"].dump(), R"([{"items":1,"slot":"other"}])");
    EXPECT_EQ(levels[4].dump(), R"({"items":2,"level":"other"})");
}

TEST_F(StatsTest, Stats_StateOfTheIndex_IsTold) {
    writeRing();
    std::filesystem::rename(path("log/index.csv"), path("log/index.bak"));
    EXPECT_THAT(statsOf(), HasSubstr("index   index.bak, for want of index.csv\n"));
    write("log/index.csv", "garbage");
    const Outcome run = statsIn("UTC0", {});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.out, HasSubstr("index   cannot be used; see jorn check\n"));
    EXPECT_THAT(run.err, HasSubstr("the index is missing or damaged"));
}

TEST_F(StatsTest, Stats_DirectoryInPlaceOfTheIndex_RestIsTold) {
    writeRing();
    std::filesystem::remove(path("log/index.csv"));
    makeDirectory("log/index.csv");
    const Outcome run = statsIn("UTC0", {});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.out, HasSubstr("index   cannot be used; see jorn check\n"));
    EXPECT_THAT(run.out, HasSubstr("\nfile "));
}

TEST_F(StatsTest, Stats_GapInTheRing_PositionsOfTheNextStart) {
    writeIndex("0,4");
    write("log/1.csv", dataLine(kMidnight, 1, 5, "a"));
    write("log/4.csv", dataLine(kMidnight, 1, 5, "b"));
    const Outcome run = statsIn("UTC0", {});
    EXPECT_THAT(run.out, HasSubstr("ring    at least 5 files; oldest at position 3, newest at 4\n"));
    EXPECT_THAT(run.out, HasSubstr("\n1.csv         3      1"));
    EXPECT_THAT(run.out, HasSubstr("\n4.csv         4      1"));
    EXPECT_THAT(run.err, HasSubstr("not tidy"));
    EXPECT_THAT(statsIn("UTC0", {"--files", "5"}).out, HasSubstr("ring    5 files;"));
}

TEST_F(StatsTest, Stats_Filters_ChooseTheItems) {
    writeRing();
    EXPECT_THAT(statsOf({"-p", "1", "-s", "5", "-U", "2023-11-20"}),
                HasSubstr("items   2 from 2023-11-15 00:00:00Z to 2023-11-16 00:00:00Z\n"));
    EXPECT_THAT(statsOf({"--level", "2"}), HasSubstr("\nlevel  slot 7  total\n"
                                                     "2           1      1\n"
                                                     "total       1      1\n"));
    EXPECT_THAT(statsOf({"-g", "[ac]"}), HasSubstr("items   2 from 2023-11-15 00:00:00Z to 2023-11-20"));
    EXPECT_EQ(statsIn("UTC0", {"-g", "none"}).status, 1);
    const Outcome quiet = statsIn("UTC0", {"-q"});
    EXPECT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.out + quiet.err, "");
    EXPECT_EQ(statsIn("UTC0", {"-q", "-s", "3"}).status, 1);
}

/// `count` takes from the files' summaries what `stats` takes from their lines.
TEST_F(StatsTest, Stats_RandomItems_LevelsAreThoseOfCount) {
    writeIndex("3,2");
    uint32_t random = 12345;
    for (const char *name : {"log/0.csv", "log/1.csv", "log/2.csv", "log/3.csv"}) {
        std::string lines;
        for (int i = 0; i < 300; ++i) {
            random = random * 1103515245 + 12345;
            lines += dataLine(kMidnight + (random >> 8) % kDay, static_cast<int>((random >> 16) % 6) - 1,
                              static_cast<int>((random >> 20) % 10) - 1, "x");
        }
        write(name, lines);
    }
    write("log/1.csv", dataLine(kMidnight + 1, 3, 5, "of one hour") + dataLine(kMidnight + 9, 3, 5, "alone"));
    const nlohmann::json all = jsonOf();
    EXPECT_EQ(all["items"], 902);
    const auto count = nlohmann::json::parse(jorn({"count", "log", "-o", "json"}).out);
    for (size_t level = 0; level < 4; ++level) {
        EXPECT_EQ(all["levels"][level]["items"], count["levels"][level]["items"]) << level;
    }
    EXPECT_EQ(all["levels"][4]["items"], count["other"]);
    EXPECT_GT(count["other"], 0);
    EXPECT_EQ(all["items"], count["total"]);
    EXPECT_EQ(jsonOf({"-g", ""}), all);
}

TEST_F(StatsTest, Stats_FewDays_ByLocalHour) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight + kHour - 1, 1, 5, "a") + dataLine(kMidnight + kHour, 1, 5, "b") +
                           dataLine(kMidnight + 7 * kHour, 1, 5, "c"));
    const std::string bar(18, '#');
    EXPECT_THAT(statsOf(), HasSubstr("\n2023-11-15 00:00Z  1  " + bar + "\n2023-11-15 01:00Z  1  " + bar +
                                     "\n... 5 hours without items\n2023-11-15 07:00Z  1  " + bar + "\n"));
}

TEST_F(StatsTest, Stats_ZoneOfHalfAnHour_HoursBeginAsClocksShowThem) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight + kHour / 2 - 1, 1, 5, "a") +
                           dataLine(kMidnight + kHour / 2, 1, 5, "b") +
                           dataLine(kMidnight + kHour, 1, 5, "c"));
    EXPECT_THAT(statsIn("XYZ-5:30", {}).out,
                HasSubstr("\n2023-11-15 05:00  1  #########\n2023-11-15 06:00  2  ###################\n"));
    EXPECT_THAT(statsIn("XYZ-5:30", {"-o", "json"}).out,
                HasSubstr("{\"start\":\"2023-11-15T05:00:00+05:30\",\"items\":1}"));
}

TEST_F(StatsTest, Stats_PerDay_ByLocalDay) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight + 18 * kHour, 1, 5, "a") +
                           dataLine(kMidnight + 19 * kHour, 1, 5, "b") +
                           dataLine(kMidnight + 20 * kHour, 1, 5, "c"));
    EXPECT_THAT(statsIn("XYZ-5", {"--per", "day"}).out,
                HasSubstr("\n2023-11-15  1  ############\n2023-11-16  2  #########################\n"));
    EXPECT_THAT(statsOf({"--per", "day"}), HasSubstr("\n2023-11-15  3  #########################\n"));
}

TEST_F(StatsTest, Stats_ThreeDays_AreTheFirstShownByDay) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 5, "a") + dataLine(kMidnight + 3 * kDay - 1, 1, 5, "b"));
    EXPECT_EQ(jsonOf()["per"], "hour");
    write("log/0.csv", dataLine(kMidnight, 1, 5, "a") + dataLine(kMidnight + 3 * kDay, 1, 5, "b"));
    EXPECT_EQ(jsonOf()["per"], "day");
    EXPECT_EQ(jsonOf({"--per", "hour"})["per"], "hour");
}

TEST_F(StatsTest, Stats_ClocksPutBack_HoursStayApartAndDaysWhole) {
    // At 01:00 UTC on October 29th clocks went from 03:00 back to 02:00.
    constexpr uint32_t kBack = 1698541200;
    const std::string zone = "CET-1CEST,M3.5.0,M10.5.0/3";
    writeIndex("0,0");
    write("log/0.csv",
          dataLine(kBack - 1, 1, 5, "a") + dataLine(kBack, 1, 5, "b") + dataLine(kBack, 1, 5, "c"));
    EXPECT_THAT(statsIn(zone, {}).out, HasSubstr("\n2023-10-29 02:00  1  #########\n"
                                                 "2023-10-29 02:00  2  ###################\n"));
    EXPECT_THAT(statsIn(zone, {"--per", "day"}).out,
                HasSubstr("\n2023-10-29  3  #########################\n"));
}

TEST_F(StatsTest, Stats_ClocksPutBackWithinAnHour_EachItemInTheHourThatWasShown) {
    // At 15:00 UTC on April 1st clocks went from 02:00 back to 01:30.
    constexpr uint32_t kBack = 1680361200;
    writeIndex("0,0");
    write("log/0.csv",
          dataLine(kBack, 1, 5, "a") + dataLine(kBack - 1, 1, 5, "b") + dataLine(kBack + 1, 1, 5, "c"));
    EXPECT_THAT(statsIn("LHST-10:30LHDT-11,M10.1.0,M4.1.0", {"-o", "json"}).out,
                HasSubstr("\"buckets\":[{\"start\":\"2023-04-02T01:00:00+11:00\",\"items\":1},"
                          "{\"start\":\"2023-04-02T01:30:00+11:00\",\"items\":2}]"));
}

TEST_F(StatsTest, Stats_ClockSetFrom1970_OneLineForTheYearsBetween) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(0, 1, 5, "a") + dataLine(4294967295U, 1, 5, "b"));
    EXPECT_THAT(statsOf(), HasSubstr("\n1970-01-01  1  #########################\n"
                                     "... 49709 days without items\n"
                                     "2106-02-07  1  #########################\n"));
}

TEST_F(StatsTest, Stats_Bars_InBlocksWhereTheLocaleHasThem) {
    writeIndex("0,0");
    std::string lines = dataLine(kMidnight + 5 * kDay, 1, 5, "x");
    for (int i = 0; i < 1000; ++i) {
        lines += dataLine(kMidnight, 1, 5, "x");
    }
    write("log/0.csv", lines);
    const std::string out = statsIn("UTC0", {"--utc"}, "C.UTF-8").out;
    std::string whole;
    for (int i = 0; i < 22; ++i) {
        whole += "\xe2\x96\x88";
    }
    EXPECT_THAT(out, HasSubstr("\n2023-11-15  1000  " + whole + "\n"));
    EXPECT_THAT(out, HasSubstr("\n2023-11-20     1  \xe2\x96\x8f\n"));
    EXPECT_THAT(statsOf(), HasSubstr("\n2023-11-20     1  #\n"));
}

TEST_F(StatsTest, Stats_NarrowTerminal_StillHasBars) {
    writeRing();
    const Outcome run = jorn({"stats", "log", "--utc"}, {"", "", {{"COLUMNS", "3"}, {"LC_ALL", "C"}}, {}});
    EXPECT_THAT(run.out, HasSubstr("\n2023-11-15  1  #\n"));
    const Outcome usual =
        jorn({"stats", "log", "--utc"}, {"", "", {{"COLUMNS", "wide"}, {"LC_ALL", "C"}}, {}});
    EXPECT_THAT(usual.out, HasSubstr("\n2023-11-25  2  " + std::string(65, '#') + "\n"));
}

TEST_F(StatsTest, Stats_Names_StandForNumbers) {
    writeRing();
    write("log/jorn.names", "[levels]\n0 = St\xc3\xb6rung\n[slots]\n5 = T\xc3\xbcr\n");
    EXPECT_THAT(statsOf(), HasSubstr("\nlevel    slot 0  T\xc3\xbcr  slot 7  total\n"
                                     "St\xc3\xb6rung       0    1       0      1\n"
                                     "1             1    2       0      3\n"));
    EXPECT_THAT(statsOf({"--numbers"}), HasSubstr("\nlevel  slot 0  slot 5  slot 7  total\n"));
    const nlohmann::json level = jsonOf()["levels"][0];
    EXPECT_EQ(level["level_name"], "St\xc3\xb6rung");
    EXPECT_EQ(level["slots"][0]["slot_name"], "T\xc3\xbcr");
}

TEST_F(StatsTest, Stats_Colour_ByLevel) {
    writeRing();
    const std::string out = statsOf({"--color", "always"});
    EXPECT_THAT(out, HasSubstr("\n\x1b[1;31m0           0       1       0      1\x1b[0m\n"));
    EXPECT_THAT(out, HasSubstr("\nlevel  slot 0"));
    EXPECT_THAT(out, HasSubstr("\ntotal       1"));
    EXPECT_THAT(statsOf(), Not(HasSubstr("\x1b")));
}

TEST_F(StatsTest, Stats_DiskUsage_NowAndAtMost) {
    writeRing();
    write("log/77.csv", "surplus");
    write("log/index.bak", "older");
    uint64_t allocated = 0;
    for (const char *name :
         {"log/0.csv", "log/1.csv", "log/2.csv", "log/77.csv", "log/index.csv", "log/index.bak"}) {
        struct stat status = {};
        ASSERT_EQ(stat(path(name).c_str(), &status), 0);
        allocated += static_cast<uint64_t>(status.st_blocks) * 512;
    }
    const std::string now = "\ndisk    111 bytes in 6 files, " + std::to_string(allocated) + " allocated\n";
    const Outcome run = statsIn("UTC0", {"--disk-usage", "--files", "10"});
    EXPECT_THAT(run.out,
                HasSubstr(now + "at most 11700000 bytes with 10 files of 5000 items of 234 bytes, the "
                                "longest line that the store writes\n"));
    EXPECT_THAT(statsIn("UTC0", {"--disk-usage", "--files", "10", "-o", "json"}).out,
                HasSubstr("\"disk\":{\"files\":6,\"bytes\":111,\"allocated\":" + std::to_string(allocated) +
                          ",\"most\":11700000}"));
    EXPECT_THAT(statsIn("UTC0", {}).out, Not(HasSubstr("disk")));
}

TEST_F(StatsTest, Stats_HostileDirectoryName_IsEscaped) {
    writeIndex("0,0");
    std::filesystem::rename(path("log"), path("\x1b[2J\xff"));
    EXPECT_THAT(jorn({"stats", "\x1b[2J\xff"}).out, HasSubstr("log     \\x1b[2J\\xff\n"));
    EXPECT_THAT(jorn({"stats", "\x1b[2J\xff", "-o", "json"}).out,
                HasSubstr("{\"log\":\"\\u001b[2J\xef\xbf\xbd\""));
}

TEST_F(StatsTest, Stats_UsageErrors_ExitWith2) {
    for (const std::vector<std::string> &wrong : {std::vector<std::string>{"stats"},
                                                  {"stats", "log", "-o", "csv"},
                                                  {"stats", "log", "--per", "week"},
                                                  {"stats", "log", "-S", "never"},
                                                  {"stats", "log", "log"}}) {
        EXPECT_EQ(jorn(wrong).status, 2) << ::testing::PrintToString(wrong);
    }
    EXPECT_EQ(jorn({"stats", "missing"}).status, 4);
}

}  // namespace
}  // namespace test
