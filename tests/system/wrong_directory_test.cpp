// SPDX-License-Identifier: Apache-2.0
// Reading commands over directories that are no logs, and what the user is told of logs near them.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "common_values.h"
#include "terminal/likeness.h"
#include "tool_run.h"

namespace test {
namespace {

class WrongDirectoryTest : public ToolTest {
protected:
    void makeLog(const std::string &name) const {
        makeDirectory(name);
        write(name + "/0.csv", dataLine(kMidnight, 1, 0, "x"));
        write(name + "/index.csv", "version:1\n0,0\n");
    }

    void expectRefused(const std::string &directory, const std::string &near) const {
        const std::string before = stateOf(root_);
        for (const char *const command : {"show", "count", "stats", "export"}) {
            const Outcome run = jorn({command, directory});
            EXPECT_EQ(run.status, 2) << command;
            EXPECT_EQ(run.out, "");
            EXPECT_EQ(run.err,
                      "jorn: " + directory + ": no log here: neither an index nor a data file" + near + "\n");
        }
        EXPECT_TRUE(stateOf(root_) == before);
    }
};

TEST_F(WrongDirectoryTest, ReadingCommands_NoLogAnywhereNear_RefusedWithoutAdvice) {
    makeDirectory("empty");
    write("empty/notes.txt", "x");
    write("empty/90.csv", "x");
    expectRefused("empty", "");
    EXPECT_EQ(jorn({"empty/"}).status, 2);
}

TEST_F(WrongDirectoryTest, ReadingCommands_LogsBelow_AreNamed) {
    makeDirectory("logs");
    makeLog("logs/door");
    makeLog("logs/gate");
    makeDirectory("logs/other");
    write("logs/file", "x");
    expectRefused("logs", "; logs in it: logs/door, logs/gate");
    expectRefused("logs/.", "; logs in it: logs/./door, logs/./gate");
    for (const char *const name : {"a", "b", "c", "d"}) {
        makeLog(std::string("logs/") + name);
    }
    expectRefused("logs", "; logs in it: logs/a, logs/b, logs/c, logs/d, logs/door and 1 more");
}

TEST_F(WrongDirectoryTest, ReadingCommands_LogsBeside_AreNamed) {
    makeDirectory("logs");
    makeLog("logs/door");
    makeDirectory("logs/empty");
    expectRefused("logs/empty", "; logs beside it: logs/door");
    expectRefused("logs/empty/", "; logs beside it: logs/door");
    makeLog("gate");
    makeDirectory("here");
    expectRefused("here", "; logs beside it: gate");
    EXPECT_EQ(jorn({"."}, {"", path("here"), {}, {}}).err,
              "jorn: .: no log here: neither an index nor a data file; logs beside it: ./../gate\n");
    makeDirectory("here/below");
    EXPECT_EQ(jorn({".."}, {"", path("here/below"), {}, {}}).err,
              "jorn: ..: no log here: neither an index nor a data file; logs beside it: ../../gate\n");
    EXPECT_EQ(jorn({path("here")}, {"", "/", {}, {}}).err,
              "jorn: " + path("here") +
                  ": no log here: neither an index nor a data file; logs beside it: " + path("gate") + "\n");
}

/// What a cut or a foreign hand left is a log, and its damage is told.
TEST_F(WrongDirectoryTest, ReadingCommands_OneNameOfALogAlone_IsALog) {
    for (const char *const name : {"index.csv", "index.bak", "0.csv", "89.csv"}) {
        makeDirectory(std::string("of ") + name);
        write(std::string("of ") + name + "/" + name, "");
        EXPECT_NE(jorn({"count", std::string("of ") + name}).status, 2) << name;
    }
    makeDirectory("dir");
    makeDirectory("dir/7.csv");
    EXPECT_NE(jorn({"count", "dir"}).status, 2);
}

TEST_F(WrongDirectoryTest, CheckAndFollow_NoLog_GoOn) {
    makeDirectory("empty");
    EXPECT_EQ(jorn({"check", "empty"}).status, 0);
    // An end that has passed already: it looks once.
    EXPECT_EQ(jorn({"follow", "-U", "@1", "empty"}).status, 0);
}

/// Nothing is exported of the logs before it either.
TEST_F(WrongDirectoryTest, Export_SecondOfTwoIsNoLog_NothingIsWritten) {
    makeLog("door");
    makeDirectory("empty");
    const Outcome run = jorn({"export", "--to", "out.csv", "door", "empty"});
    EXPECT_EQ(run.status, 2);
    EXPECT_FALSE(exists("out.csv"));
}

TEST(LikenessTest, EditDistance_AnyWords_LettersThatHaveToChange) {
    EXPECT_EQ(tool::editDistance("", ""), 0U);
    EXPECT_EQ(tool::editDistance("show", "show"), 0U);
    EXPECT_EQ(tool::editDistance("", "abc"), 3U);
    EXPECT_EQ(tool::editDistance("abc", ""), 3U);
    EXPECT_EQ(tool::editDistance("shwo", "show"), 1U);
    EXPECT_EQ(tool::editDistance("sow", "show"), 1U);
    EXPECT_EQ(tool::editDistance("shows", "show"), 1U);
    EXPECT_EQ(tool::editDistance("kitten", "sitting"), 3U);
    EXPECT_EQ(tool::editDistance("ab", "ba"), 1U);
    EXPECT_EQ(tool::editDistance("abcd", "badc"), 2U);
}

TEST(LikenessTest, Likeliest_WordsFarAway_None) {
    EXPECT_EQ(tool::likeliest("xyz", {"show", "count"}), "");
    EXPECT_EQ(tool::likeliest("c", {"count"}), "");
    EXPECT_EQ(tool::likeliest("cnt", {"count", "cut"}), "cut");
    EXPECT_EQ(tool::likeliest("shwo", {"show", "shoe"}), "show");
    EXPECT_EQ(tool::likeliest("show", {}), "");
}

}  // namespace
}  // namespace test
