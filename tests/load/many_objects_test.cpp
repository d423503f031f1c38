// SPDX-License-Identifier: Apache-2.0
// As many objects as the total of files allows: 45 rings of two files.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <random>
#include <vector>

#include "registry/registry.h"
#include "support/module_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kObjects = JORN_CSV_NUM_MAX / JORN_CSV_NUM_MIN;

/// What an object holds, oldest first.
using Texts = std::vector<std::string>;

class ManyObjectsTest : public test::ModuleTest {
protected:
    std::string pathOf(int number) const { return dir_.path() + "/" + std::to_string(number); }

    /// Creates the objects 0 to 44, with the handles 1 to 45 in this order.
    void createAll() {
        jorn_SetDebugPrintLevel(0);
        for (int i = 0; i < kObjects; ++i) {
            ASSERT_EQ(JORN_Create(pathOf(i).c_str(), 8, JORN_CSV_NUM_MIN), i + 1);
            held_[static_cast<size_t>(i)].emplace_back("Log start init!");
        }
        jorn_SetDebugPrintLevel(1);
        settle();
        test::platform().clearLog();
    }

    /// Submits `rounds` items to each object, in an order that changes from round to round.
    void submitToAll(int rounds, const std::string &prefix) {
        std::mt19937 random(45);
        std::vector<int> order(kObjects);
        std::iota(order.begin(), order.end(), 0);
        for (int round = 0; round < rounds; ++round) {
            std::shuffle(order.begin(), order.end(), random);
            for (const int number : order) {
                const std::string text = prefix + std::to_string(number) + "." + std::to_string(round);
                ASSERT_EQ(JORN_AddOneLog(number + 1, round % 3, number % 8, text.c_str()), 0);
                held_[static_cast<size_t>(number)].push_back(text);
            }
            if (round % 8 == 7) {
                pass();
            }
        }
        settle();
    }

    /// Compares all pages of an object with what it holds.
    void expectHeld(int number, int32_t handle) const {
        const Texts &held = held_[static_cast<size_t>(number)];
        EXPECT_EQ(JORN_CountRequireTotalNum(handle, test::everything()), static_cast<int32_t>(held.size()));
        Texts shown;
        const int32_t pages = static_cast<int32_t>((held.size() + 6) / 7);
        for (int32_t i = 1; i <= pages; ++i) {
            JORN_LOG_PAGE page;
            ASSERT_EQ(JORN_GetRequireLog(handle, test::everything(i, 7), &page), i) << "object " << number;
            const Texts texts = test::texts(page);
            shown.insert(shown.end(), texts.begin(), texts.end());
        }
        std::reverse(shown.begin(), shown.end());
        EXPECT_EQ(shown, held) << "object " << number;
    }

    /// Destroys the objects in an order; those that are left stay as they are.
    void destroyInOrder(const std::vector<int> &order) {
        for (size_t i = 0; i < order.size(); ++i) {
            ASSERT_EQ(JORN_Destroy(order[i] + 1), 0) << order[i];
            EXPECT_EQ(JORN_Destroy(order[i] + 1), -1);
            EXPECT_EQ(JORN_AddOneLog(order[i] + 1, 0, 0, "gone"), -1);
            for (size_t left = i + 1; left < order.size(); ++left) {
                EXPECT_NE(FindObj(order[left] + 1), nullptr) << order[left];
            }
            EXPECT_EQ(jorn_csv_cnt, static_cast<int32_t>(2 * (order.size() - i - 1)));
        }
    }

    std::vector<Texts> held_ = std::vector<Texts>(kObjects);
};

TEST_F(ManyObjectsTest, ItemsToAll_Interleaved_EachObjectHoldsItsOwn) {
    createAll();
    submitToAll(24, "item ");
    for (int i = 0; i < kObjects; ++i) {
        expectHeld(i, i + 1);
    }
    EXPECT_THAT(test::messages(), IsEmpty());
}

TEST_F(ManyObjectsTest, Create_BeyondTheTotal_IsRefusedAndLeavesOnlyTheDirectory) {
    createAll();
    const int blocks = test::platform().liveBlocks();
    EXPECT_EQ(JORN_Create(pathOf(kObjects).c_str(), 8, 2), -1);
    EXPECT_THAT(test::messages(), ElementsAre("Error csv file number!"));
    EXPECT_EQ(jorn_csv_cnt, JORN_CSV_NUM_MAX);
    EXPECT_EQ(test::platform().liveBlocks(), blocks);
    EXPECT_THAT(test::platform().calls({"msgQSend", "semTake", "fopen"}), IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(pathOf(kObjects)));
    submitToAll(1, "after ");
    expectHeld(0, 1);
    expectHeld(kObjects - 1, kObjects);
}

