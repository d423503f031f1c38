// SPDX-License-Identifier: Apache-2.0
// Which items a page shows, what is refused, and the mutex.
#include <cstddef>
#include <cstring>

#include "query/retrieval_support.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(RetrievalRecordTest, Layout_Record_IsFourTextsWithoutGaps) {
    EXPECT_EQ(sizeof(JORN_LOG_DISP), 256U);
    EXPECT_EQ(offsetof(JORN_LOG_DISP, timeStr), 0U);
    EXPECT_EQ(offsetof(JORN_LOG_DISP, levelStr), 28U);
    EXPECT_EQ(offsetof(JORN_LOG_DISP, slotStr), 44U);
    EXPECT_EQ(offsetof(JORN_LOG_DISP, logStr), 56U);
    EXPECT_EQ(sizeof(JORN_LOG_PAGE), 4U + 20U * 256U);
    EXPECT_EQ(offsetof(JORN_LOG_PAGE, disp), 4U);
}

// Which items a page shows.

struct PageRow {
    const char *name;
    int total;
    int32_t itemsPerPage;
    int32_t pageDisp;
    int32_t result;
    int newest;  ///< Number of the first text.
    int oldest;  ///< Number of the last text.
};

/// The same items in one file, in two, and in four across the ring's wrap.
std::vector<std::pair<int32_t, int>> spread(int total, int files) {
    if (files == 1) {
        return {{3, total}};
    }
    if (files == 2) {
        return {{1, total / 2}, {2, total - total / 2}};
    }
    return {{4, 1}, {5, total / 3}, {0, total / 3}, {1, total - 1 - 2 * (total / 3)}};
}

class RetrievalPageTest : public RetrievalTest,
                          public ::testing::WithParamInterface<std::tuple<PageRow, int>> {};

