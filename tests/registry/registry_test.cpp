// SPDX-License-Identifier: Apache-2.0
// The registry: handle ids, look-ups, accessors and the print level.
#include "registry/registry.h"

#include <cstdint>
#include <limits>

#include "csvfile/startup_analysis.h"
#include "diagnostics.h"
#include "registry/thread_calls.h"

namespace {

using test::HandMadeObject;
using test::messages;
using test::platform;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kLastSecond = 4294967295U;
constexpr uint32_t kUntouched = 77;

/// The module's globals as they are before anything has run.
struct Globals {
    JORN_OBJ *objects = jorn_obj_ptr;
    int32_t files = jorn_csv_cnt;
    uint32_t maxTime = jorn_max_csv_time;
    int32_t printLevel = DBGPRT_LVL;
    SEM_ID mutex = logSemCsvRW_ID;
    MSG_Q_ID queue = logMsgCsvStore_ID;
    TASK_ID task = logTask_ID;
};
const Globals globalsAtStart;

std::vector<int32_t> liveIds() {
    std::vector<int32_t> ids;
    for (const JORN_OBJ *obj = jorn_obj_ptr; obj != nullptr; obj = obj->next) {
        ids.push_back(obj->handle_id);
    }
    return ids;
}

uint32_t maxTime() {
    uint32_t time = kUntouched;
    EXPECT_EQ(JORN_GetMaxCsvTime(&time), 0);
    return time;
}

uint32_t finalTime(int32_t handle) {
    uint32_t time = kUntouched;
    EXPECT_EQ(JORN_GetFinalCsvTime(handle, &time), 0);
    return time;
}

/// Real objects, each in a directory of its own below the test's.
class RegistryTest : public test::ModuleTest {
protected:
    int32_t create(const std::string &name, int32_t csvNum = 2) {
        jorn_SetDebugPrintLevel(0);
        const int32_t handle = JORN_Create((dir_.path() + "/" + name).c_str(), 8, csvNum);
        settle();
        jorn_SetDebugPrintLevel(1);
        platform().clearLog();
        return handle;
    }

    /// An object over one data file that is already there.
    int32_t createOver(const std::string &name, const std::string &bytes) {
        dir_.block(name);
        dir_.write(name + "/index.csv", "version:1\n0,0\n");
        dir_.write(name + "/0.csv", bytes);
        return create(name);
    }
};

/// A list 9, 4, 2 made by hand.
class LookUpTest : public test::ModuleTest {
protected:
    LookUpTest() : head_("/head", 2, 8, 9), middle_("/middle", 2, 8, 4), tail_("/tail", 2, 8, 2) {}

    void SetUp() override {
        ModuleTest::SetUp();
        head_->next = middle_.get();
        middle_->next = tail_.get();
        jorn_obj_ptr = head_.get();
    }

    void TearDown() override {
        jorn_obj_ptr = nullptr;
        ModuleTest::TearDown();
    }

