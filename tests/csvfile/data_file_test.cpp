// SPDX-License-Identifier: Apache-2.0
#include "csvfile/data_file.h"

#include <climits>

#include "csvfile/csvfile_support.h"
#include "support/module_test.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The reader of data files is tested through the function that reads a whole file: a reader made here would
// make its own calls, bypassing the probe.
class DataFileTest : public ModuleTest {
protected:
    uint32_t itemsRead() {
        JORN_CSV_INFO info = {};
        EXPECT_EQ(jorn_AnalyseOneCsvInfo(object_.get(), 0, &info), 0);
        return info.itemCount;
    }

    uint32_t itemsIn(const std::string &bytes) {
        dir_.write("0.csv", bytes);
        return itemsRead();
    }

    HandMadeObject object_{dir_.path(), 2};
};

TEST_F(DataFileTest, Read_TwoLines_OpensForReadingTakesPiecesOf256AndCloses) {
    dir_.write("0.csv", lines(2, 100, "n"));
    EXPECT_EQ(itemsRead(), 2U);
    EXPECT_THAT(platform().calls(),
                ElementsAre("fopen 0.csv r", "fgets 257", "fgets 257", "fgets 257", "fclose"));
}

TEST_F(DataFileTest, Read_MissingFile_ReadsNothingAndClosesNothing) {
    JORN_CSV_INFO info;
    EXPECT_EQ(jorn_AnalyseOneCsvInfo(object_.get(), 0, &info), -1);
    EXPECT_THAT(platform().calls(), ElementsAre("fopen 0.csv r"));
}

TEST_F(DataFileTest, Read_LastLineWithoutLineFeed_IsALine) { EXPECT_EQ(itemsIn("1,1,1,a\n2,1,1,b"), 2U); }

TEST_F(DataFileTest, Read_CarriageReturnBeforeLineFeed_IsPartOfTheLine) {
    EXPECT_EQ(itemsIn("1,1,1\r\n2,1,1,b\r\n"), 2U);
}

TEST_F(DataFileTest, Read_EmptyFile_GivesNoLine) { EXPECT_EQ(itemsIn(""), 0U); }

TEST_F(DataFileTest, Read_BlankLines_AreSkippedWithoutAWord) {
    jorn_SetDebugPrintLevel(100);
    EXPECT_EQ(itemsIn("\n\r\n1,1,1,a\n\n2,1,1,b\n\r\n"), 2U);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(DataFileTest, Read_255CharactersAndLineFeed_IsOnePiece) {
    EXPECT_EQ(itemsIn(padded("1,1,1,", 255) + "\n2,1,1,b\n"), 2U);
    EXPECT_EQ(platform().calls({"fgets"}).size(), 3U);
}

TEST_F(DataFileTest, Read_256CharactersAndLineFeed_LeavesABlankLineBehind) {
    jorn_SetDebugPrintLevel(100);
    EXPECT_EQ(itemsIn(padded("1,1,1,", 256) + "\n2,1,1,b\n"), 2U);
    EXPECT_EQ(platform().calls({"fgets"}).size(), 4U);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(DataFileTest, Read_LineBeyond256Characters_TakesTheRestAsALineOfItsOwn) {
    EXPECT_EQ(itemsIn(padded("1,1,1,", 256) + "2,1,1,rest\n"), 2U);
}

TEST_F(DataFileTest, Read_RestOfALongLineWithoutFields_IsNoItem) {
    EXPECT_EQ(itemsIn(padded("1,1,1,", 300) + "\n2,1,1,b\n"), 2U);
    EXPECT_THAT(messages(), ElementsAre("Level info error!"));
}

TEST_F(DataFileTest, Read_NulInTheText_EndsTheLineThereAndKeepsTheNextOne) {
    EXPECT_EQ(itemsIn(std::string("1,1,1,a\0b\n2,1,1,c\n", 18)), 2U);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(DataFileTest, Read_NulFirst_IsALineWithoutFields) {
    EXPECT_EQ(itemsIn(std::string("\0,1,1,1,a\n2,1,1,c\n", 18)), 1U);
    EXPECT_THAT(messages(), ElementsAre("Time info error!"));
}

TEST_F(DataFileTest, Read_OnlyNuls_EndsWithoutAnItem) { EXPECT_EQ(itemsIn(std::string(5000, '\0')), 0U); }

TEST_F(DataFileTest, Read_BytesAbove127_ArePartOfTheLine) {
    EXPECT_EQ(itemsIn("1,1,1,\xff\xfe\x80\n2,1,1,\xc3\xa4\n"), 2U);
}

TEST_F(DataFileTest, Read_ErrorAfterTwoLines_EndsTheReading) {
    dir_.write("0.csv", lines(5, 100, "n"));
    platform().fail("fgets", probe::Probe::kForever, 2);
    EXPECT_EQ(itemsRead(), 2U);
    EXPECT_EQ(platform().calls({"fgets"}).size(), 3U);
    EXPECT_EQ(platform().calls({"fclose"}).size(), 1U);
}

TEST_F(DataFileTest, Read_DirectoryInPlaceOfTheFile_EndsWithoutAnItem) {
    dir_.block("0.csv");
    EXPECT_EQ(itemsRead(), 0U);
    EXPECT_EQ(platform().calls({"fgets"}).size(), 1U);
}

}  // namespace
}  // namespace test
