// SPDX-License-Identifier: Apache-2.0
// Each endpoint's answer, byte by byte, and what is refused.
#include <gmock/gmock.h>

#include "served_ring.h"
#include "terminal/base64.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// Three items in two files, with names.
class ApiTest : public ServeTest {
protected:
    ApiTest() {
        start(0, line("power on", kTime, 2, 5) + line("door <b>open</b>", kTime + 60, 0, 5));
        start(1, line("gate shut", kTime + 120, 1, 3));
        writeIndex("0,1");
        write("log/jorn.names", "[levels]\n0 = error\n[slots]\n5 = door\n");
        serve();
    }
};

const std::string kPowerOn =
    R"({"time":1700000000,"iso":"2023-11-14T22:13:20+00:00","level":2,"slot":5,"slot_name":"door",)"
    R"("text":"power on","log":"log","cursor":"log~1700000000~0~0~0073c5ff"})";
const std::string kDoor =
    R"({"time":1700000060,"iso":"2023-11-14T22:14:20+00:00","level":0,"level_name":"error","slot":5,)"
    R"("slot_name":"door","text":"door <b>open</b>","log":"log","cursor":"log~1700000060~0~24~9a76efe5"})";
const std::string kGate =
    R"({"time":1700000120,"iso":"2023-11-14T22:15:20+00:00","level":1,"slot":3,"text":"gate shut",)"
    R"("log":"log","cursor":"log~1700000120~1~0~685f0497"})";

TEST_F(ApiTest, Items_All_AreThoseOfShowWithLogAndCursor) {
    EXPECT_EQ(
        body("items"),
        R"({"total":3,"rank":0,"anchor_rank":null,"revision":1,"position":"log~1700000120~1~0~685f0497",)"
        R"("items":[)" +
            kGate + "," + kDoor + "," + kPowerOn + "]}\n");
    EXPECT_EQ(
        body("items", {{"order", "oldest"}, {"rank", "1"}, {"after", "1"}}),
        R"({"total":3,"rank":1,"anchor_rank":null,"revision":1,"position":"log~1700000120~1~0~685f0497",)"
        R"("items":[)" +
            kDoor + "]}\n");
}

TEST_F(ApiTest, Histogram_All_CountsByLevelInRoundSteps) {
    EXPECT_EQ(body("histogram", {{"buckets", "3"}}),
              R"({"since":1700000000,"until":1700000120,"step":60,"total":3,"first":1700000000,)"
              R"("last":1700000120,"revision":1,"buckets":[[1699999980,0,0,1,0,0],[1700000040,1,0,0,0,0],)"
              R"([1700000100,0,1,0,0,0]]})"
              "\n");
    EXPECT_EQ(body("histogram", {{"q", "nothing"}, {"since", "@1700000000"}, {"until", "@1700000009"}}),
              R"({"since":1700000000,"until":1700000009,"step":1,"total":0,"first":null,"last":null,)"
              R"("revision":1,"buckets":[]})"
              "\n");
}

TEST_F(ApiTest, Facets_Filtered_EachLeavesItsOwnFilterOut) {
    const Json facets = json("facets", {{"level", "error"}, {"slot", "door"}});
    EXPECT_EQ(facets["levels"].dump(),
              R"([{"level":0,"name":"error","items":1},{"level":1,"name":null,"items":0},)"
              R"({"level":2,"name":null,"items":1},{"level":3,"name":null,"items":0}])");
    EXPECT_EQ(facets["slots"][5].dump(), R"({"slot":5,"name":"door","items":1})");
    EXPECT_EQ(facets["slots"][3].dump(), R"({"slot":3,"name":null,"items":0})");
    EXPECT_EQ(facets["slots"].size(), 8U);
    EXPECT_EQ(facets["logs"].dump(), R"([{"log":"log","items":1}])");
}

