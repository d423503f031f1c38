// SPDX-License-Identifier: Apache-2.0
// Reading the index file and its backup.
#include "store/index_file_fixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// --- Reading -------------------------------------------------------------------------------------------

TEST_F(IndexFileTest, Read_NullObject_FailsWithoutAWord) {
    EXPECT_EQ(jorn_ReadCsvIndexFile(nullptr), -1);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(IndexFileTest, Read_GoodIndex_SetsTheFieldsAndTouchesNoFile) {
    layOut({"version:1\n3,7\n", kNone});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), 2);
    expectFields(1, 3, 7);
    EXPECT_EQ(files(), (IndexFiles{"version:1\n3,7\n", kNone}));
    EXPECT_THAT(platform().calls(), ElementsAre("fopen index.csv r", "fscanf", "fscanf", "fclose"));
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(IndexFileTest, Read_GoodIndexBesideABackup_BackupIsNotLookedAt) {
    layOut({"version:1\n3,7\n", "version:1\n1,2\n"});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), 2);
    expectFields(1, 3, 7);
    EXPECT_EQ(files(), (IndexFiles{"version:1\n3,7\n", "version:1\n1,2\n"}));
}

TEST_F(IndexFileTest, Read_IndexMissing_TakesTheBackupAndMakesItTheIndex) {
    layOut({kNone, "version:1\n3,7\n"});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), 2);
    expectFields(1, 3, 7);
    EXPECT_EQ(files(), (IndexFiles{"version:1\n3,7\n", kNone}));
}

TEST_F(IndexFileTest, Read_IndexMissing_RenamesTheBackupAfterClosingIt) {
    layOut({kNone, "version:1\n3,7\n"});
    jorn_ReadCsvIndexFile(obj_.get());
    EXPECT_THAT(platform().calls(), ElementsAre("fopen index.csv r", "fopen index.bak r", "fscanf", "fscanf",
                                                "fclose", "yaffs_rename index.bak index.csv"));
}

TEST_F(IndexFileTest, Read_IndexMissing_PrintsThatAlone) {
    layOut({kNone, "version:1\n3,7\n"});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), 2);
    EXPECT_THAT(messages(), ElementsAre(about("Open index file error!")));
}

TEST_F(IndexFileTest, Read_IndexUnreadableButThere_TakesTheBackup) {
    layOut({"version:1\n1,2\n", "version:1\n3,7\n"});
    platform().fail("fopen index.csv r");
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), 2);
    expectFields(1, 3, 7);
}

TEST_F(IndexFileTest, Read_NothingThere_FailsWithBothMessages) {
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), -1);
    EXPECT_THAT(messages(), ElementsAre(about("Open index file error!"), "Open index backup file error!"));
    expectFields(kVersionBefore, kOldestBefore, kLatestBefore);
    EXPECT_THAT(platform().calls(), ElementsAre("fopen index.csv r", "fopen index.bak r"));
}

TEST_F(IndexFileTest, Read_NothingThere_PrintsAtLevel1) {
    const auto read = [this] { jorn_ReadCsvIndexFile(obj_.get()); };
    expectMessageAt(1, about("Open index file error!"), read);
    expectMessageAt(1, "Open index backup file error!", read);
}

TEST_F(IndexFileTest, Read_WrongVersion_PrintsAtLevel1) {
    layOut({"version:2\n3,7\n", kNone});
    expectMessageAt(1, about("index.csv version error!"), [this] { jorn_ReadCsvIndexFile(obj_.get()); });
}

TEST_F(IndexFileTest, Read_WrongVersion_ClosesAndReadsNoPositions) {
    layOut({"version:2\n3,7\n", kNone});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), -1);
    expectFields(2, kOldestBefore, kLatestBefore);
    EXPECT_THAT(platform().calls(), ElementsAre("fopen index.csv r", "fscanf", "fclose"));
}

TEST_F(IndexFileTest, Read_WrongPositions_PrintsAtLevel1) {
    layOut({"version:1\n5,90\n", kNone});
    expectMessageAt(1, about("read index error!"), [this] { jorn_ReadCsvIndexFile(obj_.get()); });
    EXPECT_THAT(platform().calls(), ElementsAre("fopen index.csv r", "fscanf", "fscanf", "fclose"));
}

TEST_F(IndexFileTest, Read_BackupOfWrongVersion_StaysTheBackup) {
    layOut({kNone, "version:2\n3,7\n"});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), -1);
    EXPECT_THAT(messages(), ElementsAre(about("Open index file error!"), about("index.csv version error!")));
    EXPECT_EQ(files(), (IndexFiles{kNone, "version:2\n3,7\n"}));
    EXPECT_THAT(platform().calls(),
                ElementsAre("fopen index.csv r", "fopen index.bak r", "fscanf", "fclose"));
}

TEST_F(IndexFileTest, Read_BackupOfWrongPositions_BecomesTheIndexAllTheSame) {
    layOut({kNone, "version:1\n5,90\n"});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), -1);
    EXPECT_THAT(messages(), ElementsAre(about("Open index file error!"), about("read index error!")));
    EXPECT_EQ(files(), (IndexFiles{"version:1\n5,90\n", kNone}));
}

