/* SPDX-License-Identifier: Apache-2.0 */
/* A device with six doors and two power supplies that keeps a log of each kind. */
#include "firmware.h"

#include <jorn.h>
#include <stdio.h>
#include <string.h>

enum { DOORS = 6, SUPPLIES = 2 };
enum { FAULT, WARNING, NOTICE, DEBUG };

static int32_t doors = -1, power = -1;
static int lost;

int firmwareStart(void) {
    /* A ring of 3 files: the newest 10,000 to 15,000 items. The slot is the number of the door or supply. */
    doors = JORN_Create("/yaffs/doors", DOORS, 3);
    power = JORN_Create("/yaffs/power", SUPPLIES, 2);
    return doors > 0 && power > 0 ? 0 : -1; /* the reason is on the console */
}

/* A log that is full or failed to open must not stop the device. */
static void submit(int32_t log, int32_t level, int32_t slot, const char *text) {
    if (JORN_AddOneLog(log, level, slot, text) < 0) {
        ++lost;
    }
}

void doorMoved(int door, int isOpen) { submit(doors, NOTICE, door, isOpen ? "door open" : "door closed"); }

void supplyMeasured(int supply, int millivolts) {
    char text[40];
    snprintf(text, sizeof text, "%d mV", millivolts);
    submit(power, millivolts < 11000 ? FAULT : DEBUG, supply, text);
}

static JORN_REQUIRE everything(int32_t page) {
    JORN_REQUIRE wanted = {JORN_REQUIRE_PAGE_MAX, page, -1, -1, DEBUG, 0, -1};
    return wanted;
}

/* Page 1 is the newest; past the last page, shows the last one. Static, as a page takes 5,124 bytes. */
static int show(int32_t log, int32_t number) {
    static JORN_LOG_PAGE page;
    const int32_t shown = JORN_GetRequireLog(log, everything(number), &page);
    if (shown < 1) {
        printf("nothing to show\n");
        return -1;
    }
    for (int32_t i = 0; i < page.itemsNum; ++i) {
        const JORN_LOG_DISP *item = &page.disp[i];
        printf("%s  level %s, slot %s: %s", item->timeStr, item->levelStr, item->slotStr, item->logStr);
    }
    printf("page %ld, %ld items\n", (long)shown, (long)page.itemsNum);
    return 0;
}

static int count(int32_t log) {
    printf("%ld items, %d lost\n", (long)JORN_CountRequireTotalNum(log, everything(1)), lost);
    return 0;
}

/* Clear only an idle log: see JORN_ClearAllLog(). */
static int clear(int32_t log) { return JORN_ClearAllLog(log, 1); }

int firmwareCommand(const char *line) {
    char verb[8] = "", name[8] = "";
    int number = 1;
    sscanf(line, "%7s %7s %d", verb, name, &number);
    const int32_t log = strcmp(name, "doors") == 0 ? doors : strcmp(name, "power") == 0 ? power : -1;
    if (strcmp(verb, "show") == 0) {
        return show(log, number);
    }
    if (strcmp(verb, "count") == 0) {
        return count(log);
    }
    if (strcmp(verb, "clear") == 0) {
        return clear(log);
    }
    printf("show, count or clear, then doors or power, then a page\n");
    return -1;
}

/* Before calling this, stop submitting and wait for two passes of the store task (300 ticks). */
void firmwareStop(void) {
    JORN_Destroy(power);
    JORN_Destroy(doors);
}