TEST_F(ApiTest, Facets_ItemsOutsideTheTables_AreCountedApart) {
    append(1, line("odd", kTime + 130, 9, 11));
    logs_->refreshAll();
    const Json facets = json("facets");
    EXPECT_EQ(facets["levels"].back().dump(), R"({"level":null,"name":"other","items":1})");
    EXPECT_EQ(facets["slots"].back().dump(), R"({"slot":null,"name":"other","items":1})");
    EXPECT_EQ(json("histogram")["buckets"].back().back(), 1);
}

TEST_F(ApiTest, Logs_OneLog_SaysWhatItHolds) {
    Json logs = json("logs");
    EXPECT_EQ(logs["version"], "1.2.3");
    EXPECT_EQ(logs["timezone"], "+00:00");
    EXPECT_GE(logs["now"], 1700000000);
    EXPECT_EQ(logs["logs"][0].dump(), R"({"log":"log","path":")" + path("log") +
                                          R"(","items":3,"bytes":81,"files":2,"ring_size":2,)"
                                          R"("oldest":1700000000,"newest":1700000120,"state":"checking",)"
                                          R"("findings":0,"level_names":{"0":"error"},)"
                                          R"("slot_names":{"5":"door"}})");
}

TEST_F(ApiTest, Findings_AfterACheck_AreThoseOfCheck) {
    append(1, "no item\n");
    logs_->refreshAll();
    logs_->check(0);
    const Json log = json("findings")["logs"][0];
    EXPECT_EQ(log["state"], "damaged");
    const Json printed = Json::parse(linesOf(jorn({"check", "-o", "json", path("log")}).out)[0]);
    EXPECT_EQ(log["findings"].dump(), Json::array({printed}).dump());
    EXPECT_EQ(json("logs")["logs"][0]["state"], "damaged");
    EXPECT_EQ(json("logs")["logs"][0]["findings"], 1);
}

TEST_F(ApiTest, Check_FileWithoutItemsChanged_StateIsThatOfNow) {
    const auto stateNow = [this] {
        logs_->refreshAll();
        logs_->check(0);
        return json("logs")["logs"][0]["state"];
    };
    EXPECT_EQ(stateNow(), "ok");
    EXPECT_EQ(stateNow(), "ok");
    const std::string index = read("log/index.csv");
    write("log/index.csv", index + "junk");
    EXPECT_EQ(stateNow(), "notes");
    write("log/index.csv", index);
    EXPECT_EQ(stateNow(), "ok");
}

TEST_F(ApiTest, State_LogGoneAndBack_IsSaid) {
    logs_->check(0);
    EXPECT_EQ(json("logs")["logs"][0]["state"], "ok");
    std::filesystem::rename(path("log"), path("away"));
    logs_->refreshAll();
    EXPECT_EQ(json("logs")["logs"][0]["state"], "missing");
    EXPECT_EQ(json("items")["total"], 0);
    std::filesystem::rename(path("away"), path("log"));
    logs_->refreshAll();
    EXPECT_EQ(json("items")["total"], 3);
}

TEST_F(ApiTest, Item_ByCursor_HasItsRawLineAndPlace) {
    const std::string cursor = cursorOf("door <b>open</b>");
    EXPECT_EQ(body("item", {{"cursor", cursor}}),
              kDoor.substr(0, kDoor.size() - 1) +
                  R"(,"raw":"1700000060,0,5,door <b>open</b>","raw_base64":")" +
                  tool::toBase64("1700000060,0,5,door <b>open</b>") +
                  R"(","file":"0.csv","offset":24,"path":")" + path("log/0.csv") + "\"}\n");
}

