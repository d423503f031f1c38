// SPDX-License-Identifier: Apache-2.0
// Creation and destruction of log objects, and of what all objects share.
#include "registry/lifecycle.h"

#include <posixPort.h>
#include <semLib.h>
#include <sys/stat.h>
#include <tickLib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <future>

#include "registry/registry.h"
#include "registry/thread_calls.h"

namespace {

using test::CallsOfThisThread;
using test::messages;
using test::platform;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

using namespace std::string_literals;

/// The first item of an object.
constexpr char kInitLine[] = "1700000000,3,0,Log start init!\n";

/// A ring of one file with one item: whole, so that creation changes nothing in it.
constexpr char kWholeIndex[] = "version:1\n0,0\n";

class LifecycleTest : public test::ModuleTest {
protected:
    std::string path(const std::string &name) const { return dir_.path() + "/" + name; }

    int32_t create(const std::string &name, int32_t csvNum = 2, int32_t slotMax = 8) const {
        return JORN_Create(path(name).c_str(), slotMax, csvNum);
    }

    /// An object whose first item is on the medium, with no file open and an empty log.
    int32_t createSettled(const std::string &name, int32_t csvNum = 2) const {
        jorn_SetDebugPrintLevel(0);
        const int32_t handle = create(name, csvNum);
        EXPECT_GT(handle, 0);
        settle();
        jorn_SetDebugPrintLevel(1);
        platform().clearLog();
        return handle;
    }

