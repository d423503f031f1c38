// SPDX-License-Identifier: Apache-2.0
// `jorn record` of other logs' lines with their times, and of what `jorn export` wrote.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <random>

#include "common_values.h"
#include "tool_run.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;

/// By rule, not by a zone file that a machine may lack.
constexpr char kEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

class RecordImportTest : public ToolTest {
protected:
    static std::string sample(const std::string &name) {
        std::ifstream file(std::string(JORN_SAMPLES) + "/" + name, std::ios::binary);
        std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        EXPECT_NE(bytes, "") << name;
        return bytes;
    }

    Outcome record(const std::vector<std::string> &options, const std::string &input,
                   const std::string &zone = "UTC0") const {
        Setting setting;
        setting.input = input;
        setting.variables = {{"TZ", zone}};
        std::vector<std::string> arguments = {"record", "log"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return jorn(arguments, setting);
    }

    /// Items of the input by day, as `stats` counts them; the store's own is of level 3 in slot 7.
    std::map<std::string, int> days(const std::string &zone = "UTC0") const {
        Setting setting;
        setting.variables = {{"TZ", zone}};
        const Outcome run = jorn({"stats", "log", "--per", "day", "-o", "json", "-s", "1"}, setting);
        EXPECT_EQ(run.status, 0) << run.err;
        const nlohmann::json stats = nlohmann::json::parse(run.out);
        std::map<std::string, int> counts;
        for (const nlohmann::json &bucket : stats["buckets"]) {
            const int items = bucket["items"];
            if (items > 0) {
                counts[bucket["start"]] = items;
            }
        }
        return counts;
    }

    std::map<std::string, int> daysOf(const std::string &name, std::vector<std::string> options,
                                      const std::string &zone = "UTC0") const {
        options.insert(options.end(), {"-s", "1"});
        const Outcome run = record(options, sample(name), zone);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
        return days(zone);
    }

    std::vector<std::string> lines() const { return linesOf(read("log/0.csv")); }
};

TEST_F(RecordImportTest, Times_PackageManager_DaysOfTheSource) {
    EXPECT_THAT(daysOf("dpkg.log", {"--times", "iso"}),
                ElementsAre(Pair("2026-03-27", 6), Pair("2026-03-28", 2), Pair("2026-03-29", 3),
                            Pair("2026-04-02", 2)));
    EXPECT_EQ(lines().at(1), "1774602842,2,1,startup archives unpack");
}

TEST_F(RecordImportTest, Times_PackageManagerWhereClocksArePutOn_DaysOfTheSource) {
    EXPECT_THAT(daysOf("dpkg.log", {"--times", "iso"}, kEurope),
                ElementsAre(Pair("2026-03-27", 6), Pair("2026-03-28", 2), Pair("2026-03-29", 3),
                            Pair("2026-04-02", 2)));
    EXPECT_EQ(lines().at(1), "1774599242,2,1,startup archives unpack");
}

TEST_F(RecordImportTest, Times_Syslog_DaysOfTheSourceInTheYearsBefore) {
    std::map<std::string, int> counts;
    for (const auto &[day, items] : daysOf("messages.syslog", {"--times", "syslog"})) {
        counts[day.substr(day.find('-') + 1)] += items;
    }
    // The line without a time is of the day of the line before it.
    EXPECT_THAT(counts, ElementsAre(Pair("01-01", 2), Pair("01-09", 1), Pair("02-29", 1), Pair("12-30", 2),
                                    Pair("12-31", 3)));
    EXPECT_THAT(textsIn("log/0.csv").at(5), "\tdescriptor read");
}

TEST_F(RecordImportTest, Times_Rfc5424_DaysAndLevelsOfTheSource) {
    EXPECT_THAT(daysOf("messages.rfc5424", {"--times", "rfc5424"}),
                ElementsAre(Pair("2026-06-30", 3), Pair("2026-07-01", 2), Pair("2026-07-03", 1)));
    const std::string stored = read("log/0.csv");
    EXPECT_THAT(stored, HasSubstr(",2,1,gate-1 gated 811 ID47 [link@32473 port=\"3\"] link up\n"));
    EXPECT_THAT(stored, HasSubstr(",0,1,gate-1 gated 811 - - over current\n"));
    EXPECT_THAT(
        stored,
        HasSubstr(",3,1,gate-1 gated - - - polling\n1782864000,2,1,gate-1 gated - - - without a time\n"));
}

TEST_F(RecordImportTest, Times_KernelRingBuffer_DaysAfterTheStart) {
    EXPECT_THAT(daysOf("kernel.dmesg", {"--times", "kmsg", "--boot-time", "2026-05-01 00:00:00 UTC"}),
                ElementsAre(Pair("2026-05-01", 6), Pair("2026-05-02", 1), Pair("2026-05-03", 1)));
    EXPECT_EQ(lines().at(6), "1777679999,0,1,door0: motor does not answer");
}

TEST_F(RecordImportTest, Times_KernelRingBufferOfThisMachine_InThePast) {
    ASSERT_EQ(record({"--times", "kmsg"}, "[    0.000001] start\n").status, 0);
    const int64_t time = std::stoll(lines().at(1));
    EXPECT_GT(time, 1000000000);
    EXPECT_LE(time, ::time(nullptr));
}

TEST_F(RecordImportTest, Times_Logcat_DaysAndLevelsOfTheSource) {
    std::map<std::string, int> counts;
    for (const auto &[day, items] : daysOf("android.logcat", {"--times", "logcat"})) {
        counts[day.substr(day.find('-') + 1)] += items;
    }
    // What comes before the first time has that time.
    EXPECT_THAT(counts, ElementsAre(Pair("11-20", 5), Pair("11-21", 2), Pair("11-22", 1)));
    std::vector<std::string> levels;
    for (const std::string &line : lines()) {
        levels.push_back(line.substr(line.find(',') + 1, 1));
    }
    EXPECT_THAT(levels, ElementsAre("3", "2", "2", "3", "1", "2", "0", "0", "3"));
}

TEST_F(RecordImportTest, Times_Journal_DaysOfTheSource) {
    EXPECT_THAT(daysOf("journal.short-iso", {"--times", "iso"}, kEurope),
                ElementsAre(Pair("2026-10-24", 3), Pair("2026-10-25", 3), Pair("2026-10-27", 1)));
}

TEST_F(RecordImportTest, Times_FirstItemOfTheStore_HasTheFirstTime) {
    ASSERT_EQ(record({"--times", "epoch"}, "no time\n1000000000 a\nb\n999999999 c\n").status, 0);
    EXPECT_THAT(lines(), ElementsAre("1000000000,3,0,Log start init!", "1000000000,2,0,no time",
                                     "1000000000,2,0,a", "1000000000,2,0,b", "999999999,2,0,c"));
}

TEST_F(RecordImportTest, Times_Utc_LocalTimesAreReadInUtc) {
    ASSERT_EQ(record({"--times", "iso", "--utc"}, "2026-11-21 06:47:08 a\n", "JST-9").status, 0);
    EXPECT_EQ(lines().at(1), "1795243628,2,0,a");
}

TEST_F(RecordImportTest, Times_LongLines_TimeTakesNothingOfTheText) {
    const std::string whole(198, 'x');
    ASSERT_EQ(
        record({"--times", "iso", "--split"}, "2026-11-21T06:47:08.123456+00:00 " + whole +
                                                  "\n2026-11-21T06:47:09Z " + whole + std::string(700, 'y'))
            .status,
        0);
    EXPECT_EQ(lines().at(1), "1795243628,2,0," + whole);
    EXPECT_EQ(lines().at(2), "1795243629,2,0," + whole);
    EXPECT_EQ(lines().size(), 7U);
    EXPECT_EQ(lines().back().rfind("1795243629,2,0,yyy", 0), 0U);
}

TEST_F(RecordImportTest, Times_NoneInTheInput_NothingIsRecorded) {
    const Outcome run = record({"--times", "syslog"}, "2026-11-21 06:47:08 a\nb\n");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err,
              "jorn: no line begins with a time of the form 'syslog', so nothing was recorded; the first is: "
              "2026-11-21 06:47:08 a\n");
    EXPECT_FALSE(exists("log/0.csv"));
}

