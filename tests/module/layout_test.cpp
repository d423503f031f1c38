// SPDX-License-Identifier: Apache-2.0
// Sizes, offsets and order of the records' fields, and the types of the functions, as programs, the target's
// shell and other implementations of a caller rely on them.
#include "jorn.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <type_traits>

#include "csvfile/file_analysis.h"
#include "csvfile/item_parser.h"
#include "csvfile/startup_analysis.h"
#include "diagnostics.h"
#include "query/counting.h"
#include "query/file_locator.h"
#include "query/requirement_filter.h"
#include "query/retrieval.h"
#include "registry/lifecycle.h"
#include "registry/registry.h"
#include "registry/submission.h"
#include "store/index_file.h"
#include "store/store_task.h"

namespace {

using std::is_same_v;

/// Offset and end of a field.
struct Field {
    size_t offset;
    size_t size;
};

#define FIELD(record, field) \
    Field { offsetof(record, field), sizeof(record::field) }

/// Expects the fields one after the other from the start of the record to its end.
template <size_t count>
void expectWithoutGaps(const Field (&fields)[count], size_t recordSize) {
    size_t end = 0;
    for (const Field &field : fields) {
        EXPECT_EQ(field.offset, end);
        end = field.offset + field.size;
    }
    EXPECT_EQ(end, recordSize);
}

TEST(LayoutTest, Require_Fields_AreSevenWordsInOrder) {
    expectWithoutGaps({FIELD(JORN_REQUIRE, itemsPerPage), FIELD(JORN_REQUIRE, pageDisp),
                       FIELD(JORN_REQUIRE, dayDwLimit), FIELD(JORN_REQUIRE, dayUpLimit),
                       FIELD(JORN_REQUIRE, level), FIELD(JORN_REQUIRE, levelMode), FIELD(JORN_REQUIRE, slot)},
                      28);
    EXPECT_EQ(sizeof(JORN_REQUIRE), 28U);
    EXPECT_TRUE((is_same_v<decltype(JORN_REQUIRE::dayUpLimit), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_REQUIRE::level), int32_t>));
}

TEST(LayoutTest, LogDisp_Fields_Are28And16And12And200Bytes) {
    expectWithoutGaps({FIELD(JORN_LOG_DISP, timeStr), FIELD(JORN_LOG_DISP, levelStr),
                       FIELD(JORN_LOG_DISP, slotStr), FIELD(JORN_LOG_DISP, logStr)},
                      256);
    EXPECT_EQ(sizeof(JORN_LOG_DISP), 256U);
    EXPECT_TRUE((is_same_v<decltype(JORN_LOG_DISP::timeStr), char[28]>));
    EXPECT_TRUE((is_same_v<decltype(JORN_LOG_DISP::levelStr), char[16]>));
    EXPECT_TRUE((is_same_v<decltype(JORN_LOG_DISP::slotStr), char[12]>));
    EXPECT_TRUE((is_same_v<decltype(JORN_LOG_DISP::logStr), char[200]>));
}

TEST(LayoutTest, LogPage_Fields_AreACountAnd20Records) {
    expectWithoutGaps({FIELD(JORN_LOG_PAGE, itemsNum), FIELD(JORN_LOG_PAGE, disp)}, 4 + 20 * 256);
    EXPECT_EQ(sizeof(JORN_LOG_PAGE), 5124U);
    EXPECT_TRUE((is_same_v<decltype(JORN_LOG_PAGE::itemsNum), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_LOG_PAGE::disp), JORN_LOG_DISP[20]>));
}

TEST(LayoutTest, LevelStat_Fields_AreNineWords) {
    expectWithoutGaps({FIELD(JORN_LEVEL_STAT, levelCount), FIELD(JORN_LEVEL_STAT, slotCount)}, 36);
    EXPECT_EQ(sizeof(JORN_LEVEL_STAT), 36U);
    EXPECT_TRUE((is_same_v<decltype(JORN_LEVEL_STAT::levelCount), uint32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_LEVEL_STAT::slotCount), uint32_t[8]>));
}

