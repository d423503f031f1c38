// SPDX-License-Identifier: Apache-2.0
// The same work once with jorn.h (c...) and once with jorn.hpp (cpp...), to compare what compilers make of
// it. Built without exceptions and type information, as for the device.
#include <jorn.hpp>

namespace {

enum class Severity : uint8_t { Alarm, Fault, Event };
enum class Door : uint8_t { Front, Back };

int32_t length(const JORN_LOG_DISP &item) { return item.logStr[0] != '\0' ? 1 : 0; }

}  // namespace

extern "C" {

void use(int32_t handle);

void cOpen() {
    const int32_t handle = JORN_Create("/yaffs/doors", 2, 10);
    use(handle);
    if (handle > 0) {
        JORN_Destroy(handle);
    }
}
void cppOpen() {
    const jorn::Log doors = jorn::Log::open("/yaffs/doors", 2, 10);
    use(doors.handle());
}

bool cMove(int32_t *to, int32_t *from) {
    const int32_t former = *to;
    const int32_t moved = *from;
    *from = -1;
    if (former > 0) {
        *to = -1;
        JORN_Destroy(former);
    }
    *to = moved;
    return moved > 0;
}
bool cppMove(jorn::Log *to, jorn::Log *from) {
    *to = std::move(*from);
    return to->isOpen();
}

bool cLog(const int32_t *doors, const char *text) { return JORN_AddOneLog(*doors, 1, 1, text) == 0; }
bool cppLog(const jorn::Log *doors, const char *text) {
    return doors->log(Severity::Fault, Door::Back, text);
}

bool cLogNumber(const int32_t *doors, uint8_t level, int32_t slot, const char *text) {
    return JORN_AddOneLog(*doors, level, slot, text) == 0;
}
bool cppLogNumber(const jorn::Log *doors, Severity level, int32_t slot, const char *text) {
    return doors->log(level, slot, text);
}

int32_t cCount(const int32_t *doors, int32_t today, int32_t slot) {
    const JORN_REQUIRE faults = {20, 1, today - 6, today, 1, 0, slot};
    const int32_t found = JORN_CountRequireTotalNum(*doors, faults);
    return found >= 0 ? found : -1;
}
int32_t cppCount(const jorn::Log *doors, int32_t today, int32_t slot) {
    const jorn::Query faults = jorn::Query().days(today - 6, today).levelsUpTo(Severity::Fault).slot(slot);
    return doors->count(faults).value_or(-1);
}

bool cPage(const int32_t *doors, int32_t number, JORN_LOG_PAGE *room) {
    const JORN_REQUIRE events = {10, number, -1, -1, 2, 1, -1};
    return JORN_GetRequireLog(*doors, events, room) > 0;
}
bool cppPage(const jorn::Log *doors, int32_t number, JORN_LOG_PAGE *room) {
    return doors->page(jorn::Query().level(Severity::Event), number, *room, 10).has_value();
}

int32_t cPages(const int32_t *doors, JORN_LOG_PAGE *room) {
    JORN_REQUIRE back = {20, 1, -1, -1, -1, -1, 1};
    const int32_t handle = *doors;
    int32_t sum = 0;
    while (JORN_GetRequireLog(handle, back, room) == back.pageDisp) {
        const JORN_LOG_DISP *const end = room->disp + room->itemsNum;
        for (const JORN_LOG_DISP *item = room->disp; item != end; ++item) {
            sum += length(*item);
        }
        ++back.pageDisp;
    }
    return sum;
}
int32_t cppPages(const jorn::Log *doors, JORN_LOG_PAGE *room) {
    int32_t sum = 0;
    for (const jorn::Page page : doors->pages(jorn::Query().slot(Door::Back), *room)) {
        for (const JORN_LOG_DISP &item : page) {
            sum += length(item);
        }
    }
    return sum;
}

bool cClear(const int32_t *doors) { return JORN_ClearAllLog(*doors, 1) == 0; }
bool cppClear(const jorn::Log *doors) { return doors->clear(); }

uint32_t cLastTime(const int32_t *doors) {
    uint32_t seconds = 0;
    JORN_GetFinalCsvTime(*doors, &seconds);
    return seconds;
}
uint32_t cppLastTime(const jorn::Log *doors) { return doors->lastTimeAtOpening(); }

uint32_t cLargestTime() {
    uint32_t seconds = 0;
    JORN_GetMaxCsvTime(&seconds);
    return seconds;
}
uint32_t cppLargestTime() { return jorn::Log::largestTimeFound(); }
}
