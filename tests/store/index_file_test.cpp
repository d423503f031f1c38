// SPDX-License-Identifier: Apache-2.0
// The index file: reading it and its backup, rewriting it, and what a power cut at any point leaves.
#include "store/index_file.h"

#include <filesystem>
#include <optional>
#include <ostream>

#include "csvfile/startup_analysis.h"
#include "store/store_fixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

/// Bytes of the index and of its backup; none where there is no such file.
struct IndexFiles {
    std::optional<std::string> index;
    std::optional<std::string> backup;
};

bool operator==(const IndexFiles &left, const IndexFiles &right) {
    return left.index == right.index && left.backup == right.backup;
}

std::ostream &operator<<(std::ostream &out, const IndexFiles &files) {
    return out << "index.csv " << ::testing::PrintToString(files.index) << ", index.bak "
               << ::testing::PrintToString(files.backup);
}

constexpr auto kNone = std::nullopt;

/// What a read may find in memory: numbers that no file of these tests holds.
constexpr int32_t kVersionBefore = 77;
constexpr int32_t kOldestBefore = 55;
constexpr int32_t kLatestBefore = 66;

class IndexFileTest : public ModuleTest {
protected:
    IndexFileTest() : obj_(dir_.path(), 10) {
        obj_->index_version = kVersionBefore;
        obj_.setRange(kOldestBefore, kLatestBefore);
    }

    static void layOut(const TempDir &dir, const IndexFiles &files) {
        if (files.index) {
            dir.write("index.csv", *files.index);
        }
        if (files.backup) {
            dir.write("index.bak", *files.backup);
        }
    }

    static IndexFiles filesIn(const TempDir &dir) {
        return {bytesOf(dir, "index.csv"), bytesOf(dir, "index.bak")};
    }

    static std::optional<std::string> bytesOf(const TempDir &dir, const std::string &name) {
        return dir.has(name) ? std::optional<std::string>(dir.read(name)) : kNone;
    }

    void layOut(const IndexFiles &files) const { layOut(dir_, files); }
    IndexFiles files() const { return filesIn(dir_); }

    /// A message about this object's directory.
    std::string about(const std::string &text) const { return dir_.path() + ": " + text; }

    void expectFields(int32_t version, int32_t oldest, int32_t latest) {
        EXPECT_EQ(obj_->index_version, version);
        EXPECT_EQ(obj_->csv_oldest, oldest);
        EXPECT_EQ(obj_->csv_latest, latest);
    }

    HandMadeObject obj_;
};

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

/// A second line, what reading it gives, and the fields afterwards.
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

constexpr int32_t kMost = 2147483647;
constexpr int32_t kLeast = -2147483647 - 1;

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

// --- Rewriting -----------------------------------------------------------------------------------------

