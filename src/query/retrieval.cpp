// SPDX-License-Identifier: Apache-2.0
#include "query/retrieval.h"

#include <stdio.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <string_view>

#include "csvfile/data_file.h"
#include "csvfile/line.h"
#include "diagnostics.h"
#include "guards.h"
#include "module_limits.h"
#include "platform.h"
#include "query/counting.h"
#include "query/requirement_filter.h"
#include "registry/registry.h"

static_assert(sizeof(JORN_REQUIRE) == 7 * sizeof(int32_t), "seven words without gaps");
static_assert(sizeof(JORN_LOG_DISP) == 28 + 16 + 12 + 200, "four texts without gaps");
static_assert(sizeof(JORN_LOG_PAGE) == sizeof(int32_t) + JORN_REQUIRE_PAGE_MAX * sizeof(JORN_LOG_DISP),
              "records follow one another without gaps");

namespace {

/// Which items a page shows, numbered from 1 at the newest match of the ring.
struct Page {
    int32_t number;
    int32_t itemStart;
    int32_t itemEnd;
};

/// What counting found.
struct Matches {
    int32_t total;
    int32_t fileRange[2];                ///< Oldest and newest position with matches.
    int32_t numInCsv[jorn::kCsvNumMax];  ///< Matches by position.
};

/// A run of items of one file, numbered from 1 at its oldest match.
struct ItemRun {
    int32_t oldest;
    int32_t latest;
};

/// Copies at most `size` - 1 bytes of a text into an array of `size` bytes and fills the rest with NULs.
void copyText(char *field, size_t size, const std::string_view &text) {
    const size_t length = std::min(text.size(), size - 1);
    memcpy(field, text.data(), length);
    memset(field + length, '\0', size - length);
}

/// Copies the next field of a line; false when there is none.
bool copyField(char *field, size_t size, jorn::LineSplitter *splitter) {
    const std::string_view text = splitter->takeField();
    if (text.empty()) {
        return false;
    }
    copyText(field, size, text);
    return true;
}

/// Writes a time as ctime shows it, without the line feed that ends it.
void copyTime(char *field, size_t size, int64_t seconds) {
    const time_t time = static_cast<time_t>(seconds);
    const char *const shown = ctime(&time);
    std::string_view text = shown != nullptr ? shown : "";
    text.remove_suffix(text.empty() ? 0 : 1);
    copyText(field, size, text);
}

/// Chooses the page; false for page 0, which would mean all of them.
bool choosePage(const JORN_REQUIRE &require, int32_t itemsPerPage, int32_t totalItem, Page *page) {
    const int32_t remainder = totalItem % itemsPerPage;
    const int32_t totalPage = totalItem / itemsPerPage + (remainder != 0 ? 1 : 0);
    const int32_t itemsLastPage = remainder != 0 ? remainder : itemsPerPage;
    JORN_PRINT(jorn::kPrintTrace, "totalPage = %ld; itemsLastPage = %ld!", jorn::asLong(totalPage),
               jorn::asLong(itemsLastPage));

    const bool isLast = require.pageDisp < 0 || require.pageDisp >= totalPage;
    if (!isLast && require.pageDisp == 0) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Not support page-all-display!");
        return false;
    }
    page->number = isLast ? totalPage : require.pageDisp;
    const int32_t itemsDisp = isLast ? itemsLastPage : itemsPerPage;
    JORN_PRINT(jorn::kPrintTrace, "pageDisp = %ld; itemsDisp = %ld!", jorn::asLong(page->number),
               jorn::asLong(itemsDisp));
    page->itemStart = (page->number - 1) * itemsPerPage + 1;
    page->itemEnd = page->itemStart + itemsDisp - 1;
    return true;
}

/// The newest item of a file that the page shows, when the file holds `num` matches and the newest of them
/// has the number `itemBase`; 0 or less when the whole file is newer than the page.
int32_t latestOfPage(const Page &page, int32_t itemBase, int32_t num) {
    if (itemBase > page.itemStart) {
        return num;
    }
    const int32_t itemOffset1 = page.itemStart - itemBase;
    JORN_PRINT(jorn::kPrintTrace, "itemOffset1 = %ld!", jorn::asLong(itemOffset1));
    return num - itemOffset1;
}

/// The oldest item of a file that the page shows.
int32_t oldestOfPage(const Page &page, int32_t itemBase, int32_t num) {
    const int32_t itemOffset2 = page.itemEnd - itemBase;
    JORN_PRINT(jorn::kPrintTrace, "itemOffset2 = %ld!", jorn::asLong(itemOffset2));
    return num > itemOffset2 ? num - itemOffset2 : 1;
}

/// Appends a file's run of items to the page.
void readRun(JORN_OBJ *obj, int32_t position, const JORN_REQUIRE &require, const ItemRun &run,
             JORN_LOG_PAGE *out) {
    JORN_PRINT(jorn::kPrintTrace, "itemLatest = %ld; itemOldest = %ld!", jorn::asLong(run.latest),
               jorn::asLong(run.oldest));
    JORN_LOG_DISP *const next = &out->disp[out->itemsNum];
    const int32_t read = jorn_ReadItemInOneCsv(obj, position, &require, run.oldest, run.latest, next);
    if (read >= run.oldest) {
        JORN_PRINT(jorn::kPrintTrace, "Read %ld items in this csv!", jorn::asLong(read));
        out->itemsNum += read - run.oldest + 1;
    }
    if (jorn::isPrinted(jorn::kPrintTrace)) {
        printf("\r\n");
    }
}