TEST_P(RetrievalPageTest, Get_Page_HoldsItsItemsNewestFirst) {
    const auto &[row, files] = GetParam();
    createOver(numberedRing(6, spread(row.total, files)));
    EXPECT_EQ(get(everything(row.pageDisp, row.itemsPerPage)), row.result);
    EXPECT_EQ(texts(page_), countdown("n", row.newest, row.oldest));
    expectNothingBeyondThePage();
    EXPECT_THAT(messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    , RetrievalPageTest,
    ::testing::Combine(
        ::testing::Values(
            PageRow{"First20Of45", 45, 20, 1, 1, 44, 25}, PageRow{"Second20Of45", 45, 20, 2, 2, 24, 5},
            PageRow{"LastOf45", 45, 20, 3, 3, 4, 0}, PageRow{"OneBeyondTheLastOf45", 45, 20, 4, 3, 4, 0},
            PageRow{"FarBeyondTheLastOf45", 45, 20, INT32_MAX, 3, 4, 0},
            PageRow{"PageMinusOneOf45", 45, 20, -1, 3, 4, 0},
            PageRow{"SmallestPageOf45", 45, 20, INT32_MIN, 3, 4, 0},
            PageRow{"First20Of40", 40, 20, 1, 1, 39, 20}, PageRow{"LastOf40", 40, 20, 2, 2, 19, 0},
            PageRow{"OneBeyondTheLastOf40", 40, 20, 3, 2, 19, 0},
            PageRow{"PageMinusOneOf40", 40, 20, -1, 2, 19, 0},
            PageRow{"PerPage50IsPerPage20", 45, 50, 1, 1, 44, 25},
            PageRow{"PerPage50LastPage", 45, 50, 3, 3, 4, 0},
            PageRow{"PerPage21IsPerPage20", 45, 21, 2, 2, 24, 5},
            PageRow{"LargestPerPage", 45, INT32_MAX, 3, 3, 4, 0}, PageRow{"PerPage19", 45, 19, 3, 3, 6, 0},
            PageRow{"PerPage1First", 45, 1, 1, 1, 44, 44}, PageRow{"PerPage1Middle", 45, 1, 22, 22, 23, 23},
            PageRow{"PerPage1Last", 45, 1, 45, 45, 0, 0}, PageRow{"All20OnOnePage", 20, 20, 1, 1, 19, 0},
            PageRow{"One20AndOneMore", 21, 20, 2, 2, 0, 0}, PageRow{"FewerThanAPage", 7, 20, 1, 1, 6, 0},
            PageRow{"FewerThanAPagePage2", 7, 20, 2, 1, 6, 0}),
        ::testing::Values(1, 2, 4)),
    [](const auto &row) {
        return std::string(std::get<0>(row.param).name) + "In" + std::to_string(std::get<1>(row.param)) +
               "Files";
    });

TEST_F(RetrievalTest, Get_PageOverTwoFiles_TakesTheOldestOfTheNewerThenTheNewestOfTheOlder) {
    createOver(numberedRing(4, {{0, 5}, {1, 5}}));
    EXPECT_EQ(get(everything(2, 4)), 2);
    EXPECT_THAT(texts(page_), ElementsAre("n5", "n4", "n3", "n2"));
}

TEST_F(RetrievalTest, Get_PageEndsAtTheSeam_TakesTheNewerFileOnly) {
    createOver(numberedRing(4, {{0, 5}, {1, 4}}));
    EXPECT_EQ(get(everything(1, 4)), 1);
    EXPECT_THAT(texts(page_), ElementsAre("n8", "n7", "n6", "n5"));
    EXPECT_THAT(platform().calls({"fopen"}), ElementsAre("fopen 1.csv r", "fopen 0.csv r", "fopen 1.csv r"));
}

TEST_F(RetrievalTest, Get_PageBeginsAtTheSeam_TakesTheOlderFileOnly) {
    createOver(numberedRing(4, {{0, 5}, {1, 4}}));
    EXPECT_EQ(get(everything(2, 4)), 2);
    EXPECT_THAT(texts(page_), ElementsAre("n4", "n3", "n2", "n1"));
    EXPECT_THAT(platform().calls({"fopen"}), ElementsAre("fopen 1.csv r", "fopen 0.csv r", "fopen 0.csv r"));
}

TEST_F(RetrievalTest, Get_WrappedRing_IsWalkedNewestFirstThroughTheWrap) {
    createOver(numberedRing(6, {{4, 2}, {5, 2}, {0, 2}, {1, 2}}));
    EXPECT_EQ(get(everything()), 1);
    EXPECT_EQ(texts(page_), countdown("n", 7, 0));
    EXPECT_THAT(platform().calls({"fopen"}), ElementsAre("fopen 1.csv r", "fopen 4.csv r", "fopen 1.csv r",
                                                         "fopen 0.csv r", "fopen 5.csv r", "fopen 4.csv r"));
}

TEST_F(RetrievalTest, Get_LargestRingFullyWrapped_GivesItsLastPage) {
    std::vector<std::pair<int32_t, int>> files;
    files.reserve(90);
    for (int32_t i = 0; i < 90; ++i) {
        files.emplace_back((45 + i) % 90, 1);
    }
    createOver(numberedRing(90, files));
    EXPECT_EQ(get(everything(-1)), 5);
    EXPECT_EQ(texts(page_), countdown("n", 9, 0));
}

TEST_F(RetrievalTest, Get_Requirement_GivesTheMatchingItemsOnly) {
    ModelRing ring = numberedRing(4, {{0, 6}, {1, 6}});
    ring.files[0][1].slot = 5;
    ring.files[0][4].slot = 5;
    ring.files[1][0].slot = 5;
    ring.files[1][5].level = 3;
    createOver(ring);
    JORN_REQUIRE require = anything();
    require.slot = 5;
    EXPECT_EQ(get(require), 1);
    EXPECT_THAT(texts(page_), ElementsAre("n6", "n4", "n1"));
    EXPECT_EQ(get(anything()), 1);
    EXPECT_EQ(texts(page_).front(), "n10");
}

TEST_F(RetrievalTest, Get_DayRange_GivesTheItemsOfTheDaysOnly) {
    ModelRing ring = {4, 8, 0, 1, {}};
    ring.files[0] = {{dayStart(100), 1, 1, "a"}, {dayStart(101), 1, 1, "b"}};
    ring.files[1] = {{dayStart(49709), 1, 1, "c"}, {4294967295U, 1, 1, "d"}};
    createOver(ring);
    JORN_REQUIRE require = anything();
    require.dayDwLimit = 101;
    require.dayUpLimit = 49709;
    EXPECT_EQ(get(require), 1);
    EXPECT_THAT(texts(page_), ElementsAre("c", "b"));
    require.dayDwLimit = 49710;
    require.dayUpLimit = -1;
    EXPECT_EQ(get(require), 1);
    EXPECT_THAT(texts(page_), ElementsAre("d"));
}

TEST_F(RetrievalTest, Get_ItemsAddedBetweenTwoCalls_ShiftThePages) {
    handle_ = createAtRest(4);
    store(handle_, 25, "n");
    settle();
    JORN_REQUIRE require = anything();
    EXPECT_EQ(get(require), 1);
    EXPECT_EQ(texts(page_), countdown("n", 24, 5));
    store(handle_, 3, "n", 25);
    settle();
    require.pageDisp = 2;
    EXPECT_EQ(get(require), 2);
    EXPECT_EQ(texts(page_), countdown("n", 7, 0));
}

TEST_F(RetrievalTest, Get_SecondObject_ReadsItsOwnDirectory) {
    createOver(numberedRing(4, {{0, 2}}));
    const TempDir other;
    jorn_SetDebugPrintLevel(0);
    const int32_t second = JORN_Create(other.name(), 8, 4);
    settle();
    store(second, 1, "other");
    settle();
    EXPECT_EQ(JORN_GetRequireLog(second, anything(), &page_), 1);
    EXPECT_THAT(texts(page_), ElementsAre("other0"));
}

// What is refused.

TEST_F(RetrievalTest, Get_UnknownHandle_FailsAndLeavesThePage) {
    createOver(numberedRing(4, {{0, 2}}));
    JORN_REQUIRE require = anything();
    require.itemsPerPage = 0;
    memset(&page_, kUntouched, sizeof page_);
    EXPECT_EQ(JORN_GetRequireLog(99, require, &page_), -1);
    EXPECT_TRUE(isUntouched(page_));
    EXPECT_THAT(messages(), ElementsAre(" hanld_id = 99, not found!"));
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(RetrievalTest, Get_NullPage_FailsWithoutTakingTheMutex) {
    createOver(numberedRing(4, {{0, 2}}));
    EXPECT_EQ(JORN_GetRequireLog(handle_, anything(), nullptr), -1);
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(RetrievalTest, Get_NoItemsPerPage_FailsBeforeTheMutexWithAnEmptyPage) {
    createOver(numberedRing(4, {{0, 2}}));
    for (const int32_t itemsPerPage : {0, -1, INT32_MIN}) {
        platform().clearLog();
        EXPECT_EQ(get(everything(1, itemsPerPage)), -1);
        EXPECT_EQ(page_.itemsNum, 0);
        expectNothingBeyondThePage();
        EXPECT_THAT(messages(), ElementsAre(" error: itemsPerPage = " + std::to_string(itemsPerPage) + "!"));
        EXPECT_THAT(platform().calls(), IsEmpty());
    }
}

TEST_F(RetrievalTest, Get_NothingMatches_FailsWithAnEmptyPage) {
    createOver(numberedRing(4, {{0, 2}}));
    JORN_REQUIRE require = anything();
    require.slot = 7;
    EXPECT_EQ(get(require), -1);
    EXPECT_EQ(page_.itemsNum, 0);
    expectNothingBeyondThePage();
    EXPECT_THAT(messages(), ElementsAre(" error: totalItem = 0!"));
}

TEST_F(RetrievalTest, Get_NoFileForTheDays_FailsWithAnEmptyPage) {
    createOver(numberedRing(4, {{0, 2}}));
    JORN_REQUIRE require = anything();
    require.dayDwLimit = 10;
    require.dayUpLimit = 20;
    EXPECT_EQ(get(require), -1);
    EXPECT_EQ(page_.itemsNum, 0);
    expectNothingBeyondThePage();
    EXPECT_THAT(messages(), ElementsAre("Can not find CSV file, dayUpLimit=20", " error: totalItem = -1!"));
}

TEST_F(RetrievalTest, Get_PageZero_GivesZeroAndLeavesThePage) {
    createOver(numberedRing(4, {{0, 45}}));
    EXPECT_EQ(get(everything(0)), 0);
    EXPECT_TRUE(isUntouched(page_));
    EXPECT_THAT(messages(), ElementsAre("Not support page-all-display!"));
}

TEST_F(RetrievalTest, Get_PageZeroAndOnePageInAll_IsRefusedToo) {
    createOver(numberedRing(4, {{0, 1}}));
    EXPECT_EQ(get(everything(0)), 0);
    EXPECT_TRUE(isUntouched(page_));
}

TEST_F(RetrievalTest, Get_PageZeroAndNothingToShow_FailsWithAnEmptyPage) {
    createOver(numberedRing(4, {{0, 2}}));
    JORN_REQUIRE require = anything();
    require.pageDisp = 0;
    require.slot = 7;
    EXPECT_EQ(get(require), -1);
    EXPECT_EQ(page_.itemsNum, 0);
    EXPECT_THAT(messages(), ElementsAre(" error: totalItem = 0!"));
}

TEST_F(RetrievalTest, Get_PageZeroWithoutItemsPerPage_ReportsTheItemsPerPage) {
    createOver(numberedRing(4, {{0, 2}}));
    EXPECT_EQ(get(everything(0, 0)), -1);
    EXPECT_THAT(messages(), ElementsAre(" error: itemsPerPage = 0!"));
}

TEST_F(RetrievalTest, Get_Refusals_AreReportedFromLevelOne) {
    createOver(numberedRing(4, {{0, 2}}));
    JORN_REQUIRE nothing = anything();
    nothing.slot = 7;
    JORN_REQUIRE noDay = anything();
    noDay.dayUpLimit = 0;
    expectMessageAt(1, " hanld_id = -7, not found!", [&] { JORN_GetRequireLog(-7, anything(), &page_); });
    expectMessageAt(1, "page pointer null!", [&] { JORN_GetRequireLog(handle_, anything(), nullptr); });
    expectMessageAt(1, " error: itemsPerPage = -3!", [&] { get(everything(1, -3)); });
    expectMessageAt(1, " error: totalItem = 0!", [&] { get(nothing); });
    expectMessageAt(1, " error: totalItem = -1!", [&] { get(noDay); });
    expectMessageAt(1, "Not support page-all-display!", [&] { get(everything(0)); });
}

// The mutex.

class RetrievalMutexTest : public RetrievalTest {
protected:
    void expectTakenAndGivenBack() {
        EXPECT_THAT(platform().calls({"semTake", "semGive"}), ElementsAre("semTake -1", "semGive"));
        EXPECT_EQ(platform().calls().front(), "semTake -1");
        EXPECT_EQ(platform().calls().back(), "semGive");
        EXPECT_TRUE(isMutexFree());
    }
};

TEST_F(RetrievalMutexTest, Get_Page_TakesTheMutexBeforeCountingAndGivesItAfterTheLastRead) {
    createOver(numberedRing(4, {{0, 1}}));
    EXPECT_EQ(get(everything()), 1);
    EXPECT_THAT(platform().calls(),
                ElementsAre("semTake -1", "fopen 0.csv r", "fgets 257", "fgets 257", "fclose",
                            "fopen 0.csv r", "fgets 257", "ctime", "fclose", "semGive"));
    expectTakenAndGivenBack();
}

TEST_F(RetrievalMutexTest, Get_WhileFilesAreRead_KeepsOtherTasksOut) {
    createOver(numberedRing(4, {{0, 1}, {1, 1}}));
    std::vector<bool> wasFree;
    platform().onCall("fgets", [&](const std::string &) { wasFree.push_back(isMutexFree()); });
    EXPECT_EQ(get(everything()), 1);
    EXPECT_EQ(wasFree, std::vector<bool>(6, false));
    expectTakenAndGivenBack();
}

TEST_F(RetrievalMutexTest, Get_NothingMatches_GivesTheMutexBack) {
    createOver(numberedRing(4, {{0, 1}}));
    JORN_REQUIRE require = anything();
    require.slot = 7;
    EXPECT_EQ(get(require), -1);
    expectTakenAndGivenBack();
}

TEST_F(RetrievalMutexTest, Get_NoFileForTheDays_GivesTheMutexBack) {
    createOver(numberedRing(4, {{0, 1}}));
    JORN_REQUIRE require = anything();
    require.dayUpLimit = 1;
    EXPECT_EQ(get(require), -1);
    expectTakenAndGivenBack();
}

TEST_F(RetrievalMutexTest, Get_PageZero_GivesTheMutexBack) {
    createOver(numberedRing(4, {{0, 1}}));
    EXPECT_EQ(get(everything(0)), 0);
    expectTakenAndGivenBack();
}

TEST_F(RetrievalMutexTest, Get_FileCannotBeOpened_GivesTheMutexBack) {
    createOver(numberedRing(4, {{0, 1}}));
    platform().fail("fopen 0.csv", 1, 1);
    EXPECT_EQ(get(everything()), 1);
    EXPECT_EQ(page_.itemsNum, 0);
    expectTakenAndGivenBack();
}

// Against the model.

TEST_F(RetrievalTest, Get_SmallRingsOfAllKinds_AgreesWithTheModel) {
    QueryGenerator generator(2106);
    int filled = 0;
    for (int i = 0; i < 200; ++i) {
        const ModelRing ring = generator.nextRing();
        createOver(ring);
        jorn_SetDebugPrintLevel(0);
        for (int j = 0; j < 12; ++j) {
            const JORN_REQUIRE require = generator.nextRequirement();
            const ModelPage expected = modelPage(ring, require);
            ASSERT_EQ(get(require), expected.result) << "ring " << i << ", requirement " << j;
            ASSERT_EQ(texts(page_), expected.texts) << "ring " << i << ", requirement " << j;
            expectNothingBeyondThePage();
            ASSERT_FALSE(HasFailure());
            filled += expected.texts.empty() ? 0 : 1;
        }
        ASSERT_EQ(JORN_Destroy(handle_), 0);
    }
    EXPECT_GT(filled, 800) << "the rings must give the model pages to show";
}

}  // namespace
}  // namespace test