TEST_F(IndexFileTest, Update_NullObject_FailsWithoutAWord) {
    EXPECT_EQ(jorn_UpdateCsvIndexFile(nullptr, 1, 2), -1);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(IndexFileTest, Update_NoIndex_CreatesItDirectly) {
    EXPECT_EQ(jorn_UpdateCsvIndexFile(obj_.get(), 3, 7), 0);
    EXPECT_EQ(files(), (IndexFiles{"version:1\n3,7\n", kNone}));
    EXPECT_THAT(platform().calls(), ElementsAre("fopen index.csv r", "fopen index.csv w", "fwrite 14x1",
                                                "fclose", "rm index.bak"));
}

TEST_F(IndexFileTest, Update_OnlyAStaleBackup_CreatesTheIndexThenDeletesTheBackup) {
    layOut({kNone, "version:1\n1,2\n"});
    EXPECT_EQ(jorn_UpdateCsvIndexFile(obj_.get(), 3, 7), 0);
    EXPECT_EQ(files(), (IndexFiles{"version:1\n3,7\n", kNone}));
    EXPECT_THAT(platform().calls(), ElementsAre("fopen index.csv r", "fopen index.csv w", "fwrite 14x1",
                                                "fclose", "rm index.bak"));
}

TEST_F(IndexFileTest, Update_IndexAlone_GoesThroughTheBackup) {
    layOut({"version:1\n1,2\n", kNone});
    EXPECT_EQ(jorn_UpdateCsvIndexFile(obj_.get(), 3, 7), 0);
    EXPECT_EQ(files(), (IndexFiles{"version:1\n3,7\n", kNone}));
    EXPECT_THAT(platform().calls(), ElementsAreArray(indexRewrite()));
}

TEST_F(IndexFileTest, Update_IndexAndStaleBackup_DeletesTheBackupBeforeRenaming) {
    layOut({"version:1\n1,2\n", "version:1\n8,9\n"});
    EXPECT_EQ(jorn_UpdateCsvIndexFile(obj_.get(), 3, 7), 0);
    EXPECT_EQ(files(), (IndexFiles{"version:1\n3,7\n", kNone}));
    EXPECT_THAT(platform().calls(),
                ElementsAre("fopen index.csv r", "fclose", "fopen index.bak r", "fclose", "rm index.bak",
                            "yaffs_rename index.csv index.bak", "fopen index.csv w", "fwrite 14x1", "fclose",
                            "rm index.bak"));
}

TEST_F(IndexFileTest, Update_Always_LeavesTheFieldsAlone) {
    jorn_UpdateCsvIndexFile(obj_.get(), 3, 7);
    expectFields(kVersionBefore, kOldestBefore, kLatestBefore);
}

TEST_F(IndexFileTest, Update_OtherVersionInMemory_WritesVersion1) {
    obj_->index_version = 2;
    jorn_UpdateCsvIndexFile(obj_.get(), 3, 7);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n3,7\n");
}

TEST_F(IndexFileTest, Update_LongerFormerIndex_NothingOfItIsLeft) {
    layOut({"version:1\n10,11\nmore\n", kNone});
    jorn_UpdateCsvIndexFile(obj_.get(), 0, 0);
    EXPECT_EQ(dir_.read("index.csv"), "version:1\n0,0\n");
}

struct IndexText {
    const char *name;
    int32_t oldest;
    int32_t latest;
    const char *text;
    const char *write;  ///< The one write, of the text's length.
    friend std::ostream &operator<<(std::ostream &out, const IndexText &row) { return out << row.name; }
};

class IndexTextTest : public IndexFileTest, public ::testing::WithParamInterface<IndexText> {};

TEST_P(IndexTextTest, Update_AnyPositions_WritesTheTextAtOnce) {
    EXPECT_EQ(jorn_UpdateCsvIndexFile(obj_.get(), GetParam().oldest, GetParam().latest), 0);
    EXPECT_EQ(dir_.read("index.csv"), GetParam().text);
    EXPECT_THAT(platform().calls({"fwrite"}), ElementsAre(GetParam().write));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, IndexTextTest,
    ::testing::Values(IndexText{"BothZero", 0, 0, "version:1\n0,0\n", "fwrite 14x1"},
                      IndexText{"OneDigit", 3, 7, "version:1\n3,7\n", "fwrite 14x1"},
                      IndexText{"TwoAndOneDigit", 12, 3, "version:1\n12,3\n", "fwrite 15x1"},
                      IndexText{"LastPosition", 89, 89, "version:1\n89,89\n", "fwrite 16x1"},
                      IndexText{"Negative", -1, 3, "version:1\n-1,3\n", "fwrite 15x1"},
                      IndexText{"LongestText", kLeast, kMost, "version:1\n-2147483648,2147483647\n",
                                "fwrite 33x1"}),
    RowName());

TEST_F(IndexFileTest, Update_CannotBeCreated_FailsAndLeavesTheFormerIndexInTheBackup) {
    layOut({"version:1\n1,2\n", kNone});
    platform().fail("fopen index.csv w");
    EXPECT_EQ(jorn_UpdateCsvIndexFile(obj_.get(), 3, 7), -1);
    EXPECT_EQ(files(), (IndexFiles{kNone, "version:1\n1,2\n"}));
    EXPECT_THAT(messages(), ElementsAre("Create index.csv error!"));
    EXPECT_THAT(platform().calls(), ElementsAre("fopen index.csv r", "fclose", "fopen index.bak r",
                                                "yaffs_rename index.csv index.bak", "fopen index.csv w"));
}

TEST_F(IndexFileTest, Update_DirectoryGone_FailsWithMessageAtLevel1) {
    HandMadeObject nowhere(dir_.path() + "/gone", 10);
    expectMessageAt(1, "Create index.csv error!",
                    [&] { EXPECT_EQ(jorn_UpdateCsvIndexFile(nowhere.get(), 3, 7), -1); });
}

TEST_F(IndexFileTest, Update_LongestDirectoryName_PathsAreWhole) {
    const std::string longName = "/0123456789abcdef";
    const std::string name = (dir_.path() + longName).substr(0, 31);
    ASSERT_EQ(name.size(), 31U) << "the longest that an object may have";
    std::filesystem::create_directory(name);
    HandMadeObject obj(name, 10);
    EXPECT_EQ(jorn_UpdateCsvIndexFile(obj.get(), 3, 7), 0);
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj.get()), 2);
    EXPECT_TRUE(std::filesystem::exists(name + "/index.csv"));
}

