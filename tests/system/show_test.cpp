// SPDX-License-Identifier: Apache-2.0
// `jorn show` over directories written by hand: which items, and in which form.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "show_log.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kNames[] = "; of the door unit\n[levels]\n0 = error\n1 = warning\n[slots]\n5 = door\n";

TEST_F(ShowTest, Show_Items_PrintsLocalTimeLevelSlotText) {
    writeMixed();
    const Outcome run = utc({"show", "log", "-p", "0"});
    EXPECT_EQ(run.out, "2023-11-15 05:00:00 0 0 d0 l0 s0\n2023-11-17 04:59:59 0 5 d1 l0 s5\n");
    EXPECT_EQ(run.err, "");
}

TEST_F(ShowTest, ShowUtc_Items_PrintsUtc) {
    writeMixed();
    EXPECT_EQ(utc({"show", "log", "-n", "1", "--utc"}).out, "2023-11-17 00:00:00Z 1 0 d2 l1 s0\n");
}

TEST_F(ShowTest, Show_TimesBeyond2038_AreShown) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(4294967295U, 1, 0, "last"));
    EXPECT_EQ(jorn({"show", "log", "--utc"}).out, "2106-02-07 06:28:15Z 1 0 last\n");
}

TEST_F(ShowTest, Show_NoLevel_ShowsEveryLevel) {
    writeMixed();
    EXPECT_THAT(shown(), ElementsAre("d0 l0 s0", "d0 l1 s5", "d1 l2 s0", "d1 l3 s5", "d1 l0 s5", "d2 l1 s0"));
}

TEST_F(ShowTest, Show_Levels_Filter) {
    writeMixed();
    EXPECT_THAT(shown({"-p", "1"}), ElementsAre("d0 l0 s0", "d0 l1 s5", "d1 l0 s5", "d2 l1 s0"));
    EXPECT_THAT(shown({"-p", "1..2"}), ElementsAre("d0 l1 s5", "d1 l2 s0", "d2 l1 s0"));
    EXPECT_THAT(shown({"-p", "2..1"}), ElementsAre("d0 l1 s5", "d1 l2 s0", "d2 l1 s0"));
    EXPECT_THAT(shown({"--level", "1"}), ElementsAre("d0 l1 s5", "d2 l1 s0"));
    EXPECT_THAT(shown({"--level", "3", "--level", "0"}), ElementsAre("d0 l0 s0", "d1 l3 s5", "d1 l0 s5"));
}

TEST_F(ShowTest, Show_Slot_Filters) {
    writeMixed();
    EXPECT_THAT(shown({"-s", "5"}), ElementsAre("d0 l1 s5", "d1 l3 s5", "d1 l0 s5"));
    EXPECT_THAT(shown({"-s", "5", "-p", "2", "-s", "0", "-n", "3"}),
                ElementsAre("d1 l2 s0", "d1 l0 s5", "d2 l1 s0"));
    EXPECT_THAT(shown({"-s", "7"}), IsEmpty());
    EXPECT_EQ(shown({"-s", "0,5"}), shown());
    EXPECT_EQ(shown({"-s", "5,7"}), shown({"-s", "5"}));
    EXPECT_THAT(shown({"--level", "3,0"}), ElementsAre("d0 l0 s0", "d1 l3 s5", "d1 l0 s5"));
}

TEST_F(ShowTest, Show_Days_AreInclusive) {
    writeMixed();
    EXPECT_THAT(shown({"--utc", "--since", "2023-11-16", "--until", "2023-11-16"}),
                ElementsAre("d1 l2 s0", "d1 l3 s5", "d1 l0 s5"));
    EXPECT_THAT(shown({"--utc", "-S", "2023-11-17"}), ElementsAre("d2 l1 s0"));
    EXPECT_THAT(shown({"-U", "@" + std::to_string(kMidnight)}), ElementsAre("d0 l0 s0"));
    EXPECT_THAT(shown({"--since", "yesterday"}), IsEmpty());
}