    HandMadeObject head_;
    HandMadeObject middle_;
    HandMadeObject tail_;
};

TEST(GlobalsTest, ModuleLoaded_NothingDone_GlobalsHaveTheirInitialValues) {
    EXPECT_EQ(globalsAtStart.objects, nullptr);
    EXPECT_EQ(globalsAtStart.files, 0);
    EXPECT_EQ(globalsAtStart.maxTime, 0U);
    EXPECT_EQ(globalsAtStart.printLevel, 1);
    EXPECT_EQ(globalsAtStart.mutex, nullptr);
    EXPECT_EQ(globalsAtStart.queue, nullptr);
    EXPECT_EQ(globalsAtStart.task, 0);
}

// Handle ids

TEST_F(RegistryTest, Create_ThreeInARow_GetIdsFromOneUp) {
    EXPECT_EQ(create("a"), 1);
    EXPECT_EQ(create("b"), 2);
    EXPECT_EQ(create("c"), 3);
    EXPECT_THAT(liveIds(), ElementsAre(3, 2, 1));
}

TEST_F(RegistryTest, Create_AfterHeadWasDestroyed_GetsItsIdAgain) {
    create("a");
    create("b");
    create("c");
    ASSERT_EQ(JORN_Destroy(3), 0);
    EXPECT_EQ(create("c"), 3);
    EXPECT_THAT(liveIds(), ElementsAre(3, 2, 1));
}

TEST_F(RegistryTest, Create_AfterOldestWasDestroyed_DoesNotReuseItsId) {
    create("a");
    create("b");
    create("c");
    ASSERT_EQ(JORN_Destroy(1), 0);
    EXPECT_EQ(create("a"), 4);
    EXPECT_THAT(liveIds(), ElementsAre(4, 3, 2));
}

TEST_F(RegistryTest, Create_IdsAboveAMissingOneGone_ReusesIt) {
    create("a");
    create("b");
    create("c");
    ASSERT_EQ(JORN_Destroy(2), 0);
    ASSERT_EQ(JORN_Destroy(3), 0);
    EXPECT_EQ(create("b"), 2);
    EXPECT_THAT(liveIds(), ElementsAre(2, 1));
}

TEST_F(RegistryTest, Create_AfterAllWereDestroyed_BeginsAtOneAgain) {
    create("a");
    create("b");
    ASSERT_EQ(JORN_Destroy(1), 0);
    ASSERT_EQ(JORN_Destroy(2), 0);
    EXPECT_EQ(create("c"), 1);
}

TEST_F(RegistryTest, Create_FortyFiveSmallestObjects_AllLiveAndAreFound) {
    for (int32_t i = 1; i <= 45; ++i) {
        ASSERT_EQ(create(std::to_string(i)), i);
    }
    EXPECT_EQ(jorn_csv_cnt, 90);
    EXPECT_EQ(create("46"), -1);
    for (int32_t i = 1; i <= 45; ++i) {
        ASSERT_NE(FindObj(i), nullptr) << i;
        EXPECT_EQ(FindObj(i)->handle_id, i);
    }
}

// Look-ups

TEST_F(LookUpTest, FindObj_LiveId_GivesItsObject) {
    EXPECT_EQ(FindObj(9), head_.get());
    EXPECT_EQ(FindObj(4), middle_.get());
    EXPECT_EQ(FindObj(2), tail_.get());
}

TEST_F(LookUpTest, FindObj_UnknownId_GivesNull) {
    for (const int32_t handle : {INT32_MIN, -1, 0, 1, 3, 10, INT32_MAX}) {
        EXPECT_EQ(FindObj(handle), nullptr) << handle;
    }
}

TEST_F(LookUpTest, FindObj_NoObject_GivesNull) {
    jorn_obj_ptr = nullptr;
    EXPECT_EQ(FindObj(1), nullptr);
    EXPECT_EQ(FindObj(0), nullptr);
}

TEST_F(LookUpTest, FindObjLast_OlderObject_GivesItsPredecessor) {
    EXPECT_EQ(FindObjLast(4), head_.get());
    EXPECT_EQ(FindObjLast(2), middle_.get());
}

TEST_F(LookUpTest, FindObjLast_HeadsOwnId_GivesNull) { EXPECT_EQ(FindObjLast(9), nullptr); }

TEST_F(LookUpTest, FindObjLast_OnlyObjectsOwnId_GivesNull) {
    jorn_obj_ptr = tail_.get();
    EXPECT_EQ(FindObjLast(2), nullptr);
}

TEST_F(LookUpTest, FindObjLast_UnknownId_GivesNull) {
    for (const int32_t handle : {INT32_MIN, -1, 0, 3, 10, INT32_MAX}) {
        EXPECT_EQ(FindObjLast(handle), nullptr) << handle;
    }
}

TEST_F(LookUpTest, FindObjLast_NoObject_GivesNull) {
    jorn_obj_ptr = nullptr;
    EXPECT_EQ(FindObjLast(1), nullptr);
}

TEST_F(LookUpTest, LookUps_Any_MakeNoPlatformCall) {
    FindObj(2);
    FindObj(5);
    FindObjLast(2);
    EXPECT_THAT(platform().calls(), IsEmpty());
}

// The largest time of any start-up

TEST_F(RegistryTest, GetMaxCsvTime_NullPointer_FailsWithoutMessage) {
    jorn_SetDebugPrintLevel(std::numeric_limits<int32_t>::max());
    EXPECT_EQ(JORN_GetMaxCsvTime(nullptr), -1);
    EXPECT_THAT(platform().pieces(), IsEmpty());
}

TEST_F(RegistryTest, GetMaxCsvTime_NothingAnalysed_GivesZero) { EXPECT_EQ(maxTime(), 0U); }

TEST_F(RegistryTest, GetMaxCsvTime_DirectoryWithItems_GivesLargestTimeNotTheLast) {
    createOver("a", "1700000005,1,2,x\n1700000001,1,2,y\n");
    EXPECT_EQ(maxTime(), 1700000005U);
}

TEST_F(RegistryTest, GetMaxCsvTime_SeveralObjects_GivesTheLargestOfAll) {
    createOver("a", "1700000005,1,2,x\n");
    createOver("b", "1700000009,1,2,x\n");
    EXPECT_EQ(maxTime(), 1700000009U);
    createOver("c", "1700000007,1,2,x\n");
    EXPECT_EQ(maxTime(), 1700000009U);
}

TEST_F(RegistryTest, GetMaxCsvTime_TimesAtTheTopOfTheRange_ComparesUnsigned) {
    createOver("a", "2147483648,1,2,x\n");
    EXPECT_EQ(maxTime(), 2147483648U);
    createOver("b", "2147483647,1,2,x\n");
    EXPECT_EQ(maxTime(), 2147483648U);
    createOver("c", "4294967295,1,2,x\n");
    EXPECT_EQ(maxTime(), kLastSecond);
}

TEST_F(RegistryTest, GetMaxCsvTime_AllObjectsDestroyed_StillGivesLargestEverFound) {
    createOver("a", "1700000005,1,2,x\n");
    ASSERT_EQ(JORN_Destroy(1), 0);
    EXPECT_EQ(maxTime(), 1700000005U);
}

TEST_F(RegistryTest, GetMaxCsvTime_LaterItemsStored_IsNotRaised) {
    const int32_t handle = createOver("a", "1700000005,1,2,x\n");
    platform().setTime(1800000000);
    store(handle, 1, "later");
    EXPECT_EQ(maxTime(), 1700000005U);
}

TEST_F(RegistryTest, GetMaxCsvTime_Any_MakesNoPlatformCall) {
    maxTime();
    EXPECT_THAT(platform().calls(), IsEmpty());
}

// The newest stored time of an object

TEST_F(RegistryTest, GetFinalCsvTime_NoItemsAtCreation_GivesZero) { EXPECT_EQ(finalTime(create("a")), 0U); }

TEST_F(RegistryTest, GetFinalCsvTime_ItemsAtCreation_GivesTheLastTimeNotTheLargest) {
    EXPECT_EQ(finalTime(createOver("a", "1700000005,1,2,x\n1700000001,1,2,y\n")), 1700000001U);
}

TEST_F(RegistryTest, GetFinalCsvTime_TopOfTheRange_GivesItWhole) {
    EXPECT_EQ(finalTime(createOver("a", "4294967295,1,2,x\n")), kLastSecond);
}

TEST_F(RegistryTest, GetFinalCsvTime_SeveralObjects_GivesEachItsOwn) {
    const int32_t first = createOver("a", "1700000005,1,2,x\n");
    const int32_t second = createOver("b", "1700000009,1,2,x\n");
    EXPECT_EQ(finalTime(first), 1700000005U);
    EXPECT_EQ(finalTime(second), 1700000009U);
}

TEST_F(RegistryTest, GetFinalCsvTime_LaterItemsStored_StaysAsAtCreation) {
    const int32_t handle = createOver("a", "1700000005,1,2,x\n");
    platform().setTime(1800000000);
    store(handle, 1, "later");
    EXPECT_EQ(finalTime(handle), 1700000005U);
}

TEST_F(RegistryTest, GetFinalCsvTime_LogsCleared_StaysAsAtCreation) {
    const int32_t handle = createOver("a", "1700000005,1,2,x\n");
    ASSERT_EQ(JORN_ClearAllLog(handle, 0), 0);
    EXPECT_EQ(finalTime(handle), 1700000005U);
}

TEST_F(RegistryTest, GetFinalCsvTime_NullPointer_FailsWithMessage) {
    const int32_t handle = create("a");
    test::expectMessageAt(1, "time pointer null!",
                          [&] { EXPECT_EQ(JORN_GetFinalCsvTime(handle, nullptr), -1); });
}

TEST_F(RegistryTest, GetFinalCsvTime_UnknownHandle_FailsWithMessage) {
    uint32_t time = kUntouched;
    test::expectMessageAt(1, "hanld_id = -5, not found!",
                          [&] { EXPECT_EQ(JORN_GetFinalCsvTime(-5, &time), -1); });
    EXPECT_EQ(time, kUntouched);
}

TEST_F(RegistryTest, GetFinalCsvTime_NullPointerAndUnknownHandle_ReportsThePointerOnly) {
    EXPECT_EQ(JORN_GetFinalCsvTime(7, nullptr), -1);
    EXPECT_THAT(messages(), ElementsAre("time pointer null!"));
}

TEST_F(RegistryTest, GetFinalCsvTime_Any_MakesNoPlatformCall) {
    const int32_t handle = create("a");
    const test::CallsOfThisThread calls;
    finalTime(handle);
    JORN_GetFinalCsvTime(handle, nullptr);
    JORN_GetFinalCsvTime(99, nullptr);
    EXPECT_THAT(calls.get(), IsEmpty());
}

// Print level and form of a message

TEST_F(RegistryTest, SetDebugPrintLevel_AnyValue_IsStoredUnchecked) {
    for (const int32_t level : {INT32_MIN, -1, 0, 1, 8, 9, INT32_MAX}) {
        jorn_SetDebugPrintLevel(level);
        EXPECT_EQ(DBGPRT_LVL, level);
    }
}

TEST_F(RegistryTest, SetDebugPrintLevel_ZeroOrLess_SilencesErrors) {
    for (const int32_t level : {INT32_MIN, -1, 0}) {
        jorn_SetDebugPrintLevel(level);
        JORN_GetFinalCsvTime(99, nullptr);
        EXPECT_THAT(platform().pieces(), IsEmpty()) << level;
    }
}

TEST_F(RegistryTest, Message_Printed_ComesInThreePieces) {
    JORN_GetFinalCsvTime(99, nullptr);
    EXPECT_THAT(platform().pieces(),
                ElementsAre(::testing::MatchesRegex("\\[.*src/registry/registry\\.cpp\\]line[0-9]+ : "),
                            "time pointer null!", "\r\n"));
}

}  // namespace
