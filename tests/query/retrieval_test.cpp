// SPDX-License-Identifier: Apache-2.0
#include "query/retrieval.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "query/query_support.h"
#include "support/module_test.h"

namespace test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr unsigned char kUntouched = 0xAA;
const std::string kSeparator = probe::kBare + std::string("\r\n");

/// Times are shown in UTC as long as this lives.
class UtcTime {
public:
    UtcTime() : before_(getenv("TZ") != nullptr ? std::optional<std::string>(getenv("TZ")) : std::nullopt) {
        set("UTC0");
    }
    ~UtcTime() {
        if (before_) {
            set(before_->c_str());
        } else {
            unsetenv("TZ");
            tzset();
        }
    }
    UtcTime(const UtcTime &) = delete;
    UtcTime &operator=(const UtcTime &) = delete;

    static void set(const char *zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

private:
    std::optional<std::string> before_;
};

/// Whether bytes are as they were before the call.
template <class Record>
bool isUntouched(const Record &record) {
    const auto *const bytes = reinterpret_cast<const unsigned char *>(&record);
    return std::all_of(bytes, bytes + sizeof record, [](unsigned char byte) { return byte == kUntouched; });
}

/// "<prefix><first>", and so on down to "<prefix><last>".
std::vector<std::string> countdown(const std::string &prefix, int first, int last) {
    std::vector<std::string> all;
    for (int i = first; i >= last; --i) {
        all.push_back(prefix + std::to_string(i));
    }
    return all;
}

class RetrievalTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        memset(&page_, kUntouched, sizeof page_);
    }

    /// A real object at rest over this ring.
    void createOver(const ModelRing &ring) {
        handle_ = createAtRest(ring.csvNum, ring.slotMax);
        layOut(ring, dir_, object());
        platform().clearLog();
    }

    JORN_OBJ *object() const { return FindObj(handle_); }

    /// Asks for a page, into a record that was not touched before.
    int32_t get(const JORN_REQUIRE &require) {
        memset(&page_, kUntouched, sizeof page_);
        return JORN_GetRequireLog(handle_, require, &page_);
    }

    /// Records from the page's number of items on are as they were.
    void expectNothingBeyondThePage() {
        ASSERT_TRUE(page_.itemsNum >= 0 && page_.itemsNum <= 20) << page_.itemsNum;
        for (int32_t i = page_.itemsNum; i < 20; ++i) {
            EXPECT_TRUE(isUntouched(page_.disp[i])) << "record " << i;
        }
    }

    UtcTime utc_;
    int32_t handle_ = -1;
    JORN_LOG_PAGE page_;
};

/// Files at these positions, oldest first, with so many items each; the texts count on from file to file, so
/// that the oldest item is "n0".
ModelRing numberedRing(int32_t csvNum, const std::vector<std::pair<int32_t, int>> &files) {
    ModelRing ring = {csvNum, 8, files.front().first, files.back().first, {}};
    int next = 0;
    for (const auto &[position, number] : files) {
        ModelFile file;
        for (int i = 0; i < number; ++i, ++next) {
            file.push_back({1700000000U + static_cast<uint32_t>(next), 1, 2, "n" + std::to_string(next)});
        }
        ring.files[position] = file;
    }
    return ring;
}

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

// What is told on the way.

TEST_F(RetrievalTest, Get_PageOverTwoFiles_TellsItsArithmetic) {
    createOver(numberedRing(4, {{0, 3}, {1, 2}}));
    jorn_SetDebugPrintLevel(7);
    EXPECT_EQ(get(everything(1, 4)), 1);
    EXPECT_THAT(
        messages(),
        ElementsAre("CountRequireNumIn 1.Csv", "CountRequireNumIn 0.Csv", "Ignore other CSV!",
                    "totalPage = 2; itemsLastPage = 1!", "pageDisp = 1; itemsDisp = 4!", "itemOffset1 = 0!",
                    "itemOffset2 = 3!", "numInCsv[1] = 2!", "itemLatest = 2; itemOldest = 1!",
                    "Read 2 items in this csv!", kSeparator, "itemOffset2 = 1!", "numInCsv[0] = 3!",
                    "itemLatest = 3; itemOldest = 2!", "Read 3 items in this csv!", kSeparator));
}