TEST_F(RecordImportTest, Times_NoneInTheFirstThousandLines_NothingIsRecorded) {
    const std::string late = numberedLines("a", 999) + "2026-11-21 06:47:08 a\n";
    EXPECT_EQ(record({"--times", "iso"}, late).status, 0);
    EXPECT_EQ(lines().at(1), "1795243628,2,0," + numberedText("a", 1));
    EXPECT_EQ(lines().size(), 1001U);
    const Outcome run = record({"--times", "iso"}, "one more\n" + late);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("none of the first 1000 lines begins with a time of the form 'iso'"));
    EXPECT_EQ(lines().size(), 1001U);
}

TEST_F(RecordImportTest, Times_EmptyInput_StoreStartsNow) {
    const time_t before = ::time(nullptr);
    ASSERT_EQ(record({"--times", "iso"}, "").status, 0);
    ASSERT_EQ(lines().size(), 1U);
    EXPECT_GE(std::stoll(lines().front()), before);
}

TEST_F(RecordImportTest, Times_ManySecondsOverManyFiles_EachItemHasItsOwn) {
    std::string input;
    for (int i = 0; i < 12000; ++i) {
        input += std::to_string(1500000000 + i) + " n" + std::to_string(i) + "\n";
    }
    ASSERT_EQ(record({"--times", "epoch"}, input).status, 0);
    int next = 0;
    for (const char *name : {"log/0.csv", "log/1.csv", "log/2.csv"}) {
        for (const std::string &line : linesOf(read(name))) {
            if (line == "1500000000,3,0,Log start init!") {
                continue;
            }
            ASSERT_EQ(line, std::to_string(1500000000 + next) + ",2,0,n" + std::to_string(next));
            ++next;
        }
    }
    EXPECT_EQ(next, 12000);
}