/// Results that a rewrite does not look at, and the files it leaves when the call fails.
struct IgnoredFailure {
    const char *name;
    const char *call;
    IndexFiles files;
    friend std::ostream &operator<<(std::ostream &out, const IgnoredFailure &row) { return out << row.name; }
};

class IgnoredFailureTest : public IndexFileTest, public ::testing::WithParamInterface<IgnoredFailure> {};

TEST_P(IgnoredFailureTest, Update_StepFails_IsIgnored) {
    layOut({"version:1\n1,2\n", kNone});
    platform().fail(GetParam().call, probe::Probe::kForever);
    EXPECT_EQ(jorn_UpdateCsvIndexFile(obj_.get(), 3, 7), 0);
    EXPECT_EQ(files(), GetParam().files);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(platform().calls(), ElementsAreArray(indexRewrite()));
}

INSTANTIATE_TEST_SUITE_P(
    Steps, IgnoredFailureTest,
    ::testing::Values(IgnoredFailure{"Rename", "yaffs_rename", {"version:1\n3,7\n", kNone}},
                      IgnoredFailure{"Write", "fwrite", {"", kNone}},
                      IgnoredFailure{"Close", "fclose", {"version:1\n3,7\n", kNone}},
                      IgnoredFailure{"Delete", "rm", {"version:1\n3,7\n", "version:1\n1,2\n"}}),
    RowName());

// --- Power cuts ----------------------------------------------------------------------------------------

/// What lies on the medium after a cut, what reading it gives, and what lies there then.
struct PowerCut {
    const char *name;
    IndexFiles found;
    int32_t result;
    int32_t oldest;
    int32_t latest;
    IndexFiles left;
    friend std::ostream &operator<<(std::ostream &out, const PowerCut &row) { return out << row.name; }
};

class PowerCutTest : public IndexFileTest, public ::testing::WithParamInterface<PowerCut> {};

TEST_P(PowerCutTest, Read_AfterACutOfTheRewrite_GivesFormerOrNewPositions) {
    layOut(GetParam().found);
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), GetParam().result);
    EXPECT_EQ(obj_->csv_oldest, GetParam().oldest);
    EXPECT_EQ(obj_->csv_latest, GetParam().latest);
    EXPECT_EQ(files(), GetParam().left);
}

TEST_P(PowerCutTest, StartUp_AfterACutOfTheRewrite_LeavesOneGoodIndex) {
    layOut(GetParam().found);
    EXPECT_EQ(jorn_InitAnalyseCSV(obj_.get()), 0);
    const bool isRead = GetParam().result == 2;
    EXPECT_EQ(obj_->index_version, 1);
    EXPECT_EQ(obj_->csv_latest, isRead ? GetParam().latest : 0);
    // An index that cannot be read is replaced at once, which ends with the backup deleted.
    EXPECT_EQ(files(), isRead ? GetParam().left : (IndexFiles{"version:1\n0,0\n", kNone}));
}

