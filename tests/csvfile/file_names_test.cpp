// SPDX-License-Identifier: Apache-2.0
#include "csvfile/file_names.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "csvfile/csvfile_support.h"

namespace test {
namespace {

/// The position that a path's last part names.
int32_t positionIn(const std::string &path) {
    return jorn::dataFilePosition(std::string_view(path).substr(path.rfind('/') + 1));
}

TEST(DataPathTest, Get_PositionThree_IsDirectorySlashNumberDotCsv) {
    EXPECT_STREQ(jorn::DataPath("/yaffs/log", 3).get(), "/yaffs/log/3.csv");
}

TEST(DataPathTest, Get_FirstPosition_IsZeroDotCsv) {
    EXPECT_STREQ(jorn::DataPath("/a", 0).get(), "/a/0.csv");
}

TEST(DataPathTest, Get_LastPosition_HasNoLeadingZeros) {
    EXPECT_STREQ(jorn::DataPath("/a", 89).get(), "/a/89.csv");
}

TEST(DataPathTest, Get_LongestDirectoryAndLastPosition_StaysWithin44Bytes) {
    const std::string directory = padded("/", 31);
    const jorn::DataPath path(directory.c_str(), 89);
    EXPECT_EQ(path.get(), directory + "/89.csv");
    EXPECT_LE(std::string(path.get()).size() + 1, 44U);
}

TEST(DataPathTest, Get_LongestDirectoryAndAnyPosition_FitsThePath) {
    const std::string directory = padded("/", 31);
    EXPECT_EQ(jorn::DataPath(directory.c_str(), INT32_MIN).get(), directory + "/-2147483648.csv");
    EXPECT_EQ(jorn::DataPath(directory.c_str(), INT32_MAX).get(), directory + "/2147483647.csv");
}

TEST(DataFilePositionTest, DataFilePosition_EveryNameThatIsBuilt_IsReadBack) {
    for (int32_t position = 0; position < 90; ++position) {
        EXPECT_EQ(positionIn(jorn::DataPath("/yaffs/log", position).get()), position);
    }
}

TEST(DataFilePositionTest, DataFilePosition_BuiltForAPositionOutsideAnyRing_IsNone) {
    for (const int32_t position : {-1, 90, 91, 100, 900, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(positionIn(jorn::DataPath("/a", position).get()), -1) << position;
    }
}

TEST(DataFilePositionTest, DataFilePosition_NearMisses_AreNoDataFiles) {
    for (const char *const name : {"",
                                   ".csv",
                                   "csv",
                                   "3",
                                   "3.",
                                   "3.cs",
                                   "3csv",
                                   "3.csv2",
                                   "3.csv ",
                                   "3.CSV",
                                   "3.csv.csv",
                                   "03.csv",
                                   "00.csv",
                                   "007.csv",
                                   "-3.csv",
                                   "+3.csv",
                                   " 3.csv",
                                   "3 .csv",
                                   "3a.csv",
                                   "a3.csv",
                                   "0x3.csv",
                                   "3.5.csv",
                                   "89a.csv",
                                   "index.csv",
                                   "index.bak",
                                   "/3.csv",
                                   ":.csv",
                                   "1:.csv",
                                   "90.csv",
                                   "890.csv",
                                   "4294967299.csv",
                                   "18446744073709551619.csv",
                                   "99999999999999999999999999.csv"}) {
        EXPECT_EQ(jorn::dataFilePosition(name), -1) << name;
    }
}

TEST(DataFilePositionTest, DataFilePosition_NameWithANul_IsNoDataFile) {
    EXPECT_EQ(jorn::dataFilePosition(std::string_view("3.csv\0", 6)), -1);
    EXPECT_EQ(jorn::dataFilePosition(std::string_view("3\0.csv", 6)), -1);
}

TEST(DataFilePositionTest, DataFilePosition_AroundTheLastPosition_EndsWithIt) {
    EXPECT_EQ(jorn::dataFilePosition("88.csv"), 88);
    EXPECT_EQ(jorn::dataFilePosition("89.csv"), 89);
    EXPECT_EQ(jorn::dataFilePosition("90.csv"), -1);
}

TEST(IndexPathTest, Get_IndexAndBackup_AreDirectorySlashName) {
    EXPECT_STREQ(jorn::IndexPath("/yaffs/log", jorn::kIndexName).get(), "/yaffs/log/index.csv");
    EXPECT_STREQ(jorn::IndexPath("/yaffs/log", jorn::kBackupName).get(), "/yaffs/log/index.bak");
}

TEST(IndexPathTest, Get_LongestDirectory_StaysWithin44Bytes) {
    const std::string directory = padded("/", 31);
    const jorn::IndexPath path(directory.c_str(), jorn::kBackupName);
    EXPECT_EQ(path.get(), directory + "/index.bak");
    EXPECT_LE(std::string(path.get()).size() + 1, 44U);
}

}  // namespace
}  // namespace test