TEST_F(RecordImportTest, Options_ThatContradict_ExitWith2) {
    write("names", "[levels]\n0 = error\n");
    for (const std::vector<std::string> &options :
         std::vector<std::vector<std::string>>{{"--times", "unknown"},
                                               {"--times", "iso", "--format", "jsonl"},
                                               {"--prefix-levels", "--format", "jsonl"},
                                               {"--format", "csv"},
                                               {"--boot-time", "now"},
                                               {"--times", "kmsg", "--boot-time", "then"},
                                               {"-l", "error"},
                                               {"-l", "warning", "--names", "names"},
                                               {"-s", "door"}}) {
        EXPECT_EQ(record(options, "x\n").status, 2) << ::testing::PrintToString(options);
    }
    EXPECT_FALSE(exists("log"));
}

TEST_F(RecordImportTest, Names_OfTheDirectory_Serve) {
    makeDirectory("log");
    write("log/jorn.names", "[levels]\n0 = error\n[slots]\n5 = door\n");
    EXPECT_EQ(record({"-l", "error", "-s", "door"}, "x\n").status, 0);
    EXPECT_THAT(lines().at(1), ::testing::EndsWith(",0,5,x"));
    write("names", "[slots]\n6 = gate\n");
    EXPECT_EQ(record({"-s", "gate", "--names", "names"}, "y\n").status, 0);
    EXPECT_THAT(lines().at(3), ::testing::EndsWith(",2,6,y"));
    EXPECT_EQ(record({"-s", "door", "--names", "names"}, "z\n").err,
              "jorn: slot 'door' is neither a number from 0 to 7 nor a known name\n");
}

TEST_F(RecordImportTest, Names_FileWithAMistake_MattersOnlyWhereANameIsAsked) {
    makeDirectory("log");
    write("log/jorn.names", "[levels]\n9 = error\n");
    EXPECT_EQ(record({"-l", "1"}, "x\n").status, 0);
    const Outcome run = record({"-l", "error"}, "x\n");
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("log/jorn.names:2: "));
}

class RecordJsonTest : public RecordImportTest {
protected:
    Outcome recordJson(const std::string &input, std::vector<std::string> options = {}) const {
        options.insert(options.end(), {"--format", "jsonl"});
        return record(options, input);
    }

    /// All items of a log as an export writes them, without names.
    std::vector<std::string> exported(const std::string &log) const {
        const Outcome run = jorn({"export", "--utc", "--numbers", log});
        EXPECT_EQ(run.status, 0) << run.err;
        return linesOf(run.out);
    }

