// SPDX-License-Identifier: Apache-2.0
// The command lines of the reading commands: usage errors, times, help.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "show_log.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(ShowTest, ShowAndCount_UsageErrors_ExitWith2) {
    const std::vector<std::vector<std::string>> wrong = {
        {"unknown"},
        {"show"},
        {"count"},
        {"show", "log", "--page", "0"},
        {"show", "log", "--page", "1", "--per-page", "0"},
        {"show", "log", "--page", "1", "--per-page", "21"},
        {"show", "log", "--files", "1"},
        {"show", "log", "-n", "-1"},
        {"show", "log", "-n", "x"},
        {"show", "log", "-n", "5", "--page", "2"},
        {"show", "log", "-r", "--page", "2"},
        {"show", "log", "-e", "--page", "2"},
        {"show", "log", "-e", "-r"},
        {"show", "log", "-e", "-f"},
        {"show", "log", "--per-page", "5"},
        {"show", "log", "-p", "4"},
        {"show", "log", "-p", "-1"},
        {"show", "log", "-p", "1.."},
        {"show", "log", "-p", "warning"},
        {"show", "log", "-s", "8"},
        {"show", "log", "-p", "1", "--level", "1"},
        {"show", "log", "--since", "2023-02-30"},
        {"show", "log", "--since", "2023-11-17", "--until", "2023-11-16"},
        {"show", "log", "-g", "("},
        {"show", "log", "--ignore-case"},
        {"show", "log", "-v"},
        {"show", "log", "-C", "1"},
        {"show", "log", "-g", "x", "-C", "-1"},
        {"show", "log", "-g", "x", "-A", "10001"},
        {"show", "log", "-g", "x", "-C", "1", "--page", "1"},
        {"count", "log", "-g", "x", "-C", "1"},
        {"show", "log", "-s", "0,"},
        {"show", "log", "-s", ","},
        {"show", "log", "--level", "0,,1"},
        {"show", "log", "-s", "0,8"},
        {"help", "nonsense"},
        {"show", "log", "-o", "xml"},
        {"show", "log", "--color", "sometimes"},
        {"count", "log", "--page", "1"},
        {"count", "log", "-o", "iso"},
        {"check", "log", "-o", "csv"},
        {"check", "log", "-n", "5"},
        {"repair", "log", "-n", "5"},
        {"show", ""},
        {"show", "log", "--page", ""},
        {"show", "log", "--names", ""},
        {"count", "log", "-U", ""},
        {"count", "log", "-p", ""},
        {"export", "log", "--to", "x.db", "--table", ""},
        {"repair", "log", "--backup", ""},
    };
    for (const auto &arguments : wrong) {
        const Outcome run = jorn(arguments);
        EXPECT_EQ(run.status, 2) << ::testing::PrintToString(arguments);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err.rfind("jorn: ", 0), 0U) << run.err;
    }
}

TEST_F(ShowTest, UnknownOption_IsNamedAndNothingElseBlamed) {
    writeMixed();
    EXPECT_EQ(jorn({"show", "--sicne", "today", "log"}).err,
              "jorn: unknown option: --sicne; did you mean --since?\njorn: see jorn show --help\n");
    EXPECT_EQ(jorn({"count", "-x"}).err, "jorn: unknown option: -x\njorn: see jorn count --help\n");
    EXPECT_EQ(jorn({"clear", "log", "log"}).err,
              "jorn: unexpected argument: log\njorn: see jorn clear --help\n");
}