TEST_F(ShowTest, Show_Days_AreLocal) {
    writeMixed();
    // In UTC+5 the 17th begins at 19:00 UTC on the 16th.
    EXPECT_THAT(shownTexts(utc({"show", "log", "-S", "2023-11-17"}).out),
                ElementsAre("d1 l0 s5", "d2 l1 s0"));
}

TEST_F(ShowTest, Show_Grep_FindsInText) {
    writeMixed();
    EXPECT_THAT(shown({"-g", "l[01] s5"}), ElementsAre("d0 l1 s5", "d1 l0 s5"));
    EXPECT_THAT(shown({"-g", "L1", "--ignore-case", "-p", "0..1"}), ElementsAre("d0 l1 s5", "d2 l1 s0"));
    EXPECT_EQ(shown({"-g", "L1", "-i"}), shown({"-g", "l1"}));
    EXPECT_EQ(jorn({"show", "log", "-g", "L1"}).status, 1);
    EXPECT_EQ(jorn({"show", "log", "-g", "L1", "-n", "5"}).status, 1);
}

TEST_F(ShowTest, Show_SeveralExpressions_AnyOfThem) {
    writeMixed();
    EXPECT_THAT(shown({"-g", "l2", "-g", "^d2"}), ElementsAre("d1 l2 s0", "d2 l1 s0"));
    EXPECT_THAT(shown({"-g", "L2|x", "-g", "(D2)", "-i"}), ElementsAre("d1 l2 s0", "d2 l1 s0"));
    EXPECT_THAT(shown({"-g", "\\Ql2", "-g", "^d2"}), ElementsAre("d1 l2 s0", "d2 l1 s0"));
    EXPECT_THAT(shown({"-g", "\\Ql2"}), ElementsAre("d1 l2 s0"));
    // Each stands for itself: what one says of case does not hold for the others.
    EXPECT_THAT(shown({"-g", "(?i)L2", "-g", "D2"}), ElementsAre("d1 l2 s0"));
    const Outcome run = jorn({"show", "log", "-g", "a)|(b", "-g", "c"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "jorn: --grep: 'a)|(b' is not a regular expression: unexpected ): a)|(b\n");
}

TEST_F(ShowTest, Show_InvertedMatch_WhatTheExpressionIsNotFoundIn) {
    writeMixed();
    EXPECT_THAT(shown({"-v", "-g", "s0"}), ElementsAre("d0 l1 s5", "d1 l3 s5", "d1 l0 s5"));
    EXPECT_THAT(shown({"-v", "-g", "s0", "-g", "l1", "-n", "1"}), ElementsAre("d1 l0 s5"));
    EXPECT_EQ(jorn({"show", "log", "-v", "-g", "d"}).status, 1);
    EXPECT_EQ(jorn({"count", "log", "-v", "-g", "s0", "-o", "csv"}).status, 0);
}

TEST_F(ShowTest, Show_NumberOfItems_NewestOnes) {
    writeMixed();
    EXPECT_THAT(shown({"-n", "2"}), ElementsAre("d1 l0 s5", "d2 l1 s0"));
    EXPECT_THAT(shown({"-n", "2", "-r"}), ElementsAre("d2 l1 s0", "d1 l0 s5"));
    EXPECT_THAT(shown({"-n", "0"}), IsEmpty());
    EXPECT_EQ(shown({"-n", "all"}), shown());
    const std::vector<std::string> all = shown();
    const std::vector<std::string> newestFirst(all.rbegin(), all.rend());
    EXPECT_EQ(shown({"-r"}), newestFirst);
    EXPECT_EQ(shown({"-n", "all", "-r"}), newestFirst);
    EXPECT_EQ(shown({"-n", "99999", "-r"}), newestFirst);
    EXPECT_EQ(shown({"-n", "99999"}), all);
    EXPECT_EQ(shown({"-n", "99"}), all);
    EXPECT_EQ(shown({"-e"}), all);
}

TEST_F(ShowTest, Show_ManyItems_BeginsAtTheRightOne) {
    writeIndex("0,5");
    uint32_t number = 0;
    for (int file = 0; file < 6; ++file) {
        std::string lines;
        for (int i = 0; i < 5000; ++i, ++number) {
            lines += dataLine(kMidnight + number, static_cast<int>(number % 2), 0, std::to_string(number));
        }
        write("log/" + std::to_string(file) + ".csv", lines);
    }
    const std::vector<std::string> texts = shown({"-n", "25000"});
    ASSERT_EQ(texts.size(), 25000U);
    EXPECT_EQ(texts.front(), "5000");
    EXPECT_EQ(texts.back(), "29999");
    EXPECT_EQ(shown({"-n", "30000", "--level", "1"}).front(), "1");
    const std::vector<std::string> newestFirst = shown({"-n", "25000", "-r"});
    EXPECT_EQ(newestFirst, std::vector<std::string>(texts.rbegin(), texts.rend()));
    EXPECT_EQ(shown({"-n", "7000"}), std::vector<std::string>(texts.end() - 7000, texts.end()));
    EXPECT_EQ(shown({"-e"}), std::vector<std::string>(texts.end() - 1000, texts.end()));
    EXPECT_EQ(shown({"-e", "-n", "3"}), (std::vector<std::string>{"29997", "29998", "29999"}));
    EXPECT_EQ(shown().size(), 30000U);
}

TEST_F(ShowTest, Show_Forms_AsDocumented) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 5, "open, \"wide\"") + dataLine(kMidnight, 2, 0, "plain"));
    const auto inForm = [&](const std::string &form) { return utc({"show", "log", "-o", form}).out; };
    EXPECT_EQ(inForm("text"), "2023-11-15 05:00:00 1 5 open, \"wide\"\n2023-11-15 05:00:00 2 0 plain\n");
    EXPECT_EQ(inForm("short"), "2023-11-15 05:00:00 open, \"wide\"\n2023-11-15 05:00:00 plain\n");
    EXPECT_EQ(inForm("short-iso"),
              "2023-11-15T05:00:00+05:00 open, \"wide\"\n2023-11-15T05:00:00+05:00 plain\n");
    EXPECT_EQ(inForm("cat"), "open, \"wide\"\nplain\n");
    EXPECT_EQ(inForm("iso"),
              "2023-11-15T05:00:00+05:00 1 5 open, \"wide\"\n2023-11-15T05:00:00+05:00 2 0 plain\n");
    EXPECT_EQ(inForm("device"),
              "Wed Nov 15 05:00:00 2023 1 5 open, \"wide\"\nWed Nov 15 05:00:00 2023 2 0 plain\n");
    EXPECT_EQ(inForm("csv"),
              "time,level,slot,text\n1700006400,1,5,\"open, \"\"wide\"\"\"\n1700006400,2,0,plain\n");
    EXPECT_EQ(inForm("json"),
              "{\"time\":1700006400,\"iso\":\"2023-11-15T05:00:00+05:00\",\"level\":1,\"slot\":5,"
              "\"text\":\"open, \\\"wide\\\"\"}\n"
              "{\"time\":1700006400,\"iso\":\"2023-11-15T05:00:00+05:00\",\"level\":2,\"slot\":0,"
              "\"text\":\"plain\"}\n");
}