// The checks that precede that of the total come first, whatever the total.
TEST_F(ManyObjectsTest, Create_BeyondTheTotalAndWrongOtherwise_OtherErrorIsTold) {
    createAll();
    EXPECT_EQ(JORN_Create(pathOf(kObjects).c_str(), 9, 2), -1);
    EXPECT_EQ(JORN_Create("relative", 8, 2), -1);
    EXPECT_EQ(JORN_Create(pathOf(7).c_str(), 8, 2), -1);
    EXPECT_THAT(test::messages(),
                ElementsAre("slot_max=9, error!", "DirName format error!", "DirName invalid!"));
}

TEST_F(ManyObjectsTest, Create_TwoFilesFree_TakesTwoAndNotThree) {
    createAll();
    ASSERT_EQ(JORN_Destroy(20), 0);
    EXPECT_EQ(JORN_Create(pathOf(19).c_str(), 8, 3), -1);
    EXPECT_THAT(test::messages(), ElementsAre("Error csv file number!"));
    jorn_SetDebugPrintLevel(0);
    EXPECT_EQ(JORN_Create(pathOf(19).c_str(), 8, 2), kObjects + 1)
        << "the newest live object's handle and one";
    EXPECT_EQ(JORN_Create(pathOf(kObjects).c_str(), 8, 2), -1);
}

TEST_F(ManyObjectsTest, Handles_NewestDestroyed_IsGivenOutAgain) {
    createAll();
    jorn_SetDebugPrintLevel(0);
    ASSERT_EQ(JORN_Destroy(kObjects), 0);
    ASSERT_EQ(JORN_Destroy(1), 0);
    EXPECT_EQ(JORN_Create(pathOf(kObjects - 1).c_str(), 8, 2), kObjects);
    EXPECT_EQ(JORN_Create(pathOf(0).c_str(), 8, 2), kObjects + 1) << "the oldest handle is not";
    settle();
    held_[0].emplace_back("Log start init!");
    held_[kObjects - 1].emplace_back("Log start init!");
    expectHeld(0, kObjects + 1);
    expectHeld(kObjects - 1, kObjects);
}

TEST_F(ManyObjectsTest, Destroy_NewestFirst_LeavesTheOthers) {
    createAll();
    std::vector<int> order(kObjects);
    std::iota(order.rbegin(), order.rend(), 0);
    destroyInOrder(order);
}

TEST_F(ManyObjectsTest, Destroy_OldestFirst_LeavesTheOthers) {
    createAll();
    std::vector<int> order(kObjects);
    std::iota(order.begin(), order.end(), 0);
    destroyInOrder(order);
}

TEST_F(ManyObjectsTest, Destroy_FromTheMiddle_LeavesTheOthers) {
    createAll();
    std::vector<int> order(kObjects);
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [](int a, int b) { return std::abs(a - kObjects / 2) < std::abs(b - kObjects / 2); });
    destroyInOrder(order);
}

TEST_F(ManyObjectsTest, Destroy_InRandomOrders_LeavesTheOthers) {
    for (uint32_t seed = 1; seed <= 5; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        createAll();
        std::vector<int> order(kObjects);
        std::iota(order.begin(), order.end(), 0);
        std::shuffle(order.begin(), order.end(), std::mt19937(seed));
        destroyInOrder(order);
    }
}

// Half of the objects are destroyed while all hold items: the others' items are all there, and so are those
// of the destroyed ones when they are created again.
TEST_F(ManyObjectsTest, Destroy_EverySecond_NoItemOfAnyIsLost) {
    createAll();
    submitToAll(10, "before ");
    for (int i = 0; i < kObjects; i += 2) {
        ASSERT_EQ(JORN_Destroy(i + 1), 0);
    }
    for (int i = 1; i < kObjects; i += 2) {
        expectHeld(i, i + 1);
    }
    jorn_SetDebugPrintLevel(0);
    for (int i = 0; i < kObjects; i += 2) {
        const int32_t handle = JORN_Create(pathOf(i).c_str(), 8, 2);
        ASSERT_GT(handle, 0);
        held_[static_cast<size_t>(i)].emplace_back("Log start init!");
        settle();
        expectHeld(i, handle);
    }
}

TEST_F(ManyObjectsTest, Restart_OfAll_GoesOnWithWhatEachHeld) {
    createAll();
    submitToAll(20, "first ");
    std::vector<int> order(kObjects);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    test::platform().setTime(1700000500);
    submitToAll(1, "newest ");
    destroyInOrder(order);
    createAll();
    for (int i = 0; i < kObjects; ++i) {
        expectHeld(i, i + 1);
        uint32_t time = 0;
        EXPECT_EQ(JORN_GetFinalCsvTime(i + 1, &time), 0);
        EXPECT_EQ(time, 1700000500U);
    }
}

}  // namespace
