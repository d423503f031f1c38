// SPDX-License-Identifier: Apache-2.0
// Power cuts on the running board: "cuts NUMBER SEED". Each cut takes three lives of the board. The first,
// once for each workload, prepares the flash chip; the second is cut, after a number of instructions or in
// the middle of a flash operation; the third starts on the chip as the cut left it. Nothing but the chip and
// what is marked as kept outlasts a cut.
#include <jorn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "clock.h"
#include "flash.h"
#include "kernel.h"
#include "libc_glue.h"
#include "machine.h"
#include "programs.h"

namespace {

constexpr char kDirectory[] = "/yaffs/cut";
constexpr int kFiles = 2;
constexpr uint32_t kTime = 1700000000;
constexpr int kBatch = 400;

enum Phase { kCreation, kStoring, kRotation, kWrap, kIndexRewrite, kClearing, kPrograms, kPhases };
constexpr const char *kPhaseNames[kPhases] = {"creation",
                                              "storing",
                                              "rotation",
                                              "rotation onto an older file",
                                              "index rewrite",
                                              "clearing",
                                              "program of a rotation"};

/// What the cut life leaves behind for the next one to judge the chip by.
struct Ledger {
    int submitted;         ///< items, the prepared ones included
    int written, closed;   ///< lines of the cut life: handed to the file system; in a file closed since
    bool isBegun[kFiles];  ///< the file was started afresh
    bool isRewriting;      ///< the index, from its new file to the end of its backup
    bool isClearing;
};

struct Span {
    uint64_t begin, end;
};

enum class Stage { None, Prepare, Rehearse, Cut, Check };

/// The campaign, kept over cuts.
struct Campaign {
    Stage stage;
    int cuts, plan, cut;
    uint32_t seed;
    Span spans[kPhases];
    uint64_t
        at;  ///< of the cut: instructions from the workload's beginning, or number of the flash operation
    int preparedItems, preparedSize[kFiles];
    char prepared[kFiles][400000];
    Ledger ledger;
    struct {
        int cuts, torn, indexLost, overwritten, cleared, unsaved;  ///< chips of which that is true
    } tally[kPhases];
};
BOARD_KEPT Campaign campaign;
uint64_t workloadBegin;

// ---- What is stored ----

/// The line of an item, as it must be in its file.
void makeLine(char *line, size_t size, int item) {
    snprintf(line, size, "%lu,%d,%d,item %06d, which %s\n", static_cast<unsigned long>(kTime) + item,
             item % 3, item % 8, item,
             item % 2 == 0 ? "is even" : "is odd, and so has the longer text of the two");
}

void submit(int32_t handle, int number) {
    for (int i = 0; i < number; ++i) {
        char line[100];
        const int item = ++campaign.ledger.submitted;
        makeLine(line, sizeof line, item);
        line[strlen(line) - 1] = '\0';
        boardSetTime(kTime + static_cast<uint32_t>(item));
        CHECK(JORN_AddOneLog(handle, item % 3, item % 8, strstr(line, "item")) == 0);
    }
}

void store(int32_t handle, int number) {
    for (int left = number; left > 0; left -= kBatch) {
        submit(handle, left < kBatch ? left : kBatch);
        passes(1);
    }
    passes(1);
}

int32_t create() { return JORN_Create(kDirectory, 8, kFiles); }

// ---- Workloads ----

/// Where the positions of files stand in paths: "/cut/0.csv".
int positionOf(const char *path) {
    const char *const name = strrchr(path, '/') + 1;
    return *name >= '0' && *name < '0' + kFiles ? *name - '0' : -1;
}

bool isIndex(const char *path) { return strstr(path, "index.csv") != nullptr; }

uint64_t now() { return boardInstructions() - workloadBegin; }

void onBegin(const char *path) {
    if (positionOf(path) >= 0) {
        campaign.ledger.isBegun[positionOf(path)] = true;
    }
    if (isIndex(path)) {
        campaign.ledger.isRewriting = true;
    }
    if (isIndex(path) && campaign.stage == Stage::Rehearse) {
        campaign.spans[kIndexRewrite].begin = now();
    }
}

void onWrite(const char *path, const char *bytes, int size) {
    for (int i = 0; positionOf(path) >= 0 && i < size; ++i) {
        campaign.ledger.written += bytes[i] == '\n' ? 1 : 0;
    }
}

void onClose(const char *path) {
    if (positionOf(path) >= 0) {
        campaign.ledger.closed = campaign.ledger.written;
    }
}

void onRemove(const char *path) {
    if (strstr(path, "index.bak") == nullptr) {
        return;
    }
    campaign.ledger.isRewriting = false;
    if (campaign.stage == Stage::Rehearse) {
        campaign.spans[kIndexRewrite].end = now();
    }
}

void begin(Phase phase) {
    if (campaign.stage == Stage::Rehearse) {
        campaign.spans[phase].begin = now();
        campaign.spans[kPrograms].begin = boardFlashOperations();
    }
}

void end(Phase phase) {
    if (campaign.stage == Stage::Rehearse) {
        campaign.spans[phase].end = now();
        campaign.spans[kPrograms].end = boardFlashOperations();
    }
}

void createAndStore() {
    begin(kCreation);
    const int32_t handle = create();
    passes(2);
    end(kCreation);
    begin(kStoring);
    for (int burst = 0; burst < 4; ++burst) {
        submit(handle, 30);
        passes(1 + burst % 2);
    }
    end(kStoring);
}

void fillUpTo(int items) {
    const int32_t handle = create();
    store(handle, items);
    CHECK(JORN_Destroy(handle) == 0);
}

void rotateAs(Phase phase) {
    const int32_t handle = create();
    begin(phase);
    submit(handle, 20);
    passes(2);
    end(phase);
}

/// The store's own first item counts too; so does that of the cut life.
void prepareNearlyFull() { fillUpTo(JORN_CSV_ITEM_MAX - 11); }
void rotate() { rotateAs(kRotation); }
void prepareNearlyFullTwice() { fillUpTo(2 * JORN_CSV_ITEM_MAX - 11); }
void wrap() { rotateAs(kWrap); }

void prepareSome() { fillUpTo(50); }
void clear() {
    const int32_t handle = create();
    submit(handle, 5);
    passes(2);
    begin(kClearing);
    campaign.ledger.isClearing = true;
    CHECK(JORN_ClearAllLog(handle, 1) == 0);
    submit(handle, 5);
    passes(2);
    end(kClearing);
}

/// What is cut where: of a hundred cuts so many.
struct Plan {
    void (*prepare)();
    void (*run)();
    struct {
        Phase phase;
        int share;
    } parts[3];
};
constexpr Plan kPlans[] = {
    {[] {}, createAndStore, {{kCreation, 25}, {kStoring, 25}, {kPhases, 0}}},
    {prepareNearlyFull, rotate, {{kRotation, 11}, {kIndexRewrite, 10}, {kPrograms, 5}}},
    {prepareNearlyFullTwice, wrap, {{kWrap, 4}, {kPhases, 0}}},
    {prepareSome, clear, {{kClearing, 20}, {kPhases, 0}}},
};
constexpr int kPlanCount = sizeof kPlans / sizeof kPlans[0];

uint32_t random(uint32_t below) {
    campaign.seed = campaign.seed * 1664525U + 1013904223U;
    return static_cast<uint32_t>((uint64_t{campaign.seed} * below) >> 32U);
}

int cutsOf(int share) { return campaign.cuts * share / 100; }

/// The phase that the present cut is for, or kPhases after the last one; `number` and `of` tell which of its
/// cuts.
Phase phaseOfCut(int *number, int *of) {
    *number = campaign.cut;
    for (const auto &part : kPlans[campaign.plan].parts) {
        *of = cutsOf(part.share);
        if (*number < *of) {
            return part.phase;
        }
        *number -= *of;
    }
    return kPhases;
}

Phase phaseOfCut() {
    int number;
    int of;
    return phaseOfCut(&number, &of);
}

/// Where the present cut falls: evenly over its phase, by chance within each part. Whether there is one.
bool choosePlace() {
    int number;
    int of;
    const Phase phase = phaseOfCut(&number, &of);
    if (phase == kPhases) {
        return false;
    }
    const Span span = campaign.spans[phase];
    const auto width = static_cast<uint32_t>(span.end - span.begin);
    const uint64_t parts = uint64_t{width} * static_cast<uint32_t>(number) + random(width);
    campaign.at = span.begin + parts / static_cast<uint32_t>(of) + (phase == kPrograms ? 1 : 0);
    return true;
}

// ---- What the chip holds ----

struct Found {
    int size;
    int lines;  ///< whole ones, the prepared included
    int added;  ///< whole ones since
    bool isTorn;
    bool isThere;
};

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

/// Before the first start: what is on the chip, held against the ledger. Whether the index is lost.
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

// ---- The life after a cut ----

const JORN_REQUIRE kAll = {20, 1, -1, -1, 3, 0, -1};

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

/// The next start must create, count and page, and go on; so must the one after it.
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

// ---- The campaign, a stage a life ----

void prepare() {
    campaign.ledger = Ledger();
    mountBlank();
    kPlans[campaign.plan].prepare();
    campaign.preparedItems = campaign.ledger.submitted;
    for (int position = 0; position < kFiles; ++position) {
        char name[8];
        snprintf(name, sizeof name, "%d.csv", position);
        const int size = readFile(name);
        CHECK(size < static_cast<int>(sizeof campaign.prepared[0]));
        campaign.preparedSize[position] = size > 0 ? size : 0;
        memcpy(campaign.prepared[position], content, static_cast<size_t>(campaign.preparedSize[position]));
    }
    boardFlashKeep();
    campaign.stage = Stage::Rehearse;
}

/// The workload, from the chip as it was prepared; cut where that is set.
void live() {
    static constexpr BoardFileCalls kCalls = {onBegin, onWrite, onClose, onRemove};
    campaign.ledger = Ledger();
    campaign.ledger.submitted = campaign.preparedItems;
    boardFlashRestore();
    boardFlashMount();
    boardWatchFiles(&kCalls);
    workloadBegin = boardInstructions();
    const bool isCut = campaign.stage == Stage::Check;
    const bool isProgram = isCut && phaseOfCut() == kPrograms;
    boardCutAfter(isCut && !isProgram ? campaign.at : 0);
    boardFlashCutAt(isProgram ? static_cast<uint32_t>(campaign.at) : 0);
    kPlans[campaign.plan].run();
    boardCutAfter(0);
    boardWatchFiles(nullptr);
    CHECK(!isCut);
}

void check() {
    const int before = failures();
    const Phase phase = phaseOfCut();
    boardFlashMount();
    const bool isIndexLost = checkChip(phase);
    liveOn(phase, isIndexLost);
    if (failures() != before) {
        printf("  cut %d of plan %d, %s: at %lu\n", campaign.cut, campaign.plan, kPhaseNames[phase],
               static_cast<unsigned long>(campaign.at));
    }
    ++campaign.cut;
    campaign.stage = Stage::Cut;
}

void report() {
    for (int phase = 0; phase < kPhases; ++phase) {
        const auto &tally = campaign.tally[phase];
        printf("cuts %d %d %d %d %d %d %s\n", tally.cuts, tally.unsaved, tally.torn, tally.indexLost,
               tally.overwritten, tally.cleared, kPhaseNames[phase]);
    }
    fflush(stdout);
    boardExit(failures() == 0 ? 0 : 1);
}

/// Chooses the next cut; after the last one of a workload, the next workload.
void next() {
    if (choosePlace()) {
        campaign.stage = Stage::Check;  // for the life after the cut
        live();
        return;
    }
    campaign.cut = 0;
    campaign.stage = Stage::Prepare;
    if (++campaign.plan == kPlanCount) {
        report();
    }
}

}  // namespace

bool isCampaignUnderWay() { return campaign.stage != Stage::None; }

void runCuts(const char *arguments) {
    jorn_SetDebugPrintLevel(0);
    boardSetTime(kTime);
    switch (campaign.stage) {
        case Stage::None:
            sscanf(arguments, "%d %lu", &campaign.cuts, &campaign.seed);
            campaign.stage = Stage::Prepare;
            break;
        case Stage::Prepare:
            prepare();
            break;
        case Stage::Rehearse:
            live();
            campaign.stage = Stage::Cut;
            break;
        case Stage::Cut:
            next();
            break;
        case Stage::Check:
            check();
            break;
    }
    fflush(stdout);
    boardPowerCut();
}
