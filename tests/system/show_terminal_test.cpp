// SPDX-License-Identifier: Apache-2.0
// `jorn show` on terminals, through pagers, and into what takes no output.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "show_log.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using tool::Descriptor;

constexpr char kHostile[] = "\x1b[31mred\x07 \x7f \xc2\x9b \xff gr\xc3\xbc\xc3\x9f";
constexpr char kHarmless[] = "\\x1b[31mred\\x07 \\x7f \\xc2\\x9b \\xff gr\xc3\xbc\xc3\x9f";

TEST_F(ShowTest, Show_ControlCharactersIntoFile_BytesUnchanged) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, kHostile));
    EXPECT_THAT(shown(), ElementsAre(kHostile));
    EXPECT_THAT(shown({"--escape"}), ElementsAre(kHarmless));
}

/// What `jorn show` prints on a terminal, through a pager.
std::string shownOnTerminal(const std::string &directory, const char *form, const char *pager,
                            const std::vector<std::string> &options = {}) {
    Setting setting;
    setting.variables = {{"JORN_PAGER", pager}, {"NO_COLOR", "1"}};
    std::vector<std::string> arguments = {"show", "--utc", "-o", form, directory};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Outcome run = runOnTerminal(arguments, setting);
    EXPECT_EQ(run.status, 0);
    return run.out;
}

TEST_F(ShowTest, Show_ControlCharactersOnTerminal_Escaped) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, kHostile) + std::to_string(kMidnight) + ",\x1b[2J,\x1b,x\n");
    EXPECT_EQ(shownOnTerminal(path("log"), "text", ""), "2023-11-15 00:00:00Z 1 0 " + std::string(kHarmless) +
                                                            "\r\n2023-11-15 00:00:00Z \\x1b[2J \\x1b x\r\n");
    for (const char *form : {"short", "short-iso", "cat", "iso", "device", "csv", "json"}) {
        const std::string output = shownOnTerminal(path("log"), form, "");
        EXPECT_THAT(output, HasSubstr("[31mred"));
        for (const char byte : {'\x1b', '\x07', '\x7f', '\x9b', '\xff'}) {
            EXPECT_EQ(output.find(byte), std::string::npos) << form << " " << output;
        }
    }
}

/// In whichever way the items were found.
TEST_F(ShowTest, Show_ControlCharactersFoundOnTerminal_Escaped) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, kHostile) + dataLine(kMidnight, 1, 0, "other"));
    const std::vector<std::vector<std::string>> ways = {{"-g", "red"},
                                                        {"-g", "\\x1b"},
                                                        {"-g", "red", "-n", "2"},
                                                        {"-g", "red", "-n", "all"},
                                                        {"-g", "red", "-r"},
                                                        {"-g", "red", "--page", "1"},
                                                        {"-g", "red", "-p", "1", "-s", "0"}};
    for (const auto &way : ways) {
        const std::string output = shownOnTerminal(path("log"), "text", "", way);
        EXPECT_EQ(output.find("2023-11-15 00:00:00Z 1 0 " + std::string(kHarmless) + "\r\n"), 0U) << output;
        for (const char *form : {"short", "short-iso", "cat", "iso", "device", "csv", "json"}) {
            const std::string other = shownOnTerminal(path("log"), form, "", way);
            EXPECT_THAT(other, HasSubstr("[31mred"));
            EXPECT_EQ(other.find_first_of("\x1b\x07\x7f\x9b\xff"), std::string::npos) << form << " " << other;
        }
    }
}

TEST_F(ShowTest, Show_TabsOnTerminal_AreTabs) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "name\tvalue\x0b"));
    EXPECT_EQ(shownOnTerminal(path("log"), "cat", ""), "name\tvalue\\x0b\r\n");
    EXPECT_EQ(jorn({"show", "log", "-o", "cat", "--escape"}).out, "name\tvalue\\x0b\n");
    EXPECT_THAT(shownOnTerminal(path("log"), "json", ""), HasSubstr("\"text\":\"name\\tvalue\\u000b\""));
}

TEST_F(ShowTest, Show_OnTerminal_GoesThroughThePager) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "x"));
    EXPECT_EQ(shownOnTerminal(path("log"), "text", "sed 's/^/> /'"), "> 2023-11-15 00:00:00Z 1 0 x\r\n");
    EXPECT_EQ(shownOnTerminal(path("log"), "text", "sed 's/^/> /'", {"--page", "1"}),
              "> 2023-11-15 00:00:00Z 1 0 x\r\npage 1 of 1 (1 item)\r\n");
    EXPECT_EQ(shownOnTerminal(path("log"), "text", "true"), "");
}

