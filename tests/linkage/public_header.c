/* SPDX-License-Identifier: Apache-2.0 */
/* The public header as a C99 program sees it: that it compiles by itself, the sizes and offsets of all
 * fields, and the type of each function. Compiling this file is the test. */
#include "jorn.h"

#include <stddef.h>

/* An array of negative size does not compile. */
#define MUST_HOLD(name, condition) extern char name[(condition) ? 1 : -1]

MUST_HOLD(requireIsSevenWords, sizeof(JORN_REQUIRE) == 28);
MUST_HOLD(requireItemsPerPage, offsetof(JORN_REQUIRE, itemsPerPage) == 0);
MUST_HOLD(requirePageDisp, offsetof(JORN_REQUIRE, pageDisp) == 4);
MUST_HOLD(requireDayDwLimit, offsetof(JORN_REQUIRE, dayDwLimit) == 8);
MUST_HOLD(requireDayUpLimit, offsetof(JORN_REQUIRE, dayUpLimit) == 12);
MUST_HOLD(requireLevel, offsetof(JORN_REQUIRE, level) == 16);
MUST_HOLD(requireLevelMode, offsetof(JORN_REQUIRE, levelMode) == 20);
MUST_HOLD(requireSlot, offsetof(JORN_REQUIRE, slot) == 24);

MUST_HOLD(dispHasNoGaps, sizeof(JORN_LOG_DISP) == 256);
MUST_HOLD(dispTime, offsetof(JORN_LOG_DISP, timeStr) == 0);
MUST_HOLD(dispLevel, offsetof(JORN_LOG_DISP, levelStr) == 28);
MUST_HOLD(dispSlot, offsetof(JORN_LOG_DISP, slotStr) == 44);
MUST_HOLD(dispText, offsetof(JORN_LOG_DISP, logStr) == 56);

MUST_HOLD(pageHas20Records, sizeof(JORN_LOG_PAGE) == 4 + 20 * 256);
MUST_HOLD(pageCount, offsetof(JORN_LOG_PAGE, itemsNum) == 0);
MUST_HOLD(pageRecords, offsetof(JORN_LOG_PAGE, disp) == 4);

MUST_HOLD(limits, JORN_CSV_NUM_MAX == 90 && JORN_CSV_ITEM_MAX == 5000 && JORN_QUEUE_MAX == 512 &&
                      JORN_TEXT_MAX == 198 && JORN_LEVEL_MAX == 4 && JORN_SLOT_MAX == 8 &&
                      JORN_REQUIRE_PAGE_MAX == 20 && JORN_STORE_TICKS == 100 && JORN_DIR_NAME_MAX == 31);

/* The exported functions, by the types that callers rely on. */
struct Functions {
    int32_t (*create)(const char *, int32_t, int32_t);
    int32_t (*destroy)(int32_t);
    int32_t (*addOneLog)(int32_t, int32_t, int32_t, const char *);
    int32_t (*count)(int32_t, JORN_REQUIRE);
    int32_t (*get)(int32_t, JORN_REQUIRE, JORN_LOG_PAGE *);
    int32_t (*clear)(int32_t, int32_t);
    int32_t (*maxTime)(uint32_t *);
    int32_t (*finalTime)(int32_t, uint32_t *);
    void (*setPrintLevel)(int32_t);
};

extern const struct Functions jornFunctions;
const struct Functions jornFunctions = {
    JORN_Create,      JORN_Destroy,       JORN_AddOneLog,       JORN_CountRequireTotalNum, JORN_GetRequireLog,
    JORN_ClearAllLog, JORN_GetMaxCsvTime, JORN_GetFinalCsvTime, jorn_SetDebugPrintLevel};