TEST_F(RetrievalTest, Get_NewerFileIsSkipped_TellsItsOffsetOnly) {
    createOver(numberedRing(4, {{0, 3}, {1, 2}}));
    jorn_SetDebugPrintLevel(7);
    EXPECT_EQ(get(everything(2, 2)), 2);
    EXPECT_THAT(messages(),
                ElementsAre("CountRequireNumIn 1.Csv", "CountRequireNumIn 0.Csv", "Ignore other CSV!",
                            "totalPage = 3; itemsLastPage = 1!", "pageDisp = 2; itemsDisp = 2!",
                            "itemOffset1 = 2!", "itemOffset1 = 0!", "itemOffset2 = 1!", "numInCsv[0] = 3!",
                            "itemLatest = 3; itemOldest = 2!", "Read 3 items in this csv!", kSeparator));
}

TEST_F(RetrievalTest, Get_PageBeginsWithinTheOlderFile_TellsTheOffsetIntoIt) {
    createOver(numberedRing(4, {{0, 4}, {1, 2}}));
    jorn_SetDebugPrintLevel(7);
    EXPECT_EQ(get(everything(-1, 4)), 2);
    EXPECT_THAT(messages(),
                ElementsAre("CountRequireNumIn 1.Csv", "CountRequireNumIn 0.Csv", "Ignore other CSV!",
                            "totalPage = 2; itemsLastPage = 2!", "pageDisp = 2; itemsDisp = 2!",
                            "itemOffset1 = 4!", "itemOffset1 = 2!", "itemOffset2 = 3!", "numInCsv[0] = 4!",
                            "itemLatest = 2; itemOldest = 1!", "Read 2 items in this csv!", kSeparator));
}

TEST_F(RetrievalTest, Get_FullLastPage_TellsItsSize) {
    createOver(numberedRing(4, {{0, 40}}));
    jorn_SetDebugPrintLevel(7);
    EXPECT_EQ(get(everything(-1)), 2);
    EXPECT_THAT(messages(), ::testing::IsSupersetOf(
                                {"totalPage = 2; itemsLastPage = 20!", "pageDisp = 2; itemsDisp = 20!"}));
}

TEST_F(RetrievalTest, Get_Traces_AreToldFromLevelSeven) {
    createOver(numberedRing(4, {{0, 3}}));
    const auto getPage = [&] { get(everything(1, 2)); };
    for (const std::string &trace :
         {std::string("totalPage = 2; itemsLastPage = 1!"), std::string("pageDisp = 1; itemsDisp = 2!"),
          std::string("itemOffset1 = 0!"), std::string("itemOffset2 = 1!"), std::string("numInCsv[0] = 3!"),
          std::string("itemLatest = 3; itemOldest = 2!"), std::string("Read 3 items in this csv!"),
          kSeparator}) {
        expectMessageAt(7, trace, getPage);
    }
}

TEST_F(RetrievalTest, Get_PageOneAtLevelSix_SaysNothing) {
    createOver(numberedRing(4, {{0, 3}, {1, 3}, {2, 3}}));
    jorn_SetDebugPrintLevel(6);
    EXPECT_EQ(get(everything()), 1);
    EXPECT_THAT(messages(), IsEmpty());
}

// Files without matches, and files that hold less than was counted.

class RetrievalShortFileTest : public RetrievalTest {
protected:
    /// Three files of two items; the middle one is said to hold `counted`, and has these lines.
    void createWithMiddle(int counted, const std::string &bytes) {
        createOver(numberedRing(4, {{0, 2}, {1, counted}, {2, 2}}));
        dir_.write("1.csv", bytes);
        newest_ = countdown("n", counted + 3, counted + 2);
    }

    /// The two newest items, then these.
    std::vector<std::string> afterNewest(const std::vector<std::string> &others) const {
        std::vector<std::string> all = newest_;
        all.insert(all.end(), others.begin(), others.end());
        return all;
    }

    std::vector<std::string> newest_;
};

TEST_F(RetrievalShortFileTest, Get_EmptyFileInTheMiddleOfAPage_AddsNothingAndTheWalkGoesOn) {
    createWithMiddle(0, "");
    platform().clearLog();
    EXPECT_EQ(get(everything()), 1);
    EXPECT_EQ(texts(page_), countdown("n", 3, 0));
    expectNothingBeyondThePage();
    EXPECT_THAT(platform().calls({"fopen 1.csv"}), IsEmpty());
}

