// SPDX-License-Identifier: Apache-2.0
#include "store/index_text.h"

#include <gtest/gtest.h>
#include <string.h>

#include <memory>
#include <string>

namespace test {
namespace {

std::string built(int32_t oldest, int32_t latest) {
    char text[jorn::kIndexTextSize];
    const int length = jorn::buildIndexText(text, oldest, latest);
    return {text, static_cast<size_t>(length)};
}

/// Result, version and positions of a scan; the fields begin as 7, 8 and 9.
std::string scanned(std::string bytes) {
    const std::unique_ptr<FILE, int (*)(FILE *)> stream(
        bytes.empty() ? fopen("/dev/null", "r") : fmemopen(bytes.data(), bytes.size(), "r"), &fclose);
    int32_t version = 7;
    int32_t oldest = 8;
    int32_t latest = 9;
    const int32_t result = jorn::scanIndexText(stream.get(), &version, &oldest, &latest);
    return std::to_string(result) + ": " + std::to_string(version) + " " + std::to_string(oldest) + " " +
           std::to_string(latest);
}

/// "3 7, 14 bytes", or "not whole".
std::string judged(const std::string &text) {
    jorn::WholeIndexText whole = {};
    return jorn::judgeIndexText(text.c_str(), &whole)
               ? std::to_string(whole.oldest) + " " + std::to_string(whole.latest) + ", " +
                     std::to_string(whole.length) + " bytes"
               : "not whole";
}

TEST(IndexTextTest, Build_Positions_AreTwoLines) {
    EXPECT_EQ(built(3, 7), "version:1\n3,7\n");
    EXPECT_EQ(built(12, 3), "version:1\n12,3\n");
    EXPECT_EQ(built(-1, INT32_MIN), "version:1\n-1,-2147483648\n");
}

TEST(IndexTextTest, ScanAndJudge_EveryTextThatIsBuiltForARing_GiveItsPositions) {
    for (int32_t oldest = 0; oldest < 90; ++oldest) {
        for (const int32_t latest : {0, 9, 10, 89, oldest}) {
            const std::string text = built(oldest, latest);
            const std::string numbers = std::to_string(oldest) + " " + std::to_string(latest);
            EXPECT_EQ(scanned(text), "2: 1 " + numbers);
            EXPECT_EQ(judged(text), numbers + ", " + std::to_string(text.size()) + " bytes");
        }
    }
}

TEST(IndexTextTest, Scan_CutShortAnywhere_GivesWhatIsThere) {
    EXPECT_EQ(scanned(""), "-2: 7 8 9");
    EXPECT_EQ(scanned("version:"), "-2: 7 8 9");
    EXPECT_EQ(scanned("version:1"), "-1: 1 8 9");
    EXPECT_EQ(scanned("version:1\n"), "-1: 1 8 9");
    EXPECT_EQ(scanned("version:1\n1"), "1: 1 1 9");
    EXPECT_EQ(scanned("version:1\n12"), "1: 1 12 9");
    EXPECT_EQ(scanned("version:1\n12,"), "1: 1 12 9");
    EXPECT_EQ(scanned("version:1\n12,3"), "2: 1 12 3");
}

TEST(IndexTextTest, Scan_AnotherVersion_IsStoredAndThePositionsAreNotLookedAt) {
    EXPECT_EQ(scanned("version:2\n3,7\n"), "-2: 2 8 9");
    EXPECT_EQ(scanned("version:-1\n3,7\n"), "-2: -1 8 9");
    EXPECT_EQ(scanned("Version:1\n3,7\n"), "-2: 7 8 9");
}

TEST(IndexTextTest, Scan_PositionsAroundNinety_AreRefusedFromThere) {
    EXPECT_EQ(scanned("version:1\n89,89\n"), "2: 1 89 89");
    EXPECT_EQ(scanned("version:1\n90,0\n"), "-1: 1 90 0");
    EXPECT_EQ(scanned("version:1\n0,90\n"), "-1: 1 0 90");
    EXPECT_EQ(scanned("version:1\n-1,-5\n"), "2: 1 -1 -5");
}

TEST(IndexTextTest, Scan_NumbersBeyond32Bits_AreTheNearestThatFits) {
    EXPECT_EQ(scanned("version:1\n4294967299,1\n"), "-1: 1 2147483647 1");
    EXPECT_EQ(scanned("version:1\n-4294967299,1\n"), "2: 1 -2147483648 1");
    EXPECT_EQ(scanned("version:4294967297\n1,1\n"), "-2: 2147483647 8 9");
}

TEST(IndexTextTest, Scan_BlanksBetweenTheParts_CountNothing) {
    EXPECT_EQ(scanned("version: 1 \r\n\n 3, 7"), "2: 1 3 7");
    EXPECT_EQ(scanned("version:1 3 ,7"), "1: 1 3 9");
}

TEST(IndexTextTest, Judge_CutShortAnywhere_IsNotWhole) {
    const std::string text = built(12, 34);
    for (size_t length = 0; length < text.size(); ++length) {
        EXPECT_EQ(judged(text.substr(0, length)), "not whole") << length;
    }
}

TEST(IndexTextTest, Judge_NearMisses_AreNotWhole) {
    for (const char *const text :
         {"version:2\n3,7\n", "Version:1\n3,7\n", "version:1\n3;7\n", "version:1\n3 ,7\n", "version:1\n,7\n",
          "version:1\n3,\n", "version:1\n3,7 \n", "version:1\n3,7x", "version:1\n3,123456789\n", "3,7\n"}) {
        EXPECT_EQ(judged(text), "not whole") << text;
    }
}

TEST(IndexTextTest, Judge_WhiteSpaceBeforeNumbers_CountsNothingAsForTheStore) {
    for (const char *const text :
         {"version: 1\n3,7\n", "version:1 3,7\n", "version:1\n\n 3, 7\n", "version:1\n+3,\t7\n"}) {
        EXPECT_EQ(judged(text), "3 7, " + std::to_string(strlen(text)) + " bytes") << text;
        EXPECT_EQ(scanned(text), "2: 1 3 7") << text;
    }
    EXPECT_EQ(judged("version:1\n-1234567,12345678\n"), "-1234567 12345678, 28 bytes");
}

TEST(IndexTextTest, Judge_LineEndsOfOtherSystems_AreCountedWhole) {
    EXPECT_EQ(judged("version:1\r\n3,7\r\n"), "3 7, 16 bytes");
    EXPECT_EQ(judged("version:1\n3,7\r"), "3 7, 14 bytes");
    EXPECT_EQ(judged("version:1\n3,7\nrest"), "3 7, 14 bytes");
}

}  // namespace
}  // namespace test