TEST_F(ShowTest, Show_JsonOfBytesThatAreNoUtf8_ReplacedAndKept) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 5, "a\xff\x1b"));
    EXPECT_EQ(jorn({"show", "log", "--utc", "-o", "json"}).out,
              "{\"time\":1700006400,\"iso\":\"2023-11-15T00:00:00Z\",\"level\":1,\"slot\":5,"
              "\"text\":\"a\xef\xbf\xbd\\u001b\",\"text_base64\":\"Yf8b\"}\n");
    EXPECT_THAT(jorn({"show", "log", "--utc", "-o", "json", "--escape"}).out,
                HasSubstr("\"a\\ufffd\\u001b\""));
    write("log/0.csv", dataLine(kMidnight, 1, 5, "\xff") + dataLine(kMidnight, 1, 5, "a\xff"));
    const std::string padded = jorn({"show", "log", "-o", "json"}).out;
    EXPECT_THAT(padded, HasSubstr("\"text_base64\":\"/w==\"}\n"));
    EXPECT_THAT(padded, HasSubstr("\"text_base64\":\"Yf8=\"}\n"));
}

TEST_F(ShowTest, Show_NamesBesideTheData_AreShownAndTaken) {
    writeMixed();
    write("log/jorn.names", kNames);
    EXPECT_EQ(jorn({"show", "log", "--utc", "-p", "warning", "-s", "door", "-n", "1"}).out,
              "2023-11-16 23:59:59Z error door d1 l0 s5\n");
    EXPECT_EQ(jorn({"show", "log", "--utc", "-n", "1", "--numbers", "-s", "door"}).out,
              "2023-11-16 23:59:59Z 0 5 d1 l0 s5\n");
    EXPECT_THAT(jorn({"show", "log", "-n", "1", "-s", "door", "-o", "json"}).out,
                HasSubstr("\"level\":0,\"level_name\":\"error\",\"slot\":5,\"slot_name\":\"door\","));
    EXPECT_EQ(jorn({"count", "log", "-p", "error..2"}).out,
              "  level      items\n"
              "  error          2\n"
              "warning          2\n"
              "      2          1\n"
              "  total          5\n");
    EXPECT_EQ(jorn({"show", "log", "-s", "gate"}).err,
              "jorn: slot 'gate' is neither a number from 0 to 7 nor a known name\n");
}