    /// Exports "from" and records it into "log", and expects the same items there after the store's own.
    void expectRoundTrip(const std::vector<std::string> &options) const {
        const std::vector<std::string> before = exported("from");
        const Outcome out = jorn({"export", "from", "--to", "items.jsonl", "--force"});
        ASSERT_EQ(out.status, 0) << out.err;
        const Outcome run = recordJson(read("items.jsonl"), options);
        ASSERT_EQ(run.status, 0) << run.err;
        std::vector<std::string> after = exported("log");
        ASSERT_FALSE(after.empty());
        const nlohmann::json first = nlohmann::json::parse(after.front());
        EXPECT_EQ(first["text"], kStart);
        EXPECT_EQ(first["time"], nlohmann::json::parse(before.front())["time"]);
        after.erase(after.begin());
        EXPECT_EQ(after, before);
    }
};

/// Bytes of every kind that an item can hold.
std::string randomText(std::mt19937 *random) {
    const std::string parts[] = {"door",
                                 " ",
                                 ",",
                                 "\"",
                                 "\\",
                                 "\t",
                                 "\x1b[31m",
                                 "\x7f",
                                 "gr\xc3\xbc\xc3\x9f",
                                 "\xe2\x82\xac",
                                 "\xf0\x9f\x9a\xaa",
                                 "\xff",
                                 "\xc3",
                                 "</x>",
                                 "{\"text\":1}",
                                 "\x01"};
    std::string text;
    const size_t most = (*random)() % 3 == 0 ? 198 : 40;
    while (text.size() < most) {
        const std::string part = parts[(*random)() % std::size(parts)];
        if (text.size() + part.size() > most || (*random)() % 12 == 0) {
            break;
        }
        text += part;
    }
    return text;
}

TEST_F(RecordJsonTest, RandomLogs_ExportedAndRecordedAgain_AreTheSame) {
    for (const uint32_t seed : {1U, 2U, 3U, 4U}) {
        std::mt19937 random(seed);
        std::filesystem::remove_all(path("from"));
        std::filesystem::remove_all(path("log"));
        makeDirectory("from");
        write("from/jorn.names", "[levels]\n0 = error\n[slots]\n5 = door\n");
        const int files = 2 + static_cast<int>(random() % 3);
        const int oldest = static_cast<int>(random()) & 1;
        auto time = static_cast<uint32_t>(random());
        for (int i = 0; i < files; ++i) {
            std::string data;
            const int items =
                i + 1 < files ? static_cast<int>(random() % 900) : 1 + static_cast<int>(random() % 900);
            for (int k = 0; k < items; ++k) {
                // Clocks of devices run on, stand still, are put back and put right.
                const uint32_t steps[] = {
                    0, 1, 7, 4000, static_cast<uint32_t>(-5000), static_cast<uint32_t>(random())};
                time += steps[random() % 100 < 95 ? random() % 3 : random() % 6];
                data += dataLine(time, static_cast<int>(random() % 4), static_cast<int>(random() % 8),
                                 randomText(&random));
            }
            write("from/" + std::to_string((oldest + i) % files) + ".csv", data);
        }
        const int latest = (oldest + files - 1) % files;
        write("from/index.csv", "version:1\n" + std::to_string(oldest) + "," + std::to_string(latest) + "\n");
        expectRoundTrip({});
    }
}

TEST_F(RecordJsonTest, LogOfFullFiles_ExportedAndRecordedAgain_IsTheSame) {
    makeDirectory("from");
    write("from/index.csv", "version:1\n0,1\n");
    for (int file = 0; file < 2; ++file) {
        std::string data;
        for (int i = 0; i < kFull; ++i) {
            data += dataLine(kMidnight + static_cast<uint32_t>(i / 3), i & 3, i & 7, "n" + std::to_string(i));
        }
        write("from/" + std::to_string(file) + ".csv", data);
    }
    expectRoundTrip({});
}

TEST_F(RecordJsonTest, RingTooSmallForAll_NothingIsRecordedUnlessFilesSaysSo) {
    const std::string item = "{\"time\":1700000000,\"text\":\"x\"}\n";
    std::string fitting;
    for (int i = 0; i < 10 * kFull - 1; ++i) {
        fitting += item;
    }
    const Outcome refused = recordJson(fitting + item);
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err,
              "jorn: log: the input has 50000 items, and a ring of 10 files holds 49999 of them; nothing was "
              "recorded. A larger --files holds more; --files 10 keeps the newest\n");
    EXPECT_FALSE(exists("log/0.csv"));
    EXPECT_EQ(recordJson("no item\n" + fitting).status, 3);
    EXPECT_EQ(exported("log").size(), 50000U);
    // The newest file is full now, so that the next one takes the store's own item.
    EXPECT_EQ(recordJson(fitting + item).status, 2);
    EXPECT_EQ(recordJson(fitting + item, {"--files", "10"}).status, 0);
    EXPECT_EQ(exported("log").size(), 45001U);
}

