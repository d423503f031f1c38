// SPDX-License-Identifier: Apache-2.0
// The size of a ring, remembered in its directory; and directories that are no log's.
#include "health/ring_memory.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "common_values.h"
#include "tool_run.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class RingMemoryTest : public LogTest {
protected:
    Outcome record(const std::vector<std::string> &options = {}, const std::string &input = "x\n") const {
        std::vector<std::string> arguments = {"record", "log"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return jorn(arguments, {input, "", {}, {}});
    }

    /// A ring that has not come round, each file with one item.
    void writeOpenRing(int files) const {
        for (int i = 0; i < files; ++i) {
            write("log/" + std::to_string(i) + ".csv",
                  dataLine(kMidnight + static_cast<uint32_t>(i), 1, 0, "old"));
        }
        writeIndex("0," + std::to_string(files - 1));
    }

    std::string remembered() const { return exists("log/jorn.ring") ? read("log/jorn.ring") : ""; }

    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto &entry : std::filesystem::directory_iterator(path("log"))) {
            found.push_back(entry.path().filename().string());
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    std::string full() const {
        std::string data;
        for (int i = 0; i < kFull; ++i) {
            data += dataLine(kMidnight, 1, 0, "old");
        }
        return data;
    }
};

TEST_F(RingMemoryTest, Record_NewLog_RemembersItsSize) {
    ASSERT_EQ(record({"--files", "7"}).status, 0);
    EXPECT_EQ(remembered(), "version:1\nfiles:7\n");
    std::filesystem::remove_all(path("log"));
    ASSERT_EQ(record().status, 0);
    EXPECT_EQ(remembered(), "version:1\nfiles:10\n");
}

TEST_F(RingMemoryTest, RecordAgain_WithoutFiles_GoesOnWithTheSizeOfTheFirst) {
    ASSERT_EQ(record({"--files", "3"}, numberedLines("a", 2 * kFull)).status, 0);
    // From 2.csv it comes round to 0.csv.
    ASSERT_EQ(record({}, numberedLines("b", kFull)).status, 0);
    EXPECT_THAT(names(), ElementsAre("0.csv", "1.csv", "2.csv", "index.csv", "jorn.ring"));
    EXPECT_EQ(read("log/index.csv"), "version:1\n1,0\n");
}

TEST_F(RingMemoryTest, RecordAgain_LargerOrSmaller_RemembersTheNewSize) {
    ASSERT_EQ(record({"--files", "3"}).status, 0);
    ASSERT_EQ(record({"--files", "20"}).status, 0);
    EXPECT_EQ(remembered(), "version:1\nfiles:20\n");
    ASSERT_EQ(record({"--files", "2"}).status, 0);
    EXPECT_EQ(remembered(), "version:1\nfiles:2\n");
    ASSERT_EQ(record({"--files", "1"}).status, 2);
    EXPECT_EQ(remembered(), "version:1\nfiles:2\n");
}