constexpr char kFormer[] = "version:1\n4,4\n";
constexpr char kNew[] = "version:1\n5,5\n";
constexpr char kStale[] = "version:1\n3,3\n";

INSTANTIATE_TEST_SUITE_P(
    Points, PowerCutTest,
    ::testing::Values(
        PowerCut{"BeforeTheRename", {kFormer, kNone}, 2, 4, 4, {kFormer, kNone}},
        PowerCut{"BeforeTheRenameWithStaleBackup", {kFormer, kStale}, 2, 4, 4, {kFormer, kStale}},
        PowerCut{"AfterTheRename", {kNone, kFormer}, 2, 4, 4, {kFormer, kNone}},
        PowerCut{"AfterCreating", {"", kFormer}, -1, kOldestBefore, kLatestBefore, {"", kFormer}},
        PowerCut{"WithinTheText",
                 {"version:1\n", kFormer},
                 -1,
                 kOldestBefore,
                 kLatestBefore,
                 {"version:1\n", kFormer}},
        PowerCut{"AfterTheWrite", {kNew, kFormer}, 2, 5, 5, {kNew, kFormer}},
        PowerCut{"Complete", {kNew, kNone}, 2, 5, 5, {kNew, kNone}}),
    RowName());

/// The first bytes of the text for 3 and 7, and what reading them gives.
struct TornText {
    const char *name;
    const char *text;
    int32_t result;
    const char *message;  ///< Null for none.
    friend std::ostream &operator<<(std::ostream &out, const TornText &row) { return out << row.name; }
};

class TornTextTest : public IndexFileTest, public ::testing::WithParamInterface<TornText> {};

TEST_P(TornTextTest, Read_FirstBytesOfTheText_NeverAsksTheBackup) {
    layOut({GetParam().text, "version:1\n1,2\n"});
    EXPECT_EQ(jorn_ReadCsvIndexFile(obj_.get()), GetParam().result);
    EXPECT_THAT(platform().calls({"fopen", "yaffs_rename"}), ElementsAre("fopen index.csv r"));
    if (GetParam().message != nullptr) {
        EXPECT_THAT(messages(), ElementsAre(about(GetParam().message)));
    } else {
        EXPECT_THAT(messages(), IsEmpty());
    }
}

constexpr char kVersionError[] = "index.csv version error!";
constexpr char kReadError[] = "read index error!";

INSTANTIATE_TEST_SUITE_P(Lengths, TornTextTest,
                         ::testing::Values(TornText{"FirstByte", "v", -1, kVersionError},
                                           TornText{"Word", "version", -1, kVersionError},
                                           TornText{"Colon", "version:", -1, kVersionError},
                                           TornText{"Version", "version:1", -1, kReadError},
                                           TornText{"FirstLine", "version:1\n", -1, kReadError},
                                           TornText{"Oldest", "version:1\n3", 1, nullptr},
                                           TornText{"Comma", "version:1\n3,", 1, nullptr},
                                           TornText{"AllButTheLineFeed", "version:1\n3,7", 2, nullptr}),
                         RowName());

/// Stops a rewrite before each of its calls, by keeping what is on the medium at that moment.
class CutRewriteTest : public IndexFileTest {
protected:
    /// What is on the medium before each call of a rewrite from `before` to 3,7.
    std::vector<std::pair<std::string, IndexFiles>> cutsOfRewrite(const IndexFiles &before) {
        std::vector<std::pair<std::string, IndexFiles>> cuts;
        layOut(before);
        platform().onCall("", [&](const std::string &call) { cuts.emplace_back(call, files()); });
        EXPECT_EQ(jorn_UpdateCsvIndexFile(obj_.get(), 3, 7), 0);
        platform().reset();
        return cuts;
    }

