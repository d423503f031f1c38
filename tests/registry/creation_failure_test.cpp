// SPDX-License-Identifier: Apache-2.0
// The arguments of a creation, and what it cannot obtain: what is refused, in which order, and what is
// undone.
#include <sys/stat.h>

#include <cstdint>
#include <cstring>
#include <filesystem>

#include "registry/lifecycle_fixture.h"
#include "registry/registry.h"
#include "registry/thread_calls.h"

namespace {

using test::CallsOfThisThread;
using test::LifecycleTest;
using test::messages;
using test::platform;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

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

// What cannot be obtained

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

}  // namespace
