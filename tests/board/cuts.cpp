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
#include "cut_campaign.h"
#include "flash.h"
#include "libc_glue.h"
#include "machine.h"
#include "programs.h"

namespace cuts {

BOARD_KEPT Campaign campaign;

// ---- What is stored ----

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

int32_t create() { return JORN_Create(kDirectory, 8, kFiles); }

namespace {

constexpr const char *kPhaseNames[kPhases] = {"creation",
                                              "storing",
                                              "rotation",
                                              "rotation onto an older file",
                                              "index rewrite",
                                              "clearing",
                                              "program of a rotation"};

uint64_t workloadBegin;

void store(int32_t handle, int number) {
    for (int left = number; left > 0; left -= kBatch) {
        submit(handle, left < kBatch ? left : kBatch);
        passes(1);
    }
    passes(1);
}

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

}  // namespace cuts

using namespace cuts;

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