    /// Puts a ring of one file into a directory below the test's.
    void makeRing(const std::string &name, const std::string &bytes) const {
        dir_.block(name);
        dir_.write(name + "/index.csv", kWholeIndex);
        dir_.write(name + "/0.csv", bytes);
    }
};

// Directory names

struct NameRow {
    const char *given;
    const char *kept;
};

class GoodNameTest : public ::testing::TestWithParam<NameRow> {};

TEST_P(GoodNameTest, CopyDirectoryName_GoodName_IsKeptWithoutTrailingSlashes) {
    char name[32];
    std::memset(name, '#', sizeof name);
    EXPECT_EQ(jorn_CopyDirectoryName(name, GetParam().given),
              static_cast<int32_t>(std::strlen(GetParam().kept)));
    EXPECT_STREQ(name, GetParam().kept);
}

INSTANTIATE_TEST_SUITE_P(
    , GoodNameTest,
    ::testing::Values(NameRow{"/a", "/a"}, NameRow{"/a/", "/a"}, NameRow{"/yaffs/log///", "/yaffs/log"},
                      NameRow{"/yaffs//./a/../b", "/yaffs//./a/../b"}, NameRow{"//a", "//a"},
                      NameRow{"/ ", "/ "}, NameRow{"/\xc3\xa4", "/\xc3\xa4"},
                      NameRow{"/234567890123456789012345678901", "/234567890123456789012345678901"},
                      NameRow{"/a/////////////////////////////", "/a"}));

class BadNameTest : public LifecycleTest, public ::testing::WithParamInterface<const char *> {};

TEST_P(BadNameTest, CopyDirectoryName_BadName_Fails) {
    char name[32];
    EXPECT_EQ(jorn_CopyDirectoryName(name, GetParam()), -1);
}

TEST_P(BadNameTest, Create_BadName_FreesTheObjectBeforeTouchingAnyDirectory) {
    EXPECT_EQ(JORN_Create(GetParam(), 8, 2), -1);
    EXPECT_THAT(messages(), ElementsAre("DirName format error!"));
    EXPECT_THAT(platform().calls(), ElementsAre("calloc object", "free object"));
    EXPECT_EQ(jorn_csv_cnt, 0);
}

INSTANTIATE_TEST_SUITE_P(, BadNameTest,
                         ::testing::Values(nullptr, "", "/", "a", "log", "yaffs/log", " /a", "//", "///",
                                           "///////////////////////////////",
                                           "/2345678901234567890123456789012",
                                           "/23456789012345678901234567890//"));

TEST(CopyDirectoryNameTest, CopyDirectoryName_NotAbsoluteOrTooLong_LeavesTheDestination) {
    for (const char *const given : {"log", "", "/", "/2345678901234567890123456789012"}) {
        char name[32] = "former";
        jorn_CopyDirectoryName(name, given);
        EXPECT_STREQ(name, "former") << given;
    }
}

TEST(CopyDirectoryNameTest, CopyDirectoryName_NullPointers_Fails) {
    char name[32] = "former";
    EXPECT_EQ(jorn_CopyDirectoryName(name, nullptr), -1);
    EXPECT_EQ(jorn_CopyDirectoryName(nullptr, "/yaffs/log"), -1);
    EXPECT_EQ(jorn_CopyDirectoryName(nullptr, nullptr), -1);
    EXPECT_STREQ(name, "former");
}

TEST_F(LifecycleTest, Create_BadName_ReportsItsFormat) {
    test::expectMessageAt(1, "DirName format error!", [] { JORN_Create("log", 8, 2); });
}

TEST_F(LifecycleTest, Create_NameOf31Characters_IsAccepted) {
    const std::string name = path(std::string(30 - dir_.path().size(), 'n'));
    ASSERT_EQ(name.size(), 31U);
    ASSERT_EQ(JORN_Create(name.c_str(), 8, 2), 1);
    EXPECT_STREQ(FindObj(1)->dirName, name.c_str());
    settle();
    EXPECT_FALSE(std::filesystem::is_empty(name));
}

// Directories

TEST_F(LifecycleTest, VerifyDirectoryName_Null_FailsWithMessage) {
    test::expectMessageAt(1, "Direction is null!", [] { EXPECT_EQ(jorn_VerifyDirectoryName(nullptr), -1); });
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(LifecycleTest, VerifyDirectoryName_Present_OnlyOpensAndClosesIt) {
    dir_.block("here");
    EXPECT_EQ(jorn_VerifyDirectoryName(path("here").c_str()), 0);
    EXPECT_THAT(platform().calls(), ElementsAre("opendir here", "closedir"));
}

TEST_F(LifecycleTest, VerifyDirectoryName_Absent_MakesIt) {
    EXPECT_EQ(jorn_VerifyDirectoryName(path("new").c_str()), 0);
    EXPECT_THAT(platform().calls(), ElementsAre("opendir new", "jorn_MakeDirectory new"));
    EXPECT_TRUE(std::filesystem::is_directory(path("new")));
}

TEST_F(LifecycleTest, VerifyDirectoryName_Absent_MakesItForOwnerAndGroup) {
    const mode_t former = umask(0);
    EXPECT_EQ(jorn_VerifyDirectoryName(path("new").c_str()), 0);
    umask(former);
    EXPECT_EQ(std::filesystem::status(path("new")).permissions(), static_cast<std::filesystem::perms>(0750));
}

TEST_F(LifecycleTest, VerifyDirectoryName_ParentAbsent_MakesNothing) {
    EXPECT_EQ(jorn_VerifyDirectoryName(path("no/log").c_str()), -1);
    EXPECT_THAT(messages(), ElementsAre("Create " + path("no/log") + " failed!"));
    EXPECT_THAT(dir_.names(), IsEmpty());
}

TEST_F(LifecycleTest, VerifyDirectoryName_UsedByAnyLiveObject_FailsSilently) {
    createSettled("a");
    createSettled("b");
    createSettled("c");
    jorn_SetDebugPrintLevel(INT32_MAX);
    for (const char *const used : {"a", "b", "c"}) {
        EXPECT_EQ(jorn_VerifyDirectoryName(path(used).c_str()), -1) << used;
    }
    EXPECT_EQ(jorn_VerifyDirectoryName(path("d").c_str()), 0);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(LifecycleTest, Create_ParentAbsent_ReportsBothAndFreesTheObject) {
    EXPECT_EQ(create("no/log"), -1);
    EXPECT_THAT(messages(), ElementsAre("Create " + path("no/log") + " failed!", "DirName invalid!"));
    EXPECT_THAT(platform().calls(),
                ElementsAre("calloc object", "opendir log", "jorn_MakeDirectory log", "free object"));
    EXPECT_EQ(jorn_csv_cnt, 0);
}

TEST_F(LifecycleTest, Create_NameOfAPlainFile_ReportsBoth) {
    dir_.write("file", "text");
    EXPECT_EQ(create("file"), -1);
    EXPECT_THAT(messages(), ElementsAre("Create " + path("file") + " failed!", "DirName invalid!"));
    EXPECT_EQ(dir_.read("file"), "text");
}

TEST_F(LifecycleTest, Create_DirectoryCannotBeMade_ReportsItAtLevelOne) {
    const auto action = [this] {
        platform().fail("jorn_MakeDirectory");
        EXPECT_EQ(create("new"), -1);
    };
    test::expectMessageAt(1, "Create " + path("new") + " failed!", action);
    test::expectMessageAt(1, "DirName invalid!", action);
}

TEST_F(LifecycleTest, Create_DirectoryOfALiveObject_ReportsOnlyThat) {
    createSettled("log");
    for (const char *const same : {"log", "log/", "log///"}) {
        platform().clearLog();
        EXPECT_EQ(create(same), -1);
        EXPECT_THAT(messages(), ElementsAre("DirName invalid!")) << same;
    }
    EXPECT_EQ(jorn_csv_cnt, 2);
}

TEST_F(LifecycleTest, Create_DirectoryOfALiveObject_IsReportedAtLevelOne) {
    createSettled("log");
    test::expectMessageAt(1, "DirName invalid!", [this] { create("log"); });
}

TEST_F(LifecycleTest, Create_DirectoryOfALiveObjectWasDeleted_MakesItAndFails) {
    createSettled("log");
    dir_.remove("log");
    const CallsOfThisThread calls;
    EXPECT_EQ(create("log"), -1);
    EXPECT_THAT(calls.get(),
                ElementsAre("calloc object", "opendir log", "jorn_MakeDirectory log", "free object"));
    EXPECT_TRUE(dir_.has("log"));
}

TEST_F(LifecycleTest, Create_NameWithTrailingSlashes_IsStoredWithoutThem) {
    ASSERT_EQ(create("log///"), 1);
    EXPECT_EQ(FindObj(1)->dirName, path("log"));
    settle();
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine);
}

TEST_F(LifecycleTest, Create_LaterCheckFails_DirectoryStays) {
    EXPECT_EQ(create("log", 1), -1);
    EXPECT_TRUE(dir_.has("log"));
}

// Number of slots

TEST_F(LifecycleTest, Create_SlotsOutOfRange_AllocatesNothing) {
    for (const int32_t slots : {INT32_MIN, -1, 0, 9, INT32_MAX}) {
        platform().clearLog();
        EXPECT_EQ(create("log", 2, slots), -1);
        EXPECT_THAT(messages(), ElementsAre("slot_max=" + std::to_string(slots) + ", error!"));
        EXPECT_THAT(platform().calls(), IsEmpty());
        EXPECT_EQ(jorn_csv_cnt, 0);
    }
}

TEST_F(LifecycleTest, Create_SlotsOutOfRange_ReportsItAtLevelOne) {
    test::expectMessageAt(1, "slot_max=9, error!", [this] { create("log", 2, 9); });
}

TEST_F(LifecycleTest, Create_FewestAndMostSlots_AreAccepted) {
    EXPECT_EQ(create("one", 2, 1), 1);
    EXPECT_EQ(create("eight", 2, 8), 2);
    EXPECT_EQ(FindObj(1)->slot_max, 1);
    EXPECT_EQ(FindObj(2)->slot_max, 8);
}

// Number of files

TEST_F(LifecycleTest, Create_FilesOutOfRange_FreesTheObject) {
    dir_.block("log");
    for (const int32_t files : {INT32_MIN, -1, 0, 1, 91, INT32_MAX}) {
        platform().clearLog();
        EXPECT_EQ(create("log", files), -1) << files;
        EXPECT_THAT(messages(), ElementsAre("Error csv file number!"));
        EXPECT_THAT(platform().calls(),
                    ElementsAre("calloc object", "opendir log", "closedir", "free object"));
        EXPECT_EQ(jorn_csv_cnt, 0);
    }
}

TEST_F(LifecycleTest, Create_FilesOutOfRange_ReportsItAtLevelOne) {
    test::expectMessageAt(1, "Error csv file number!", [this] { create("log", 1); });
}

TEST_F(LifecycleTest, Create_90Files_IsAcceptedAndLeavesNoneForOthers) {
    createSettled("all", 90);
    EXPECT_EQ(jorn_csv_cnt, 90);
    for (const int32_t files : {2, 90, INT32_MAX}) {
        platform().clearLog();
        EXPECT_EQ(create("more", files), -1) << files;
        EXPECT_THAT(messages(), ElementsAre("Error csv file number!"));
        EXPECT_EQ(jorn_csv_cnt, 90);
    }
}

TEST_F(LifecycleTest, Create_TotalAroundTheLimit_IsAcceptedUpTo90) {
    createSettled("some", 60);
    EXPECT_EQ(create("more", 31), -1);
    EXPECT_EQ(jorn_csv_cnt, 60);
    EXPECT_EQ(create("more", 30), 2);
    EXPECT_EQ(jorn_csv_cnt, 90);
}

TEST_F(LifecycleTest, Create_TwoFiles_IsAccepted) {
    EXPECT_EQ(create("log", 2), 1);
    EXPECT_EQ(jorn_csv_cnt, 2);
}

// Order of the checks

TEST_F(LifecycleTest, Create_EverythingWrong_ReportsTheSlotsOnly) {
    EXPECT_EQ(JORN_Create(nullptr, 0, 0), -1);
    EXPECT_THAT(messages(), ElementsAre("slot_max=0, error!"));
}

TEST_F(LifecycleTest, Create_NameAndFilesWrong_ReportsTheNameOnly) {
    EXPECT_EQ(JORN_Create("log", 8, 0), -1);
    EXPECT_THAT(messages(), ElementsAre("DirName format error!"));
}

TEST_F(LifecycleTest, Create_DirectoryAndFilesWrong_ReportsTheDirectoryOnly) {
    createSettled("log");
    EXPECT_EQ(create("log", 0), -1);
    EXPECT_THAT(messages(), ElementsAre("DirName invalid!"));
}

TEST_F(LifecycleTest, Create_Called_TracesItFirstAtLevelSeven) {
    test::expectMessageAt(7, "jorn_Create!", [this] { create("log", 2, 0); });
    jorn_SetDebugPrintLevel(7);
    platform().clearLog();
    create("log", 2, 0);
    EXPECT_THAT(messages(), ElementsAre("jorn_Create!", "slot_max=0, error!"));
}

// What cannot be had

TEST_F(LifecycleTest, Create_NoMemoryForTheObject_FailsSilently) {
    platform().fail("calloc object");
    EXPECT_EQ(create("log"), -1);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(platform().calls(), ElementsAre("calloc object"));
    EXPECT_EQ(jorn_csv_cnt, 0);
}

/// A late failure of the creation of a first object, of 10 files.
struct LateFailure {
    const char *name;
    const char *failingCall;
    const char *message;
    std::vector<std::string> calls;  ///< From the allocation of the summaries on.
};

class LateFailureTest : public LifecycleTest, public ::testing::WithParamInterface<LateFailure> {
protected:
    int32_t failToCreate(int32_t csvNum = 10) const {
        platform().fail(GetParam().failingCall);
        return create("log", csvNum);
    }
};

TEST_P(LateFailureTest, Create_FirstObject_UndoesAllButTheCountOfFiles) {
    dir_.block("log");
    EXPECT_EQ(failToCreate(), -1);
    const std::vector<std::string> before = {"calloc object", "opendir log", "closedir"};
    EXPECT_THAT(platform().calls(), ElementsAreArray(test::joined({before, GetParam().calls})));
    EXPECT_THAT(messages(), ElementsAre(GetParam().message));
    EXPECT_EQ(jorn_csv_cnt, 10);
    EXPECT_EQ(jorn_obj_ptr, nullptr);
    EXPECT_EQ(platform().liveBlocks(), 0);
    EXPECT_THAT(dir_.names(), ElementsAre("log"));
}

TEST_P(LateFailureTest, Create_FirstObject_ReportsItAtLevelOne) {
    test::expectMessageAt(1, GetParam().message, [this] { failToCreate(); });
}

TEST_P(LateFailureTest, Create_AfterwardsWithNoObject_FilesStayTaken) {
    failToCreate(89);
    EXPECT_EQ(create("log"), -1);
    EXPECT_EQ(messages().back(), "Error csv file number!");
    EXPECT_EQ(jorn_csv_cnt, 89);
}

TEST_P(LateFailureTest, DestroyLast_Afterwards_PutsTheCountRight) {
    failToCreate();
    ASSERT_EQ(createSettled("log", 20), 1);
    EXPECT_EQ(jorn_csv_cnt, 30);
    EXPECT_EQ(JORN_Destroy(1), 0);
    EXPECT_THAT(messages(), ElementsAre("jorn_csv_cnt != 0, error!"));
    EXPECT_EQ(jorn_csv_cnt, 0);
}

INSTANTIATE_TEST_SUITE_P(
    , LateFailureTest,
    ::testing::Values(LateFailure{"Summaries",
                                  "calloc info",
                                  "Not enough memory for csv Info!",
                                  {"calloc info[10]", "free object"}},
                      LateFailure{"Mutex",
                                  "semMCreate",
                                  "Sem CsvRW_ID create failed!\n",
                                  {"calloc info[10]", "semMCreate 9", "free info[10]", "free object"}},
                      LateFailure{"Queue",
                                  "msgQCreate",
                                  "failed to creat logInfoQID!\n",
                                  {"calloc info[10]", "semMCreate 9", "msgQCreate 512 272 1", "semDelete",
                                   "free info[10]", "free object"}}),
    [](const auto &row) { return row.param.name; });

TEST_F(LifecycleTest, Create_NoMemoryForSummariesBesideALiveObject_KeepsTheCountUntilTheLastGoes) {
    ASSERT_EQ(createSettled("live", 20), 1);
    platform().fail("calloc info");
    EXPECT_EQ(create("log", 10), -1);
    EXPECT_EQ(jorn_csv_cnt, 30);
    platform().clearLog();
    EXPECT_EQ(JORN_Destroy(1), 0);
    EXPECT_THAT(messages(), ElementsAre("jorn_csv_cnt != 0, error!"));
    EXPECT_EQ(jorn_csv_cnt, 0);
}

TEST_F(LifecycleTest, Create_NoMemoryForSummariesBesideALiveObject_NextGetsTheSameId) {
    createSettled("live");
    platform().fail("calloc info");
    EXPECT_EQ(create("log"), -1);
    EXPECT_EQ(create("log"), 2);
}

TEST_F(LifecycleTest, Create_NoTask_SucceedsSilentlyAndKeepsTheErrorAsTaskId) {
    makeRing("log", "1700000000,1,2,x\n");
    platform().fail("taskSpawn");
    EXPECT_EQ(create("log"), 1);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(logTask_ID, -1);
    EXPECT_EQ(jorn_csv_cnt, 2);
    EXPECT_THAT(platform().calls({"msgQSend"}),
                ElementsAre("msgQSend 34 0 0 1,1700000000,3,0,Log start init!\n"));
}

TEST_F(LifecycleTest, DestroyLast_TaskWasNeverThere_DeletesWhatThereIs) {
    platform().fail("taskSpawn");
    ASSERT_EQ(create("log"), 1);
    platform().clearLog();
    EXPECT_EQ(JORN_Destroy(1), 0);
    EXPECT_THAT(platform().calls({"semDelete", "msgQDelete", "taskDelete"}),
                ElementsAre("semDelete", "msgQDelete", "taskDelete"));
}

TEST_F(LifecycleTest, Create_QueueFull_SucceedsAllTheSame) {
    createSettled("live");
    makeRing("log", "1700000000,1,2,x\n");
    for (int i = 0; i < 512; ++i) {
        ASSERT_EQ(JORN_AddOneLog(1, 1, 2, "x"), 0) << i;
    }
    platform().clearLog();
    EXPECT_EQ(create("log"), 2);
    EXPECT_THAT(messages(), ElementsAre("(bare) errno 0x3D0002\r\n",
                                        "Msg send error = 0x3D0002, 2,1700000000,3,0,Log start init!\n"));
}

// Creation step by step

/// The look at all 90 possible positions, from the newest down; each file that is there is closed again.
std::vector<std::string> survey(const std::vector<int> &present) {
    std::vector<std::string> calls;
    for (int position = 0, visit = 0; visit < 90; ++visit, position = (position + 89) % 90) {
        calls.push_back("fopen " + std::to_string(position) + ".csv r");
        if (std::count(present.begin(), present.end(), position) > 0) {
            calls.push_back("fclose");
        }
    }
    return calls;
}

TEST_F(LifecycleTest, Create_FirstObjectInAbsentDirectory_MakesItsCallsInOrder) {
    const CallsOfThisThread calls;
    ASSERT_EQ(create("new", 3), 1);
    EXPECT_THAT(calls.get(),
                ElementsAreArray(test::joined(
                    {{"calloc object", "opendir new", "jorn_MakeDirectory new", "calloc info[3]",
                      "semMCreate 9", "msgQCreate 512 272 1", "taskSpawn tLogStore 250 0 4096", "semTake -1"},
                     {"fopen index.csv r", "fopen index.bak r", "fopen index.csv r", "fopen index.csv w",
                      "fwrite 14x1", "fclose", "rm index.bak"},
                     survey({}),
                     {"fopen 0.csv r"},
                     {"semGive", "time", "msgQSend 34 0 0 1,1700000000,3,0,Log start init!\n"}})));
}

TEST_F(LifecycleTest, Create_SecondObjectOverAWholeRing_UsesWhatIsShared) {
    createSettled("live");
    makeRing("log", "1700000000,1,2,x\n");
    const CallsOfThisThread calls;
    ASSERT_EQ(create("log", 4), 2);
    EXPECT_THAT(calls.get(),
                ElementsAreArray(test::joined(
                    {{"calloc object", "opendir log", "closedir", "calloc info[4]", "semTake -1"},
                     {"fopen index.csv r", "fscanf", "fscanf", "fclose"},
                     survey({0}),
                     {"fopen 0.csv r", "fgets 257", "fgets 257", "fclose"},
                     {"semGive", "time", "msgQSend 34 0 0 2,1700000000,3,0,Log start init!\n"}})));
}

TEST_F(LifecycleTest, Create_FreshDirectory_FillsTheRecord) {
    ASSERT_EQ(create("log", 3, 5), 1);
    const JORN_OBJ *const obj = FindObj(1);
    EXPECT_EQ(obj->handle_id, 1);
    EXPECT_EQ(obj->next, nullptr);
    EXPECT_EQ(obj->dirName, path("log"));
    EXPECT_EQ(obj->level_max, 4);
    EXPECT_EQ(obj->slot_max, 5);
    EXPECT_EQ(obj->csv_num, 3);
    EXPECT_EQ(obj->index_version, 1);
    EXPECT_EQ(obj->csv_oldest, 0);
    EXPECT_EQ(obj->csv_latest, 0);
    EXPECT_EQ(obj->final_csv_time, 0U);
}

TEST_F(LifecycleTest, Create_FreshDirectory_SummariesAreZero) {
    ASSERT_EQ(create("log", 3), 1);
    const std::vector<JORN_CSV_INFO> zeros(3);
    EXPECT_EQ(std::memcmp(FindObj(1)->csv_info, zeros.data(), 3 * sizeof(JORN_CSV_INFO)), 0);
}

// The test acts in the middle of the creation, before the calls named.
TEST_F(LifecycleTest, Create_BeforeTheTaskIsSpawned_ObjectIsNotLinked) {
    bool isLinked = true;
    test::onceBefore("taskSpawn", [&] { isLinked = FindObj(1) != nullptr; });
    ASSERT_EQ(create("log"), 1);
    EXPECT_FALSE(isLinked);
}

TEST_F(LifecycleTest, Create_BeforeTheAnalysis_ObjectIsLinkedWithAnEmptyRingState) {
    makeRing("log", "1700000000,1,2,x\n");
    bool isLinked = false;
    uint32_t items = 77;
    test::onceBefore("semTake", [&] {
        isLinked = FindObj(1) != nullptr;
        items = isLinked ? FindObj(1)->csv_info[0].itemCount : 77;
    });
    ASSERT_EQ(create("log"), 1);
    EXPECT_TRUE(isLinked);
    EXPECT_EQ(items, 0U);
    EXPECT_EQ(FindObj(1)->csv_info[0].itemCount, 1U);
}

TEST_F(LifecycleTest, Create_BatchDueDuringTheAnalysis_WaitsUntilItIsDone) {
    createSettled("live");
    ASSERT_EQ(JORN_AddOneLog(1, 1, 2, "x"), 0);
    makeRing("log", "1700000000,1,2,x\n");
    test::onceBefore("fopen index.csv r", [] { pass(); });
    ASSERT_EQ(create("log"), 2);
    settle();
    const std::vector<std::string> order = platform().calls({"fopen index.csv", "semGive", "msgQReceive"});
    ASSERT_GE(order.size(), 3U);
    EXPECT_EQ(order[0], "fopen index.csv r");
    EXPECT_EQ(order[1], "semGive");
    EXPECT_EQ(order[2], "msgQReceive 272 -1");
}

// Messages of a former owner of a handle

// Handle 2 is destroyed with an item waiting; the store task's pass falls between the linking of the next
// object 2 and its analysis, when that object's ring is not known yet and file 0 would look unwritten.
TEST_F(LifecycleTest, Create_FormerItemHandledBeforeTheAnalysis_IsDroppedAndNothingTruncated) {
    createSettled("live");
    createSettled("former");
    ASSERT_EQ(JORN_AddOneLog(2, 1, 2, "stale"), 0);
    ASSERT_EQ(JORN_Destroy(2), 0);
    dir_.block("log");
    dir_.write("log/index.csv", "version:1\n0,1\n");
    dir_.write("log/0.csv", "1600000000,1,2,a\n");
    dir_.write("log/1.csv", "1600000001,1,2,b\n");
    test::onceBefore("semTake", [] { pass(); });
    platform().clearLog();
    ASSERT_EQ(create("log"), 2);
    EXPECT_THAT(messages(), ElementsAre("handle_id = 2, not found!"));
    settle();
    EXPECT_EQ(dir_.read("log/0.csv"), "1600000000,1,2,a\n");
    EXPECT_EQ(dir_.read("log/1.csv"), "1600000001,1,2,b\n"s + kInitLine);
    EXPECT_EQ(dir_.read("log/index.csv"), "version:1\n0,1\n");
}

TEST_F(LifecycleTest, Create_ItemSentAfterAStaleOneWasDropped_IsStored) {
    createSettled("live");
    createSettled("former");
    ASSERT_EQ(JORN_AddOneLog(2, 1, 2, "stale"), 0);
    ASSERT_EQ(JORN_Destroy(2), 0);
    test::onceBefore("semTake", [] { pass(); });
    ASSERT_EQ(create("log"), 2);
    ASSERT_EQ(JORN_AddOneLog(2, 1, 2, "fresh"), 0);
    settle();
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,fresh\n"s);
}

TEST_F(LifecycleTest, Create_FormerItemHandledAfterTheAnalysis_IsWrittenForTheNewObject) {
    createSettled("live");
    createSettled("former");
    ASSERT_EQ(JORN_AddOneLog(2, 1, 2, "stale"), 0);
    ASSERT_EQ(JORN_Destroy(2), 0);
    ASSERT_EQ(create("log"), 2);
    settle();
    EXPECT_EQ(dir_.read("log/0.csv"), "1700000000,1,2,stale\n"s + kInitLine);
    EXPECT_EQ(dir_.read("former/0.csv"), kInitLine);
}

TEST_F(LifecycleTest, Destroy_ItemsStillQueued_AreDroppedAsNotFound) {
    createSettled("live");
    createSettled("log");
    ASSERT_EQ(JORN_AddOneLog(2, 1, 2, "late"), 0);
    ASSERT_EQ(JORN_Destroy(2), 0);
    platform().clearLog();
    settle();
    EXPECT_THAT(messages(), ElementsAre("handle_id = 2, not found!"));
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine);
}

// Destruction step by step

TEST_F(LifecycleTest, Destroy_UnknownHandle_FailsSilentlyAndTouchesNothing) {
    createSettled("log");
    jorn_SetDebugPrintLevel(INT32_MAX);
    const CallsOfThisThread calls;
    for (const int32_t handle : {INT32_MIN, -1, 0, 2, INT32_MAX}) {
        EXPECT_EQ(JORN_Destroy(handle), -1) << handle;
    }
    EXPECT_THAT(platform().pieces(), IsEmpty());
    EXPECT_THAT(calls.get(), IsEmpty());
    EXPECT_EQ(jorn_csv_cnt, 2);
}

TEST_F(LifecycleTest, Destroy_NoObjectAtAll_FailsSilently) {
    jorn_SetDebugPrintLevel(INT32_MAX);
    EXPECT_EQ(JORN_Destroy(1), -1);
    EXPECT_THAT(platform().pieces(), IsEmpty());
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(LifecycleTest, Destroy_Twice_FailsTheSecondTime) {
    createSettled("live");
    createSettled("log");
    EXPECT_EQ(JORN_Destroy(2), 0);
    EXPECT_EQ(JORN_Destroy(2), -1);
    EXPECT_EQ(jorn_csv_cnt, 2);
}

TEST_F(LifecycleTest, Destroy_AnyPlaceInTheList_UnlinksJustThatObject) {
    for (const int32_t victim : {1, 2, 3}) {
        createSettled("a");
        createSettled("b");
        createSettled("c");
        EXPECT_EQ(JORN_Destroy(victim), 0);
        for (int32_t handle = 1; handle <= 3; ++handle) {
            EXPECT_EQ(FindObj(handle) != nullptr, handle != victim) << handle << " after " << victim;
        }
        while (jorn_obj_ptr != nullptr) {
            ASSERT_EQ(JORN_Destroy(jorn_obj_ptr->handle_id), 0);
        }
    }
}

TEST_F(LifecycleTest, Destroy_OneOfTwo_TakesItsFilesOutOfTheTotal) {
    createSettled("a", 30);
    createSettled("b", 60);
    ASSERT_EQ(JORN_Destroy(1), 0);
    EXPECT_EQ(jorn_csv_cnt, 60);
    EXPECT_EQ(create("c", 30), 3);
}

TEST_F(LifecycleTest, Destroy_NotTheLastAndNoFileOpen_MakesItsCallsInOrder) {
    createSettled("live");
    createSettled("log", 3);
    const CallsOfThisThread calls;
    EXPECT_EQ(JORN_Destroy(2), 0);
    EXPECT_THAT(calls.get(), ElementsAre("semTake -1", "semGive", "free info[3]", "free object"));
}

TEST_F(LifecycleTest, Destroy_NotTheLastWithItsFileOpen_ClosesItUnderTheMutexBeforeFreeing) {
    createSettled("live");
    createSettled("log", 3);
    store(2, 1, "x");
    const CallsOfThisThread calls;
    EXPECT_EQ(JORN_Destroy(2), 0);
    EXPECT_THAT(calls.get(), ElementsAre("semTake -1", "fclose", "semGive", "free info[3]", "free object"));
}

TEST_F(LifecycleTest, Destroy_FileOfAnotherObjectOpen_LeavesItOpen) {
    createSettled("live");
    createSettled("log", 3);
    store(1, 1, "x");
    const CallsOfThisThread calls;
    EXPECT_EQ(JORN_Destroy(2), 0);
    EXPECT_THAT(calls.get(), ElementsAre("semTake -1", "semGive", "free info[3]", "free object"));
    platform().clearLog();
    store(1, 1, "y");
    EXPECT_THAT(platform().calls({"fopen"}), IsEmpty());
    settle();
    EXPECT_EQ(dir_.read("live/0.csv"), kInitLine + "1700000000,1,2,x0\n1700000000,1,2,y0\n"s);
}

TEST_F(LifecycleTest, DestroyLast_NoFileOpen_MakesItsCallsInOrder) {
    createSettled("log", 3);
    const CallsOfThisThread calls;
    EXPECT_EQ(JORN_Destroy(1), 0);
    EXPECT_THAT(calls.get(), ElementsAre("semTake -1", "semGive", "free info[3]", "free object", "semTake -1",
                                         "semGive", "semDelete", "msgQDelete", "taskDelete"));
}

TEST_F(LifecycleTest, DestroyLast_ItsFileOpen_ClosesItUnderTheMutexBeforeFreeing) {
    createSettled("log", 3);
    store(1, 1, "x");
    const CallsOfThisThread calls;
    EXPECT_EQ(JORN_Destroy(1), 0);
    EXPECT_THAT(calls.get(), ElementsAre("semTake -1", "fclose", "semGive", "free info[3]", "free object",
                                         "semTake -1", "semGive", "semDelete", "msgQDelete", "taskDelete"));
}

TEST_F(LifecycleTest, Destroy_ItsFileOpen_LosesNoCountedLine) {
    createSettled("live");
    createSettled("log");
    store(2, 2, "x");
    ASSERT_EQ(FindObj(2)->csv_info[0].itemCount, 3U);
    ASSERT_EQ(JORN_Destroy(2), 0);
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,x0\n1700000000,1,2,x1\n"s);
}

TEST_F(LifecycleTest, DestroyLast_ItsFileOpen_LosesNoCountedLine) {
    createSettled("log");
    store(1, 2, "x");
    ASSERT_EQ(JORN_Destroy(1), 0);
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,x0\n1700000000,1,2,x1\n"s);
}

TEST_F(LifecycleTest, Destroy_AtRest_ChangesNoFileAndPrintsNothing) {
    createSettled("live");
    createSettled("log");
    jorn_SetDebugPrintLevel(INT32_MAX);
    ASSERT_EQ(JORN_Destroy(2), 0);
    settle();
    EXPECT_THAT(platform().pieces(), IsEmpty());
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine);
    EXPECT_EQ(dir_.read("log/index.csv"), kWholeIndex);
}

TEST_F(LifecycleTest, DestroyLast_Done_LeavesTheIdsStale) {
    createSettled("log");
    const SEM_ID mutex = logSemCsvRW_ID;
    const MSG_Q_ID queue = logMsgCsvStore_ID;
    const TASK_ID task = logTask_ID;
    ASSERT_EQ(JORN_Destroy(1), 0);
    EXPECT_EQ(logSemCsvRW_ID, mutex);
    EXPECT_EQ(logMsgCsvStore_ID, queue);
    EXPECT_EQ(logTask_ID, task);
    EXPECT_EQ(semTake(mutex, NO_WAIT), ERROR);
}

TEST_F(LifecycleTest, DestroyLast_ItemsQueued_AreDiscarded) {
    createSettled("log");
    ASSERT_EQ(JORN_AddOneLog(1, 1, 2, "late"), 0);
    ASSERT_EQ(JORN_Destroy(1), 0);
    ASSERT_EQ(create("log"), 1);
    settle();
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + std::string(kInitLine));
}