TEST(LayoutTest, CsvInfo_Fields_Are41WordsInOrder) {
    expectWithoutGaps(
        {FIELD(JORN_CSV_INFO, itemCount), FIELD(JORN_CSV_INFO, timeMin), FIELD(JORN_CSV_INFO, timeMax),
         FIELD(JORN_CSV_INFO, timeLast), FIELD(JORN_CSV_INFO, reserved), FIELD(JORN_CSV_INFO, levelStat)},
        164);
    EXPECT_EQ(sizeof(JORN_CSV_INFO), 164U);
    EXPECT_TRUE((is_same_v<decltype(JORN_CSV_INFO::itemCount), uint32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_CSV_INFO::timeMin), uint32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_CSV_INFO::timeMax), uint32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_CSV_INFO::timeLast), uint32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_CSV_INFO::reserved), uint32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_CSV_INFO::levelStat), JORN_LEVEL_STAT[4]>));
}

TEST(LayoutTest, ItemInfo_Fields_AreInOrder) {
    EXPECT_EQ(offsetof(JORN_ITEM_INFO, time), 0U);
    EXPECT_EQ(offsetof(JORN_ITEM_INFO, level), 4U);
    EXPECT_EQ(offsetof(JORN_ITEM_INFO, slot), 8U);
    EXPECT_GT(offsetof(JORN_ITEM_INFO, text), 8U);
    EXPECT_TRUE((is_same_v<decltype(JORN_ITEM_INFO::time), uint32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_ITEM_INFO::level), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_ITEM_INFO::slot), int32_t>));
}

TEST(LayoutTest, Object_Fields_AreInOrder) {
    const size_t offsets[] = {
        offsetof(JORN_OBJ, handle_id),     offsetof(JORN_OBJ, next),          offsetof(JORN_OBJ, dirName),
        offsetof(JORN_OBJ, level_max),     offsetof(JORN_OBJ, slot_max),      offsetof(JORN_OBJ, csv_num),
        offsetof(JORN_OBJ, index_version), offsetof(JORN_OBJ, csv_oldest),    offsetof(JORN_OBJ, csv_latest),
        offsetof(JORN_OBJ, csv_info),      offsetof(JORN_OBJ, final_csv_time)};
    EXPECT_EQ(offsets[0], 0U);
    for (size_t i = 1; i < std::size(offsets); ++i) {
        EXPECT_GT(offsets[i], offsets[i - 1]) << "field " << i + 1;
    }
}

TEST(LayoutTest, Object_Fields_HaveTheirTypes) {
    EXPECT_TRUE((is_same_v<decltype(JORN_OBJ::handle_id), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_OBJ::next), JORN_OBJ *>));
    EXPECT_TRUE((is_same_v<decltype(JORN_OBJ::dirName), char[32]>));
    EXPECT_TRUE((is_same_v<decltype(JORN_OBJ::level_max), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_OBJ::slot_max), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_OBJ::csv_num), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_OBJ::index_version), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_OBJ::csv_oldest), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_OBJ::csv_latest), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(JORN_OBJ::csv_info), JORN_CSV_INFO *>));
    EXPECT_TRUE((is_same_v<decltype(JORN_OBJ::final_csv_time), uint32_t>));
}

TEST(LayoutTest, ExportedFunctions_Called_HaveTheirTypes) {
    EXPECT_TRUE((is_same_v<decltype(JORN_Create), int32_t(const char *, int32_t, int32_t)>));
    EXPECT_TRUE((is_same_v<decltype(JORN_Destroy), int32_t(int32_t)>));
    EXPECT_TRUE((is_same_v<decltype(JORN_AddOneLog), int32_t(int32_t, int32_t, int32_t, const char *)>));
    EXPECT_TRUE((is_same_v<decltype(JORN_CountRequireTotalNum), int32_t(int32_t, JORN_REQUIRE)>));
    EXPECT_TRUE((is_same_v<decltype(JORN_GetRequireLog), int32_t(int32_t, JORN_REQUIRE, JORN_LOG_PAGE *)>));
    EXPECT_TRUE((is_same_v<decltype(JORN_ClearAllLog), int32_t(int32_t, int32_t)>));
    EXPECT_TRUE((is_same_v<decltype(JORN_GetMaxCsvTime), int32_t(uint32_t *)>));
    EXPECT_TRUE((is_same_v<decltype(JORN_GetFinalCsvTime), int32_t(int32_t, uint32_t *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_SetDebugPrintLevel), void(int32_t)>));
}

