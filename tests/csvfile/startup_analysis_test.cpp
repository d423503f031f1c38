// SPDX-License-Identifier: Apache-2.0
#include "csvfile/startup_analysis.h"

#include "csvfile/csvfile_support.h"
#include "registry/registry.h"
#include "store/index_file.h"
#include "support/module_test.h"

namespace test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class StartupAnalysisTest : public ModuleTest {
protected:
    void writeFiles(const DataFiles &files) {
        for (const auto &[position, bytes] : files) {
            dir_.write(csvName(position), bytes);
        }
    }

    DataFiles readFiles() {
        DataFiles files;
        for (const std::string &name : dir_.names()) {
            if (name != "index.csv") {
                files[std::stoi(name)] = dir_.read(name);
            }
        }
        return files;
    }

    /// Renames and deletions of data files, in their order.
    static std::vector<std::string> moves() {
        std::vector<std::string> found;
        for (const std::string &call : platform().calls({"rm ", "yaffs_rename "})) {
            if (call.find("index") == call.npos) {
                found.push_back(call);
            }
        }
        return found;
    }

    /// The calls that change something on the medium.
    static std::vector<std::string> changes() {
        std::vector<std::string> found;
        for (const std::string &call : platform().calls({"rm ", "yaffs_rename ", "fopen "})) {
            if (call.find("fopen") == call.npos || call.back() != 'r') {
                found.push_back(call);
            }
        }
        return found;
    }

    /// Starts up an object of 5 files on an index and files, at print level 0.
    void startQuietly(const std::string &positions, const DataFiles &files) {
        dir_.write("index.csv", "version:1\n" + positions + "\n");
        writeFiles(files);
        jorn_SetDebugPrintLevel(0);
        EXPECT_EQ(jorn_InitAnalyseCSV(object_.get()), 0);
        jorn_SetDebugPrintLevel(1);
    }

    HandMadeObject object_{dir_.path(), 5};
};

/// Files of a ring, with one item each: the position as its time.
DataFiles filesWithItems(const std::vector<int> &positions) {
    DataFiles files;
    for (const int position : positions) {
        files[position] = line(static_cast<uint32_t>(1000 + position), 1, 2, "of " + csvName(position));
    }
    return files;
}

// Tidying.

TEST_F(StartupAnalysisTest, PickUp_NullObject_Fails) { EXPECT_EQ(jorn_PickUpCsvValidRange(nullptr), -1); }

TEST_F(StartupAnalysisTest, PickUp_WholeRing_TouchesNothing) {
    writeFiles(filesWithItems({0, 1, 2, 3, 4}));
    object_.setRange(3, 2);
    EXPECT_EQ(jorn_PickUpCsvValidRange(object_.get()), 0);
    EXPECT_EQ(object_->csv_oldest, 3);
    EXPECT_EQ(object_->csv_latest, 2);
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_EQ(readFiles(), filesWithItems({0, 1, 2, 3, 4}));
}

TEST_F(StartupAnalysisTest, PickUp_AnyRing_LooksForEachFileOnceFromTheLatestDown) {
    writeFiles(filesWithItems({1, 2}));
    object_.setRange(1, 2);
    jorn_PickUpCsvValidRange(object_.get());
    std::vector<std::string> expected = {"fopen 2.csv r", "fclose", "fopen 1.csv r", "fclose",
                                         "fopen 0.csv r"};
    for (int position = 89; position > 2; --position) {
        expected.push_back("fopen " + csvName(position) + " r");
    }
    EXPECT_EQ(platform().calls(), expected);
}

TEST_F(StartupAnalysisTest, PickUp_Gap_RenamesThenRewritesTheIndex) {
    dir_.write("index.csv", "version:1\n0,2\n");
    writeFiles({{0, "zero\n"}, {2, "two\n"}});
    object_.setRange(0, 2);
    EXPECT_EQ(jorn_PickUpCsvValidRange(object_.get()), 0);
    EXPECT_EQ(object_->csv_oldest, 1);
    EXPECT_EQ(object_->csv_latest, 2);
    EXPECT_THAT(changes(), ElementsAre("yaffs_rename 0.csv 1.csv", "yaffs_rename index.csv index.bak",
                                       "fopen index.csv w", "rm index.bak"));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n1,2\n");
    EXPECT_EQ(readFiles(), (DataFiles{{1, "zero\n"}, {2, "two\n"}}));
}