// The task stands in the middle of a batch, before its write, until the destroying thread waits for the
// mutex.
TEST_F(LifecycleTest, DestroyLast_BatchInProgress_EndsItFirst) {
    createSettled("log");
    std::promise<void> isWriting;
    bool isDestroyerWaiting = false;
    platform().onCall("fwrite", [&](const std::string &) {
        isWriting.set_value();
        for (int tries = 0; tries < 10000000 && !isDestroyerWaiting; ++tries) {
            std::this_thread::yield();
            isDestroyerWaiting = posixPortSemWaiters(logSemCsvRW_ID) == 1;
        }
    });
    ASSERT_EQ(JORN_AddOneLog(1, 1, 2, "x"), 0);
    for (int i = 0; i < 100; ++i) {
        tickAnnounce();
    }
    isWriting.get_future().wait();
    platform().clearLog();
    EXPECT_EQ(JORN_Destroy(1), 0);
    EXPECT_TRUE(isDestroyerWaiting);
    EXPECT_THAT(platform().calls({"semTake", "semGive", "fclose", "free", "semDelete"}),
                ElementsAre("semTake -1", "semGive", "fclose", "semGive", "free info[2]", "free object",
                            "semTake -1", "semGive", "semDelete"));
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,x\n"s);
}

// Starting again

