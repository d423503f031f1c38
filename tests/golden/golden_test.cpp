// SPDX-License-Identifier: Apache-2.0
// The bytes of the whole store, compared with kept files that expected.py makes from the rules of the
// formats: builds of every width write, show and print the same.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "support/module_test.h"
#include "support/utc_zone.h"

namespace {

using test::platform;

namespace fs = std::filesystem;

constexpr uint32_t kEndOf31Bits = 0x7ffffffe;
constexpr uint32_t kEndOf32Bits = 0xfffffffe;

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

std::string golden(const std::string &name) { return bytesOf(fs::path(JORN_GOLDEN) / name); }

std::string repeated(int times, const std::string &part) {
    std::string all;
    for (int i = 0; i < times; ++i) {
        all += part;
    }
    return all;
}

/// Count and all pages of a query, as text.
std::string pages(int32_t handle, JORN_REQUIRE require) {
    const int32_t count = JORN_CountRequireTotalNum(handle, require);
    std::string text = "count " + std::to_string(count) + "\n";
    const int32_t number = (count + require.itemsPerPage - 1) / require.itemsPerPage;
    for (require.pageDisp = 1; require.pageDisp <= number; ++require.pageDisp) {
        JORN_LOG_PAGE page = {};
        text += "page " + std::to_string(JORN_GetRequireLog(handle, require, &page)) + "\n";
        for (int32_t i = 0; i < page.itemsNum; ++i) {
            const JORN_LOG_DISP &item = page.disp[i];
            text += std::string(item.timeStr) + "|" + item.levelStr + "|" + item.slotStr + "|" + item.logStr;
        }
    }
    return text;
}

class GoldenTest : public test::ModuleTest {
protected:
    int32_t create(const std::string &folder, int32_t slotMax, int32_t csvNum) const {
        jorn_SetDebugPrintLevel(0);
        const int32_t handle = JORN_Create((dir_.path() + "/" + folder).c_str(), slotMax, csvNum);
        EXPECT_GT(handle, 0);
        settle();
        return handle;
    }

    void makeFolder(const std::string &folder) const { fs::create_directory(fs::path(dir_.path()) / folder); }

    static void add(int32_t handle, int32_t level, int32_t slot, const std::string &text) {
        ASSERT_EQ(JORN_AddOneLog(handle, level, slot, text.c_str()), 0);
    }

    /// An object with an item of every level and slot, a second apart across 2^31, then hours apart.
    int32_t createFirst() const {
        const std::vector<std::string> texts = {"door open",
                                                "one, two,, three,",
                                                "",
                                                repeated(198, "x"),
                                                "gr\xc3\xbcn, 5 \xe2\x82\xac",
                                                repeated(250, "y"),
                                                "a" + repeated(120, "\xc3\xbc"),
                                                "line\nends\r\nhere"};
        platform().setTime(kEndOf31Bits);
        const int32_t handle = create("first", 8, 3);
        uint32_t number = 0;
        for (int32_t level = -1; level < 4; ++level) {
            for (int32_t slot = -1; slot < 8; ++slot, ++number) {
                platform().setTime(kEndOf31Bits + (number < 5 ? number : number * 7000));
                add(handle, level, slot, texts[number % texts.size()]);
            }
        }
        settle();
        return handle;
    }

    /// An object with items of the last two seconds that 32 bits can represent.
    int32_t createLast() const {
        platform().setTime(kEndOf32Bits);
        const int32_t handle = create("last", 2, 2);
        add(handle, 0, 1, "last but one");
        platform().setTime(kEndOf32Bits + 1);
        add(handle, 1, 0, "last second");
        settle();
        return handle;
    }