TEST_F(RetrievalShortFileTest, Get_EmptyFileInTheMiddleOfAPage_IsReportedFromLevelFour) {
    createWithMiddle(0, "");
    expectMessageAt(4, "Item index error!", [&] { get(everything()); });
}

TEST_F(RetrievalShortFileTest, Get_EmptyFileInTheMiddleOfAPage_StillEndsWithASeparator) {
    createWithMiddle(0, "");
    jorn_SetDebugPrintLevel(7);
    get(everything());
    EXPECT_THAT(
        messages(),
        ElementsAre("CountRequireNumIn 2.Csv", "CountRequireNumIn 0.Csv", "totalPage = 1; itemsLastPage = 4!",
                    "pageDisp = 1; itemsDisp = 4!", "itemOffset1 = 0!", "itemOffset2 = 3!",
                    "numInCsv[2] = 2!", "itemLatest = 2; itemOldest = 1!", "Read 2 items in this csv!",
                    kSeparator, "itemOffset2 = 1!", "numInCsv[1] = 0!", "itemLatest = 0; itemOldest = 1!",
                    "Item index error!", kSeparator, "itemOffset2 = 1!", "numInCsv[0] = 2!",
                    "itemLatest = 2; itemOldest = 1!", "Read 2 items in this csv!", kSeparator));
}

