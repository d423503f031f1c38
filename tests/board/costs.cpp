// SPDX-License-Identifier: Apache-2.0
// What the calls and the store task take of the board: stack, with all that they call, and instructions. No
// tick interrupts them; its cost would be the board's, not theirs.
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

constexpr uint32_t kBegin = 1700000000;
constexpr int kBatch = 400;
constexpr const char *kDirectory = "/yaffs/costs";

/// Prints one line of the table; for what is done `times` times, the cost of each.
void report(const char *what, int stack, uint64_t instructions, int times = 1) {
    const uint64_t tenths = instructions * 10 / static_cast<uint64_t>(times);
    printf("cost %s %d %lu.%lu\n", what, stack, static_cast<unsigned long>(tenths / 10),
           static_cast<unsigned long>(tenths % 10));
}

template <typename Call>
uint64_t instructionsOf(Call call) {
    const uint64_t begin = boardInstructions();
    call();
    return boardInstructions() - begin;
}

uint64_t begun, ended;

/// Measures the call's own stack, without that of the function that is passed to make it.
template <typename Call>
void measure(const char *what, Call call, int times = 1) {
    const int stack = boardStackOfCall(
        [](void *argument) {
            begun = boardInstructions();
            (*static_cast<Call *>(argument))();
            ended = boardInstructions();
            const char *begin;
            asm volatile("mov %0, sp" : "=r"(begin));
            return begin;
        },
        &call);
    report(what, stack, ended - begun, times);
}

void submit(int32_t handle, int number, const char *text) {
    for (int i = 0; i < number; ++i) {
        CHECK(JORN_AddOneLog(handle, i % 3, i % 8, text) == 0);
    }
}

const char *textOf(size_t length) {
    static char text[JORN_TEXT_MAX + 1];
    memset(text, 'x', length);
    text[length] = '\0';
    return text;
}

void measureSubmissions(int32_t handle) {
    static constexpr struct {
        const char *name;
        size_t length;
    } kTexts[] = {{"submission-20", 20}, {"submission-100", 100}, {"submission-198", 198}};
    for (const auto &each : kTexts) {
        const char *const text = textOf(each.length);
        measure(each.name, [=] { JORN_AddOneLog(handle, 1, 5, text); });
    }
    passes(2);
    submit(handle, JORN_QUEUE_MAX, "door open");
    measure("submission-refused-with-message",
            [=] { CHECK(JORN_AddOneLog(handle, 1, 5, textOf(198)) == -1); });
    passes(2);
}

/// What one more item takes in a pass.
void measureStoring(int32_t handle, const char *what, size_t length) {
    submit(handle, kBatch, textOf(length));
    const uint64_t many = instructionsOf([] { passes(1); });
    submit(handle, kBatch / 2, textOf(length));
    const uint64_t few = instructionsOf([] { passes(1); });
    report(what, boardStackUsed("tLogStore"), many - few, kBatch / 2);
    passes(1);
}

/// Stores items until two more files are full, and then makes so many small passes that blocks are erased and
/// reused.
void fill(int32_t handle) {
    for (int item = 0; item < 2 * JORN_CSV_ITEM_MAX; item += kBatch) {
        boardSetTime(kBegin + static_cast<uint32_t>(item));
        submit(handle, kBatch, "the door of the second hall is open");
        passes(1);
    }
    for (int pass = 0; pass < 600; ++pass) {
        submit(handle, 1, "door closed");
        passes(2);
    }
}

void measureReading(int32_t handle) {
    const JORN_REQUIRE open = {20, 1, -1, -1, -1, -1, -1};
    static JORN_LOG_PAGE page;
    int32_t count = 0;
    measure("count", [&] { count = JORN_CountRequireTotalNum(handle, open); });
    CHECK(count > 10000);
    measure("page-newest", [&] { CHECK(JORN_GetRequireLog(handle, open, &page) == 1); });
    JORN_REQUIRE oldest = open;
    oldest.pageDisp = -1;
    measure("page-oldest", [&] { CHECK(JORN_GetRequireLog(handle, oldest, &page) == (count + 19) / 20); });
}

void measureTimes(int32_t handle) {
    uint32_t time = 0;
    measure("final-time", [&] { JORN_GetFinalCsvTime(handle, &time); });
    CHECK(time > kBegin);
    measure("max-time", [&] { JORN_GetMaxCsvTime(&time); });
    CHECK(time > kBegin);
    measure("print-level", [] { jorn_SetDebugPrintLevel(1); });
}

/// Two files, so that a count reads both ends of its range.
void measureFullFile() {
    int32_t handle = JORN_Create("/yaffs/full", 8, 2);
    for (int item = 1; item < JORN_CSV_ITEM_MAX; ++item) {
        CHECK(JORN_AddOneLog(handle, 1, 5, "the door of the second hall is open") == 0);
        if (item % kBatch == 0 || item == JORN_CSV_ITEM_MAX - 1) {
            passes(1);
        }
    }
    passes(1);
    const JORN_REQUIRE wanted = {20, 1, -1, -1, 2, 1, -1};
    const JORN_REQUIRE all = {20, 1, -1, -1, -1, -1, -1};
    static JORN_LOG_PAGE page;
    measure(
        "count-a-line-read", [=] { CHECK(JORN_CountRequireTotalNum(handle, wanted) == 0); },
        JORN_CSV_ITEM_MAX);
    // Its file is read for the count, and again up to the page.
    measure(
        "page-a-line-read", [=] { CHECK(JORN_GetRequireLog(handle, all, &page) == 1); },
        2 * JORN_CSV_ITEM_MAX);
    CHECK(JORN_Destroy(handle) == 0);
    measure(
        "start-up-a-line", [&] { handle = JORN_Create("/yaffs/full", 8, 2); }, JORN_CSV_ITEM_MAX);
    CHECK(JORN_Destroy(handle) == 0);
}

}  // namespace

void runCosts(const char *arguments) {
    boardSetStack("tLogStore", atoi(arguments));
    boardSetTime(kBegin);
    mountBlank();
    jorn_SetDebugPrintLevel(1);
    int32_t handle = 0;
    measure("creation-blank", [&] { handle = JORN_Create(kDirectory, 8, 3); });
    CHECK(handle > 0);
    passes(2);
    measureSubmissions(handle);
    measureStoring(handle, "store-an-item-20", 20);
    measureStoring(handle, "store-an-item-198", 198);
    fill(handle);
    CHECK(boardFlashErases() > 0);
    report("store-task", boardStackUsed("tLogStore"), 0);
    measureReading(handle);
    measure("clearing", [=] { CHECK(JORN_ClearAllLog(handle, 0) == 0); });
    measure("destruction", [=] { CHECK(JORN_Destroy(handle) == 0); });
    measure("creation-with-items", [&] { handle = JORN_Create(kDirectory, 8, 3); });
    measureTimes(handle);
    passes(2);
    submit(handle, 1, "door closed");
    passes(1);
    CHECK(boardOpenFiles() == 1);
    measure("destruction-file-open", [=] { CHECK(JORN_Destroy(handle) == 0); });
    measureFullFile();
    CHECK(boardOpenFiles() == 0);
}
