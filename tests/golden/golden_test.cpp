// SPDX-License-Identifier: Apache-2.0
// The bytes of the whole store, compared with kept files that expected.py makes from the rules of the
// formats: builds of every width write, show and print the same.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "golden/lives.h"
#include "support/module_test.h"
#include "support/utc_zone.h"

namespace {

using test::platform;

namespace fs = std::filesystem;

std::string bytesOf(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> namesIn(const fs::path &folder) {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

std::string goldenBytes(const std::string &name) { return bytesOf(fs::path(JORN_GOLDEN) / name); }

/// Where the lives take place, and what they show.
std::string goldenDirectory;
std::string goldenPages;

const char *pathOf(const char *relative) {
    static std::string path;
    path = goldenDirectory + "/" + relative;
    return path.c_str();
}

class GoldenTest : public test::ModuleTest {
protected:
    void SetUp() override {
        test::ModuleTest::SetUp();
        goldenDirectory = dir_.path();
        goldenPages.clear();
    }

    static golden::Place place() {
        return {[](uint32_t seconds) { platform().setTime(seconds); }, [] { settle(); }, pathOf,
                [](const char *text) { goldenPages += text; }};
    }

    /// Checks that the folder holds exactly the kept files, byte by byte; in the first data file, after
    /// `before`.
    void expectGolden(const std::string &folder, const std::string &name,
                      const std::string &before = "") const {
        const std::vector<std::string> kept = namesIn(fs::path(JORN_GOLDEN) / name);
        EXPECT_FALSE(kept.empty());
        EXPECT_THAT(namesIn(fs::path(dir_.path()) / folder), ::testing::UnorderedElementsAreArray(kept));
        for (const std::string &file : kept) {
            const std::string start = file == "0.csv" ? before : "";
            const std::string found = bytesOf(fs::path(dir_.path()) / folder / file);
            ASSERT_EQ(found.substr(0, start.size()), start) << file;
            EXPECT_EQ(found.substr(start.size()), bytesOf(fs::path(JORN_GOLDEN) / name / file)) << file;
        }
    }

    /// Everything printed since the last clearLog, without what depends on the place and version of the
    /// sources.
    std::string console() const {
        std::string printed;
        for (const std::string &piece : platform().pieces()) {
            printed += piece;
        }
        printed = std::regex_replace(printed, std::regex(R"(\[[^\]]*\]line[0-9]+ : )"), "[SOURCE]lineN : ");
        return std::regex_replace(printed, std::regex(dir_.path()), "DIR");
    }

    const test::UtcZone utc_;
};

TEST_F(GoldenTest, Items_EveryLevelSlotAndText_StoredAsKept) {
    ASSERT_GT(golden::createFirst(place()), 0);
    expectGolden("first", "first");
}

TEST_F(GoldenTest, Items_AtTheEndOfTime_StoredAsKept) {
    ASSERT_GT(golden::createLast(place()), 0);
    expectGolden("last", "last");
}

TEST_F(GoldenTest, Pages_OfEveryQuery_AreAsKept) {
    const int32_t first = golden::createFirst(place());
    const int32_t last = golden::createLast(place());
    golden::showAllPages(place(), first, last);
    EXPECT_EQ(goldenPages, goldenBytes("pages.txt"));
}

TEST_F(GoldenTest, Pages_AfterRestart_AreAsKept) {
    const int32_t first = golden::createFirst(place());
    ASSERT_EQ(JORN_Destroy(first), 0);
    const int32_t again = golden::recreateFirst(place());
    uint32_t newest = 0;
    ASSERT_EQ(JORN_GetFinalCsvTime(again, &newest), 0);
    EXPECT_EQ(newest, golden::kEndOf31Bits + 44 * 7000);
    golden::showFirstQuery(place(), again);
    ASSERT_FALSE(goldenPages.empty());
    EXPECT_EQ(goldenPages, goldenBytes("pages.txt").substr(0, goldenPages.size()));
    EXPECT_EQ(dir_.read("first/0.csv"), goldenBytes("first/0.csv") + "4294967294,3,0,Log start init!\n");
}

TEST_F(GoldenTest, Rotation_AndClearing_LeaveTheFilesKept) {
    const int32_t handle = golden::createAndRotate(place());
    expectGolden("ring", "rotated", test::lines(golden::kPreparedLines, 1600000000, "item "));

    golden::clearRing(place(), handle);
    expectGolden("ring", "cleared");
}

TEST_F(GoldenTest, Restart_SmallerRingWithGaps_LeavesTheFilesKept) {
    ASSERT_GT(golden::createOverGaps(place()), 0);
    expectGolden("gaps", "tidied");
}

class GoldenConsoleTest : public GoldenTest, public ::testing::WithParamInterface<int32_t> {};

TEST_P(GoldenConsoleTest, Console_AtPrintLevel_IsAsKept) {
    EXPECT_TRUE(golden::liveAloud(place(), dir_.name(), GetParam()));
    EXPECT_EQ(console(), goldenBytes("console-" + std::to_string(GetParam()) + ".txt"));
}

INSTANTIATE_TEST_SUITE_P(Levels, GoldenConsoleTest, ::testing::Values(1, 4, 7, 8));

}  // namespace