TEST_F(ApiTest, Command_Filter_IsOneThatAShellReadsAsItWasMeant) {
    EXPECT_EQ(body("command"), R"({"command":"jorn show -r )" + path("log") + "\"}\n");
    const Json command = json("command", {{"since", "2 days ago"},
                                          {"until", "now"},
                                          {"level", "error,1"},
                                          {"slot", "5"},
                                          {"q", "it's -v"},
                                          {"case", "ignore"},
                                          {"invert", "1"},
                                          {"order", "oldest"}});
    EXPECT_EQ(command["command"],
              "jorn show '--since=2 days ago' --until=now --level=error,1 --slot=5 "
              R"('--grep=it'\''s -v' -i -v -n all )" +
                  path("log"));
}

TEST_F(ApiTest, Command_RunByAShell_PrintsTheSameItems) {
    const std::string command = json("command", {{"q", "door|gate"}, {"since", "@1700000001"}})["command"];
    const Outcome shown = jorn({"show", "--since=@1700000001", "--grep=door|gate", "-r", path("log")});
    EXPECT_EQ(command, "jorn show --since=@1700000001 '--grep=door|gate' -r " + path("log"));
    EXPECT_THAT(shownTexts(shown.out), ElementsAre("gate shut", "door <b>open</b>"));
    EXPECT_THAT(texts({{"q", "door|gate"}, {"since", "@1700000001"}}),
                ElementsAre("gate shut", "door <b>open</b>"));
}

TEST_F(ApiTest, CheckFilter_Times_AreResolved) {
    EXPECT_EQ(body("check-filter", {{"since", "2023-11-14 22:13:20"}}),
              "{\"since\":1700000000,\"until\":null}\n");
    EXPECT_EQ(body("check-filter", {{"until", "2023-11-14"}}), "{\"since\":null,\"until\":1700006399}\n");
}

TEST_F(ApiTest, Download_BothForms_AreTheBytesOfTheCommandLine) {
    const tool::WebAnswer lines = answer("download", {{"format", "jsonl"}, {"order", "newest"}});
    EXPECT_EQ(sent(lines), jorn({"export", path("log")}).out);
    EXPECT_EQ(lines.type, "application/x-ndjson");
    EXPECT_THAT(lines.headers, ElementsAre(std::pair<std::string, std::string>(
                                   "Content-Disposition", "attachment; filename=\"jorn.jsonl\"")));
    const tool::WebAnswer csv = answer("download", {{"format", "csv"}, {"slot", "5"}});
    EXPECT_EQ(sent(csv), jorn({"show", "-o", "csv", "-s", "5", path("log")}).out);
    EXPECT_EQ(csv.type, "text/csv; charset=utf-8");
}

TEST_F(ApiTest, Download_ClientClosedItsSendingSide_GetsAllInBothForms) {
    for (const std::string form : {"jsonl", "csv"}) {
        std::string all;
        EXPECT_TRUE(answer("download", {{"format", form}}).send([&](std::string_view bytes) {
            all += bytes;
            return !bytes.empty();  // A question whether the client is still there.
        })) << form;
        EXPECT_THAT(all, HasSubstr("gate shut")) << form;
    }
}

TEST_F(ApiTest, Download_RingMovesOnMeanwhile_IsCutOff) {
    const tool::WebAnswer lines = answer("download");
    start(0, line("other", kTime + 999));
    EXPECT_EQ(sent(lines), "cut off");
}

