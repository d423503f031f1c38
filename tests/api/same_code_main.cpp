// SPDX-License-Identifier: Apache-2.0
// Runs all of same_code.cpp once, over a store that answers without doing anything: three pages, two of 20
// items and one of 5. Both ways must give the same results.
#include <jorn.h>

namespace {

int32_t destroyed;

constexpr int32_t kPages = 3;

}  // namespace

extern "C" {

int32_t JORN_Create(const char * /*dirName*/, int32_t /*slot_max*/, int32_t /*csv_num*/) { return 1; }
int32_t JORN_Destroy(int32_t handle_id) {
    destroyed = 10 * destroyed + handle_id;
    return 0;
}
int32_t JORN_AddOneLog(int32_t /*handle_id*/, int32_t level, int32_t slot, const char *text) {
    return level == 1 && slot == 1 && *text == 't' ? 0 : -1;
}
int32_t JORN_CountRequireTotalNum(int32_t /*handle*/, JORN_REQUIRE require) {
    const bool isFaultsOfAWeek = require.dayDwLimit == 94 && require.dayUpLimit == 100 &&
                                 require.level == 1 && require.levelMode == 0 && require.slot == 1;
    return isFaultsOfAWeek ? 7 : -1;
}
int32_t JORN_GetRequireLog(int32_t /*handle*/, JORN_REQUIRE require, JORN_LOG_PAGE *out) {
    const int32_t shown = require.pageDisp < kPages ? require.pageDisp : kPages;
    out->itemsNum = shown < kPages ? 20 : 5;
    for (int32_t i = 0; i < out->itemsNum; ++i) {
        out->disp[i].logStr[0] = 'x';
    }
    return shown;
}
int32_t JORN_ClearAllLog(int32_t /*handle_id*/, int32_t addClearLog) { return addClearLog > 0 ? 0 : -1; }
int32_t JORN_GetMaxCsvTime(uint32_t *csvTime) {
    *csvTime = 1;
    return 0;
}
int32_t JORN_GetFinalCsvTime(int32_t /*handle_id*/, uint32_t *csvTime) {
    *csvTime = 2;
    return 0;
}

void use(int32_t handle);
void use(int32_t handle) { destroyed += 100 * handle; }

// To these calls, a jorn::Log is just its handle.
#define BOTH(result, name, parameters) \
    result c##name parameters;         \
    result cpp##name parameters
BOTH(void, Open, ());
BOTH(bool, Move, (int32_t * to, int32_t *from));
BOTH(bool, Log, (const int32_t *doors, const char *text));
BOTH(bool, LogNumber, (const int32_t *doors, uint8_t level, int32_t slot, const char *text));
BOTH(int32_t, Count, (const int32_t *doors, int32_t today, int32_t slot));
BOTH(bool, Page, (const int32_t *doors, int32_t number, JORN_LOG_PAGE *room));
BOTH(int32_t, Pages, (const int32_t *doors, JORN_LOG_PAGE *room));
BOTH(bool, Clear, (const int32_t *doors));
BOTH(uint32_t, LastTime, (const int32_t *doors));
BOTH(uint32_t, LargestTime, ());
}

#define EXPECT(condition) \
    if (!(condition)) {   \
        return __LINE__;  \
    }

int main() {
    static JORN_LOG_PAGE room;
    const int32_t doors = 1;

    cOpen();
    EXPECT(destroyed == 1001)
    destroyed = 0;
    cppOpen();
    EXPECT(destroyed == 1001)
    destroyed = 0;
    int32_t handles[] = {1, 2, 3, 4};
    EXPECT(cMove(&handles[0], &handles[1]) && cppMove(&handles[2], &handles[3]))
    EXPECT(destroyed == 13 && handles[0] == 2 && handles[1] == -1 && handles[2] == 4 && handles[3] == -1)
    EXPECT(cLog(&doors, "text") && cppLog(&doors, "text"))
    EXPECT(cLogNumber(&doors, 1, 1, "text") && cppLogNumber(&doors, 1, 1, "text"))
    EXPECT(cCount(&doors, 100, 1) == 7 && cppCount(&doors, 100, 1) == 7)
    EXPECT(cPage(&doors, 2, &room) && cppPage(&doors, 2, &room))
    EXPECT(cPages(&doors, &room) == 45 && cppPages(&doors, &room) == 45)
    EXPECT(cClear(&doors) && cppClear(&doors))
    EXPECT(cLastTime(&doors) == 2 && cppLastTime(&doors) == 2)
    EXPECT(cLargestTime() == 1 && cppLargestTime() == 1)
    return 0;
}