TEST_F(LifecycleTest, Create_AfterTheLastWasDestroyed_BuildsTheSharedAnew) {
    createSettled("log");
    ASSERT_EQ(JORN_Destroy(1), 0);
    const CallsOfThisThread calls;
    ASSERT_EQ(create("log"), 1);
    EXPECT_THAT(calls.get(), Contains("semMCreate 9"));
    EXPECT_THAT(calls.get(), Contains("msgQCreate 512 272 1"));
    EXPECT_THAT(calls.get(), Contains("taskSpawn tLogStore 250 0 4096"));
    settle();
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + std::string(kInitLine));
}

/// Where the store task stands when the object that it served is destroyed.
class ReusedIdTest : public LifecycleTest, public ::testing::WithParamInterface<bool> {
protected:
    void serve(int32_t handle) {
        store(handle, 1, "old");
        if (!GetParam()) {
            settle();
        }
    }
};

TEST_P(ReusedIdTest, Destroy_LastServedObject_ItsIdGivenOutAgainServesTheNewOne) {
    createSettled("live");
    createSettled("former");
    serve(2);
    ASSERT_EQ(JORN_Destroy(2), 0);
    ASSERT_EQ(createSettled("log", 3), 2);
    store(2, 1, "new");
    settle();
    EXPECT_EQ(dir_.read("former/0.csv"), kInitLine + "1700000000,1,2,old0\n"s);
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,new0\n"s);
}