    /// A ring of two files whose first one is two items short of full; `prepared` is what it holds.
    int32_t createNearlyFull(const std::string &prepared) const {
        makeFolder("ring");
        dir_.write("ring/index.csv", "version:1\n0,0\n");
        dir_.write("ring/0.csv", prepared);
        return create("ring", 8, 2);
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
    createFirst();
    expectGolden("first", "first");
}

TEST_F(GoldenTest, Items_AtTheEndOfTime_StoredAsKept) {
    createLast();
    expectGolden("last", "last");
}

TEST_F(GoldenTest, Pages_OfEveryQuery_AreAsKept) {
    const int32_t first = createFirst();
    const int32_t last = createLast();
    const std::string shown =
        pages(first, {7, 1, -1, -1, -1, -1, -1}) + pages(first, {20, 1, -1, -1, 3, 0, -1}) +
        pages(first, {20, 1, -1, -1, 1, 1, 5}) + pages(first, {5, 1, 24856, 24857, -1, -1, -1}) +
        pages(last, {1, 1, -1, -1, -1, -1, -1});
    EXPECT_EQ(shown, golden("pages.txt"));
}

TEST_F(GoldenTest, Pages_AfterRestart_AreAsKept) {
    const int32_t first = createFirst();
    ASSERT_EQ(JORN_Destroy(first), 0);
    platform().setTime(kEndOf32Bits);
    const int32_t again = create("first", 8, 3);
    uint32_t newest = 0;
    ASSERT_EQ(JORN_GetFinalCsvTime(again, &newest), 0);
    EXPECT_EQ(newest, kEndOf31Bits + 44 * 7000);
    const std::string open = pages(again, {7, 1, -1, -1, -1, -1, -1});
    EXPECT_EQ(open, golden("pages.txt").substr(0, open.size()));
    EXPECT_EQ(dir_.read("first/0.csv"), golden("first/0.csv") + "4294967294,3,0,Log start init!\n");
}

TEST_F(GoldenTest, Rotation_AndClearing_LeaveTheFilesKept) {
    const std::string prepared = test::lines(4998, 1600000000, "item ");
    const int32_t handle = createNearlyFull(prepared);
    add(handle, 1, 5, "number 5000");
    add(handle, 2, 5, "number 5001");
    settle();
    expectGolden("ring", "rotated", prepared);

    ASSERT_EQ(JORN_ClearAllLog(handle, 1), 0);
    settle();
    expectGolden("ring", "cleared");
}

TEST_F(GoldenTest, Restart_SmallerRingWithGaps_LeavesTheFilesKept) {
    makeFolder("gaps");
    dir_.write("gaps/index.csv", "version:1\n3,7\n");
    for (const uint32_t position : {0U, 3U, 5U, 6U, 7U}) {
        const std::string number = std::to_string(position);
        dir_.write("gaps/" + number + ".csv", test::line(1600000000 + position, 1, 2, "of file " + number));
    }
    create("gaps", 8, 3);
    expectGolden("gaps", "tidied");
}

/// Calls that print at each level, on an object made here.
void liveAloud(const std::string &folder, const std::function<void()> &letItBeStored) {
    const int32_t handle = JORN_Create(folder.c_str(), 8, 2);
    letItBeStored();
    JORN_LOG_PAGE page = {};
    EXPECT_EQ(JORN_GetRequireLog(handle, test::anything(), &page), -1);
    EXPECT_EQ(JORN_AddOneLog(handle, 1, 5, "door open"), 0);
    letItBeStored();
    EXPECT_EQ(JORN_GetRequireLog(handle, test::anything(), &page), 1);
    EXPECT_EQ(JORN_AddOneLog(handle, 4, 0, "no such level"), -1);
    JORN_REQUIRE otherSlot = test::anything();
    otherSlot.slot = 4;
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, otherSlot), 0);
    EXPECT_EQ(JORN_CountRequireTotalNum(9, otherSlot), -1);
    EXPECT_EQ(JORN_ClearAllLog(handle, 0), 0);
    EXPECT_EQ(JORN_Destroy(handle), 0);
}

class GoldenConsoleTest : public GoldenTest, public ::testing::WithParamInterface<int32_t> {};

TEST_P(GoldenConsoleTest, Console_AtPrintLevel_IsAsKept) {
    jorn_SetDebugPrintLevel(GetParam());
    liveAloud(dir_.path(), settle);
    EXPECT_EQ(console(), golden("console-" + std::to_string(GetParam()) + ".txt"));
}

INSTANTIATE_TEST_SUITE_P(Levels, GoldenConsoleTest, ::testing::Values(1, 4, 7, 8));

}  // namespace
