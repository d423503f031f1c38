// SPDX-License-Identifier: Apache-2.0
// The walk through the ring's files: what is printed on the way, files without matches or with fewer lines
// than were counted, and one file by itself.
#include "query/retrieval_support.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kSeparator = probe::kBare + std::string("\r\n");

// What is printed on the way.

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
    /// Three files of two items; the summary of the middle one counts `counted`, and it has these lines.
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

    /// The first records' texts; those after them are untouched.
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

}  // namespace
}  // namespace test