TEST_F(IndexFileTest, Read_BackupCannotBeRenamed_CountsAllTheSame) {
    layOut({kNone, "version:1\n3,7\n"});
    platform().fail("yaffs_rename");
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), 2);
    EXPECT_EQ(files(), (IndexFiles{kNone, "version:1\n3,7\n"}));
}

TEST_F(IndexFileTest, Read_EmptyIndexBesideAGoodBackup_FailsAndKeepsTheBackup) {
    layOut({"", "version:1\n3,7\n"});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), -1);
    EXPECT_THAT(messages(), ElementsAre(about("index.csv version error!")));
    EXPECT_EQ(files(), (IndexFiles{"", "version:1\n3,7\n"}));
}

TEST_F(IndexFileTest, Read_VersionUnreadableWithVersion1InMemory_Fails) {
    layOut({"garbage\n", kNone});
    obj_->index_version = 1;
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), -1);
    EXPECT_THAT(messages(), ElementsAre(about("index.csv version error!")));
}

TEST_F(IndexFileTest, Read_ReadingErrorInTheVersionLine_IsAVersionError) {
    layOut({"version:1\n3,7\n", kNone});
    platform().fail("fscanf");
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), -1);
    EXPECT_THAT(messages(), ElementsAre(about("index.csv version error!")));
}

TEST_F(IndexFileTest, Read_ReadingErrorInThePositions_IsAReadError) {
    layOut({"version:1\n3,7\n", kNone});
    platform().fail("fscanf", 1, 1);
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), -1);
    EXPECT_THAT(messages(), ElementsAre(about("read index error!")));
}

TEST_F(IndexFileTest, Read_OnePositionWithLatestInMemoryAbove89_IsAReadError) {
    layOut({"version:1\n3\n", kNone});
    obj_->csv_latest = 90;
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), -1);
    EXPECT_THAT(messages(), ElementsAre(about("read index error!")));
    expectFields(1, 3, 90);
}

TEST_F(IndexFileTest, Read_OnePositionWithLatestInMemory89_Counts) {
    layOut({"version:1\n3\n", kNone});
    obj_->csv_latest = 89;
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), 1);
    expectFields(1, 3, 89);
}

/// A version line that is refused, before a good second line.
struct VersionLine {
    const char *name;
    std::string line;
    friend std::ostream &operator<<(std::ostream &out, const VersionLine &row) { return out << row.name; }
};

class VersionLineTest : public IndexFileTest, public ::testing::WithParamInterface<VersionLine> {};

TEST_P(VersionLineTest, Read_VersionNotReadableOrNot1_FailsWithVersionError) {
    layOut({GetParam().line + "\n3,7\n", kNone});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), -1);
    EXPECT_THAT(messages(), ElementsAre(about("index.csv version error!")));
    EXPECT_NE(obj_->index_version, 1);
    EXPECT_EQ(obj_->csv_oldest, kOldestBefore);
    EXPECT_EQ(obj_->csv_latest, kLatestBefore);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, VersionLineTest,
    ::testing::Values(VersionLine{"Zero", "version:0"}, VersionLine{"Two", "version:2"},
                      VersionLine{"Ten", "version:10"}, VersionLine{"Negative", "version:-1"},
                      VersionLine{"Largest", "version:2147483647"},
                      VersionLine{"Smallest", "version:-2147483648"},
                      VersionLine{"OneIn32Bits", "version:4294967297"},
                      VersionLine{"NegativeOneIn32Bits", "version:-4294967295"},
                      VersionLine{"OneIn64Bits", "version:18446744073709551617"},
                      VersionLine{"EndlessDigits", "version:" + std::string(4000, '9')},
                      VersionLine{"NoNumber", "version:"}, VersionLine{"NoColon", "version"},
                      VersionLine{"OtherSeparator", "version;1"}, VersionLine{"UpperCase", "Version:1"},
                      VersionLine{"LeadingBlank", " version:1"}, VersionLine{"NumberAlone", "1"},
                      VersionLine{"Empty", ""}, VersionLine{"NulInside", std::string("ver\0sion:1", 10)},
                      VersionLine{"ByteOrderMark", "\xef\xbb\xbfversion:1"}),
    RowName());

TEST_F(IndexFileTest, Read_VersionLineOfUnusualForm_IsTakenAsScanned) {
    layOut({"version: 01\r\n3,7\r\n", kNone});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), 2);
    expectFields(1, 3, 7);
}

/// A second line, the result of reading it, and the fields afterwards.
struct PositionsLine {
    const char *name;
    std::string line;
    int32_t result;
    int32_t oldest;
    int32_t latest;
    friend std::ostream &operator<<(std::ostream &out, const PositionsLine &row) { return out << row.name; }
};

class PositionsLineTest : public IndexFileTest, public ::testing::WithParamInterface<PositionsLine> {};

