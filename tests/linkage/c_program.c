/* SPDX-License-Identifier: Apache-2.0 */
/* A C99 program on the shared library: calls each exported function once, in ways that need no directory. */
#include <stddef.h>

#include "jorn.h"

#define CHECK(condition) \
    if (!(condition)) {  \
        return __LINE__; \
    }

int main(void) {
    const JORN_REQUIRE all = {20, 1, -1, -1, -1, -1, -1};
    JORN_LOG_PAGE page;
    uint32_t seconds = 1;

    jorn_SetDebugPrintLevel(0);
    CHECK(JORN_Create("not absolute", 8, 2) == -1)
    CHECK(JORN_Destroy(1) == -1)
    CHECK(JORN_AddOneLog(1, 0, 0, "text") == -1)
    CHECK(JORN_CountRequireTotalNum(1, all) == -1)
    CHECK(JORN_GetRequireLog(1, all, &page) == -1)
    CHECK(JORN_ClearAllLog(1, 0) == -1)
    CHECK(JORN_GetFinalCsvTime(1, &seconds) == -1)
    CHECK(JORN_GetMaxCsvTime(NULL) == -1)
    CHECK(JORN_GetMaxCsvTime(&seconds) == 0)
    CHECK(seconds == 0)
    return 0;
}
