// SPDX-License-Identifier: Apache-2.0
// What all objects share: the count of files, the mutex and the queue.
#include "registry/lifecycle_fixture.h"
#include "registry/registry.h"

namespace {

using test::LifecycleTest;
using test::messages;
using test::platform;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

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
