// SPDX-License-Identifier: Apache-2.0
// The campaign of power cuts: what is kept over a cut, what is stored (cuts.cpp), and how the chip and the
// life after a cut are judged (cut_chip.cpp).
#ifndef JORN_TESTS_BOARD_CUT_CAMPAIGN_H
#define JORN_TESTS_BOARD_CUT_CAMPAIGN_H

#include <stddef.h>
#include <stdint.h>

namespace cuts {

constexpr char kDirectory[] = "/yaffs/cut";
constexpr int kFiles = 2;
constexpr uint32_t kTime = 1700000000;
/// Fits the queue.
constexpr int kBatch = 400;

enum Phase { kCreation, kStoring, kRotation, kWrap, kIndexRewrite, kClearing, kPrograms, kPhases };

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
    /// Of the cut: instructions from the workload's beginning, or number of the flash operation.
    uint64_t at;
    int preparedItems, preparedSize[kFiles];
    char prepared[kFiles][400000];
    Ledger ledger;
    struct {
        int cuts, torn, indexLost, overwritten, cleared, unsaved;  ///< chips of which that is true
    } tally[kPhases];
};
extern Campaign campaign;

/// The line of an item, as it must be in its file.
void makeLine(char *line, size_t size, int item);
/// Submits the next items.
void submit(int32_t handle, int number);
int32_t create();

/// Reads a file of the directory into `content`. Returns its size, or -1.
int readFile(const char *name);
extern char content[];

/// Before the first start after a cut: holds what is on the chip against the ledger. Returns whether the
/// index is lost.
bool checkChip(Phase phase);
/// The next start must create, count and page, and go on; so must the one after it.
void liveOn(Phase phase, bool isIndexLost);

}  // namespace cuts

#endif
