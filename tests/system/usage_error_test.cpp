// SPDX-License-Identifier: Apache-2.0
// What the tool says of a command line with a mistake in it: in its own words, on standard error, with exit
// code 2.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "show_log.h"

namespace test {
namespace {

struct Mistake {
    std::vector<std::string> arguments;
    std::string message;
    std::string command;  ///< Whose help is pointed to; none where empty.
};

class UsageErrorTest : public ShowTest {
protected:
    UsageErrorTest() { writeMixed(); }

    void expect(const std::vector<Mistake> &mistakes) {
        const std::string before = stateOf(path("log"));
        for (const Mistake &mistake : mistakes) {
            const Outcome run = jorn(mistake.arguments);
            const std::string hint =
                mistake.command.empty() ? "" : "jorn: see jorn " + mistake.command + " --help\n";
            EXPECT_EQ(run.err, "jorn: " + mistake.message + "\n" + hint)
                << ::testing::PrintToString(mistake.arguments);
            EXPECT_EQ(run.status, 2);
            EXPECT_EQ(run.out, "");
        }
        EXPECT_EQ(stateOf(path("log")), before);
    }
};

TEST_F(UsageErrorTest, MissingValue_OptionIsNamed) {
    expect({
        {{"show", "log", "-S"}, "--since: the value is missing", "show"},
        {{"show", "log", "--since="}, "--since: the value is missing", "show"},
        {{"show", "log", "-p"}, "-p: the value is missing", "show"},
        {{"show", "log", "-n"}, "--lines: the value is missing", "show"},
        {{"show", "log", "-g"}, "--grep: the value is missing", "show"},
        {{"show", "log", "-o"}, "--output: the value is missing", "show"},
        {{"count", "log", "-s"}, "--slot: the value is missing", "count"},
        {{"stats", "log", "--per"}, "--per: the value is missing", "stats"},
        {{"export", "log", "--to"}, "--to: the value is missing", "export"},
        {{"record", "log", "--times"}, "--times: the value is missing", "record"},
        {{"repair", "log", "--backup"}, "--backup: the value is missing", "repair"},
    });
}

TEST_F(UsageErrorTest, EmptyValue_OptionIsNamed) {
    expect({
        {{"show", "log", "-n", ""}, "--lines: the value is empty", "show"},
        {{"count", "log", "-p", ""}, "-p: the value is empty", "count"},
        {{"export", "log", "--to", ""}, "--to: the value is empty", "export"},
        {{"check", ""}, "DIR: the value is empty", "check"},
    });
}

TEST_F(UsageErrorTest, UnknownValue_ChoicesAreListed) {
    expect({
        {{"show", "log", "-o", "jsn"},
         "--output: 'jsn' is unknown; use text, short, short-iso, cat, iso, device, csv or json",
         "show"},
        {{"count", "log", "-o", "iso"}, "--output: 'iso' is unknown; use text, json or csv", "count"},
        {{"export", "log", "-o", "xml"},
         "--output: 'xml' is unknown; use jsonl, json, csv, syslog or sqlite",
         "export"},
        {{"show", "log", "--color=on"}, "--color: 'on' is unknown; use auto, always or never", "show"},
        {{"stats", "log", "--per", "week"}, "--per: 'week' is unknown; use auto, hour or day", "stats"},
        {{"record", "log", "--format", "csv"}, "--format: 'csv' is unknown; use lines or jsonl", "record"},
        {{"record", "log", "--if-unclear", "x"},
         "--if-unclear: 'x' is unknown; use refuse or aside",
         "record"},
    });
}

TEST_F(UsageErrorTest, NumberOutOfRangeOrNone_RangeIsNamed) {
    expect({
        {{"show", "log", "-n", "x"}, "--lines: 'x' is not a number or all", "show"},
        {{"show", "log", "-n", "-1"}, "--lines: '-1' is not a number or all", "show"},
        {{"show", "log", "--page", "1", "--per-page", "21"},
         "--per-page: '21' is not a number from 1 to 20",
         "show"},
        {{"show", "log", "--page", "1", "--per-page", "0"},
         "--per-page: '0' is not a number from 1 to 20",
         "show"},
        {{"show", "log", "--page", "0"}, "--page: '0' is not a page: 1 is the newest, -1 the oldest", "show"},
        {{"show", "log", "--page", "2x"},
         "--page: '2x' is not a page: 1 is the newest, -1 the oldest",
         "show"},
        {{"show", "log", "--page", "99999999999"},
         "--page: '99999999999' is not a page: 1 is the newest, -1 the oldest",
         "show"},
        {{"show", "log", "-g", "x", "-A", "10001"},
         "--after-context: '10001' is not a number from 0 to 10000",
         "show"},
        {{"show", "log", "-g", "x", "-C", "-1"}, "--context: '-1' is not a number from 0 to 10000", "show"},
        {{"check", "log", "--files", "1"}, "--files: '1' is not a number from 2 to 90", "check"},
        {{"check", "log", "--files", "91"}, "--files: '91' is not a number from 2 to 90", "check"},
        {{"check", "log", "--files=10x"}, "--files: '10x' is not a number from 2 to 90", "check"},
        {{"check", "log", "--files", "0x10"}, "--files: '0x10' is not a number from 2 to 90", "check"},
        {{"repair", "log", "--oldest", "90", "--latest", "1"},
         "--oldest: '90' is not a number from 0 to 89",
         "repair"},
        {{"record", "log", "--slots", "9"}, "--slots: '9' is not a number from 1 to 8", "record"},
        {{"record", "log", "--debug", "9"}, "--debug: '9' is not a number from 0 to 8", "record"},
    });
}

TEST_F(UsageErrorTest, OptionsThatExcludeEachOther_BothAreNamed) {
    expect({
        {{"show", "log", "-n", "5", "--page", "2"}, "--lines and --page cannot be used together", "show"},
        {{"show", "log", "-r", "--page", "2"}, "--reverse and --page cannot be used together", "show"},
        {{"show", "log", "-e", "-r"}, "--reverse and --pager-end cannot be used together", "show"},
        {{"show", "log", "-f", "-r"}, "--reverse and --follow cannot be used together", "show"},
        {{"show", "log", "--no-color", "--color", "always"},
         "--color and --no-color cannot be used together",
         "show"},
        {{"show", "log", "-p", "1", "--level", "1"}, "-p and --level cannot be used together", "show"},
        {{"export", "log", "--device", "a", "--device-by-parent"},
         "--device and --device-by-parent cannot be used together",
         "export"},
    });
}

TEST_F(UsageErrorTest, OptionThatNeedsAnother_BothAreNamed) {
    expect({
        {{"show", "log", "--per-page", "5"}, "--per-page needs --page", "show"},
        {{"show", "log", "--poll"}, "--poll needs --follow", "show"},
        {{"show", "log", "-v"}, "--invert-match needs --grep", "show"},
        {{"count", "log", "-i"}, "--ignore-case needs --grep", "count"},
        {{"follow", "log", "-C", "1"}, "--context needs --grep", "follow"},
        {{"repair", "log", "--oldest", "5"}, "--oldest needs --latest", "repair"},
        {{"repair", "log", "--latest", "5"}, "--latest needs --oldest", "repair"},
    });
}

TEST_F(UsageErrorTest, WrongNumberOfWords_WordIsNamed) {
    expect({
        {{"show"}, "missing argument: DIR", "show"},
        {{"export"}, "missing argument: DIR", "export"},
        {{"record", "--split"}, "missing argument: DIR", "record"},
        {{"clear", "log", "log2"}, "unexpected argument: log2", "clear"},
        {{"repair", "log", "a", "b"}, "unexpected arguments: a b", "repair"},
        {{"show", "log", "-n", "5", "-n", "6"}, "--lines is given more than once", "show"},
        {{"count", "log", "-S", "now", "--since=now"}, "--since is given more than once", "count"},
        {{"show", "log", "-p", "0", "-p", "1"}, "-p is given more than once", "show"},
    });
}

TEST_F(UsageErrorTest, ValueOfAFlag_IsRefused) {
    expect({
        {{"clear", "log", "--yes=no"}, "--yes takes no value", "clear"},
        {{"show", "log", "--quiet=3"}, "--quiet takes no value", "show"},
        {{"show", "log", "-q=3"}, "unexpected value: =3", "show"},
        {{"check", "log", "--no-pager=maybe"}, "--no-pager takes no value", "check"},
        {{"check", "log", "--help=all"}, "--help takes no value", "check"},
    });
}

TEST_F(UsageErrorTest, NoCommand_IsNamedEvenWhereHelpIsAsked) {
    expect({
        {{"nonsense", "--help"}, "unknown command: nonsense\njorn: see jorn --help", ""},
        {{"nonsense", "log"}, "unknown command: nonsense\njorn: see jorn --help", ""},
    });
}

TEST_F(UsageErrorTest, HelpOfHelp_IsHelp) {
    const Outcome run = jorn({"help", "help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, jorn({"--help"}).out);
}

}  // namespace
}  // namespace test
