// SPDX-License-Identifier: Apache-2.0
// Where the board runs out of something, or time does what it should not.
#include <jorn.h>
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <taskLib.h>
#include <tickLib.h>
#include <unistd.h>

#include "clock.h"
#include "flash.h"
#include "kernel.h"
#include "libc_glue.h"
#include "machine.h"
#include "programs.h"

namespace {

constexpr uint32_t kTime = 1700000000;
constexpr JORN_REQUIRE kAll = {20, 1, -1, -1, 3, 0, -1};

int32_t countOf(int32_t handle) { return JORN_CountRequireTotalNum(handle, kAll); }

uint32_t heapInUse() { return static_cast<uint32_t>(mallinfo().uordblks); }

/// Lines of a data file; null when there is none.
const char *contentOf(const char *path) {
    static char content[65536];
    FILE *const file = fopen(path, "r");
    if (file == nullptr) {
        return nullptr;
    }
    content[fread(content, 1, sizeof content - 1, file)] = '\0';
    fclose(file);
    return content;
}

int linesOf(const char *content) {
    int lines = 0;
    for (; content != nullptr && *content != '\0'; ++content) {
        lines += *content == '\n' ? 1 : 0;
    }
    return lines;
}

// ---- The heap at its end ----

void *takenBlocks;

/// Takes whatever is left of the heap.
void fillHeap() {
    boardHeapLimit = static_cast<char *>(sbrk(0));
    for (size_t size = 65536; size >= sizeof takenBlocks; size /= 2) {
        for (void *block = malloc(size); block != nullptr; block = malloc(size)) {
            *static_cast<void **>(block) = takenBlocks;
            takenBlocks = block;
        }
    }
}

void emptyHeap() {
    while (takenBlocks != nullptr) {
        void *const block = takenBlocks;
        takenBlocks = *static_cast<void **>(block);
        free(block);
    }
    boardHeapLimit = boardHeapEnd;
}

/// The heap is at its end during one allocation, from it on, or after it.
enum class Full { During, From, After };
int callocs, fullAt;
Full full;

int32_t createWithFullHeap(const char *directory, int calloc, Full when) {
    callocs = 0;
    fullAt = calloc;
    full = when;
    const int32_t handle = JORN_Create(directory, 8, 2);
    fullAt = 0;
    emptyHeap();
    return handle;
}

void testHeap() {
    int32_t other = JORN_Create("/yaffs/heap", 8, 2);
    CHECK(JORN_AddOneLog(other, 1, 5, "kept") == 0);
    passes(2);
    CHECK(JORN_Destroy(other) == 0);
    const uint32_t before = heapInUse();
    // The first object: the queue, too, needs memory. What fails gives back all that it took.
    for (int calloc = 1; calloc <= 2; ++calloc) {
        CHECK(createWithFullHeap("/yaffs/heap", calloc, Full::During) == -1);
        CHECK(createWithFullHeap("/yaffs/heap", calloc, Full::From) == -1);
        CHECK(callocs == calloc);
        CHECK(heapInUse() == before);
    }
    CHECK(createWithFullHeap("/yaffs/heap", 2, Full::After) == -1);
    CHECK(heapInUse() == before);
    other = JORN_Create("/yaffs/other", 8, 2);
    CHECK(other == 1);
    CHECK(createWithFullHeap("/yaffs/heap", 1, Full::During) == -1);
    CHECK(createWithFullHeap("/yaffs/heap", 2, Full::During) == -1);
    // A further object whose memory was the last: whatever its start could not do, no item goes.
    const int32_t last = createWithFullHeap("/yaffs/heap", 2, Full::After);
    CHECK(last > 0 && callocs == 2);
    CHECK(JORN_Destroy(last) == 0);
    const int32_t again = JORN_Create("/yaffs/heap", 8, 2);
    passes(2);
    CHECK(strstr(contentOf("/yaffs/heap/0.csv"), ",1,5,kept\n") != nullptr);
    CHECK(countOf(again) == linesOf(contentOf("/yaffs/heap/0.csv")));
    CHECK(JORN_Destroy(again) == 0);
    CHECK(JORN_Destroy(other) == 0);
}

// ---- Time ----

int32_t watchedTicks;

/// In the middle of a pass.
void announceManyTicks(const char *, const char *, int) {
    for (; watchedTicks > 0; --watchedTicks) {
        tickAnnounce();
    }
}

/// However many ticks a pass takes, the next one is a hundred ticks after it: none is made up for.
void testLongPass() {
    static constexpr BoardFileCalls kCalls = {nullptr, announceManyTicks, nullptr, nullptr};
    const int32_t handle = JORN_Create("/yaffs/ticks", 8, 2);
    passes(2);
    for (int item = 0; item < 300; ++item) {
        CHECK(JORN_AddOneLog(handle, 1, 5, "while many ticks come") == 0);
    }
    watchedTicks = 1000;
    boardWatchFiles(&kCalls);
    passes(1);
    boardWatchFiles(nullptr);
    CHECK(watchedTicks == 0);
    boardSetPriority(kLowestPriority);
    for (int tick = 1; tick < JORN_STORE_TICKS; ++tick) {
        tickAnnounce();
    }
    CHECK(boardOpenFiles() == 1);
    tickAnnounce();
    CHECK(boardOpenFiles() == 0);
    boardSetPriority(kRootPriority);
    CHECK(countOf(handle) == 301);
    CHECK(JORN_Destroy(handle) == 0);
}

void testJumpingClock() {
    static constexpr uint32_t kTimes[] = {kTime, 0xffffffff, 5, 0x80000000, kTime - 86400, 0x7fffffff};
    const int32_t handle = JORN_Create("/yaffs/clock", 8, 2);
    char expected[200] = "1700000000,3,0,Log start init!\n";
    for (const uint32_t each : kTimes) {
        boardSetTime(each);
        CHECK(JORN_AddOneLog(handle, 1, 5, "at that time") == 0);
        snprintf(expected + strlen(expected), sizeof expected - strlen(expected), "%lu,1,5,at that time\n",
                 static_cast<unsigned long>(each));
    }
    passes(2);
    CHECK(strcmp(contentOf("/yaffs/clock/0.csv"), expected) == 0);
    CHECK(countOf(handle) == 7);
    CHECK(JORN_Destroy(handle) == 0);
    boardSetTime(kTime);
    const int32_t again = JORN_Create("/yaffs/clock", 8, 2);
    uint32_t final = 0;
    uint32_t largest = 0;
    CHECK(JORN_GetFinalCsvTime(again, &final) == 0 && final == 0x7fffffff);
    CHECK(JORN_GetMaxCsvTime(&largest) == 0 && largest == 0xffffffff);
    CHECK(countOf(again) == 7);
    CHECK(JORN_Destroy(again) == 0);
}

// ---- As many as there may be ----

const char *directoryOf(int object) {
    static char path[24];
    snprintf(path, sizeof path, "/yaffs/object%d", object);
    return path;
}

void testManyObjects() {
    constexpr int kObjects = JORN_CSV_NUM_MAX / JORN_CSV_NUM_MIN;
    const uint32_t before = heapInUse();
    int32_t handles[kObjects];
    for (int object = 0; object < kObjects; ++object) {
        handles[object] = JORN_Create(directoryOf(object), 8, JORN_CSV_NUM_MIN);
        CHECK(handles[object] > 0);
    }
    CHECK(JORN_Create("/yaffs/toomany", 8, JORN_CSV_NUM_MIN) == -1);
    for (int object = 0; object < kObjects; ++object) {
        char text[16];
        snprintf(text, sizeof text, "of object %d", object);
        CHECK(JORN_AddOneLog(handles[object], 1, 5, text) == 0);
    }
    passes(2);
    for (int object = 0; object < kObjects; ++object) {
        JORN_REQUIRE newest = kAll;
        static JORN_LOG_PAGE page;
        CHECK(countOf(handles[object]) == 2);
        CHECK(JORN_GetRequireLog(handles[object], newest, &page) == 1);
        CHECK(atoi(page.disp[0].logStr + strlen("of object ")) == object);
    }
    for (int object = 0; object < kObjects; ++object) {
        CHECK(JORN_Destroy(handles[object * 7 % kObjects]) == 0);
    }
    // The file system keeps what it knows of each new file and directory; the module keeps nothing.
    CHECK(heapInUse() >= before && boardOpenFiles() == 0);
}

int32_t crowdedHandle;
int acceptedInAPass, refusedInAPass;

int crowd() {
    for (int item = 0; item < 600; ++item) {
        char text[24];
        snprintf(text, sizeof text, "number %d", acceptedInAPass);
        const bool isAccepted = JORN_AddOneLog(crowdedHandle, 1, 5, text) == 0;
        ++(isAccepted ? acceptedInAPass : refusedInAPass);
    }
    return 0;
}

void startCrowd(const char *, const char *, int) {
    boardWatchFiles(nullptr);
    static char name[] = "crowd";
    taskSpawn(name, 10, 0, 3 * 4096, reinterpret_cast<FUNCPTR>(crowd), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
}

/// A task of high priority fills the queue in the middle of a pass: it never waits, and what was accepted is
/// stored.
void testFullQueue() {
    static constexpr BoardFileCalls kCalls = {nullptr, startCrowd, nullptr, nullptr};
    crowdedHandle = JORN_Create("/yaffs/crowd", 8, 2);
    passes(2);
    constexpr int kFirst = 200;
    for (int item = 0; item < kFirst; ++item) {
        CHECK(JORN_AddOneLog(crowdedHandle, 2, 6, "before the crowd") == 0);
    }
    boardWatchFiles(&kCalls);
    passes(4);
    CHECK(refusedInAPass >= 600 - JORN_QUEUE_MAX && acceptedInAPass + refusedInAPass == 600);
    CHECK(acceptedInAPass > JORN_QUEUE_MAX - kFirst);
    CHECK(countOf(crowdedHandle) == 1 + kFirst + acceptedInAPass);
    int next = 0;
    const char *line = contentOf("/yaffs/crowd/0.csv");
    while ((line = strstr(line, ",1,5,number ")) != nullptr) {
        line += strlen(",1,5,number ");
        CHECK(atoi(line) == next);
        ++next;
    }
    CHECK(next == acceptedInAPass);
    CHECK(JORN_Destroy(crowdedHandle) == 0);
}

}  // namespace

/// jorn.o's calloc: the C library's own, which finds the heap at its end where a test wants that.
extern "C" void *__real_calloc(size_t count, size_t size);
extern "C" void *__wrap_calloc(size_t count, size_t size) {
    ++callocs;
    if (fullAt == callocs && full != Full::After) {
        fillHeap();
    }
    void *const memory = __real_calloc(count, size);
    if (fullAt == callocs && full == Full::During) {
        emptyHeap();
    }
    if (fullAt == callocs && full == Full::After) {
        fillHeap();
    }
    return memory;
}

void runLimits(const char *) {
    boardSetTime(kTime);
    jorn_SetDebugPrintLevel(0);
    mountBlank();
    testHeap();
    testLongPass();
    testJumpingClock();
    testManyObjects();
    testFullQueue();
    CHECK(boardOpenFiles() == 0);
}