TEST_F(RingMemoryTest, RecordAgain_SameSize_DoesNotWriteTheFile) {
    ASSERT_EQ(record({"--files", "3"}).status, 0);
    struct stat before;
    struct stat after;
    ASSERT_EQ(stat(path("log/jorn.ring").c_str(), &before), 0);
    ASSERT_EQ(record({"--files", "3"}).status, 0);
    ASSERT_EQ(record().status, 0);
    ASSERT_EQ(stat(path("log/jorn.ring").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST_F(RingMemoryTest, Record_RingThatHasComeRound_IsKnownAndRemembered) {
    writeOpenRing(3);
    writeIndex("1,0");
    ASSERT_EQ(record({}, numberedLines("a", kFull)).status, 0);
    EXPECT_EQ(remembered(), "version:1\nfiles:3\n");
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,1\n");
}

TEST_F(RingMemoryTest, Record_UnknownSizeAndFewLines_NeedsNone) {
    writeOpenRing(3);
    // The newest file has room for these and the store's own item.
    ASSERT_EQ(record({}, numberedLines("a", kFull - 2)).status, 0);
    EXPECT_EQ(remembered(), "");
    EXPECT_THAT(names(), ElementsAre("0.csv", "1.csv", "2.csv", "index.csv"));
    EXPECT_EQ(linesOf(read("log/2.csv")).size(), 5000U);
}

TEST_F(RingMemoryTest, Record_UnknownSizeAndMoreLines_AsksForFiles) {
    writeOpenRing(3);
    const std::string before = stateOf(path("log"));
    const Outcome run = record({}, numberedLines("a", kFull - 1));
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(
        run.err,
        "jorn: log: the ring has not wrapped, so its files do not show its size, and "
        "the file after 2.csv may be a new one or 0.csv; nothing was changed. Give its size with --files\n");
    EXPECT_EQ(stateOf(path("log")), before);
    ASSERT_EQ(record({"--files", "3"}, numberedLines("a", kFull - 1)).status, 0);
    EXPECT_EQ(read("log/index.csv"), "version:1\n1,0\n");
    EXPECT_EQ(remembered(), "version:1\nfiles:3\n");
}

TEST_F(RingMemoryTest, Record_UnknownSizeAndLinesThatMaySplit_AsksForFiles) {
    writeOpenRing(2);
    const std::string input(size_t{198} * kFull, 'x');
    EXPECT_EQ(record({"--split"}, input).status, 2);
    EXPECT_EQ(record({}, input).status, 0);
}

TEST_F(RingMemoryTest, Record_UnknownSizeAndFurtherFilesThatAreCertain_GoesOn) {
    writeOpenRing(1);
    write("log/1.csv", "");
    write("log/2.csv", "");
    ASSERT_EQ(record({}, numberedLines("a", kFull)).status, 0);
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,1\n");
}

TEST_F(RingMemoryTest, Record_UnknownSizeAndAPipe_AsksForFiles) {
    writeOpenRing(3);
    RunningTool tool(root_, {"record", "log"});
    EXPECT_EQ(tool.wait().status, 2);
    EXPECT_EQ(jorn({"record", "log", "-k"}, {"x\n", "", {}, {}}).status, 2);
    EXPECT_EQ(jorn({"record", "log", "--", "true"}).status, 125);
}

TEST_F(RingMemoryTest, Record_UnknownSizeOfAService_GoesOnAndRemembersNothing) {
    writeOpenRing(3);
    RunningTool tool(root_, {"record", "log", "--if-unclear", "aside"});
    tool.endInput();
    EXPECT_EQ(tool.wait().status, 0);
    EXPECT_EQ(remembered(), "");
}

TEST_F(RingMemoryTest, Record_NumberTooSmallForTheFiles_FilesCountAndNoItemIsLost) {
    writeOpenRing(4);
    write("log/jorn.ring", "version:1\nfiles:2\n");
    const Outcome run = record();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "jorn: note: log/jorn.ring: says that the ring has 2 files, but it has 4 or more\n");
    EXPECT_THAT(names(), ElementsAre("0.csv", "1.csv", "2.csv", "3.csv", "index.csv", "jorn.ring"));
    EXPECT_EQ(remembered(), "version:1\nfiles:2\n");
    // With a pipe, the size matters.
    RunningTool tool(root_, {"record", "log"});
    EXPECT_EQ(tool.wait().status, 2);
}

TEST_F(RingMemoryTest, Record_NumberTooSmallForARingThatHasComeRound_IsPutRight) {
    writeOpenRing(4);
    writeIndex("2,1");
    write("log/jorn.ring", "version:1\nfiles:2\n");
    EXPECT_EQ(record().status, 0);
    EXPECT_EQ(remembered(), "version:1\nfiles:4\n");
    EXPECT_EQ(linesOf(jorn({"show", "log"}).out).size(), 6U);
}

TEST_F(RingMemoryTest, Record_NumberLargerThanTheRingThatHasComeRound_ItemsKeepTheirOrder) {
    writeOpenRing(4);
    writeIndex("2,1");
    write("log/jorn.ring", "version:1\nfiles:9\n");
    const std::vector<std::string> before = linesOf(jorn({"export", "log"}).out);
    ASSERT_EQ(record().status, 0);
    std::vector<std::string> after = linesOf(jorn({"export", "log"}).out);
    ASSERT_EQ(after.size(), before.size() + 2);
    after.resize(before.size());
    EXPECT_EQ(after, before);
}

TEST_F(RingMemoryTest, Record_DamagedFile_NoteAndWrittenAnew) {
    writeOpenRing(3);
    writeIndex("1,0");
    for (const std::string &text : {std::string(), std::string("version:1\nfil"),
                                    std::string("version:1\nfiles:1\n"), std::string("version:1\nfiles:91\n"),
                                    std::string("version:1\nfiles:07\n"), std::string("version:1\nfiles:7"),
                                    std::string("version:1\nfiles:7\nfiles:8\n"), std::string(18, '\0')}) {
        write("log/jorn.ring", text);
        const Outcome run = record();
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "jorn: note: log/jorn.ring: is damaged\n") << text;
        EXPECT_EQ(remembered(), "version:1\nfiles:3\n");
    }
}

TEST_F(RingMemoryTest, Record_FileOfSomebodyElse_NoteAndLeftAlone) {
    for (const std::string text : {"my notes\n", "version:2\nfiles:7\n"}) {
        write("log/jorn.ring", text);
        const Outcome run = record({"--files", "4"});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(record().err,
                  "jorn: note: log/jorn.ring: does not hold the size of a ring, and is left unchanged\n");
        EXPECT_EQ(remembered(), text);
        std::filesystem::remove(path("log/0.csv"));
        std::filesystem::remove(path("log/index.csv"));
    }
}

TEST_F(RingMemoryTest, Record_LinkOrDirectoryInItsPlace_LeftAlone) {
    write("elsewhere", "version:1\nfiles:6\n");
    std::filesystem::create_symlink(path("elsewhere"), path("log/jorn.ring"));
    EXPECT_EQ(record({"--files", "4"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(path("log/jorn.ring")));
    EXPECT_EQ(read("elsewhere"), "version:1\nfiles:6\n");
    std::filesystem::remove(path("log/jorn.ring"));
    makeDirectory("log/jorn.ring");
    const Outcome run = record();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("jorn: note: log/jorn.ring: cannot be read: "));
    EXPECT_TRUE(std::filesystem::is_directory(path("log/jorn.ring")));
}

TEST_F(RingMemoryTest, Record_Mode_IsThatOfTheOtherFiles) {
    ASSERT_EQ(record({"--mode", "0755"}).status, 0);
    struct stat status;
    ASSERT_EQ(stat(path("log/jorn.ring").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0644U);
    ASSERT_EQ(record({"--mode", "0700"}).status, 0);
    ASSERT_EQ(stat(path("log/jorn.ring").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(RingMemoryTest, Record_RingPutAside_NewOneHasTheSameSize) {
    writeOpenRing(3);
    write("log/jorn.ring", "version:1\nfiles:5\n");
    write("log/index.csv", "");
    // Equal times: nobody knows the order.
    for (int i = 0; i < 3; ++i) {
        write("log/" + std::to_string(i) + ".csv", dataLine(kMidnight, 1, 0, "same"));
    }
    EXPECT_EQ(record({"--if-unclear", "aside"}, numberedLines("a", 6 * kFull)).status, 0);
    EXPECT_EQ(remembered(), "version:1\nfiles:5\n");
    EXPECT_TRUE(exists("log/4.csv"));
    EXPECT_FALSE(exists("log/5.csv"));
}

TEST_F(RingMemoryTest, Clear_RememberedSize_TellsTheNextFile) {
    ASSERT_EQ(record({"--files", "3"}, full() + full()).status, 0);
    ASSERT_EQ(read("log/index.csv"), "version:1\n0,2\n");
    EXPECT_EQ(jorn({"clear", "--yes", "log"}).status, 0);
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,0\n");
}

TEST_F(RingMemoryTest, Clear_UnknownSize_AsksOnlyWhereItMatters) {
    writeOpenRing(3);
    const std::string before = stateOf(path("log"));
    const Outcome run = jorn({"clear", "--yes", "log"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("the next file may be 3.csv or 0.csv; nothing was changed. "));
    EXPECT_EQ(stateOf(path("log")), before);
    writeIndex("0,1");
    EXPECT_EQ(jorn({"clear", "--yes", "log"}).status, 0);
    EXPECT_EQ(read("log/index.csv"), "version:1\n2,2\n");
    EXPECT_EQ(jorn({"clear", "--yes", "log", "--files", "3"}).status, 0);
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,0\n");
}

TEST_F(RingMemoryTest, Stats_RememberedSize_IsExact) {
    ASSERT_EQ(record({"--files", "7"}).status, 0);
    EXPECT_THAT(jorn({"stats", "log", "-o", "json"}).out, HasSubstr(R"("ring":{"files":7,"is_exact":true,)"));
    write("log/jorn.ring", "version:1\nfiles:9\n");
    EXPECT_THAT(jorn({"stats", "log", "-o", "json", "--files", "8"}).out,
                HasSubstr(R"("ring":{"files":8,"is_exact":true,)"));
}

TEST_F(RingMemoryTest, Check_RememberedSize_NotesWhatIsWrongWithIt) {
    ASSERT_EQ(record({"--files", "7"}).status, 0);
    EXPECT_EQ(jorn({"check", "log"}).out, "log: sound (0 errors, 0 warnings, 0 notes)\n");
    write("log/jorn.ring", "version:1\nfiles:x\n");
    const Outcome damaged = jorn({"check", "log"});
    EXPECT_EQ(damaged.status, 0);
    EXPECT_THAT(damaged.out,
                HasSubstr("log/jorn.ring:0: note: is damaged; `jorn record` relies on the files\n"));
    writeOpenRing(5);
    write("log/jorn.ring", "version:1\nfiles:4\n");
    EXPECT_THAT(jorn({"check", "log"}).out,
                HasSubstr("note: says that the ring has 4 files, but it has 5 or more; "));
}

TEST_F(RingMemoryTest, Repair_KeepsTheFile) {
    ASSERT_EQ(record({"--files", "7"}).status, 0);
    write("log/0.csv", read("log/0.csv") + "no item\n");
    ASSERT_EQ(jorn({"repair", "--yes", "log"}).status, 0);
    EXPECT_EQ(remembered(), "version:1\nfiles:7\n");
}

TEST_F(RingMemoryTest, Record_MediumFullForTheFile_GoesOnWithANote) {
    writeOpenRing(2);
    writeIndex("1,0");
    Setting setting;
    setting.input = "\x04";
    setting.fileSizeLimit = 0;
    // A terminal, which the limit does not bind. Nor is there any room for items.
    const Outcome run = runOnTerminal({"record", path("log")}, setting);
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.out, HasSubstr("/log/jorn.ring: File too large; the size of the ring is not remembered"));
    EXPECT_THAT(run.out, HasSubstr("/log/0.csv: cannot be written"));
    EXPECT_THAT(names(), Not(::testing::Contains("jorn.ring")));
}

class StrangeDirectoryTest : public RingMemoryTest {};

TEST_F(StrangeDirectoryTest, Record_FilesThatAreNoLogs_RefusedUnlessForced) {
    write("log/1.csv", "name,price\napple,1\n");
    write("log/12.csv", "");
    write("log/notes.csv", "1,2,3,4\n");
    const std::string before = stateOf(path("log"));
    const Outcome run = record({"--files", "3"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(
        run.err,
        "jorn: log: not a log: there is no index, and 1.csv holds no item; nothing was changed. --force "
        "puts such files aside\n");
    EXPECT_EQ(stateOf(path("log")), before);
    const Outcome forced = record({"--files", "3", "--force"});
    EXPECT_EQ(forced.status, 0);
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre(kStart, "x"));
    std::string aside;
    for (const std::string &name : names()) {
        aside = name.rfind("aside-", 0) == 0 ? name : aside;
    }
    EXPECT_EQ(read("log/" + aside + "/1.csv"), "name,price\napple,1\n");
    EXPECT_TRUE(exists("log/notes.csv"));
    EXPECT_EQ(record().status, 0);
}

TEST_F(StrangeDirectoryTest, Record_FilesThatAreNoLogsOfAService_PutAside) {
    write("log/0.csv", "a\nb\n");
    EXPECT_EQ(record({"--if-unclear", "aside"}).status, 0);
    EXPECT_THAT(textsIn("log/0.csv"), ElementsAre(kStart, "x"));
}

TEST_F(StrangeDirectoryTest, Record_ALogWithoutAnIndex_IsNotStrange) {
    write("log/0.csv", "no item\n" + dataLine(kMidnight, 1, 0, "old"));
    EXPECT_EQ(record({"--files", "3"}).status, 0);
    std::filesystem::remove_all(path("log"));
    makeDirectory("log");
    // What a cut leaves: no line has an end.
    write("log/0.csv", "17000");
    EXPECT_NE(record({"--files", "3"}).status, 2);
    std::filesystem::remove_all(path("log"));
    makeDirectory("log");
    write("log/0.csv", std::string(500, '\0') + "\n");
    EXPECT_NE(record({"--files", "3"}).status, 2);
}

TEST_F(StrangeDirectoryTest, Record_MissingParents_NamedAndMadeOnDemand) {
    const Outcome run = jorn({"record", "a/b/log"});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err,
              "jorn: a/b/log: cannot be created: the directory a/b is missing; --parents creates it\n");
    EXPECT_FALSE(exists("a"));
    EXPECT_EQ(jorn({"record", "--parents", "a/b/log/"}, {"x\n", "", {}, {}}).status, 0);
    EXPECT_TRUE(exists("a/b/log/0.csv"));
    struct stat status;
    ASSERT_EQ(stat(path("a/b/log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07U, 0U);
    EXPECT_EQ(jorn({"record", "--parents", path("c/log")}).status, 0);
    EXPECT_TRUE(exists("c/log/0.csv"));
}

}  // namespace
}  // namespace test