TEST_F(RetrievalShortFileTest, Get_EmptyFileBeforeThePage_IsSkippedWithoutAWord) {
    createWithMiddle(0, "");
    jorn_SetDebugPrintLevel(4);
    EXPECT_EQ(get(everything(2, 2)), 2);
    EXPECT_EQ(texts(page_), countdown("n", 1, 0));
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(RetrievalShortFileTest, Get_EmptyFileBehindACompletePage_IsNotReached) {
    createWithMiddle(0, "");
    jorn_SetDebugPrintLevel(4);
    EXPECT_EQ(get(everything(1, 2)), 1);
    EXPECT_EQ(texts(page_), countdown("n", 3, 2));
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(RetrievalShortFileTest, Get_FewerLinesThanCounted_PutsTheRecordsTogether) {
    createWithMiddle(5, lines(3, 1, "m"));
    EXPECT_EQ(get(everything()), 1);
    EXPECT_EQ(page_.itemsNum, 7);
    EXPECT_EQ(texts(page_), afterNewest({"m2", "m1", "m0", "n1", "n0"}));
    expectNothingBeyondThePage();
}

TEST_F(RetrievalShortFileTest, Get_FewerLinesThanCountedAtThePagesEnd_CountsTheRecordsRead) {
    createWithMiddle(5, lines(3, 1, "m"));
    EXPECT_EQ(get(everything(1, 5)), 1);
    EXPECT_EQ(page_.itemsNum, 3) << "of items 3 to 5 of the middle file only item 3 is there";
    EXPECT_EQ(texts(page_), afterNewest({"m2"}));
    expectNothingBeyondThePage();
}

TEST_F(RetrievalShortFileTest, Get_NoneOfTheFilesItemsThere_AddsNothing) {
    createWithMiddle(5, lines(3, 1, "m"));
    EXPECT_EQ(get(everything(1, 4)), 1);
    EXPECT_EQ(texts(page_), afterNewest({}));
    expectNothingBeyondThePage();
}

TEST_F(RetrievalShortFileTest, Get_FileLosesAllItsLines_GivesAnEmptyPage) {
    createWithMiddle(5, "");
    EXPECT_EQ(get(everything(2, 2)), 2);
    EXPECT_EQ(page_.itemsNum, 0);
    expectNothingBeyondThePage();
}

TEST_F(RetrievalShortFileTest, Get_MoreLinesThanCounted_TakesTheOldestOfThem) {
    createWithMiddle(2, lines(5, 1, "m"));
    EXPECT_EQ(get(everything()), 1);
    EXPECT_EQ(texts(page_), afterNewest({"m1", "m0", "n1", "n0"}));
    expectNothingBeyondThePage();
}

TEST_F(RetrievalShortFileTest, Get_FileMissing_IsReportedAndTheWalkGoesOn) {
    createWithMiddle(5, "");
    dir_.remove("1.csv");
    EXPECT_EQ(get(everything()), 1);
    EXPECT_EQ(texts(page_), afterNewest({"n1", "n0"}));
    expectNothingBeyondThePage();
    EXPECT_THAT(messages(), ElementsAre("Open file error: 1.csv!\n"));
}

TEST_F(RetrievalShortFileTest, Get_EndFileVanishesAfterTheCounting_AddsNothing) {
    createOver(numberedRing(4, {{0, 2}, {1, 2}}));
    platform().fail("fopen 1.csv", 1, 1);
    EXPECT_EQ(get(everything()), 1);
    EXPECT_THAT(texts(page_), ElementsAre("n1", "n0"));
    EXPECT_THAT(messages(), ElementsAre("Open file error: 1.csv!\n"));
}

TEST_F(RetrievalTest, Get_SlotBeyondTheObjects_TakesThePageFromTheCountersAndFindsNoLine) {
    createOver(numberedRing(4, {{0, 2}, {1, 3}, {2, 2}}));
    JORN_REQUIRE require = anything();
    require.slot = 8;
    EXPECT_EQ(get(require), 1);
    EXPECT_EQ(page_.itemsNum, 0);
    expectNothingBeyondThePage();
}

TEST_F(RetrievalTest, Get_NegativeLevelInTheMiddle_IsReadButNotCounted) {
    ModelRing ring = numberedRing(4, {{0, 1}, {1, 3}, {2, 1}});
    ring.files[1][0].level = -1;
    createOver(ring);
    EXPECT_EQ(get(everything()), 1);
    EXPECT_THAT(texts(page_), ElementsAre("n4", "n2", "n1", "n0"));
}

// One file.

class ReadOneFileTest : public RetrievalTest {
protected:
    /// Items "m0" to "m9" at position 1.
    void SetUp() override {
        RetrievalTest::SetUp();
        dir_.write("1.csv", lines(10, 1700000000, "m"));
    }

    int32_t read(int32_t itemOldest, int32_t itemLatest, const JORN_REQUIRE &require = everything()) {
        return jorn_ReadItemInOneCsv(object_.get(), 1, &require, itemOldest, itemLatest, page_.disp);
    }

    /// The first records' texts; those behind them are untouched.
    std::vector<std::string> records(int32_t number) {
        page_.itemsNum = number;
        expectNothingBeyondThePage();
        return texts(page_);
    }

    HandMadeObject object_{dir_.path(), 3};
};

TEST_F(ReadOneFileTest, Read_MiddleItems_PutsTheNewestFirst) {
    EXPECT_EQ(read(3, 5), 5);
    EXPECT_THAT(records(3), ElementsAre("m4", "m3", "m2"));
}

TEST_F(ReadOneFileTest, Read_AllItems_GivesThemAll) {
    EXPECT_EQ(read(1, 10), 10);
    EXPECT_EQ(records(10), countdown("m", 9, 0));
}

TEST_F(ReadOneFileTest, Read_OneItem_GivesOneRecord) {
    EXPECT_EQ(read(1, 1), 1);
    EXPECT_THAT(records(1), ElementsAre("m0"));
}

TEST_F(ReadOneFileTest, Read_LastItem_GivesOneRecord) {
    EXPECT_EQ(read(10, 10), 10);
    EXPECT_THAT(records(1), ElementsAre("m9"));
}

TEST_F(ReadOneFileTest, Read_UpToTheLatestItem_StopsAtItsLine) {
    read(3, 5);
    EXPECT_THAT(platform().calls(),
                ElementsAre("fopen 1.csv r", "fgets 257", "fgets 257", "fgets 257", "ctime", "fgets 257",
                            "ctime", "fgets 257", "ctime", "fclose"));
}

TEST_F(ReadOneFileTest, Read_LinesNotWanted_AreNotNumbered) {
    dir_.write("1.csv", "1,1,1,a\n2,3,1,b\n\nbad\n3,1,1,c\n4,3,1,d\n5,1,1,e\n6,1,1,f\n");
    jorn_SetDebugPrintLevel(0);
    EXPECT_EQ(read(2, 3, anything()), 3);
    EXPECT_THAT(records(2), ElementsAre("e", "c"));
    EXPECT_EQ(platform().calls({"fgets"}).size(), 7U);
}

TEST_F(ReadOneFileTest, Read_FewerItemsThanAsked_PutsTheRecordsTogetherAndWritesNoOther) {
    EXPECT_EQ(read(8, 15), 10);
    EXPECT_THAT(records(3), ElementsAre("m9", "m8", "m7"));
}

TEST_F(ReadOneFileTest, Read_FewerItemsThanTheOldestAsked_WritesNoRecord) {
    EXPECT_EQ(read(11, 15), 10);
    EXPECT_THAT(records(0), IsEmpty());
}

TEST_F(ReadOneFileTest, Read_OldestAboveLatest_WritesNoRecord) {
    EXPECT_EQ(read(5, 3), 3);
    EXPECT_THAT(records(0), IsEmpty());
}

TEST_F(ReadOneFileTest, Read_EmptyFile_GivesZero) {
    dir_.write("1.csv", "");
    EXPECT_EQ(read(1, 5), 0);
    EXPECT_THAT(records(0), IsEmpty());
}

TEST_F(ReadOneFileTest, Read_ReadingError_EndsWithWhatWasRead) {
    platform().fail("fgets", probe::Probe::kForever, 4);
    EXPECT_EQ(read(3, 8), 4);
    EXPECT_THAT(records(2), ElementsAre("m3", "m2"));
    EXPECT_EQ(platform().calls({"fclose"}).size(), 1U);
}

TEST_F(ReadOneFileTest, Read_DirectoryInPlaceOfTheFile_GivesZero) {
    dir_.remove("1.csv");
    dir_.block("1.csv");
    EXPECT_EQ(read(1, 5), 0);
}

TEST_F(ReadOneFileTest, Read_ItemNumbersOfZeroOrLess_FailWithoutOpeningTheFile) {
    for (const auto &[oldest, latest] : std::vector<std::pair<int32_t, int32_t>>{
             {0, 5}, {-1, 5}, {1, 0}, {1, -1}, {0, 0}, {INT32_MIN, INT32_MIN}}) {
        EXPECT_EQ(read(oldest, latest), -1) << oldest << " to " << latest;
    }
    EXPECT_THAT(platform().calls(), IsEmpty());
    EXPECT_THAT(records(0), IsEmpty());
}

TEST_F(ReadOneFileTest, Read_ItemNumbersOfZeroOrLess_AreReportedFromLevelFour) {
    expectMessageAt(4, "Item index error!", [&] { read(0, 5); });
    expectMessageAt(4, "Item index error!", [&] { read(1, 0); });
}

TEST_F(ReadOneFileTest, Read_NullObject_FailsAndIsReportedFromLevelOne) {
    const JORN_REQUIRE require = anything();
    EXPECT_EQ(jorn_ReadItemInOneCsv(nullptr, 1, &require, 1, 5, page_.disp), -1);
    expectMessageAt(1, "pt pointer NULL!\n",
                    [&] { jorn_ReadItemInOneCsv(nullptr, 1, &require, 1, 5, page_.disp); });
}

TEST_F(ReadOneFileTest, Read_NullRecords_FailsAndIsReportedFromLevelOne) {
    const JORN_REQUIRE require = anything();
    EXPECT_EQ(jorn_ReadItemInOneCsv(object_.get(), 1, &require, 1, 5, nullptr), -1);
    EXPECT_THAT(platform().calls(), IsEmpty());
    expectMessageAt(1, "log pointer NULL!\n",
                    [&] { jorn_ReadItemInOneCsv(object_.get(), 1, &require, 1, 5, nullptr); });
}

TEST_F(ReadOneFileTest, Read_SeveralThingsWrong_ReportsTheFirstOfThem) {
    const JORN_REQUIRE require = anything();
    jorn_SetDebugPrintLevel(4);
    jorn_ReadItemInOneCsv(nullptr, 1, &require, 0, 0, nullptr);
    jorn_ReadItemInOneCsv(nullptr, 1, &require, 1, 1, nullptr);
    EXPECT_THAT(messages(), ElementsAre("Item index error!", "pt pointer NULL!\n"));
}

TEST_F(ReadOneFileTest, Read_MissingFile_FailsAndIsReportedFromLevelOne) {
    dir_.remove("1.csv");
    EXPECT_EQ(read(1, 5), -1);
    EXPECT_THAT(records(0), IsEmpty());
    expectMessageAt(1, "Open file error: 1.csv!\n", [&] { read(1, 5); });
}

TEST_F(ReadOneFileTest, Read_LineBeyond256Characters_GivesEachPieceThatMatches) {
    const std::string start = "1700000000,1,2,";
    const std::string piece = start + std::string(256 - start.size(), 'x');
    dir_.write("1.csv", piece + "1700000001,1,3,rest\n");
    EXPECT_EQ(read(1, 2), 2);
    EXPECT_THAT(records(2), ElementsAre("rest", std::string(199, 'x')));
    EXPECT_STREQ(page_.disp[0].slotStr, "3");
}

TEST_F(ReadOneFileTest, Read_NulsAndBytesAbove127_GivesTheTextUpToTheNul) {
    dir_.write("1.csv", std::string("1,1,1,a\0b\n2,1,1,\xff\xc3\xa4\n", 20));
    EXPECT_EQ(read(1, 2), 2);
    EXPECT_THAT(records(2), ElementsAre("\xff\xc3\xa4", "a"));
}

// One record.

class RecordTest : public RetrievalTest {
protected:
    void SetUp() override {
        RetrievalTest::SetUp();
        memset(&record_, kUntouched, sizeof record_);
    }

    int32_t breakDown(const std::string &given) {
        return jorn_BreakDownOneItemString(given.c_str(), &record_);
    }

    JORN_LOG_DISP record_;
};

/// A field's bytes with everything behind its text 0.
template <size_t size>
std::string bytesOf(const char (&field)[size]) {
    return {field, size};
}

std::string filled(const std::string &text, size_t size) {
    return text + std::string(size - text.size(), '\0');
}

TEST_F(RecordTest, BreakDown_LineAsWritten_GivesTimeLevelSlotAndText) {
    EXPECT_EQ(breakDown("1700000000,2,5,boot done\n"), 0);
    EXPECT_STREQ(record_.timeStr, "Tue Nov 14 22:13:20 2023");
    EXPECT_STREQ(record_.levelStr, "2");
    EXPECT_STREQ(record_.slotStr, "5");
    EXPECT_STREQ(record_.logStr, "boot done\n");
}

TEST_F(RecordTest, BreakDown_ShortFields_AreFilledWithNuls) {
    EXPECT_EQ(breakDown("1700000000,2,5,x\n"), 0);
    EXPECT_EQ(bytesOf(record_.levelStr), filled("2", 16));
    EXPECT_EQ(bytesOf(record_.slotStr), filled("5", 12));
}

TEST_F(RecordTest, BreakDown_TimeText_LosesItsLineFeed) {
    EXPECT_EQ(breakDown("1700000000,2,5,x\n"), 0);
    EXPECT_EQ(record_.timeStr[24], '\0');
    EXPECT_EQ(strlen(record_.timeStr), 24U);
}

TEST_F(RecordTest, BreakDown_OtherTimeZone_ShowsLocalTime) {
    UtcTime::set("XYZ-2");
    EXPECT_EQ(breakDown("1700000000,2,5,x\n"), 0);
    EXPECT_STREQ(record_.timeStr, "Wed Nov 15 00:13:20 2023");
}

struct TimeRow {
    const char *field;
    const char *timeStr;
};

class RecordTimeTest : public RecordTest, public ::testing::WithParamInterface<TimeRow> {};

TEST_P(RecordTimeTest, BreakDown_Time_IsShownAsItsDate) {
    EXPECT_EQ(breakDown(std::string(GetParam().field) + ",2,5,x\n"), 0);
    EXPECT_STREQ(record_.timeStr, GetParam().timeStr);
}

INSTANTIATE_TEST_SUITE_P(, RecordTimeTest,
                         ::testing::Values(TimeRow{"0", "Thu Jan  1 00:00:00 1970"},
                                           TimeRow{"abc", "Thu Jan  1 00:00:00 1970"},
                                           TimeRow{"2147483647", "Tue Jan 19 03:14:07 2038"},
                                           TimeRow{"2147483648", "Tue Jan 19 03:14:08 2038"},
                                           TimeRow{"4294967295", "Sun Feb  7 06:28:15 2106"}));

TEST_F(RecordTest, BreakDown_TimeTextOf28AndMore_IsCutAt27Characters) {
    // The last second that the C library shows: its year has ten digits.
    EXPECT_EQ(breakDown("67767976233532799,2,5,x\n"), 0);
    EXPECT_STREQ(record_.timeStr, "Tue Dec 31 23:59:59 2147483");
    EXPECT_STREQ(record_.levelStr, "2");
}

TEST_F(RecordTest, BreakDown_TimeAcrossTheLastCharacterOfALine_IsReadUpToIt) {
    EXPECT_EQ(breakDown(std::string(255, ' ') + "12,2,5,x\n"), -1);
    EXPECT_STREQ(record_.timeStr, "Thu Jan  1 00:00:01 1970");
}

TEST_F(RecordTest, BreakDown_LongTimeTextAndNoLevel_LeavesTheFieldsBehindIt) {
    EXPECT_EQ(breakDown("67767976233532799"), -1);
    EXPECT_TRUE(isUntouched(record_.levelStr));
}

TEST_F(RecordTest, BreakDown_TimeBeyondTheCalendar_GivesAnEmptyTimeText) {
    EXPECT_EQ(breakDown("9223372036854775807,2,5,x\n"), 0);
    EXPECT_STREQ(record_.timeStr, "");
    EXPECT_STREQ(record_.logStr, "x\n");
}

TEST_F(RecordTest, BreakDown_TimeCannotBeShown_GivesAnEmptyTimeTextAndTheRest) {
    platform().fail("ctime");
    EXPECT_EQ(breakDown("1700000000,2,5,x\n"), 0);
    EXPECT_THAT(record_.timeStr, Each('\0'));
    EXPECT_STREQ(record_.levelStr, "2");
    EXPECT_STREQ(record_.slotStr, "5");
    EXPECT_STREQ(record_.logStr, "x\n");
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(RecordTest, BreakDown_TimeCannotBeShown_TouchesNothingBeforeTheRecord) {
    struct {
        unsigned char before;
        JORN_LOG_DISP record;
    } guarded;
    static_assert(offsetof(decltype(guarded), record) == 1, "nothing may lie between");
    memset(&guarded, kUntouched, sizeof guarded);
    platform().fail("ctime");
    EXPECT_EQ(jorn_BreakDownOneItemString("1700000000,2,5,x\n", &guarded.record), 0);
    EXPECT_EQ(guarded.before, kUntouched);
}

TEST_F(RecordTest, BreakDown_LevelText_IsCopiedAsItStands) {
    EXPECT_EQ(breakDown("1, -01z,+5 ,x\n"), 0);
    EXPECT_STREQ(record_.levelStr, " -01z");
    EXPECT_STREQ(record_.slotStr, "+5 ");
}

TEST_F(RecordTest, BreakDown_LevelsAroundTheFieldsSize_AreCutAt15) {
    EXPECT_EQ(breakDown("1,abcdefghijklmno,2,x\n"), 0);
    EXPECT_STREQ(record_.levelStr, "abcdefghijklmno");
    EXPECT_EQ(breakDown("1,abcdefghijklmnop,2,x\n"), 0);
    EXPECT_STREQ(record_.levelStr, "abcdefghijklmno");
    EXPECT_EQ(breakDown("1,abcdefghijklmnopqrstuvwxyz,2,x\n"), 0);
    EXPECT_STREQ(record_.levelStr, "abcdefghijklmno");
    EXPECT_STREQ(record_.slotStr, "2");
}

TEST_F(RecordTest, BreakDown_SlotsAroundTheFieldsSize_AreCutAt11) {
    EXPECT_EQ(breakDown("1,1,-2147483648,x\n"), 0);
    EXPECT_STREQ(record_.slotStr, "-2147483648");
    EXPECT_EQ(breakDown("1,1,abcdefghijkl,x\n"), 0);
    EXPECT_STREQ(record_.slotStr, "abcdefghijk");
    EXPECT_STREQ(record_.logStr, "x\n");
}

TEST_F(RecordTest, BreakDown_LongestStoredText_IsKeptWithItsLineFeed) {
    EXPECT_EQ(breakDown("1,1,1," + std::string(198, 't') + "\n"), 0);
    EXPECT_EQ(record_.logStr, std::string(198, 't') + "\n");
}

TEST_F(RecordTest, BreakDown_LongerTexts_AreCutAt199) {
    EXPECT_EQ(breakDown("1,1,1," + std::string(199, 't') + "\n"), 0);
    EXPECT_EQ(record_.logStr, std::string(199, 't'));
    EXPECT_EQ(breakDown("1,1,1," + std::string(250, 'u')), 0);
    EXPECT_EQ(record_.logStr, std::string(199, 'u'));
}

TEST_F(RecordTest, BreakDown_LongestPiece_IsTakenToItsLastCharacter) {
    const std::string start = "1," + std::string(100, 'v') + ",1,";
    const std::string text = std::string(256 - start.size() - 1, 't') + "!";
    EXPECT_EQ(breakDown(start + text), 0);
    EXPECT_EQ(record_.logStr, text);
}

TEST_F(RecordTest, BreakDown_CommasInTheText_AreKept) {
    EXPECT_EQ(breakDown("1,2,3,a,b,,c\n"), 0);
    EXPECT_STREQ(record_.logStr, "a,b,,c\n");
}

TEST_F(RecordTest, BreakDown_LineWithoutText_GivesAnEmptyText) {
    EXPECT_EQ(breakDown("1700000000,2,5\n"), 0);
    EXPECT_STREQ(record_.slotStr, "5\n");
    EXPECT_STREQ(record_.logStr, "");
    memset(&record_, kUntouched, sizeof record_);
    EXPECT_EQ(breakDown("1700000000,2,5"), 0);
    EXPECT_STREQ(record_.slotStr, "5");
    EXPECT_STREQ(record_.logStr, "");
}

TEST_F(RecordTest, BreakDown_EmptyFieldsBefore_AreNotSeen) {
    EXPECT_EQ(breakDown(",,5,1,x,y\n"), 0);
    EXPECT_STREQ(record_.levelStr, "1");
    EXPECT_STREQ(record_.slotStr, "x");
    EXPECT_STREQ(record_.logStr, "y\n");
}

TEST_F(RecordTest, BreakDown_AnyLine_LeavesTheLineAsItIs) {
    char given[] = "1700000000,2,5,a,b\n";
    EXPECT_EQ(jorn_BreakDownOneItemString(given, &record_), 0);
    EXPECT_EQ(bytesOf(given), std::string("1700000000,2,5,a,b\n", sizeof given));
}

TEST_F(RecordTest, BreakDown_NoField_FailsAndLeavesTheRecord) {
    for (const char *given : {"", ",", ",,,"}) {
        platform().clearLog();
        EXPECT_EQ(breakDown(given), -1);
        EXPECT_TRUE(isUntouched(record_));
        EXPECT_THAT(messages(), ElementsAre("Time string error!\n"));
    }
}

TEST_F(RecordTest, BreakDown_NoLevel_FailsAndKeepsTheTime) {
    EXPECT_EQ(breakDown("1700000000,"), -1);
    EXPECT_STREQ(record_.timeStr, "Tue Nov 14 22:13:20 2023");
    EXPECT_TRUE(isUntouched(record_.levelStr));
    EXPECT_TRUE(isUntouched(record_.slotStr));
    EXPECT_TRUE(isUntouched(record_.logStr));
    EXPECT_THAT(messages(), ElementsAre("Level string error!\n"));
}

TEST_F(RecordTest, BreakDown_NoSlot_FailsAndKeepsTimeAndLevel) {
    EXPECT_EQ(breakDown("1700000000,2\n"), -1);
    EXPECT_STREQ(record_.timeStr, "Tue Nov 14 22:13:20 2023");
    EXPECT_STREQ(record_.levelStr, "2\n");
    EXPECT_TRUE(isUntouched(record_.slotStr));
    EXPECT_TRUE(isUntouched(record_.logStr));
    EXPECT_THAT(messages(), ElementsAre("Slot string error!\n"));
}

TEST_F(RecordTest, BreakDown_MissingFields_AreReportedFromLevelOne) {
    expectMessageAt(1, "Time string error!\n", [&] { breakDown(""); });
    expectMessageAt(1, "Level string error!\n", [&] { breakDown("1"); });
    expectMessageAt(1, "Slot string error!\n", [&] { breakDown("1,2"); });
}

TEST_F(RecordTest, Get_StoredItem_GivesItsRecord) {
    handle_ = createAtRest(4);
    platform().setTime(4294967295U);
    ASSERT_EQ(JORN_AddOneLog(handle_, 1, 5, "door open, left"), 0);
    settle();
    ASSERT_EQ(get(anything()), 1);
    EXPECT_EQ(page_.itemsNum, 1);
    EXPECT_STREQ(page_.disp[0].timeStr, "Sun Feb  7 06:28:15 2106");
    EXPECT_STREQ(page_.disp[0].levelStr, "1");
    EXPECT_STREQ(page_.disp[0].slotStr, "5");
    EXPECT_STREQ(page_.disp[0].logStr, "door open, left\n");
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