TEST_P(ReusedIdTest, DestroyLast_LastServedObject_NewTaskServesTheNewOne) {
    createSettled("former");
    serve(1);
    ASSERT_EQ(JORN_Destroy(1), 0);
    ASSERT_EQ(createSettled("log", 3), 1);
    store(1, 1, "new");
    settle();
    EXPECT_EQ(dir_.read("former/0.csv"), kInitLine + "1700000000,1,2,old0\n"s);
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine + "1700000000,1,2,new0\n"s);
}

TEST_P(ReusedIdTest, Destroy_LastServedObject_ItsIdIsLookedUpAgain) {
    createSettled("live");
    createSettled("former");
    serve(2);
    ASSERT_EQ(JORN_Destroy(2), 0);
    platform().clearLog();
    sendRaw("2,1700000000,1,2,stray\n\0"s);
    settle();
    EXPECT_THAT(messages(), ElementsAre("handle_id = 2, not found!"));
    EXPECT_EQ(dir_.read("former/0.csv"), kInitLine + "1700000000,1,2,old0\n"s);
}

INSTANTIATE_TEST_SUITE_P(, ReusedIdTest, ::testing::Bool(),
                         [](const auto &row) { return row.param ? "FileOpen" : "FileClosed"; });

// A message without a comma takes as its line what a longer message left in the task's buffer.
TEST_F(LifecycleTest, Create_NewStoreTask_HasNothingOfTheFormerOnesBuffer) {
    createSettled("former");
    ASSERT_EQ(JORN_AddOneLog(1, 1, 2, std::string(150, 'z').c_str()), 0);
    settle();
    ASSERT_EQ(JORN_Destroy(1), 0);
    createSettled("log");
    sendRaw("1" + std::string(49, ' ') + "\0"s);
    settle();
    EXPECT_THAT(messages(), ElementsAre("msg eror: "));
    EXPECT_EQ(dir_.read("log/0.csv"), kInitLine);
}

