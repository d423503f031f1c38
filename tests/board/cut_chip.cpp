// SPDX-License-Identifier: Apache-2.0
// What a cut left on the chip, and what the next life makes of it.
#include <jorn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cut_campaign.h"
#include "libc_glue.h"
#include "programs.h"

namespace cuts {

char content[400000];

int readFile(const char *name) {
    char path[40];
    snprintf(path, sizeof path, "%s/%s", kDirectory, name);
    FILE *const file = fopen(path, "r");
    if (file == nullptr) {
        return -1;
    }
    const auto size = static_cast<int>(fread(content, 1, sizeof content - 1, file));
    fclose(file);
    content[size] = '\0';
    return size;
}

namespace {

struct Found {
    int size;
    int lines;  ///< whole ones, the prepared included
    int added;  ///< whole ones since
    bool isTorn;
    bool isThere;
};

bool isOwnItem(const char *line) {
    return strstr(line, ",3,0,Log start init!\n") != nullptr ||
           strstr(line, ",3,0,Log all cleared!\n") != nullptr;
}

/// Lines since the prepared ones: the store's own, and items in their order without a gap, the first of them
/// after
/// `*last`. The last line may be torn.
void readLines(int from, Found *found, int *last) {
    char expected[100];
    const char *line = content + from;
    for (const char *end = strchr(line, '\n'); end != nullptr; line = end + 1, end = strchr(line, '\n')) {
        char copy[300] = {};
        memcpy(copy, line, static_cast<size_t>(end + 1 - line) % sizeof copy);
        makeLine(expected, sizeof expected, *last + 1);
        const bool isNext = strcmp(copy, expected) == 0;
        CHECK(isNext || isOwnItem(copy));
        *last += isNext ? 1 : 0;
        ++found->lines;
        ++found->added;
    }
    found->isTorn = line != content + found->size;
}

Found readDataFile(int position, int *last) {
    char name[8];
    snprintf(name, sizeof name, "%d.csv", position);
    Found found = {};
    found.size = readFile(name);
    found.isThere = found.size >= 0;
    const int prepared = campaign.preparedSize[position];
    const bool isContinued = prepared > 0 && found.size >= prepared &&
                             memcmp(content, campaign.prepared[position], static_cast<size_t>(prepared)) == 0;
    // What was prepared is there, byte for byte, unless the ring has come round to the file.
    CHECK(prepared == 0 || isContinued || campaign.ledger.isBegun[position]);
    for (int i = 0; isContinued && i < prepared; ++i) {
        found.lines += content[i] == '\n' ? 1 : 0;
    }
    if (found.isThere) {
        readLines(isContinued ? prepared : 0, &found, last);
    }
    return found;
}

struct Index {
    int oldest, latest;
    bool isGood;
};

/// As a start reads it: the backup counts where there is no index, and not where the index is empty.
Index readIndex() {
    Index index = {};
    if (readFile("index.csv") < 0 && readFile("index.bak") < 0) {
        return index;
    }
    index.isGood = sscanf(content, "version:1\n%d,%d\n", &index.oldest, &index.latest) == 2;
    return index;
}

}  // namespace

bool checkChip(Phase phase) {
    const Index index = readIndex();
    const bool isFirst = campaign.preparedItems == 0;
    const bool isLost = !index.isGood && (!isFirst || campaign.ledger.closed > 0);
    const int older = campaign.preparedSize[1] > 0 ? 1 : 0;  // the file that the cut life went on with
    int last = campaign.preparedItems;
    const Found begun = readDataFile(older, &last);
    const Found next = readDataFile(1 - older, &last);
    CHECK(!(begun.isTorn && next.isTorn));
    CHECK(last <= campaign.ledger.submitted);
    CHECK(!isLost || campaign.ledger.isRewriting);
    // Every line of a file that was closed is on the chip.
    CHECK(begun.added + next.added >= campaign.ledger.closed);
    auto &tally = campaign.tally[phase];
    ++tally.cuts;
    tally.torn += begun.isTorn || next.isTorn ? 1 : 0;
    tally.indexLost += isLost ? 1 : 0;
    tally.overwritten += campaign.ledger.isBegun[1 - older] && campaign.preparedSize[1 - older] > 0 ? 1 : 0;
    tally.unsaved += campaign.ledger.submitted > last ? 1 : 0;
    return isLost;
}

namespace {

constexpr JORN_REQUIRE kAll = {20, 1, -1, -1, 3, 0, -1};

/// A page shows items newest first, byte for byte as they were submitted, beside the store's own and a torn
/// one.
void checkPage(int32_t handle, int32_t number, int32_t pages) {
    static JORN_LOG_PAGE page;
    JORN_REQUIRE wanted = kAll;
    wanted.pageDisp = number;
    CHECK(JORN_GetRequireLog(handle, wanted, &page) == number && page.itemsNum > 0);
    int last = campaign.ledger.submitted + 1;
    int strange = 0;
    for (int32_t i = 0; i < page.itemsNum; ++i) {
        char expected[100];
        const char *const text = page.disp[i].logStr;
        const int item = strncmp(text, "item ", 5) == 0 ? atoi(text + 5) : 0;
        makeLine(expected, sizeof expected, item);
        if (item > 0 && strcmp(strstr(expected, "item"), text) == 0) {
            CHECK(item < last);
            last = item;
        } else {
            strange += strncmp(text, "Log ", 4) == 0 ? 0 : 1;
        }
    }
    CHECK(strange <= 1);
    CHECK(number == pages || page.itemsNum == kAll.itemsPerPage);
}

/// Whether a torn line runs together with the item that was stored after it, always the start's own.
bool isTornInside() {
    for (const char *own = strstr(content, ",3,0,Log start init!"); own != nullptr;
         own = strstr(own + 1, ",3,0,Log start init!")) {
        const char *const line = own - 10;  // its time
        if (line > content && line[-1] != '\n') {
            return true;
        }
    }
    return false;
}

struct View {
    int inside, outside;  ///< lines in files of the ring's range, as the index now has it, and in others
    bool isTorn;
};

View readView() {
    const Index index = readIndex();
    View view = {};
    CHECK(index.isGood);
    for (int position = 0; position < kFiles; ++position) {
        char name[8];
        snprintf(name, sizeof name, "%d.csv", position);
        const int size = readFile(name);
        const bool isInside = index.oldest != index.latest || position == index.latest;
        for (int i = 0; i < size; ++i) {
            (isInside ? view.inside : view.outside) += content[i] == '\n' ? 1 : 0;
        }
        view.isTorn |= size > 0 && isTornInside();
    }
    return view;
}

void checkQueries(int32_t handle, Phase phase) {
    const View view = readView();
    const int32_t count = JORN_CountRequireTotalNum(handle, kAll);
    CHECK(count == view.inside || (view.isTorn && count == view.inside - 1));
    CHECK(view.outside == 0 || campaign.ledger.isClearing);
    campaign.tally[phase].cleared += view.outside > 0 ? 1 : 0;
    const int32_t pages = (count + kAll.itemsPerPage - 1) / kAll.itemsPerPage;
    checkPage(handle, 1, pages);
    checkPage(handle, pages, pages);
}

}  // namespace

void liveOn(Phase phase, bool isIndexLost) {
    int32_t handle = create();
    CHECK(handle > 0);
    passes(2);
    if (!isIndexLost) {
        checkQueries(handle, phase);
    }
    submit(handle, 25);
    passes(2);
    static JORN_LOG_PAGE page;
    CHECK(JORN_GetRequireLog(handle, kAll, &page) == 1 && page.itemsNum == 20);
    for (int i = 0; i < 20; ++i) {
        CHECK(atoi(page.disp[i].logStr + 5) == campaign.ledger.submitted - i);
    }
    const int32_t count = JORN_CountRequireTotalNum(handle, kAll);
    CHECK(JORN_Destroy(handle) == 0);
    if (campaign.preparedItems < kBatch) {
        handle = create();
        passes(2);
        CHECK(JORN_CountRequireTotalNum(handle, kAll) == count + 1);
        CHECK(JORN_Destroy(handle) == 0);
    }
    CHECK(boardOpenFiles() == 0);
}

}  // namespace cuts