TEST_F(RecordJsonTest, LinesThatAreNoItems_LeftOutAndTold) {
    const std::string input =
        "{\"time\":7,\"level\":1,\"slot\":2,\"text\":\"a\"}\n"
        "\n"
        "[]\n"
        "{\"time\":-1,\"text\":\"b\"}\n"
        "{\"time\":4294967296,\"text\":\"b\"}\n"
        "{\"time\":\"8\",\"text\":\"b\"}\n"
        "{\"level\":4,\"text\":\"b\"}\n"
        "{\"slot\":8,\"text\":\"b\"}\n"
        "{\"text\":7}\n"
        "{\"time\":8}\n"
        "{\"text\":\"\",\"text_base64\":\"=\"}\n"
        "{\"text\":\"b\"} x\n"
        "\"text\"\n"
        "{\"text\":\"" +
        std::string(70000, 'x') +
        "\"}\n"
        "{\"time\":9,\"other\":{\"text\":\"no\",\"level\":9},\"more\":[1,{\"time\":3}],\"text\":\"c\","
        "\"level\":null}\n"
        "{\"text\":\"d\",\"log\":\"door\"}";
    const Outcome run = recordJson(input);
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err,
              "jorn: standard input: line 3 is not an item: it is not a JSON object; 12 lines left out\n");
    EXPECT_THAT(lines(), ElementsAre("7,3,0,Log start init!", "7,1,2,a", "9,2,0,c", "9,2,0,d"));
}

TEST_F(RecordJsonTest, TextsThatNoLineHolds_CutOrSplit) {
    const std::string input = "{\"time\":7,\"text\":\"" + std::string(197, 'x') + "\xc3\xbc\\u0000y\\n\"}\n";
    const Outcome run = recordJson(input);
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("were cut: 1 "));
    EXPECT_EQ(textsIn("log/0.csv").back(), std::string(197, 'x'));
    ASSERT_EQ(recordJson(input, {"--split"}).status, 0);
    EXPECT_EQ(textsIn("log/0.csv").back(), "\xc3\xbc y ");
}

TEST_F(RecordJsonTest, NamesInPlaceOfNumbers_Serve) {
    write("names", "[levels]\n0 = error\n[slots]\n5 = door\n");
    const std::string input = R"({"time":7,"level_name":"error","slot_name":"door","text":"a"})"
                              "\n"
                              R"({"time":8,"level":1,"level_name":"other","text":"b"})"
                              "\n"
                              R"({"time":9,"level_name":"unknown","text":"c"})";
    const Outcome run = recordJson(input, {"--names", "names"});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, HasSubstr("line 3 is not an item: \"level\" is not a level"));
    EXPECT_THAT(lines(), ElementsAre("7,3,0,Log start init!", "7,0,5,a", "8,1,0,b"));
}

TEST_F(RecordJsonTest, NoTimes_Now) {
    const time_t before = ::time(nullptr);
    ASSERT_EQ(recordJson("{\"text\":\"a\"}\n").status, 0);
    EXPECT_GE(std::stoll(lines().at(1)), before);
}

TEST_F(RecordJsonTest, Pipe_IsReadAsAWhole) {
    RunningTool tool(root_, {"record", "log", "--format", "jsonl"});
    tool.feed(R"({"time":7,"te)");
    tool.feed("xt\":\"a\"}\n");
    tool.endInput();
    const Outcome run = tool.wait();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(lines(), ElementsAre("7,3,0,Log start init!", "7,2,0,a"));
}

TEST_F(RecordJsonTest, Line_UpTo65536Bytes_IsReadAsAWhole) {
    const auto lineOf = [](size_t length) {
        const std::string head = R"({"time":1700000000,"level":1,"slot":2,"text":"x","note":")";
        return head + std::string(length - head.size() - 2, 'n') + "\"}\n";
    };
    EXPECT_EQ(recordJson(lineOf(65536)).status, 0);
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre(kStart, "x"));
    const Outcome run = recordJson(lineOf(65537));
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, HasSubstr("it is longer than 65536 bytes"));
}

}  // namespace
}  // namespace test