// The count of files

TEST_F(LifecycleTest, Destroy_TotalWouldFallBelowZero_ReportsItAndBecomesZero) {
    test::expectMessageAt(1, "jorn_csv_cnt < 0, error!", [this] {
        create("live");
        create("log", 4);
        jorn_csv_cnt = 3;
        EXPECT_EQ(JORN_Destroy(2), 0);
        EXPECT_EQ(jorn_csv_cnt, 0);
        jorn_csv_cnt = 2;
        EXPECT_EQ(JORN_Destroy(1), 0);
    });
}

TEST_F(LifecycleTest, DestroyLast_TotalWouldFallBelowZero_ReportsJustThat) {
    createSettled("log", 4);
    jorn_csv_cnt = 3;
    EXPECT_EQ(JORN_Destroy(1), 0);
    EXPECT_THAT(messages(), ElementsAre("jorn_csv_cnt < 0, error!"));
    EXPECT_EQ(jorn_csv_cnt, 0);
}

TEST_F(LifecycleTest, DestroyLast_TotalNotZero_ReportsItAndBecomesZero) {
    test::expectMessageAt(1, "jorn_csv_cnt != 0, error!", [this] {
        create("log", 4);
        jorn_csv_cnt = 5;
        EXPECT_EQ(JORN_Destroy(1), 0);
        EXPECT_EQ(jorn_csv_cnt, 0);
    });
}