TEST_F(ApiTest, Refusals_BadParameters_NameTheParameter) {
    EXPECT_EQ(refusal("items", {{"q", "a(b"}}),
              "400 {\"error\":\"missing ): a(b\",\"parameter\":\"q\",\"fragment\":\"a(b\"}\n");
    EXPECT_EQ(refusal("items", {{"colour", "red"}}),
              "400 {\"error\":\"unknown parameter\",\"parameter\":\"colour\"}\n");
    EXPECT_EQ(refusal("items", {{"since", "@1"}, {"since", "@2"}}),
              "400 {\"error\":\"given more than once\",\"parameter\":\"since\"}\n");
    EXPECT_EQ(refusal("facets", {{"level", "4"}}),
              "400 {\"error\":\"'4' is neither a number from 0 to 3 nor a known name\","
              "\"parameter\":\"level\"}\n");
    EXPECT_THAT(refusal("facets", {{"slot", "gate"}}), HasSubstr("\"parameter\":\"slot\""));
    EXPECT_THAT(refusal("facets", {{"slot", ""}}), HasSubstr("\"parameter\":\"slot\""));
    EXPECT_EQ(refusal("facets", {{"log", "no"}}),
              "400 {\"error\":\"no log is named 'no'\",\"parameter\":\"log\"}\n");
    EXPECT_THAT(refusal("histogram", {{"since", "soon"}}),
                HasSubstr("400 {\"error\":\"'soon' is not a time from 1970 to 2106: 2026"));
    EXPECT_EQ(refusal("histogram", {{"since", "@9"}, {"until", "@8"}}),
              "400 {\"error\":\"must not be later than until\",\"parameter\":\"since\"}\n");
    const auto refused = [&](const std::string &path, const Given &parameters) {
        const Json error = Json::parse(refusal(path, parameters).substr(4));
        return std::string(error["parameter"]) + ": " + std::string(error["error"]);
    };
    EXPECT_EQ(refused("items", {{"order", "up"}}), "order: must be newest or oldest");
    EXPECT_EQ(refused("items", {{"case", "up"}}), "case: must be ignore or match");
    EXPECT_EQ(refused("items", {{"invert", "2"}}), "invert: must be 0 or 1");
    EXPECT_EQ(refused("items", {{"rank", "-1"}}), "rank: must be a number from 0 to 4294967295");
    EXPECT_EQ(refused("items", {{"rank", "1"}, {"time", "1"}}),
              "cursor: give only one of cursor, rank and time");
    EXPECT_EQ(refused("items", {{"after", "600"}, {"before", "401"}}),
              "after: before and after must add up to at most 1000");
    EXPECT_EQ(refused("items", {{"cursor", "../../etc/passwd"}}), "cursor: not a cursor");
    EXPECT_EQ(refused("items", {{"anchor", "log"}}), "anchor: not a cursor");
    EXPECT_EQ(refused("items", {{"q", std::string(1001, 'a')}}), "q: must have at most 1000 bytes");
    EXPECT_EQ(refused("histogram", {{"buckets", "2001"}}), "buckets: must be a number from 1 to 2000");
    EXPECT_EQ(refused("item", {}), "cursor: give the cursor of an item");
    EXPECT_EQ(refused("stream", {{"position", "x"}}), "position: not a position");
    EXPECT_EQ(refused("stream", {{"position", "log~-~1x"}}), "position: not a position");
    EXPECT_EQ(refused("stream", {{"position", "~-~1"}, {"cursor", "x"}}),
              "cursor: give only one of cursor and position");
    EXPECT_EQ(refused("download", {{"format", "xml"}}), "format: must be jsonl or csv");
    EXPECT_EQ(refusal("nothing", {}), "404 {\"error\":\"there is nothing at this path\"}\n");
}

TEST_F(ApiTest, Bounds_AtTheLimitAndBeyond_AreKept) {
    EXPECT_EQ(answer("items", {{"before", "500"}, {"after", "500"}}).status, 200);
    EXPECT_EQ(answer("items", {{"before", "501"}, {"after", "500"}}).status, 400);
    EXPECT_EQ(answer("items", {{"after", "1001"}}).status, 400);
    EXPECT_EQ(answer("histogram", {{"buckets", "2000"}}).status, 200);
    EXPECT_EQ(answer("histogram", {{"buckets", "2001"}}).status, 400);
    EXPECT_EQ(answer("histogram", {{"buckets", "0"}}).status, 400);
    EXPECT_EQ(answer("items", {{"q", std::string(1000, 'a')}}).status, 200);
    EXPECT_EQ(answer("items", {{"q", std::string(1001, 'a')}}).status, 400);
    EXPECT_THAT(refusal("items", {{"q", "((((((a{100}){100}){100}){100}){100}){100})"}}),
                HasSubstr("\"parameter\":\"q\""));
    EXPECT_THAT(refusal("items", {{"q", "(\\pL{500}){2}|(\\pL{400}){2}"}}), HasSubstr("pattern too large"));
}

