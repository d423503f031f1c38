/* SPDX-License-Identifier: Apache-2.0 */
/* Records two items and finds them again: records DIR. Compiles as C and as C++. */
#include <jorn.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

/* The library's internal names must not clash with the program's own. */
int semTake(int turns);
int semTake(int turns) { return turns + 1; }

static int fail(const char *what) {
    fprintf(stderr, "records: %s\n", what);
    return 1;
}

/* The store writes by its own clock, so this queries until the items are there, for half a minute at most. */
static int waitForItems(int32_t log, JORN_REQUIRE wanted, int32_t number) {
    const struct timespec pause = {0, 10 * 1000 * 1000};
    for (int turns = 0; turns < 3000; turns = semTake(turns)) {
        if (JORN_CountRequireTotalNum(log, wanted) == number) {
            return 1;
        }
        nanosleep(&pause, NULL);
    }
    return 0;
}

int main(int argc, char **argv) {
    const JORN_REQUIRE newest = {20, 1, -1, -1, 1, 1, 5};
    JORN_LOG_PAGE page;
    const int32_t log = argc == 2 ? JORN_Create(argv[1], 8, 2) : -1;
    if (log < 1) {
        return fail("no log object");
    }
    if (JORN_AddOneLog(log, 1, 5, "door open") != 0 || JORN_AddOneLog(log, 1, 5, "door shut") != 0) {
        return fail("an item is refused");
    }
    if (!waitForItems(log, newest, 2)) {
        return fail("the items do not come");
    }
    if (JORN_GetRequireLog(log, newest, &page) != 1 || page.itemsNum != 2) {
        return fail("no page of two items");
    }
    if (strcmp(page.disp[0].logStr, "door shut\n") != 0 || strcmp(page.disp[1].logStr, "door open\n") != 0) {
        return fail("the page has other items");
    }
    return JORN_Destroy(log) == 0 ? 0 : fail("the object stays");
}