TEST_P(PositionsLineTest, Read_SecondLine_GivesItsNumbersAndTheirCount) {
    layOut({"version:1\n" + GetParam().line, kNone});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), GetParam().result);
    expectFields(1, GetParam().oldest, GetParam().latest);
    if (GetParam().result < 0) {
        EXPECT_THAT(messages(), ElementsAre(about("read index error!")));
    } else {
        EXPECT_THAT(messages(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Limits, PositionsLineTest,
                         ::testing::Values(PositionsLine{"BothZero", "0,0\n", 2, 0, 0},
                                           PositionsLine{"Usual", "12,3\n", 2, 12, 3},
                                           PositionsLine{"Both88", "88,88\n", 2, 88, 88},
                                           PositionsLine{"Both89", "89,89\n", 2, 89, 89},
                                           PositionsLine{"Latest90", "5,90\n", -1, 5, 90},
                                           PositionsLine{"Oldest90", "90,5\n", -1, 90, 5},
                                           PositionsLine{"Oldest91", "91,5\n", -1, 91, 5},
                                           PositionsLine{"Oldest90Alone", "90\n", -1, 90, kLatestBefore}),
                         RowName());

INSTANTIATE_TEST_SUITE_P(Negative, PositionsLineTest,
                         ::testing::Values(PositionsLine{"Oldest", "-1,3\n", 2, -1, 3},
                                           PositionsLine{"Latest", "3,-1\n", 2, 3, -1},
                                           PositionsLine{"Both", "-90,-91\n", 2, -90, -91},
                                           PositionsLine{"Smallest", "-2147483648,0\n", 2, kLeast, 0},
                                           PositionsLine{"OldestWithLatest90", "-1,90\n", -1, -1, 90}),
                         RowName());

INSTANTIATE_TEST_SUITE_P(
    Overflow, PositionsLineTest,
    ::testing::Values(PositionsLine{"Largest", "2147483647,3\n", -1, kMost, 3},
                      PositionsLine{"AboveLargest", "2147483648,3\n", -1, kMost, 3},
                      PositionsLine{"ThreeIn32Bits", "4294967299,7\n", -1, kMost, 7},
                      PositionsLine{"LatestSevenIn32Bits", "3,4294967303\n", -1, 3, kMost},
                      PositionsLine{"Above63Bits", "9223372036854775808,7\n", -1, kMost, 7},
                      PositionsLine{"LatestSevenIn64Bits", "3,18446744073709551623\n", -1, 3, kMost},
                      PositionsLine{"BelowSmallest", "-2147483649,3\n", 2, kLeast, 3},
                      PositionsLine{"NegativeThreeIn32Bits", "-4294967293,7\n", 2, kLeast, 7},
                      PositionsLine{"NegativeSevenIn64Bits", "3,-18446744073709551609\n", 2, 3, kLeast}),
    RowName());

INSTANTIATE_TEST_SUITE_P(
    Incomplete, PositionsLineTest,
    ::testing::Values(PositionsLine{"Nothing", "", -1, kOldestBefore, kLatestBefore},
                      PositionsLine{"LineFeed", "\n", -1, kOldestBefore, kLatestBefore},
                      PositionsLine{"NoOldest", ",7\n", -1, kOldestBefore, kLatestBefore},
                      PositionsLine{"NoNumber", "x\n", -1, kOldestBefore, kLatestBefore},
                      PositionsLine{"BytesAbove127", "\xff\xfe\n", -1, kOldestBefore, kLatestBefore},
                      PositionsLine{"NulFirst", std::string("\0003,7\n", 5), -1, kOldestBefore,
                                    kLatestBefore},
                      PositionsLine{"OldestAlone", "3\n", 1, 3, kLatestBefore},
                      PositionsLine{"NothingBehindTheComma", "3,\n", 1, 3, kLatestBefore},
                      PositionsLine{"NoNumberBehindTheComma", "3,x\n", 1, 3, kLatestBefore},
                      PositionsLine{"OtherSeparator", "3;7\n", 1, 3, kLatestBefore},
                      PositionsLine{"BlankBeforeTheComma", "3 ,7\n", 1, 3, kLatestBefore},
                      PositionsLine{"NulBeforeTheComma", std::string("3\0,7\n", 5), 1, 3, kLatestBefore}),
    RowName());

INSTANTIATE_TEST_SUITE_P(UnusualForm, PositionsLineTest,
                         ::testing::Values(PositionsLine{"NoLineFeed", "3,7", 2, 3, 7},
                                           PositionsLine{"ThirdNumber", "3,7,9\n", 2, 3, 7},
                                           PositionsLine{"TextBehind", "3,7rest\n", 2, 3, 7},
                                           PositionsLine{"Blanks", "  3,  7\n", 2, 3, 7},
                                           PositionsLine{"ZerosAndPlus", "003,+07\n", 2, 3, 7},
                                           PositionsLine{"LineFeedsBetween", "\n\n3,\n7\n", 2, 3, 7}),
                         RowName());

}  // namespace
}  // namespace test