TEST_F(LifecycleTest, Destroy_TotalNotZeroWithObjectsLeft_IsNoError) {
    createSettled("live");
    createSettled("log");
    jorn_csv_cnt = 50;
    EXPECT_EQ(JORN_Destroy(2), 0);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(jorn_csv_cnt, 48);
    jorn_csv_cnt = 2;
}

TEST_F(LifecycleTest, DestroyLast_TotalRight_PrintsNothing) {
    createSettled("log");
    EXPECT_EQ(JORN_Destroy(1), 0);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(jorn_csv_cnt, 0);
}

// The shared resources one by one

/// The ids of the shared resources as no object has ever set them.
class SharedResourceTest : public test::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        logSemCsvRW_ID = nullptr;
        logMsgCsvStore_ID = nullptr;
    }
};

TEST_F(SharedResourceTest, CreateMutex_Had_SetsItsId) {
    EXPECT_EQ(jorn_CreateMutex(), 0);
    EXPECT_NE(logSemCsvRW_ID, nullptr);
    EXPECT_THAT(platform().calls(), ElementsAre("semMCreate 9"));
    jorn_DeleteMutex();
}

TEST_F(SharedResourceTest, CreateMutex_NotHad_Fails) {
    platform().fail("semMCreate");
    EXPECT_EQ(jorn_CreateMutex(), -1);
    EXPECT_EQ(logSemCsvRW_ID, nullptr);
    EXPECT_THAT(messages(), ElementsAre("Sem CsvRW_ID create failed!\n"));
}