TEST_F(ApiTest, Kinds_OfPaths_AreCountedApart) {
    EXPECT_EQ(tool::Api::kindOf("/api/stream"), tool::RequestKind::Stream);
    EXPECT_EQ(tool::Api::kindOf("/api/download"), tool::RequestKind::Download);
    EXPECT_EQ(tool::Api::kindOf("/api/items"), tool::RequestKind::Short);
    EXPECT_EQ(tool::Api::kindOf("/"), tool::RequestKind::Short);
}

TEST_F(ApiTest, Answer_TakesTooLong_IsGivenUp) {
    tool::ApiTerms terms = usualTerms();
    terms.longestAnswer = std::chrono::milliseconds(-1);
    serve({"log"}, terms);
    EXPECT_EQ(refusal("items", {}), "504 {\"error\":\"the answer takes too long; narrow the filter\"}\n");
}

TEST_F(ServeTest, Items_HostileTexts_AreValidJsonThatHoldsEveryByte) {
    const std::vector<std::string> hostile = {"<script>alert(1)</script>&amp;\"'",
                                              "\x1b[31mred\x1b]0;title\x07",
                                              "\xe2\x80\xaetfel",
                                              std::string(198, 'w'),
                                              "a\xff\xc3(\x80z",
                                              "back\\slash \t tab"};
    std::string bytes;
    for (const std::string &text : hostile) {
        bytes += line(text);
    }
    makeLog(bytes + line(std::string("cut\0off", 7)) + line("last"));
    serve();
    const Json items = json("items", {{"order", "oldest"}})["items"];
    ASSERT_EQ(items.size(), hostile.size() + 2);
    for (size_t i = 0; i < hostile.size(); ++i) {
        const bool isUtf8 = !items[i].contains("text_base64");
        EXPECT_EQ(
            isUtf8 ? std::string(items[i]["text"]) : *tool::fromBase64(std::string(items[i]["text_base64"])),
            hostile[i]);
        EXPECT_EQ(Json::parse(body("item", {{"cursor", items[i]["cursor"]}}))["raw_base64"],
                  tool::toBase64("1700000000,1,0," + hostile[i]));
    }
    EXPECT_TRUE(items[4].contains("text_base64"));
    EXPECT_EQ(items[6]["text"], "cut");
    EXPECT_EQ(items[7]["text"], "last");
}

TEST_F(ServeTest, Filter_NamesThatDifferBetweenLogs_MeanEachLogsOwn) {
    makeLog(line("a0", kTime, 0, 1) + line("a1", kTime + 1, 1, 2), "a");
    makeLog(line("b0", kTime + 2, 0, 1) + line("b1", kTime + 3, 1, 2), "b");
    write("a/jorn.names", "[levels]\n0 = bad\n[slots]\n1 = door\n");
    write("b/jorn.names", "[levels]\n1 = bad\n");
    serve({"a", "b"});
    EXPECT_THAT(texts({{"level", "bad"}}), ElementsAre("b1", "a0"));
    EXPECT_THAT(texts({{"slot", "door"}}), ElementsAre("a0"));
    EXPECT_THAT(texts({{"slot", "door,2"}}), ElementsAre("b1", "a1", "a0"));
    EXPECT_THAT(texts({{"log", "b"}}), ElementsAre("b1", "b0"));
    EXPECT_THAT(texts({{"log", "b"}, {"slot", "door"}}), IsEmpty());
    const Json facets = json("facets", {{"log", "b"}});
    EXPECT_EQ(facets["logs"].dump(), R"([{"log":"a","items":2},{"log":"b","items":2}])");
    EXPECT_EQ(facets["levels"][0]["items"], 1);
}