TEST_F(StartupAnalysisTest, PickUp_ReducedRing_DeletesAndRenamesFromTheOldestUp) {
    writeFiles({{2, "2"}, {3, "3"}, {4, "4"}, {5, "5"}, {6, "6"}, {7, "7"}, {8, "8"}});
    object_.setRange(2, 8);
    EXPECT_EQ(jorn_PickUpCsvValidRange(object_.get()), 0);
    EXPECT_THAT(moves(), ElementsAre("rm 2.csv", "rm 3.csv", "yaffs_rename 4.csv 0.csv",
                                     "yaffs_rename 5.csv 1.csv", "yaffs_rename 6.csv 2.csv",
                                     "yaffs_rename 7.csv 3.csv", "yaffs_rename 8.csv 4.csv"));
    EXPECT_EQ(readFiles(), (DataFiles{{0, "4"}, {1, "5"}, {2, "6"}, {3, "7"}, {4, "8"}}));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,4\n");
    EXPECT_EQ(object_->csv_oldest, 0);
    EXPECT_EQ(object_->csv_latest, 4);
}

TEST_F(StartupAnalysisTest, PickUp_ReducedWrappedRing_AppliesFromAboveTheLatestUp) {
    writeFiles({{0, "0"}, {1, "1"}, {2, "2"}, {5, "5"}, {6, "6"}, {7, "7"}, {8, "8"}, {9, "9"}});
    object_.setRange(5, 2);
    jorn_PickUpCsvValidRange(object_.get());
    EXPECT_THAT(moves(), ElementsAre("rm 5.csv", "rm 6.csv", "rm 7.csv", "yaffs_rename 8.csv 3.csv",
                                     "yaffs_rename 9.csv 4.csv"));
    EXPECT_EQ(readFiles(), (DataFiles{{0, "0"}, {1, "1"}, {2, "2"}, {3, "8"}, {4, "9"}}));
    EXPECT_EQ(object_->csv_oldest, 3);
    EXPECT_EQ(object_->csv_latest, 2);
}

TEST_F(StartupAnalysisTest, PickUp_TwoGaps_KeepsTheOrderFromTheOldestUp) {
    writeFiles({{0, "0"}, {2, "2"}, {4, "4"}});
    object_.setRange(0, 4);
    jorn_PickUpCsvValidRange(object_.get());
    EXPECT_THAT(moves(), ElementsAre("yaffs_rename 0.csv 2.csv", "yaffs_rename 2.csv 3.csv"));
}

TEST_F(StartupAnalysisTest, PickUp_FileAboveTheLatest_MovesFirstAndTheLatestOneLast) {
    writeFiles({{8, "8"}, {7, "7"}, {9, "9"}});
    object_.setRange(7, 8);
    jorn_PickUpCsvValidRange(object_.get());
    EXPECT_THAT(moves(), ElementsAre("yaffs_rename 9.csv 2.csv", "yaffs_rename 7.csv 3.csv",
                                     "yaffs_rename 8.csv 4.csv"));
    EXPECT_EQ(object_->csv_oldest, 3);
    EXPECT_EQ(object_->csv_latest, 4);
}

TEST_F(StartupAnalysisTest, PickUp_OnlyTheOldestChanges_RewritesTheIndex) {
    writeFiles({{2, "2"}});
    object_.setRange(0, 2);
    jorn_PickUpCsvValidRange(object_.get());
    EXPECT_THAT(moves(), IsEmpty());
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n2,2\n");
}

TEST_F(StartupAnalysisTest, PickUp_OnlyTheLatestChanges_RewritesTheIndex) {
    writeFiles({{0, "0"}, {1, "1"}, {2, "2"}, {3, "3"}, {4, "4"}});
    object_.setRange(0, 5);
    jorn_PickUpCsvValidRange(object_.get());
    EXPECT_THAT(moves(), IsEmpty());
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,4\n");
}

TEST_F(StartupAnalysisTest, PickUp_FilesMoveWithinTheSameRange_LeavesTheIndex) {
    writeFiles({{0, "0"}, {1, "1"}, {2, "2"}, {50, "50"}});
    object_.setRange(0, 2);
    jorn_PickUpCsvValidRange(object_.get());
    EXPECT_THAT(changes(), ElementsAre("yaffs_rename 50.csv 4.csv"));
}

