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
    EXPECT_EQ(shownOnTerminal(path("log"), "text", ""),
              "2023-11-15 00:00:00Z \\x1b[2J \\x1b x\r\n2023-11-15 00:00:00Z 1 0 " + std::string(kHarmless) +
                  "\r\npage 1 of 1 (2 items)\r\n");
    for (const char *form : {"short", "iso", "device", "csv", "json"}) {
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
                                                        {"-g", "red", "-n", "all", "-r"},
                                                        {"-g", "red", "-p", "1", "-s", "0"}};
    for (const auto &way : ways) {
        const std::string output = shownOnTerminal(path("log"), "text", "", way);
        EXPECT_EQ(output.find("2023-11-15 00:00:00Z 1 0 " + std::string(kHarmless) + "\r\n"), 0U) << output;
        for (const char *form : {"short", "iso", "device", "csv", "json"}) {
            const std::string other = shownOnTerminal(path("log"), form, "", way);
            EXPECT_THAT(other, HasSubstr("[31mred"));
            EXPECT_EQ(other.find_first_of("\x1b\x07\x7f\x9b\xff"), std::string::npos) << form << " " << other;
        }
    }
}

TEST_F(ShowTest, Show_OnTerminal_GoesThroughThePager) {
    writeIndex("0,0");
    write("log/0.csv", dataLine(kMidnight, 1, 0, "x"));
    EXPECT_EQ(shownOnTerminal(path("log"), "text", "sed 's/^/> /'"),
              "> 2023-11-15 00:00:00Z 1 0 x\r\npage 1 of 1 (1 item)\r\n");
    EXPECT_EQ(shownOnTerminal(path("log"), "text", "true"), "page 1 of 1 (1 item)\r\n");
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
    EXPECT_THAT(runOnTerminal({"show", path("log")}, setting).out, HasSubstr("<FRX>"));
    setting.variables.emplace_back("LESS", "i");
    EXPECT_THAT(runOnTerminal({"show", path("log")}, setting).out, HasSubstr("<i>"));
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
        EXPECT_THAT(run.out, HasSubstr("page 1 of 1 (6 items)"));
    }
}

TEST_F(ShowTest, ShowAndHelp_ClosedPipe_QuietExit) {
    writeMixed();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const Descriptor output(ends[1]);
    const Outcome shown = runInto(output.get(), {"show", path("log")});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.err, "page 1 of 1 (6 items)\n");
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