TEST_F(ShowTest, Show_BadNamesFile_NamesTheLine) {
    writeMixed();
    const std::vector<std::pair<std::string, std::string>> bad = {
        {"[levels]\n4 = error\n", ":2: '4' is not a number from 0 to 3"},
        {"[levels]\n0 = error\n\n1 = error\n", ":4: number or name is given twice: 1 = error"},
        {"[slots]\n0 = a b\n", ":2: 'a b' is not a name"},
        {"[slots]\n0 = 1st\n", ":2: '1st' is not a name"},
        {"[slots]\n0 = -a\n", ":2: '-a' is not a name"},
        {"[colours]\n0 = red\n", ":2: section [colours] is neither [levels] nor [slots]"},
        {"[levels]\nnonsense\n", ":2: neither [section] nor NUMBER = NAME"},
        {"[levels]\n0 = \x1b[31m\n", ":2: '\\x1b[31m' is not a name"},
    };
    for (const auto &[text, message] : bad) {
        write("names", text);
        const Outcome named = jorn({"show", "log", "--names", "names"});
        EXPECT_EQ(named.status, 2);
        EXPECT_EQ(named.out, "");
        EXPECT_THAT(named.err, HasSubstr("jorn: names" + message));
        write("log/jorn.names", text);
        const Outcome beside = jorn({"show", "log"});
        EXPECT_EQ(beside.status, 0);
        EXPECT_EQ(shownTexts(beside.out).size(), 6U);
        EXPECT_THAT(beside.err, HasSubstr("jorn: note: log/jorn.names" + message));
    }
}

TEST_F(ShowTest, Show_NamesFileWithoutEnd_RefusedSoon) {
    writeMixed();
    Setting setting;
    setting.processorSeconds = 60;  // Long enough for slow machines; ends what would never end.
    const Outcome endless = jorn({"show", "log", "--names", "/dev/zero"}, setting);
    EXPECT_EQ(endless.status, 2);
    EXPECT_EQ(endless.out, "");
    EXPECT_EQ(endless.err, "jorn: /dev/zero: is longer than 1 MiB, and not a names file\n");
}

