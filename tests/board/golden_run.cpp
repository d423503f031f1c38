// SPDX-License-Identifier: Apache-2.0
// The golden lives on the board. What they leave goes to a folder of the host, which compares it: "golden
// FOLDER".
#include <golden/lives.h>
#include <jorn.h>
#include <stdio.h>
#include <string.h>

#include <initializer_list>

#include "clock.h"
#include "kernel.h"
#include "libc_glue.h"
#include "machine.h"
#include "programs.h"

namespace {

constexpr uint32_t kTimeOfTheModule = 1700000000;

const char *target;
int pages;

const char *pathOf(const char *relative) {
    static char path[64];
    snprintf(path, sizeof path, "/yaffs/%s", relative);
    return path;
}

void settle() { passes(2); }

void show(const char *text) { boardHostWrite(pages, text, strlen(text)); }

constexpr golden::Place kPlace = {boardSetTime, settle, pathOf, show};

int openTarget(const char *name) {
    char path[160];
    snprintf(path, sizeof path, "%s/%s", target, name);
    const int file = boardHostOpen(path);
    CHECK(file >= 0);
    return file;
}

/// Files of a directory, as "AS.NAME" in the host's folder.
void copyOut(const char *name, void *as) {
    static char bytes[2048];
    char path[320];
    snprintf(path, sizeof path, "%s.%s", strrchr(static_cast<const char *>(as), '/') + 1,
             strrchr(name, '/') + 1);
    const int to = openTarget(path);
    FILE *const from = fopen(name, "r");
    for (size_t got = fread(bytes, 1, sizeof bytes, from); got > 0;
         got = fread(bytes, 1, sizeof bytes, from)) {
        boardHostWrite(to, bytes, got);
    }
    fclose(from);
    boardHostClose(to);
}

void keep(const char *folder, const char *as) {
    char name[64];
    snprintf(name, sizeof name, "/%s", as);
    boardEachFile(pathOf(folder), copyOut, name);
}

void leadLivesOfFiles() {
    const int32_t first = golden::createFirst(kPlace);
    const int32_t last = golden::createLast(kPlace);
    keep("first", "first");
    keep("last", "last");
    pages = openTarget("pages.txt");
    golden::showAllPages(kPlace, first, last);
    boardHostClose(pages);
    CHECK(JORN_Destroy(first) == 0);
    pages = openTarget("pages-after-restart.txt");
    const int32_t again = golden::recreateFirst(kPlace);
    golden::showFirstQuery(kPlace, again);
    boardHostClose(pages);
    CHECK(JORN_Destroy(again) == 0);
    CHECK(JORN_Destroy(last) == 0);
}

void leadLivesOfRings() {
    boardSetTime(kTimeOfTheModule);
    const int32_t ring = golden::createAndRotate(kPlace);
    keep("ring", "rotated");
    golden::clearRing(kPlace, ring);
    keep("ring", "cleared");
    CHECK(JORN_Destroy(ring) == 0);
    const int32_t gaps = golden::createOverGaps(kPlace);
    keep("gaps", "tidied");
    CHECK(JORN_Destroy(gaps) == 0);
}

void leadLivesAloud() {
    for (const int level : {1, 4, 7, 8}) {
        char folder[16];
        snprintf(folder, sizeof folder, "aloud%d", level);
        CHECK(jorn_MakeDirectory(pathOf(folder)) >= 0);
        printf("<<console-%d\n", level);
        CHECK(golden::liveAloud(kPlace, pathOf(folder), level));
        printf(">>\n");
    }
    jorn_SetDebugPrintLevel(0);
}

}  // namespace

void runGolden(const char *arguments) {
    target = arguments;
    mountBlank();
    leadLivesOfFiles();
    leadLivesOfRings();
    leadLivesAloud();
    CHECK(boardOpenFiles() == 0);
}