    /// The latest position that reading a medium gives, -1 when it cannot be read.
    static int32_t latestOn(const IndexFiles &medium) {
        const TempDir dir;
        layOut(dir, medium);
        HandMadeObject reader(dir.path(), 10);
        return jorn_ReadCsvIndexFile(reader.get()) == 2 ? reader->csv_latest : -1;
    }

    static std::vector<std::pair<std::string, int32_t>> readAfterEach(
        const std::vector<std::pair<std::string, IndexFiles>> &cuts) {
        std::vector<std::pair<std::string, int32_t>> found;
        found.reserve(cuts.size());
        for (const auto &[call, medium] : cuts) {
            found.emplace_back(call, latestOn(medium));
        }
        return found;
    }
};

using ::testing::Pair;

TEST_F(CutRewriteTest, Update_CutBeforeAnyCall_OnlyTheUnfinishedTextIsUnreadable) {
    EXPECT_THAT(readAfterEach(cutsOfRewrite({"version:1\n1,2\n", kNone})),
                ElementsAre(Pair("fopen index.csv r", 2), Pair("fclose", 2), Pair("fopen index.bak r", 2),
                            Pair("yaffs_rename index.csv index.bak", 2), Pair("fopen index.csv w", 2),
                            Pair("fwrite 14x1", -1), Pair("fclose", -1), Pair("rm index.bak", 7)));
}

TEST_F(CutRewriteTest, Update_CutWithAStaleBackup_StaleBackupIsNeverRead) {
    EXPECT_THAT(readAfterEach(cutsOfRewrite({"version:1\n1,2\n", "version:1\n8,9\n"})),
                ElementsAre(Pair("fopen index.csv r", 2), Pair("fclose", 2), Pair("fopen index.bak r", 2),
                            Pair("fclose", 2), Pair("rm index.bak", 2),
                            Pair("yaffs_rename index.csv index.bak", 2), Pair("fopen index.csv w", 2),
                            Pair("fwrite 14x1", -1), Pair("fclose", -1), Pair("rm index.bak", 7)));
}

TEST_F(CutRewriteTest, Update_CutWithTheBackupAlone_BackupServesUntilTheIndexIsCreated) {
    EXPECT_THAT(readAfterEach(cutsOfRewrite({kNone, "version:1\n1,2\n"})),
                ElementsAre(Pair("fopen index.csv r", 2), Pair("fopen index.csv w", 2),
                            Pair("fwrite 14x1", -1), Pair("fclose", -1), Pair("rm index.bak", 7)));
}

// --- Creating ------------------------------------------------------------------------------------------