TEST_F(ShowTest, Show_NamesFileOfAnySensibleSize_IsRead) {
    writeMixed();
    constexpr size_t kMost = size_t{1} << 20;
    const std::string comment = "; " + std::string(97, 'c') + "\n";
    std::string names;
    while (names.size() + comment.size() <= kMost - sizeof "[levels]\n0=error\n") {
        names += comment;
    }
    names += "[levels]\n0=error\n";
    write("names", names + std::string(kMost - names.size(), '\n'));
    EXPECT_THAT(jorn({"show", "log", "--names", "names", "--level", "error"}).out, HasSubstr(" error 5 "));
    write("names", names + std::string(kMost - names.size() + 1, '\n'));
    EXPECT_EQ(jorn({"show", "log", "--names", "names", "--level", "error"}).status, 2);
}

TEST_F(ShowTest, Show_NamesThatCannotBeRead_FailsWithTheReason) {
    writeMixed();
    const Outcome run = jorn({"show", "log", "--names", "log"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log: Is a directory\n");
}

TEST_F(ShowTest, Show_Colour_ByLevel) {
    writeMixed();
    EXPECT_EQ(jorn({"show", "log", "--utc", "-n", "1", "--color", "always"}).out,
              "\x1b[33m2023-11-17 00:00:00Z 1 0 d2 l1 s0\x1b[0m\n");
    EXPECT_EQ(jorn({"show", "log", "--utc", "-n", "1"}).out, "2023-11-17 00:00:00Z 1 0 d2 l1 s0\n");
}

TEST_F(ShowTest, Show_MatchesInColour_AreHighlighted) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 0, 0, "no door, door") + dataLine(kMidnight, 1, 0, "Door\x07") +
                           dataLine(kMidnight, 2, 0, "a door"));
    const auto inColour = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"show", "log", "-o", "cat", "--escape", "--color", "always"});
        return jorn(options).out;
    };
    const std::string urgent = "\x1b[0m\x1b[1;7;31mdoor\x1b[0m\x1b[1;31m";
    EXPECT_EQ(inColour({"-g", "do+r", "-i"}), "\x1b[1;31mno " + urgent + ", " + urgent +
                                                  "\x1b[0m\n"
                                                  "\x1b[33m\x1b[0m\x1b[1;31mDoor\x1b[0m\x1b[33m\\x07\x1b[0m\n"
                                                  "a \x1b[1;31mdoor\x1b[0m\n");
    EXPECT_EQ(inColour({"-g", "x*", "-n", "1"}), "a door\n");
    EXPECT_EQ(inColour({"-g", "\\b|x", "-n", "1"}), "a door\n");
    EXPECT_EQ(inColour({"-g", "r$|x*", "-n", "1"}), "a doo\x1b[1;31mr\x1b[0m\n");
    EXPECT_EQ(inColour({"-g", "^a|^ ", "-n", "1"}), "\x1b[1;31ma\x1b[0m door\n");
    EXPECT_EQ(inColour({"-v", "-g", "Door|no"}), "a door\n");
    EXPECT_EQ(jorn({"show", "log", "-o", "cat", "-g", "a d"}).out, "a door\n");
    EXPECT_EQ(jorn({"show", "log", "-o", "csv", "-g", "a d", "--color", "always"}).out,
              "time,level,slot,text\n1700006400,2,0,a door\n");
}

TEST_F(ShowTest, Show_TextOfSeveralBytesACharacter_HighlightedBetweenCharacters) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 2, 0, "\xc3\xa4\xe2\x82\xac \xffx"));
    const auto inColour = [&](const std::string &pattern) {
        return jorn({"show", "log", "-o", "cat", "--escape", "--color", "always", "-g", pattern}).out;
    };
    EXPECT_EQ(inColour("\xe2\x82\xac"), "\xc3\xa4\x1b[1;31m\xe2\x82\xac\x1b[0m \\xffx\n");
    EXPECT_EQ(inColour("y*"), "\xc3\xa4\xe2\x82\xac \\xffx\n");
}

TEST_F(ShowTest, Show_NoColor_AsColorNever) {
    writeMixed();
    EXPECT_THAT(runOnTerminal({"show", "--no-pager", "--no-color", path("log")}).out,
                ::testing::Not(HasSubstr("\x1b")));
    EXPECT_EQ(jorn({"show", "log", "--no-color", "--color", "always"}).status, 2);
}