/// Fills the page, from the newest file that holds a match downward.
void fillPage(JORN_OBJ *obj, const JORN_REQUIRE &require, const Page &page, const Matches &matches,
              JORN_LOG_PAGE *out) {
    jorn::RingRange files = {matches.fileRange[0], matches.fileRange[1]};
    if (files.latest < files.oldest) {
        files.latest += obj->csv_num;
    }
    out->itemsNum = 0;
    int32_t itemBase = 1;
    for (int32_t i = files.latest; i >= files.oldest && itemBase <= page.itemEnd; --i) {
        const int32_t position = jorn::ringOf(*obj).position(i);
        const int32_t num = matches.numInCsv[position];
        const bool isPageBegun = itemBase > page.itemStart;
        const int32_t latest = latestOfPage(page, itemBase, num);
        if (isPageBegun || latest > 0) {
            const ItemRun run = {oldestOfPage(page, itemBase, num), latest};
            JORN_PRINT(jorn::kPrintTrace, "numInCsv[%ld] = %ld!", jorn::asLong(position), jorn::asLong(num));
            readRun(obj, position, require, run, out);
        }
        itemBase += num;
    }
}

/// The query with the file mutex held.
int32_t retrievePage(JORN_OBJ *obj, const JORN_REQUIRE &require, int32_t itemsPerPage, JORN_LOG_PAGE *out) {
    Matches matches;
    matches.total = jorn_CountRequireNumInAllCsv(obj, &require, matches.fileRange, matches.numInCsv);
    if (matches.total <= 0) {
        out->itemsNum = 0;
        JORN_PRINT(jorn::kPrintError, " error: totalItem = %ld!", jorn::asLong(matches.total));
        return -1;
    }
    Page page;
    if (!choosePage(require, itemsPerPage, matches.total, &page)) {
        return 0;
    }
    fillPage(obj, require, page, matches, out);
    return page.number;
}

}  // namespace

int32_t jorn_BreakDownOneItemString(const char *line, JORN_LOG_DISP *rec) {
    jorn::LineSplitter splitter(line, jorn::kLineMax);
    int64_t seconds = 0;
    if (!splitter.takeNumber(&seconds)) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Time string error!\n");
        return -1;
    }
    copyTime(rec->timeStr, sizeof rec->timeStr, seconds);

    if (!copyField(rec->levelStr, sizeof rec->levelStr, &splitter)) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Level string error!\n");
        return -1;
    }
    if (!copyField(rec->slotStr, sizeof rec->slotStr, &splitter)) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Slot string error!\n");
        return -1;
    }
    copyText(rec->logStr, sizeof rec->logStr, splitter.rest());
    return 0;
}

int32_t jorn_ReadItemInOneCsv(JORN_OBJ *obj, int32_t fileIdx, const JORN_REQUIRE *require, int32_t itemOldest,
                              int32_t itemLatest, JORN_LOG_DISP *disp) {
    if (itemOldest <= 0 || itemLatest <= 0) {
        JORN_PRINT_TEXT(jorn::kPrintInfo, "Item index error!");
        return -1;
    }
    if (obj == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintError, "pt pointer NULL!\n");
        return -1;
    }
    if (disp == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintError, "log pointer NULL!\n");
        return -1;
    }
    jorn::LineReader reader(obj->dirName, fileIdx);
    if (!reader.isOpen()) {
        JORN_PRINT(jorn::kPrintError, "Open file error: %ld.csv!\n", jorn::asLong(fileIdx));
        return -1;
    }
    // The records are filled in the file's order and reversed at the end: only then is it known how many the
    // file really holds, and none beyond those may be written.
    JORN_LOG_DISP *next = disp;
    int32_t count = 0;
    while (const char *line = count < itemLatest ? reader.next() : nullptr) {
        if (jorn_WhetherItemRequireOrNot(line, require) < 0) {
            continue;
        }
        ++count;
        if (count >= itemOldest) {
            jorn_BreakDownOneItemString(line, next++);
        }
    }
    std::reverse(disp, next);
    return count;
}

int32_t JORN_GetRequireLog(int32_t handle, JORN_REQUIRE require, JORN_LOG_PAGE *out) {
    JORN_OBJ *const obj = FindObj(handle);
    if (obj == nullptr) {
        JORN_PRINT(jorn::kPrintError, " hanld_id = %ld, not found!", jorn::asLong(handle));
        return -1;
    }
    if (out == nullptr) {
        JORN_PRINT_TEXT(jorn::kPrintError, "page pointer null!");
        return -1;
    }
    if (require.itemsPerPage <= 0) {
        out->itemsNum = 0;
        JORN_PRINT(jorn::kPrintError, " error: itemsPerPage = %ld!", jorn::asLong(require.itemsPerPage));
        return -1;
    }
    const int32_t itemsPerPage = std::min(require.itemsPerPage, jorn::kPageItemMax);
    const jorn::MutexGuard lock(logSemCsvRW_ID);
    return retrievePage(obj, require, itemsPerPage, out);
}