TEST_F(ServeTest, Filter_RangeOfLevels_IsThatOfTheCommandLine) {
    makeLog(line("0", kTime, 0) + line("1", kTime, 1) + line("2", kTime, 2) + line("3", kTime, 3) +
            line("-1", kTime, -1) + line("4", kTime, 4));
    write("log/jorn.names", "[levels]\n1 = warning\n");
    serve();
    EXPECT_THAT(texts({{"level", "0..2"}}), ElementsAre("2", "1", "0"));
    EXPECT_THAT(texts({{"level", "2..warning"}}), ElementsAre("2", "1"));
    EXPECT_THAT(texts({{"level", "..warning"}}), ElementsAre("-1", "1", "0"));
    EXPECT_THAT(texts({{"level", "0"}, {"level", "2,3"}}), ElementsAre("3", "2", "0"));
    for (const std::string bad : {"0..", "..", "0..4", "x..1", "0..1,3", "3,0..1", "0...2"}) {
        EXPECT_THAT(refusal("items", {{"level", bad}}), HasSubstr("400 {\"error\":\"'")) << bad;
    }
    EXPECT_THAT(refusal("items", {{"level", "0..1"}, {"level", "3"}}), HasSubstr("\"parameter\":\"level\""));
}

TEST_F(ServeTest, Filter_LogNamesWithCommas_AreTakenWhole) {
    for (const std::string name : {"a", "b", "a,b", "c,d"}) {
        makeLog(line("of " + name), name);
    }
    serve({"a", "b", "a,b", "c,d"});
    EXPECT_THAT(texts({{"log", "a,b"}}), ElementsAre("of a,b"));
    EXPECT_THAT(texts({{"log", "b,a"}}), ElementsAre("of b", "of a"));
    EXPECT_THAT(texts({{"log", "a"}, {"log", "c,d"}}), ElementsAre("of c,d", "of a"));
    EXPECT_THAT(refusal("items", {{"log", "a,c,d"}}), HasSubstr("no log is named 'c'"));
    EXPECT_THAT(refusal("items", {{"log", ""}}), HasSubstr("no log is named ''"));
}

TEST_F(ServeTest, Search_SeveralExpressions_FindsAnyOfThem) {
    makeLog(line("door") + line("gate") + line("a.b") + line("axb"));
    serve();
    EXPECT_THAT(texts({{"q", "door"}, {"q", "g.te"}}), ElementsAre("gate", "door"));
    EXPECT_THAT(texts({{"q", "\\Qa.b"}, {"q", "door"}}), ElementsAre("a.b", "door"));
    EXPECT_THAT(texts({{"q", "D"}, {"q", "T"}, {"case", "ignore"}, {"invert", "1"}}),
                ElementsAre("axb", "a.b"));
    EXPECT_EQ(refusal("items", {{"q", "(a"}, {"q", "b)"}}),
              "400 {\"error\":\"missing ): (a\",\"parameter\":\"q\",\"fragment\":\"(a\"}\n");
    EXPECT_EQ(answer("items", {{"q", std::string(500, 'a')}, {"q", std::string(500, 'b')}}).status, 400);
}

TEST_F(ServeTest, Search_CaseIgnoredAndNot_AreKeptApart) {
    makeLog(line("Door") + line("door"));
    serve();
    EXPECT_THAT(texts({{"q", "door"}}), ElementsAre("door"));
    EXPECT_THAT(texts({{"q", "door"}, {"case", "ignore"}}), ElementsAre("door", "Door"));
    EXPECT_THAT(texts({{"q", "door"}, {"invert", "1"}}), ElementsAre("Door"));
    EXPECT_THAT(texts({{"q", "door"}}), ElementsAre("door"));
    append(0, line("door too"));
    logs_->refreshAll();
    EXPECT_THAT(texts({{"q", "door"}}), ElementsAre("door too", "door"));
}