TEST(LayoutTest, RegistryFunctions_Called_HaveTheirTypes) {
    EXPECT_TRUE((is_same_v<decltype(FindObj), JORN_OBJ *(int32_t)>));
    EXPECT_TRUE((is_same_v<decltype(FindObjLast), JORN_OBJ *(int32_t)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_AddLogInit), int32_t(JORN_OBJ *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_AddLogClear), int32_t(JORN_OBJ *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_CopyDirectoryName), int32_t(char *, const char *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_VerifyDirectoryName), int32_t(const char *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_CreateMutex), int32_t()>));
    EXPECT_TRUE((is_same_v<decltype(jorn_CreateMsgQ), int32_t()>));
    EXPECT_TRUE((is_same_v<decltype(jorn_DeleteMutex), void()>));
    EXPECT_TRUE((is_same_v<decltype(jorn_DeleteMsgQ), void()>));
}

TEST(LayoutTest, StoreFunctions_Called_HaveTheirTypes) {
    EXPECT_TRUE((is_same_v<decltype(jorn_TskStoreLogCsv), int32_t()>));
    EXPECT_TRUE((is_same_v<decltype(jorn_ReadCsvIndexFile), int32_t(JORN_OBJ *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_UpdateCsvIndexFile), int32_t(JORN_OBJ *, int32_t, int32_t)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_NewCsvIndexFile), int32_t(JORN_OBJ *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_RenameFile), int32_t(const char *, const char *)>));
}

TEST(LayoutTest, CsvFileFunctions_Called_HaveTheirTypes) {
    EXPECT_TRUE((is_same_v<decltype(jorn_AnalyseOneItemInfo), int32_t(const char *, JORN_ITEM_INFO *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_TimeToDay), uint32_t(uint32_t)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_AnalyseOneCsvInfo), int32_t(JORN_OBJ *, int32_t, JORN_CSV_INFO *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_UpdateCsvInfo), int32_t(JORN_OBJ *, int32_t, const char *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_UpdateMaxTime), int32_t(uint32_t)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_PickUpCsvValidRange), int32_t(JORN_OBJ *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_InitAnalyseCSV), int32_t(JORN_OBJ *)>));
}

TEST(LayoutTest, QueryFunctions_Called_HaveTheirTypes) {
    EXPECT_TRUE(
        (is_same_v<decltype(jorn_WhetherItemRequireOrNot), int32_t(const char *, const JORN_REQUIRE *)>));
    EXPECT_TRUE(
        (is_same_v<decltype(jorn_FindCsvByTime), int32_t(JORN_OBJ *, const JORN_REQUIRE *, int32_t *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_CountRequireNumInAllCsv),
                           int32_t(JORN_OBJ *, const JORN_REQUIRE *, int32_t *, int32_t *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_CountRequireNumInOneCsv),
                           int32_t(JORN_OBJ *, int32_t, const JORN_REQUIRE *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_CountRequireNumFromArray),
                           int32_t(JORN_OBJ *, int32_t, const JORN_REQUIRE *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_ReadItemInOneCsv), int32_t(JORN_OBJ *, int32_t, const JORN_REQUIRE *,
                                                                    int32_t, int32_t, JORN_LOG_DISP *)>));
    EXPECT_TRUE((is_same_v<decltype(jorn_BreakDownOneItemString), int32_t(const char *, JORN_LOG_DISP *)>));
}

TEST(LayoutTest, Globals_Used_HaveTheirTypes) {
    EXPECT_TRUE((is_same_v<decltype(jorn_obj_ptr), JORN_OBJ *>));
    EXPECT_TRUE((is_same_v<decltype(jorn_csv_cnt), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(jorn_max_csv_time), uint32_t>));
    EXPECT_TRUE((is_same_v<decltype(DBGPRT_LVL), int32_t>));
    EXPECT_TRUE((is_same_v<decltype(logSemCsvRW_ID), SEM_ID>));
    EXPECT_TRUE((is_same_v<decltype(logMsgCsvStore_ID), MSG_Q_ID>));
    EXPECT_TRUE((is_same_v<decltype(logTask_ID), TASK_ID>));
}

}  // namespace