TEST_F(IndexFileTest, New_NullObject_Fails) {
    EXPECT_EQ(jorn_NewCsvIndexFile(nullptr), -1);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(IndexFileTest, New_EmptyDirectory_WritesPositions0AndSetsTheFields) {
    EXPECT_EQ(jorn_NewCsvIndexFile(obj_.get()), 0);
    EXPECT_EQ(files(), (IndexFiles{"version:1\n0,0\n", kNone}));
    expectFields(1, 0, 0);
}

TEST_F(IndexFileTest, New_DamagedIndexBesideABackup_ReplacesTheOneAndDeletesTheOther) {
    layOut({"", "version:1\n1,2\n"});
    EXPECT_EQ(jorn_NewCsvIndexFile(obj_.get()), 0);
    EXPECT_EQ(files(), (IndexFiles{"version:1\n0,0\n", kNone}));
}

TEST_F(IndexFileTest, New_IndexCannotBeCreated_FailsAndLeavesTheFields) {
    platform().fail("fopen index.csv w");
    EXPECT_EQ(jorn_NewCsvIndexFile(obj_.get()), -1);
    expectFields(kVersionBefore, kOldestBefore, kLatestBefore);
    EXPECT_THAT(messages(), ElementsAre("Create index.csv error!"));
}

TEST_F(IndexFileTest, New_BeingWritten_FieldsAreStillTheFormerOnes) {
    bool isReached = false;
    platform().onCall("rm index.bak", [&](const std::string &) {
        isReached = true;
        expectFields(kVersionBefore, kOldestBefore, kLatestBefore);
    });
    jorn_NewCsvIndexFile(obj_.get());
    EXPECT_TRUE(isReached);
}

// --- Renaming ------------------------------------------------------------------------------------------

/// Makes a directory the current one for a scope, so that paths without a leading slash lead into it.
class CurrentDirectory {
public:
    explicit CurrentDirectory(const TempDir &dir) : former_(std::filesystem::current_path()) {
        std::filesystem::current_path(dir.path());
    }
    ~CurrentDirectory() { std::filesystem::current_path(former_); }
    CurrentDirectory(const CurrentDirectory &) = delete;
    CurrentDirectory &operator=(const CurrentDirectory &) = delete;

private:
    std::filesystem::path former_;
};

class RenameFileTest : public ModuleTest {
protected:
    std::string pathOf(const std::string &name) const { return dir_.path() + "/" + name; }
};

TEST_F(RenameFileTest, Rename_PathsOutsideTheRoot_ArePassedAsTheyAre) {
    dir_.write("a", "bytes");
    EXPECT_EQ(jorn_RenameFile(pathOf("a").c_str(), pathOf("b").c_str()), 0);
    EXPECT_THAT(dir_.names(), ElementsAre("b"));
    EXPECT_EQ(dir_.read("b"), "bytes");
}

TEST_F(RenameFileTest, Rename_BothPathsBelowTheRoot_AreBothShortened) {
    // Behind the root's six characters these begin without a slash, so they show what was taken off.
    std::filesystem::create_directory(pathOf("2"));
    dir_.write("2/a", "bytes");
    const CurrentDirectory current(dir_);
    EXPECT_EQ(jorn_RenameFile("/yaffs2/a", "/yaffs2/b"), 0);
    EXPECT_EQ(dir_.read("2/b"), "bytes");
    EXPECT_FALSE(dir_.has("2/a"));
}

TEST_F(RenameFileTest, Rename_SourceAloneBelowTheRoot_IsShortenedByItself) {
    dir_.write("a", "bytes");
    const CurrentDirectory current(dir_);
    EXPECT_EQ(jorn_RenameFile("/yaffsa", pathOf("b").c_str()), 0);
    EXPECT_THAT(dir_.names(), ElementsAre("b"));
}

TEST_F(RenameFileTest, Rename_DestinationAloneBelowTheRoot_IsShortenedByItself) {
    dir_.write("a", "bytes");
    const CurrentDirectory current(dir_);
    EXPECT_EQ(jorn_RenameFile(pathOf("a").c_str(), "/yaffsb"), 0);
    EXPECT_THAT(dir_.names(), ElementsAre("b"));
}

TEST_F(RenameFileTest, Rename_RootInTheMiddleOfAPath_IsNoPrefix) {
    std::filesystem::create_directory(pathOf("yaffs"));
    dir_.write("yaffs/a", "bytes");
    EXPECT_EQ(jorn_RenameFile(pathOf("yaffs/a").c_str(), pathOf("yaffs/b").c_str()), 0);
    EXPECT_TRUE(dir_.has("yaffs/b"));
}

TEST_F(RenameFileTest, Rename_OneCharacterShortOfTheRoot_IsNoPrefix) {
    platform().fail("yaffs_rename");
    jorn_RenameFile("/yaff", "/Yaffs");
    EXPECT_THAT(platform().calls(), ElementsAre("yaffs_rename yaff Yaffs"));
}

TEST_F(RenameFileTest, Rename_Fails_IsStillASuccess) {
    EXPECT_EQ(jorn_RenameFile(pathOf("missing").c_str(), pathOf("b").c_str()), 0);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(RenameFileTest, Rename_NullPath_RenamesNothing) {
    EXPECT_EQ(jorn_RenameFile(nullptr, pathOf("b").c_str()), 0);
    EXPECT_EQ(jorn_RenameFile(pathOf("a").c_str(), nullptr), 0);
    EXPECT_THAT(platform().calls(), IsEmpty());
}

}  // namespace
}  // namespace test