TEST_F(ShowTest, UnknownWords_TheLikeliestOneIsSuggested) {
    writeMixed();
    const std::vector<std::pair<std::vector<std::string>, std::string>> wrong = {
        {{"shwo", "log"}, "unknown command: shwo; did you mean show?"},
        {{"experts", "log"}, "unknown command: experts; did you mean export?"},
        {{"hepl"}, "unknown command: hepl; did you mean help?"},
        {{"help", "cuont"}, "unknown command: cuont; did you mean count?"},
        {{"nonsense"}, "unknown command: nonsense"},
        {{"log", "--revers"}, "unknown option: --revers; did you mean --reverse?"},
        {{"log", "--utli=now"}, "unknown option: --utli=now; did you mean --until?"},
        {{"--vesrion"}, "unknown option: --vesrion; did you mean --version?"},
        {{"count", "log", "--page", "1"}, "unknown option: --page"},
        {{"log", "--ignrecas"}, "unknown option: --ignrecas"},  // Three slips.
        {{"record", "new", "--lvel", "2"}, "unknown option: --lvel; did you mean --level?"},
        {{"-2", "log"}, "unknown option: -2; did you mean -n 2?"},
        {{"show", "log", "-20"}, "unknown option: -20; did you mean -n 20?"},
        {{"follow", "-5", "log"}, "unknown option: -5; did you mean -n 5?"},
        {{"count", "-2", "log"}, "unknown option: -2"},
        {{"export", "log", "-2"}, "unknown option: -2"},
    };
    for (const auto &[arguments, message] : wrong) {
        const Outcome run = jorn(arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(linesOf(run.err).at(0), "jorn: " + message);
    }
    EXPECT_FALSE(exists("new"));
}

TEST_F(ShowTest, Show_TimeThatBeginsWithAMinus_TakenInEveryWayOfGivingAValue) {
    writeMixed();
    const std::vector<std::string> all = shown();
    EXPECT_EQ(shown({"-S", "-9999w1d"}), all);
    EXPECT_EQ(shown({"-S-9999w1d"}), all);
    EXPECT_EQ(shown({"--since", "-9999w 1d"}), all);
    EXPECT_EQ(shown({"--since=-9999w1d"}), all);
    EXPECT_THAT(shown({"-U", "-9999w1d"}), IsEmpty());
    const Outcome run = jorn({"show", "log", "-S", "-q"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("jorn: --since: '-q' is not a time from 1970 to 2106"));
}

TEST_F(ShowTest, Show_TimeThatIsNone_RefusedWithTheForms) {
    writeMixed();
    const Outcome run = jorn({"show", "log", "-U", "Nov 31 05:00"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(
        run.err,
        "jorn: --until: 'Nov 31 05:00' is not a time from 1970 to 2106: 2026-11-21, 11-21, \"Nov 21\", "
        "today, "
        "yesterday or tomorrow, each with or without 06:47[:08] and UTC, Z or +01:00 after it; 06:47, now, "
        "-1h30m, +1h, \"1 month ago\" or @SECONDS since 1970\n");
}

TEST_F(ShowTest, Show_SinceAfterUntil_RefusedWithWhatTheyMean) {
    writeMixed();
    const Outcome run = jorn({"show", "log", "--utc", "-S", "2023-11-17 UTC", "-U", "2023-11-16"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err,
              "jorn: --since is later than --until: 2023-11-17 00:00:00Z and 2023-11-16 23:59:59Z\n");
}

TEST_F(ShowTest, Show_EmptyValueOfAnOption_IsRefusedAndNotTakenForNone) {
    writeMixed();
    EXPECT_EQ(jorn({"count", "log", "--since", ""}).err,
              "jorn: --since: the value is empty\njorn: see jorn count --help\n");
    EXPECT_THAT(shown({"-g", "", "-n", "1"}), ElementsAre("d2 l1 s0"));
}

TEST_F(ShowTest, HelpAndVersion_OnStandardOutput) {
    EXPECT_EQ(jorn({"--version"}).out.rfind("jorn 1.", 0), 0U);
    EXPECT_EQ(jorn({"-V"}).out, jorn({"--version"}).out);
    EXPECT_EQ(jorn({"help"}).out, jorn({"--help"}).out);
    EXPECT_EQ(jorn({"help", "count"}).out, jorn({"count", "--help"}).out);
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{"--help"},
                                                      {},
                                                      {"record", "--help"},
                                                      {"show", "--help"},
                                                      {"count", "--help"},
                                                      {"stats", "--help"},
                                                      {"export", "--help"},
                                                      {"check", "--help"},
                                                      {"repair", "--help"}}) {
        const Outcome run = jorn(arguments);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "");
        EXPECT_THAT(run.out, HasSubstr("Exit codes"));
    }
}

}  // namespace
}  // namespace test