TEST_F(ServeTest, Items_AroundTimeRankAndCursor_InBothOrders) {
    makeLog(line("1", kTime + 10) + line("2", kTime + 20) + line("3", kTime + 30) + line("4", kTime + 40));
    serve();
    const auto at = [&](Given place, const std::string &order) {
        place.emplace_back("before", "1");
        place.emplace_back("after", "1");
        place.emplace_back("order", order);
        const Json found = json("items", place);
        std::string shown = std::to_string(static_cast<int>(found["rank"])) + ":";
        for (const Json &item : found["items"]) {
            shown += std::string(item["text"]);
        }
        return shown;
    };
    const std::string third = cursorOf("3");
    EXPECT_EQ(at({{"cursor", third}}, "oldest"), "1:234");
    EXPECT_EQ(at({{"cursor", third}}, "newest"), "0:432");
    EXPECT_EQ(at({{"cursor", third}, {"q", "[^3]"}}, "oldest"), "1:24");
    EXPECT_EQ(at({{"cursor", third}, {"q", "[^3]"}}, "newest"), "0:42");
    EXPECT_EQ(at({{"time", "1700000020"}}, "oldest"), "0:12");
    EXPECT_EQ(at({{"time", "1700000020"}}, "newest"), "1:32");
    EXPECT_EQ(at({{"time", "1700000021"}}, "oldest"), "1:23");
    EXPECT_EQ(at({{"time", "1700000029"}}, "newest"), "1:32");
    EXPECT_EQ(at({{"time", "1700000041"}}, "oldest"), "3:4");
    EXPECT_EQ(at({{"time", "9"}}, "newest"), "3:1");
    EXPECT_EQ(at({{"rank", "3"}}, "newest"), "2:21");
    EXPECT_EQ(at({{"rank", "9"}}, "oldest"), "3:4");
}

/// The texts of one window, which holds all items.
class MergedItemsTest : public ServeTest {
protected:
    std::string order(Given parameters) {
        parameters.emplace_back("before", "9");
        std::string all;
        for (const std::string &text : texts(parameters)) {
            all += (all.empty() ? "" : " ") + text;
        }
        return all;
    }
};

TEST_F(MergedItemsTest, Items_AroundOneThatDoesNotPass_AreInTheirOrder) {
    constexpr int kInfo = 2;
    // The clock of the first log was set back: of the items that pass, its own is the earliest.
    makeLog(line("a1", kTime + 500, kInfo) + line("a2", kTime + 100, 0), "a");
    makeLog(line("b1", kTime + 200, 0) + line("b2", kTime + 300, 0), "b");
    serve({"a", "b"});
    const std::string cursor = cursorOf("a1");
    for (const auto &[name, expected] : {std::pair{"oldest", "a2 b1 b2"}, std::pair{"newest", "b2 b1 a2"}}) {
        EXPECT_EQ(order({{"level", "0"}, {"order", name}}), expected);
        EXPECT_EQ(order({{"level", "0"}, {"order", name}, {"cursor", cursor}}), expected);
    }
}