/// A log of so many items, whose texts are their numbers from 1.
class ManyItemsTest : public ShowTest {
protected:
    void writeItems(int count) const {
        writeIndex("0,1");
        std::string lines;
        for (int number = 1; number <= count; ++number) {
            lines += dataLine(kMidnight, 1, number % 2, std::to_string(number));
            if (number == count / 2 || number == count) {
                write(number == count ? "log/1.csv" : "log/0.csv", lines);
                lines.clear();
            }
        }
    }

    /// The lines that a terminal shows.
    std::vector<std::string> shownLines(const std::vector<std::string> &options,
                                        const std::string &pager = "cat -",
                                        const std::string &form = "short") const {
        Setting setting;
        setting.variables = {{"JORN_PAGER", pager}, {"NO_COLOR", "1"}};
        std::vector<std::string> arguments = {"show", "-o", form, "--utc", path("log")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome run = runOnTerminal(arguments, setting);
        EXPECT_EQ(run.status, 0);
        std::vector<std::string> lines;
        for (const std::string &line : linesOf(run.out)) {
            lines.push_back(line.substr(0, line.find('\r')));
        }
        return lines;
    }
};

constexpr char kMore[] = "-- the newest 1,000 items; -n all shows the others too --";

TEST_F(ManyItemsTest, Show_MoreThanFitAPager_NewestThousandAfterALineThatSaysSo) {
    writeItems(1001);
    const std::vector<std::string> lines = shownLines({});
    ASSERT_EQ(lines.size(), 1001U);
    EXPECT_EQ(lines[0], kMore);
    EXPECT_EQ(lines[1], "2023-11-15 00:00:00Z 2");
    EXPECT_EQ(lines[1000], "2023-11-15 00:00:00Z 1001");
    EXPECT_EQ(shownLines({"-e"}), lines);
    // The same without a pager: a terminal has no more room than one.
    EXPECT_EQ(shownLines({}, ""), lines);
    EXPECT_EQ(shownLines({}, "", "csv").at(0), kMore);
}

TEST_F(ManyItemsTest, Show_AsManyAsFitAPager_AllWithoutALine) {
    writeItems(1000);
    const std::vector<std::string> lines = shownLines({});
    ASSERT_EQ(lines.size(), 1000U);
    EXPECT_EQ(lines[0], "2023-11-15 00:00:00Z 1");
}

TEST_F(ManyItemsTest, Show_OrderOrNumberOrNoPagerAskedFor_NothingIsHeldBackOnTerminal) {
    writeItems(2100);
    EXPECT_EQ(shownLines({"-n", "all"}).size(), 2100U);
    EXPECT_EQ(shownLines({"-n", "1500"}).at(0), "2023-11-15 00:00:00Z 601");
    EXPECT_EQ(shownLines({"-r"}).at(0), "2023-11-15 00:00:00Z 2100");
    EXPECT_EQ(shownLines({"-r"}).size(), 2100U);
    EXPECT_EQ(shownLines({"--no-pager"}).size(), 2100U);
    // What matches is counted, not what is there.
    EXPECT_EQ(shownLines({"-s", "1"}).at(0), kMore);
    EXPECT_EQ(shownLines({"-g", "^1..$"}).size(), 100U);
}

/// A command for less, which others do not look at.
TEST_F(ManyItemsTest, Show_OnTerminal_PagerBeginsAtTheEndUnlessAnOrderWasAskedFor) {
    writeItems(100);
    Setting setting;
    setting.variables = {{"JORN_PAGER", "echo \"<$LESS>\""}};
    const auto shownBy = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"show", path("log")});
        return runOnTerminal(options, setting).out;
    };
    EXPECT_EQ(shownBy({}), "<+G$FRX>\r\n");
    EXPECT_EQ(shownBy({"-s", "1"}), "<+G$FRX>\r\n");
    EXPECT_EQ(shownBy({"-e", "-n", "50"}), "<+G$FRX>\r\n");
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{"-n", "2"}, {"-n", "all"}, {"-r"}, {"--page", "1"}}) {
        EXPECT_THAT(shownBy(options), HasSubstr("<FRX>\r\n")) << ::testing::PrintToString(options);
    }
    setting.variables.emplace_back("LESS", "-Pmy prompt");
    EXPECT_EQ(shownBy({}), "<+G$-Pmy prompt>\r\n");
}

