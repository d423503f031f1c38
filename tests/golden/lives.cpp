// SPDX-License-Identifier: Apache-2.0
#include "lives.h"

#include <jorn.h>
#include <stdio.h>
#include <string.h>

#include <initializer_list>

extern "C" int jorn_MakeDirectory(const char *name);

namespace golden {

namespace {

constexpr JORN_REQUIRE kAnything = {20, 1, -1, -1, -1, -1, -1};

/// A text of the same part many times.
struct Repeated {
    char text[256] = {};
    Repeated(const char *begin, int times, const char *part) {
        strcpy(text, begin);
        for (int i = 0; i < times; ++i) {
            strcat(text, part);
        }
    }
};

int32_t create(const Place &place, const char *folder, int32_t slotMax, int32_t csvNum) {
    jorn_SetDebugPrintLevel(0);
    const int32_t handle = JORN_Create(place.path(folder), slotMax, csvNum);
    place.settle();
    return handle;
}

void write(const Place &place, const char *path, const char *content) {
    FILE *const file = fopen(place.path(path), "w");
    fputs(content, file);
    fclose(file);
}

void show(const Place &place, const char *format, long number) {
    char text[32];
    snprintf(text, sizeof text, format, number);
    place.show(text);
}

/// Count and all pages of a query, as text.
void showPages(const Place &place, int32_t handle, JORN_REQUIRE require) {
    static JORN_LOG_PAGE page;
    const int32_t count = JORN_CountRequireTotalNum(handle, require);
    show(place, "count %ld\n", count);
    const int32_t number = (count + require.itemsPerPage - 1) / require.itemsPerPage;
    for (require.pageDisp = 1; require.pageDisp <= number; ++require.pageDisp) {
        memset(&page, 0, sizeof page);
        show(place, "page %ld\n", JORN_GetRequireLog(handle, require, &page));
        for (int32_t i = 0; i < page.itemsNum; ++i) {
            const JORN_LOG_DISP &item = page.disp[i];
            for (const char *text : {item.timeStr, "|", item.levelStr, "|", item.slotStr, "|", item.logStr}) {
                place.show(text);
            }
        }
    }
}

}  // namespace

int32_t createFirst(const Place &place) {
    const Repeated full("", 198, "x");
    const Repeated tooLong("", 250, "y");
    const Repeated cutInside("a", 120, "\xc3\xbc");
    const char *const texts[] = {"door open",    "one, two,, three,",           "",
                                 full.text,      "gr\xc3\xbcn, 5 \xe2\x82\xac", tooLong.text,
                                 cutInside.text, "line\nends\r\nhere"};
    constexpr uint32_t kTexts = sizeof texts / sizeof texts[0];
    place.setTime(kEndOf31Bits);
    const int32_t handle = create(place, "first", 8, 3);
    uint32_t number = 0;
    for (int32_t level = -1; level < 4; ++level) {
        for (int32_t slot = -1; slot < 8; ++slot, ++number) {
            place.setTime(kEndOf31Bits + (number < 5 ? number : number * 7000));
            JORN_AddOneLog(handle, level, slot, texts[number % kTexts]);
        }
    }
    place.settle();
    return handle;
}

int32_t createLast(const Place &place) {
    place.setTime(kEndOf32Bits);
    const int32_t handle = create(place, "last", 2, 2);
    JORN_AddOneLog(handle, 0, 1, "last but one");
    place.setTime(kEndOf32Bits + 1);
    JORN_AddOneLog(handle, 1, 0, "last second");
    place.settle();
    return handle;
}

void showFirstQuery(const Place &place, int32_t first) {
    showPages(place, first, {7, 1, -1, -1, -1, -1, -1});
}

void showAllPages(const Place &place, int32_t first, int32_t last) {
    showFirstQuery(place, first);
    showPages(place, first, {20, 1, -1, -1, 3, 0, -1});
    showPages(place, first, {20, 1, -1, -1, 1, 1, 5});
    showPages(place, first, {5, 1, 24856, 24857, -1, -1, -1});
    showPages(place, last, {1, 1, -1, -1, -1, -1, -1});
}

int32_t recreateFirst(const Place &place) {
    place.setTime(kEndOf32Bits);
    return create(place, "first", 8, 3);
}

int32_t createAndRotate(const Place &place) {
    jorn_MakeDirectory(place.path("ring"));
    write(place, "ring/index.csv", "version:1\n0,0\n");
    FILE *const prepared = fopen(place.path("ring/0.csv"), "w");
    for (int i = 0; i < kPreparedLines; ++i) {
        fprintf(prepared, "%d,1,2,item %d\n", 1600000000 + i, i);
    }
    fclose(prepared);
    const int32_t handle = create(place, "ring", 8, 2);
    JORN_AddOneLog(handle, 1, 5, "number 5000");
    JORN_AddOneLog(handle, 2, 5, "number 5001");
    place.settle();
    return handle;
}

void clearRing(const Place &place, int32_t handle) {
    JORN_ClearAllLog(handle, 1);
    place.settle();
}

int32_t createOverGaps(const Place &place) {
    jorn_MakeDirectory(place.path("gaps"));
    write(place, "gaps/index.csv", "version:1\n3,7\n");
    for (const int position : {0, 3, 5, 6, 7}) {
        char path[16];
        char line[48];
        snprintf(path, sizeof path, "gaps/%d.csv", position);
        snprintf(line, sizeof line, "%d,1,2,of file %d\n", 1600000000 + position, position);
        write(place, path, line);
    }
    return create(place, "gaps", 8, 3);
}

bool liveAloud(const Place &place, const char *directory, int32_t printLevel) {
    static JORN_LOG_PAGE page;
    jorn_SetDebugPrintLevel(printLevel);
    const int32_t handle = JORN_Create(directory, 8, 2);
    place.settle();
    bool isAsItMust = JORN_GetRequireLog(handle, kAnything, &page) == -1;
    isAsItMust &= JORN_AddOneLog(handle, 1, 5, "door open") == 0;
    place.settle();
    isAsItMust &= JORN_GetRequireLog(handle, kAnything, &page) == 1;
    isAsItMust &= JORN_AddOneLog(handle, 4, 0, "no such level") == -1;
    JORN_REQUIRE otherSlot = kAnything;
    otherSlot.slot = 4;
    isAsItMust &= JORN_CountRequireTotalNum(handle, otherSlot) == 0;
    isAsItMust &= JORN_CountRequireTotalNum(9, otherSlot) == -1;
    isAsItMust &= JORN_ClearAllLog(handle, 0) == 0;
    isAsItMust &= JORN_Destroy(handle) == 0;
    return isAsItMust;
}

}  // namespace golden