TEST_F(MergedItemsTest, Items_AroundOneThatDoesNotPass_BeginAtItsTimeInAllLogs) {
    constexpr int kInfo = 2;
    makeLog(line("a1", kTime + 250, kInfo) + line("a2", kTime + 400, 0), "a");
    makeLog(line("b1", kTime + 200, 0) + line("b2", kTime + 250, 0) + line("b3", kTime + 300, 0), "b");
    makeLog(line("c1", kTime + 500, 0) + line("c2", kTime + 50, kInfo) + line("c3", kTime + 600, 0), "c");
    serve({"a", "b", "c"});
    const auto rank = [&](const std::string &text, Given parameters) {
        parameters.emplace_back("cursor", cursorOf(text));
        return static_cast<int>(json("items", parameters)["rank"]);
    };
    EXPECT_EQ(rank("a1", {{"level", "0"}, {"order", "oldest"}}), 1);
    EXPECT_EQ(rank("a1", {{"level", "0"}}), 5);
    // Of equal times, the log that was named first comes first.
    EXPECT_EQ(rank("b2", {{"log", "a"}, {"order", "oldest"}}), 1);
    EXPECT_EQ(rank("a1", {{"log", "b,c"}, {"order", "oldest"}}), 1);
    // Never before those that its own log has before it.
    EXPECT_EQ(rank("c2", {{"level", "0"}, {"order", "oldest"}}), 5);
    EXPECT_EQ(rank("c2", {{"level", "0"}}), 1);
    EXPECT_EQ(rank("c3", {{"level", "2"}, {"order", "oldest"}}), 2);
}

TEST_F(ServeTest, Search_DamageBetweenItems_FindsAllThatShowFinds) {
    // Longer than what is read at once, before, between and after items; and lines that are cut into pieces.
    const std::string rubbish = std::string(300000, 'x') + " door\n";
    makeLog(rubbish + line("door 1") + rubbish + line("gate") + "no item: door\n" + line("door 2") + rubbish +
            line("gate") + line(std::string(190, 'y') + " door 3") + rubbish);
    serve();
    for (const std::string pattern : {"door", "do+r", "(?i)DOOR", "."}) {
        const Outcome shown = jorn({"show", "-r", "-o", "json", "-g", pattern, path("log")});
        std::vector<std::string> expected;
        for (const std::string &item : linesOf(shown.out)) {
            if (!item.empty()) {
                expected.push_back(Json::parse(item)["text"]);
            }
        }
        EXPECT_GE(expected.size(), 3U) << pattern;
        EXPECT_EQ(texts({{"q", pattern}}), expected) << pattern;
    }
}

TEST_F(ServeTest, Items_Anchor_HasItsRankWhereItPasses) {
    makeLog(line("1") + line("2") + line("3"));
    serve();
    const std::string second = cursorOf("2");
    EXPECT_EQ(json("items", {{"anchor", second}, {"order", "oldest"}})["anchor_rank"], 1);
    EXPECT_EQ(json("items", {{"anchor", cursorOf("3")}})["anchor_rank"], 0);
    EXPECT_EQ(json("items", {{"anchor", second}, {"q", "[23]"}})["anchor_rank"], 1);
    EXPECT_EQ(json("items", {{"anchor", second}, {"q", "[13]"}})["anchor_rank"], nullptr);
    EXPECT_EQ(json("items", {{"anchor", second}, {"cursor", second}, {"q", "[13]"}})["anchor_rank"], nullptr);
    EXPECT_EQ(json("items", {{"anchor", "log~1~0~0~00000000"}})["anchor_rank"], nullptr);
    EXPECT_THAT(refusal("items", {{"anchor", "2"}}), HasSubstr("\"parameter\":\"anchor\""));
}

TEST_F(ServeTest, Items_Search_MarksMatchesByBytesOfTheText) {
    makeLog(line("a door, a d\xc3\xb6\xc3\xb6r") + line("\xff door") + line("nothing"));
    serve();
    const auto marks = [&](const Given &parameters) {
        const Json items = json("items", parameters)["items"];
        std::string all;
        for (const Json &item : items) {
            all += item.contains("marks") ? item["marks"].dump() : "-";
        }
        return all;
    };
    EXPECT_EQ(marks({{"q", "d..r"}, {"order", "oldest"}}), "[[2,6],[10,16]][[4,8]]");
    EXPECT_EQ(marks({{"q", "x*"}}), "---");
    EXPECT_EQ(marks({{"q", "door"}, {"invert", "1"}}), "-");
    EXPECT_EQ(marks({}), "---");
}

}  // namespace
}  // namespace test