TEST_F(ShowTest, DirectoryAlone_IsShown) {
    writeMixed();
    EXPECT_EQ(jorn({"log"}).out, jorn({"show", "log"}).out);
    EXPECT_EQ(jorn({"-n", "1", "log"}).out, jorn({"show", "-n", "1", "log"}).out);
    EXPECT_EQ(jorn({"./missing"}).err, "jorn: ./missing: No such file or directory\n");
}

TEST_F(ShowTest, Show_Pages_FromNewestToLast) {
    writeMixed();
    EXPECT_THAT(shown({"--page", "1"}),
                ElementsAre("d2 l1 s0", "d1 l0 s5", "d1 l3 s5", "d1 l2 s0", "d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(shown({"--per-page", "2", "--page", "2"}), ElementsAre("d1 l3 s5", "d1 l2 s0"));
    EXPECT_THAT(shown({"--per-page", "4", "--page", "-1"}), ElementsAre("d0 l1 s5", "d0 l0 s0"));
    const Outcome beyond = jorn({"show", "log", "--per-page", "2", "--page", "99"});
    EXPECT_EQ(beyond.err, "page 3 of 3 (6 items)\n");
}

TEST_F(ShowTest, ShowPage_ItemsThatDifferByTimeAlone_EachOnItsPage) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "same") + dataLine(kMidnight + 1, 1, 0, "same") +
                           dataLine(kMidnight + 2, 1, 0, "same") + dataLine(kMidnight + 3, 1, 0, "same"));
    for (int page = 1; page <= 4; ++page) {
        const Outcome run = jorn({"show", "log", "--utc", "--per-page", "1", "--page", std::to_string(page)});
        EXPECT_EQ(run.out, "2023-11-15 00:00:0" + std::to_string(4 - page) + "Z 1 0 same\n");
    }
}

TEST_F(ShowTest, ShowPage_NewestFileEmpty_TellsOfTheItemsThatTheDeviceHides) {
    writeIndex("0,1");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "x") + dataLine(kMidnight, 0, 0, "y"));
    write("log/1.csv", "");
    const Outcome page = jorn({"log", "--page", "1"});
    EXPECT_EQ(page.status, 0);
    EXPECT_EQ(
        page.err,
        "jorn: note: log: the device's pages show 0 items, but 2 match: an empty file or a clock that was "
        "set back misleads them; -n reads the items themselves\nno items\n");
    EXPECT_EQ(jorn({"log", "-q"}).err, "");
    EXPECT_THAT(shown(), ElementsAre("x", "y"));
}

TEST_F(ShowTest, ShowPage_ClockPutBackByDays_TellsOfTheItemsThatTheDeviceHides) {
    writeIndex("0,2");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "a"));
    write("log/1.csv", dataLine(kMidnight + 3 * kDay, 1, 0, "b"));
    write("log/2.csv", dataLine(kMidnight + kDay, 1, 0, "c"));
    const Outcome page = jorn({"log", "--page", "1", "--utc", "-S", "2023-11-18"});
    EXPECT_THAT(page.err, HasSubstr("the device's pages show 0 items, but 1 match"));
    EXPECT_EQ(jorn({"log", "--page", "1"}).err, "page 1 of 1 (3 items)\n");
}

TEST_F(ShowTest, Show_PagesOfWhatTheDeviceCannotBeAsked_BySameRules) {
    writeMixed();
    EXPECT_THAT(shown({"-g", "s[05]", "--per-page", "4", "--page", "2"}),
                ElementsAre("d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(shown({"-g", "s[05]", "--per-page", "4", "--page", "-1"}),
                ElementsAre("d0 l1 s5", "d0 l0 s0"));
    EXPECT_THAT(shown({"-p", "1..2", "--per-page", "2", "--page", "9"}), ElementsAre("d0 l1 s5"));
    EXPECT_EQ(jorn({"show", "log", "-g", "s[05]", "--page", "1", "--per-page", "4"}).err,
              "page 1 of 2 (6 items)\n");
}

}  // namespace
}  // namespace test