/// On 24 lines of 60 columns.
TEST_F(ManyItemsTest, Show_WhatFitsTheTerminal_PagerBeginsAtTheBegin) {
    writeItems(23);
    EXPECT_EQ(shownLines({}, "echo \"<$LESS>\"").at(0), "<FRX>");
    writeItems(24);
    EXPECT_EQ(shownLines({}, "echo \"<$LESS>\"").at(0), "<+G$FRX>");
    std::string lines;
    for (int item = 0; item < 12; ++item) {
        lines += dataLine(kMidnight, 1, 0, std::string(60, 'x'));
    }
    write("log/0.csv", lines);
    writeIndex("0,0");
    EXPECT_EQ(shownLines({}, "echo \"<$LESS>\"").at(0), "<+G$FRX>");
}

TEST_F(ShowTest, Show_NothingMatches_SaysSoOnTerminalOnly) {
    writeMixed();
    EXPECT_EQ(shownOnTerminal(path("log"), "text", "", {"-s", "7"}), "no items\r\n");
    EXPECT_EQ(jorn({"show", "log", "-s", "7"}).err, "");
}

TEST_F(ShowTest, Show_PagerThatCannotBeStarted_ExitWith4) {
    writeMixed();
    Setting setting;
    setting.variables = {{"JORN_PAGER", path("missing")}};
    const Outcome run = runOnTerminal({"show", path("log")}, setting);
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.out, HasSubstr("jorn: the pager could not be started: see JORN_PAGER"));
}

TEST_F(ShowTest, Show_PagerOfTheUser_FindsWhatLessNeedsForColours) {
    writeMixed();
    Setting setting;
    setting.variables = {{"JORN_PAGER", "echo \"<$LESS>\""}};
    EXPECT_THAT(runOnTerminal({"show", "-n", "all", path("log")}, setting).out, HasSubstr("<FRX>"));
    setting.variables.emplace_back("LESS", "i");
    EXPECT_THAT(runOnTerminal({"show", "-n", "all", path("log")}, setting).out, HasSubstr("<i>"));
}

TEST_F(ShowTest, Show_TerminalOfWhichNothingIsKnown_NoColours) {
    writeMixed();
    for (const char *const term : {"", "dumb"}) {
        Setting setting;
        setting.variables = {{"TERM", term}};
        EXPECT_THAT(runOnTerminal({"show", "--no-pager", path("log")}, setting).out, Not(HasSubstr("\x1b")));
    }
    EXPECT_THAT(runOnTerminal({"show", "--no-pager", path("log")}).out, HasSubstr("\x1b[33m"));
}

TEST_F(ShowTest, Show_TerminalThatCannotMoveItsCursor_NoPager) {
    writeMixed();
    for (const auto &[term, isPaged] : {std::pair{"", false}, {"dumb", false}, {"xterm", true}}) {
        Setting setting;
        setting.variables = {{"TERM", term}, {"JORN_PAGER", "sed 's/^/paged /'"}};
        const Outcome run = runOnTerminal({"show", path("log")}, setting);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out.find("paged ") != std::string::npos, isPaged) << term;
        EXPECT_THAT(run.out, HasSubstr("d2 l1 s0"));
    }
}

TEST_F(ShowTest, ShowAndHelp_ClosedPipe_QuietExit) {
    writeMixed();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const Descriptor output(ends[1]);
    for (const std::vector<std::string> &options : {std::vector<std::string>{}, {"-n", "2"}, {"-r"}}) {
        std::vector<std::string> arguments = {"show", path("log")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome shown = runInto(output.get(), arguments);
        EXPECT_EQ(shown.status, 0);
        EXPECT_EQ(shown.err, "");
    }
    const Outcome help = runInto(output.get(), {"show", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
}

TEST_F(ShowTest, ShowAndHelp_OutputFull_ExitWith4) {
    writeMixed();
    const Descriptor output(open("/dev/full", O_WRONLY | O_CLOEXEC));
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"show", path("log")}, {"show", "--help"}}) {
        const Outcome run = runInto(output.get(), arguments);
        EXPECT_EQ(run.status, 4);
        EXPECT_EQ(run.err, "jorn: standard output: No space left on device\n");
    }
}

}  // namespace
}  // namespace test
