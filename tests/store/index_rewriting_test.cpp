// SPDX-License-Identifier: Apache-2.0
// Rewriting and creating the index file, and what a power cut at any point leaves.
#include <filesystem>

#include "csvfile/startup_analysis.h"
#include "store/index_file_fixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

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
    const char *write;  ///< The only write, of the text's length.
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

/// A call whose result a rewrite ignores, and the files it leaves when the call fails.
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

/// What is on the medium after a cut, the result of reading it, and what is there then.
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

/// The first bytes of the text for 3 and 7, and the result of reading them.
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

    /// The latest position read from a medium, -1 when it cannot be read.
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

}  // namespace
}  // namespace test