TEST_F(SharedResourceTest, CreateMsgQ_Had_SetsItsId) {
    EXPECT_EQ(jorn_CreateMsgQ(), 0);
    EXPECT_NE(logMsgCsvStore_ID, nullptr);
    EXPECT_THAT(platform().calls(), ElementsAre("msgQCreate 512 272 1"));
    jorn_DeleteMsgQ();
}

TEST_F(SharedResourceTest, CreateMsgQ_NotHad_Fails) {
    platform().fail("msgQCreate");
    EXPECT_EQ(jorn_CreateMsgQ(), -1);
    EXPECT_EQ(logMsgCsvStore_ID, nullptr);
    EXPECT_THAT(messages(), ElementsAre("failed to creat logInfoQID!\n"));
}

TEST_F(SharedResourceTest, Delete_NeverCreated_CallsNothing) {
    jorn_DeleteMutex();
    jorn_DeleteMsgQ();
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(SharedResourceTest, Delete_Created_DeletesOnceAndKeepsTheIds) {
    ASSERT_EQ(jorn_CreateMutex(), 0);
    ASSERT_EQ(jorn_CreateMsgQ(), 0);
    const SEM_ID mutex = logSemCsvRW_ID;
    const MSG_Q_ID queue = logMsgCsvStore_ID;
    platform().clearLog();
    jorn_DeleteMutex();
    jorn_DeleteMsgQ();
    EXPECT_THAT(platform().calls(), ElementsAre("semDelete", "msgQDelete"));
    EXPECT_EQ(logSemCsvRW_ID, mutex);
    EXPECT_EQ(logMsgCsvStore_ID, queue);
}

}  // namespace