TEST_F(StartupAnalysisTest, PickUp_RenamesAndDeletionsFail_GoesOnWithoutAWord) {
    writeFiles({{0, "0"}, {4, "4"}, {5, "5"}, {6, "6"}, {7, "7"}, {8, "8"}});
    object_.setRange(4, 8);
    jorn_SetDebugPrintLevel(100);
    platform().fail("rm ", probe::Probe::kForever);
    platform().fail("yaffs_rename ", probe::Probe::kForever);
    EXPECT_EQ(jorn_PickUpCsvValidRange(object_.get()), 0);
    EXPECT_EQ(moves().size(), 6U);
    EXPECT_EQ(object_->csv_oldest, 0);
    EXPECT_EQ(object_->csv_latest, 4);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(StartupAnalysisTest, PickUp_IndexCannotBeWritten_KeepsTheNewPositionsAndSucceeds) {
    writeFiles({{0, "0"}, {2, "2"}});
    object_.setRange(0, 2);
    platform().fail("fopen index.csv w");
    EXPECT_EQ(jorn_PickUpCsvValidRange(object_.get()), 0);
    EXPECT_EQ(object_->csv_oldest, 1);
    EXPECT_EQ(object_->csv_latest, 2);
    EXPECT_THAT(messages(), ElementsAre("Create index.csv error!"));
}

TEST_F(StartupAnalysisTest, PickUp_DirectoriesOfAllKinds_DoesAsTheModelDoes) {
    RingGenerator generator(42);
    for (int i = 0; i < 150; ++i) {
        const UntidyRing ring = generator.next();
        const TempDir directory;
        for (const auto &[position, bytes] : ring.files) {
            directory.write(csvName(position), bytes);
        }
        HandMadeObject object(directory.path(), ring.csvNum);
        object.setRange(static_cast<int32_t>(ring.oldest), static_cast<int32_t>(ring.latest));
        platform().clearLog();
        ASSERT_EQ(jorn_PickUpCsvValidRange(object.get()), 0);

        const TidyRing expected = tidyStepByStep(ring);
        ASSERT_EQ(moves(), expected.operations) << "directory " << i;
        ASSERT_EQ(object->csv_oldest, expected.oldest) << "directory " << i;
        ASSERT_EQ(object->csv_latest, expected.latest) << "directory " << i;
        ASSERT_EQ(directory.has("index.csv"), expected.isIndexRewritten) << "directory " << i;
        for (const auto &[position, bytes] : expected.files) {
            ASSERT_EQ(directory.read(csvName(position)), bytes) << "directory " << i;
        }
        ASSERT_EQ(directory.names().size(), expected.files.size() + (expected.isIndexRewritten ? 1 : 0))
            << "directory " << i;
    }
}

struct StrangeIndex {
    const char *name;
    const char *positions;
};

class StartupStrangeIndexTest : public StartupAnalysisTest,
                                public ::testing::WithParamInterface<StrangeIndex> {
protected:
    void expectRingInsideAndComplete() {
        EXPECT_TRUE(object_->csv_oldest >= 0 && object_->csv_oldest < 5) << object_->csv_oldest;
        EXPECT_TRUE(object_->csv_latest >= 0 && object_->csv_latest < 5) << object_->csv_latest;
        EXPECT_EQ(readFiles(), filesWithItems({0, 1, 2, 3, 4}));
    }
};

TEST_P(StartupStrangeIndexTest, Init_WholeRing_EndsInsideTheRingAndLosesNoFile) {
    startQuietly(GetParam().positions, filesWithItems({0, 1, 2, 3, 4}));
    expectRingInsideAndComplete();
}

TEST_P(StartupStrangeIndexTest, Init_IndexCannotBeWritten_EndsInsideTheRingAndLosesNoFile) {
    platform().fail("fopen index.csv w", probe::Probe::kForever);
    dir_.write("index.csv", "version:1\n" + std::string(GetParam().positions) + "\n");
    writeFiles(filesWithItems({0, 1, 2, 3, 4}));
    EXPECT_EQ(jorn_InitAnalyseCSV(object_.get()), 0);
    dir_.remove("index.bak");
    expectRingInsideAndComplete();
}

INSTANTIATE_TEST_SUITE_P(
    , StartupStrangeIndexTest,
    ::testing::Values(StrangeIndex{"NegativeOldest", "-1,3"}, StrangeIndex{"NegativeLatest", "0,-1"},
                      StrangeIndex{"BothNegative", "-7,-3"}, StrangeIndex{"LatestAtRingSize", "0,5"},
                      StrangeIndex{"OldestAtRingSize", "5,0"}, StrangeIndex{"LastOfAllPositions", "89,89"},
                      StrangeIndex{"LatestAt90", "0,90"}, StrangeIndex{"OldestAt90", "90,3"},
                      StrangeIndex{"BothAt90", "90,90"}, StrangeIndex{"Largest", "2147483647,2147483647"},
                      StrangeIndex{"Smallest", "-2147483648,-2147483648"},
                      StrangeIndex{"Opposite", "2147483647,-2147483648"},
                      StrangeIndex{"BeyondAllWidths", "99999999999999999999,-99999999999999999999"}),
    [](const auto &row) { return row.param.name; });

TEST_F(StartupAnalysisTest, Init_NegativeOldest_KeepsTheWholeRangeAndRewritesTheIndex) {
    startQuietly("-1,3", filesWithItems({0, 1, 2, 3}));
    EXPECT_EQ(object_->csv_oldest, 0);
    EXPECT_EQ(object_->csv_latest, 3);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,3\n");
}

TEST_F(StartupAnalysisTest, Init_NegativeLatest_IsReplacedInTheIndex) {
    startQuietly("0,-1", filesWithItems({0, 1, 2, 3, 4}));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,4\n");
}

// The whole analysis.

TEST_F(StartupAnalysisTest, Init_NullObject_Fails) {
    EXPECT_EQ(jorn_InitAnalyseCSV(nullptr), -1);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(StartupAnalysisTest, Init_FreshDirectory_WritesANewIndexAndReportsTheMissingFile) {
    jorn_SetDebugPrintLevel(4);
    EXPECT_EQ(jorn_InitAnalyseCSV(object_.get()), 0);
    EXPECT_THAT(dir_.names(), ElementsAre("index.csv"));
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,0\n");
    EXPECT_THAT(messages(), ElementsAre(dir_.path() + ": Open index file error!",
                                        "Open index backup file error!", "Create a new csv-index file!",
                                        "Open file error: 0.csv!", "Error: analyse 0.csv failed!"));
    EXPECT_EQ(object_->index_version, 1);
    EXPECT_EQ(object_->csv_oldest, 0);
    EXPECT_EQ(object_->csv_latest, 0);
    EXPECT_EQ(object_->final_csv_time, 0U);
    EXPECT_EQ(jorn_max_csv_time, 0U);
}

TEST_F(StartupAnalysisTest, Init_FreshDirectory_WritesTheIndexOnceOnly) {
    jorn_InitAnalyseCSV(object_.get());
    EXPECT_THAT(changes(), ElementsAre("fopen index.csv w", "rm index.bak"));
}

TEST_F(StartupAnalysisTest, Init_NoIndex_IsReportedFromLevelFour) {
    expectMessageAt(4, "Create a new csv-index file!", [&] {
        dir_.remove("index.csv");
        jorn_InitAnalyseCSV(object_.get());
    });
}

TEST_F(StartupAnalysisTest, Init_IndexNeitherReadNorWritten_SaysSoAndGoesOn) {
    platform().fail("fopen index", probe::Probe::kForever);
    writeFiles(filesWithItems({0}));
    jorn_SetDebugPrintLevel(4);
    EXPECT_EQ(jorn_InitAnalyseCSV(object_.get()), 0);
    EXPECT_THAT(messages(), Contains("Create a new csv-index file!"));
    EXPECT_EQ(object_.info(0).itemCount, 1U);
}

TEST_F(StartupAnalysisTest, Init_GoodIndex_IsNeitherRewrittenNorReported) {
    dir_.write("index.csv", "version:1\n0,1\n");
    writeFiles(filesWithItems({0, 1}));
    jorn_SetDebugPrintLevel(4);
    EXPECT_EQ(jorn_InitAnalyseCSV(object_.get()), 0);
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(messages(), Not(Contains("Create a new csv-index file!")));
}

TEST_F(StartupAnalysisTest, Init_WrappedRing_ReadsTheFilesFromTheLatestDownToTheOldest) {
    startQuietly("3,1", filesWithItems({0, 1, 3, 4}));
    const std::vector<std::string> opened = platform().calls({"fopen "});
    ASSERT_GE(opened.size(), 4U);
    EXPECT_EQ(std::vector<std::string>(opened.end() - 4, opened.end()),
              (std::vector<std::string>{"fopen 1.csv r", "fopen 0.csv r", "fopen 4.csv r", "fopen 3.csv r"}));
    for (const int position : {0, 1, 3, 4}) {
        EXPECT_EQ(object_.info(position).timeLast, static_cast<uint32_t>(1000 + position));
    }
}

TEST_F(StartupAnalysisTest, Init_FilesOutsideTheRange_AreNotRead) {
    startQuietly("1,2", filesWithItems({0, 1, 2, 3, 4}));
    for (const int position : {0, 3, 4}) {
        EXPECT_EQ(describe(object_.info(position)), kZeroSummary) << position;
    }
    EXPECT_EQ(object_.info(1).itemCount, 1U);
    EXPECT_EQ(object_.info(2).itemCount, 1U);
}

TEST_F(StartupAnalysisTest, Init_MovedFiles_AreSummarisedAtTheirNewPositions) {
    startQuietly("0,2", filesWithItems({0, 2}));
    EXPECT_EQ(describe(object_.info(0)), kZeroSummary);
    EXPECT_EQ(object_.info(1).timeLast, 1000U);
    EXPECT_EQ(object_.info(2).timeLast, 1002U);
}

TEST_F(StartupAnalysisTest, Init_EmptyFileInTheRange_IsReportedAsFailedAndTheWalkGoesOn) {
    dir_.write("index.csv", "version:1\n0,2\n");
    writeFiles({{0, line(10, 1, 1, "a")}, {1, ""}, {2, line(30, 1, 1, "b")}});
    object_.info(1).itemCount = 7;
    EXPECT_EQ(jorn_InitAnalyseCSV(object_.get()), 0);
    EXPECT_THAT(messages(), ElementsAre("Error: analyse 1.csv failed!"));
    EXPECT_EQ(describe(object_.info(1)), kZeroSummary);
    EXPECT_EQ(object_.info(0).itemCount, 1U);
}

TEST_F(StartupAnalysisTest, Init_FileWithoutAnyGoodLine_IsReportedAsFailed) {
    dir_.write("index.csv", "version:1\n0,0\n");
    writeFiles({{0, "1700000000,2\n"}});
    jorn_InitAnalyseCSV(object_.get());
    EXPECT_THAT(messages(), ElementsAre("Slot info error!", "Error: analyse 0.csv failed!"));
}

TEST_F(StartupAnalysisTest, Init_UnreadableFile_ClearsItsRecordAndTheWalkGoesOn) {
    dir_.write("index.csv", "version:1\n0,1\n");
    writeFiles(filesWithItems({0, 1}));
    object_.info(1).itemCount = 9;
    object_.info(1).levelStat[3].slotCount[7] = 9;
    platform().fail("fopen 1.csv", 1, 1);
    EXPECT_EQ(jorn_InitAnalyseCSV(object_.get()), 0);
    EXPECT_THAT(messages(), ElementsAre("Open file error: 1.csv!", "Error: analyse 1.csv failed!"));
    EXPECT_EQ(describe(object_.info(1)), kZeroSummary);
    EXPECT_EQ(object_->final_csv_time, 1000U);
}

TEST_F(StartupAnalysisTest, Init_FailedFile_IsReportedFromLevelOne) {
    dir_.write("index.csv", "version:1\n0,0\n");
    dir_.write("0.csv", "");
    expectMessageAt(1, "Error: analyse 0.csv failed!", [&] { jorn_InitAnalyseCSV(object_.get()); });
}

// Final and largest time.

class StartupTimesTest : public StartupAnalysisTest {
protected:
    /// Starts up on the files 0 to 2 and returns what is printed about times.
    std::vector<std::string> timesTold(const std::string &oldest, const std::string &middle,
                                       const std::string &newest) {
        dir_.write("index.csv", "version:1\n0,2\n");
        writeFiles({{0, oldest}, {1, middle}, {2, newest}});
        jorn_SetDebugPrintLevel(4);
        platform().clearLog();
        jorn_InitAnalyseCSV(object_.get());
        std::vector<std::string> told;
        for (const std::string &message : messages()) {
            if (message.rfind("Info: ", 0) == 0) {
                told.push_back(message);
            }
        }
        return told;
    }
};

TEST_F(StartupTimesTest, Init_NewestFileHasItems_GivesItsLastTimeAndTellsZero) {
    EXPECT_THAT(timesTold("", "10,0,0,a\n90,0,0,b\n", "70,0,0,c\n80,0,0,d\n75,0,0,e\n"),
                ElementsAre("Info: 2.csv final time is 0!", "Info: 2.csv uptime is 80!",
                            "Info: 1.csv uptime is 90!"));
    EXPECT_EQ(object_->final_csv_time, 75U);
    EXPECT_EQ(jorn_max_csv_time, 90U);
}

TEST_F(StartupTimesTest, Init_NewestFileIsEmpty_GivesTheLastTimeOfTheNextOne) {
    EXPECT_THAT(timesTold("10,0,0,a\n", "20,0,0,b\n", ""),
                ElementsAre("Info: 1.csv final time is 0!", "Info: 1.csv uptime is 20!",
                            "Info: 0.csv uptime is 10!"));
    EXPECT_EQ(object_->final_csv_time, 20U);
}

TEST_F(StartupTimesTest, Init_LastTimeIsZero_LeavesTheFinalTimeToAnOlderFile) {
    EXPECT_THAT(timesTold("10,0,0,a\n", "20,0,0,b\n", "30,0,0,c\n0,0,0,d\n"),
                ElementsAre("Info: 2.csv final time is 0!", "Info: 2.csv uptime is 30!",
                            "Info: 1.csv final time is 0!", "Info: 1.csv uptime is 20!",
                            "Info: 0.csv uptime is 10!"));
    EXPECT_EQ(object_->final_csv_time, 20U);
}

TEST_F(StartupTimesTest, Init_FinalTimeAlreadySet_LeavesIt) {
    object_->final_csv_time = 5;
    EXPECT_THAT(timesTold("", "", "30,0,0,c\n"), ElementsAre("Info: 2.csv uptime is 30!"));
    EXPECT_EQ(object_->final_csv_time, 5U);
}

TEST_F(StartupTimesTest, Init_TimesBeyond31Bits_AreToldUnsigned) {
    EXPECT_THAT(timesTold("", "", "4294967295,0,0,a\n"),
                ElementsAre("Info: 2.csv final time is 0!", "Info: 2.csv uptime is 4294967295!"));
    EXPECT_EQ(object_->final_csv_time, 4294967295U);
    EXPECT_EQ(jorn_max_csv_time, 4294967295U);
}

TEST_F(StartupTimesTest, Init_OlderThanTheLargestTimeSoFar_LeavesThat) {
    jorn_max_csv_time = 1000;
    timesTold("", "", "30,0,0,c\n");
    EXPECT_EQ(jorn_max_csv_time, 1000U);
}

TEST_F(StartupTimesTest, Init_TimesFound_AreToldFromLevelFour) {
    dir_.write("index.csv", "version:1\n0,0\n");
    dir_.write("0.csv", "30,0,0,c\n");
    const auto start = [&] {
        object_->final_csv_time = 0;
        jorn_InitAnalyseCSV(object_.get());
    };
    expectMessageAt(4, "Info: 0.csv final time is 0!", start);
    expectMessageAt(4, "Info: 0.csv uptime is 30!", start);
}

TEST_F(StartupTimesTest, Create_DirectoryWithItems_TellsItsFinalTimeForTheHandle) {
    dir_.write("index.csv", "version:1\n0,0\n");
    dir_.write("0.csv", "30,0,0,c\n4294967295,0,0,d\n20,0,0,e\n");
    const int32_t handle = createAtRest(5);
    uint32_t finalTime = 1;
    EXPECT_EQ(JORN_GetFinalCsvTime(handle, &finalTime), 0);
    EXPECT_EQ(finalTime, 20U);
    uint32_t largest = 1;
    EXPECT_EQ(JORN_GetMaxCsvTime(&largest), 0);
    EXPECT_EQ(largest, 4294967295U);
}

}  // namespace
}  // namespace test
