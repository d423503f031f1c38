// SPDX-License-Identifier: Apache-2.0
// One workload whose power is cut at every operation in every way, and what is found afterwards.
#ifndef JORN_TESTS_FAULTS_FLASH_CUT_RUN_H
#define JORN_TESTS_FAULTS_FLASH_CUT_RUN_H

#include <array>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "file_calls.h"
#include "history.h"
#include "ledger.h"
#include "life.h"
#include "nand.h"
#include "workloads.h"

namespace flash {

/// What a workload runs on.
struct Platform {
    size_t deviceBuffer = 0;  ///< bytes of a stream's buffer; 0 for the C library's own
    int caches = 0;           ///< pages that the file system keeps in memory
};

/// A cut, and perhaps another one in the life after it. Operations count from 1; a number one above the last
/// is a cut at rest.
struct CutPlace {
    size_t operation = 0;
    Torn torn = Torn::Nothing;
    size_t nestedOperation = 0;  ///< 0: no second cut
    Torn nestedTorn = Torn::Nothing;
};

std::string textOf(const CutPlace &place);

/// What is checked.
enum class Check { Medium, Life, Order, Loss, SecondStart, ChipRules, Room, Count };
constexpr size_t kChecks = static_cast<size_t>(Check::Count);

struct CutOptions {
    size_t nestedEvery = 0;  ///< every n-th image is cut again at each operation of its life; 0: none
    bool isEveryPage = false;
    CutPlace only;  ///< just this one, when its operation is not 0
    Sabotage sabotage = Sabotage::None;
    bool losesOperations =
        false;  ///< sabotage: the last quarter of all operations were reported done but were not
};

/// The counts. Plain data: it is shared between processes and outlives the one that counts.
struct Figures {
    size_t operations = 0;
    size_t erases = 0;
    size_t images = 0;
    size_t nestedImages = 0;
    size_t items = 0;      ///< submitted before the cut, those of the scene included
    size_t openItems = 0;  ///< most items that were in no closed file at a cut
    size_t refusals = 0;   ///< images whose queries answer only after the next item
    size_t seenAgain = 0;  ///< images that show items from before a clearing
    size_t tornLines = 0;  ///< images with a torn last line, or zeros in place of missing bytes
    std::array<size_t, kReasons> lossImages{};  ///< images that lost items for a reason
    std::array<size_t, kReasons> mostLost{};    ///< most items lost for that reason in one image
    std::array<size_t, kChecks> faults{};       ///< by the check that found them
    CutPlace place;                             ///< being examined
    CutPlace faultPlace;
    std::array<char, 1024> fault{};  ///< the first one
};

class CutRun {
public:
    CutRun(const Workload &workload, const Platform &platform, const CutOptions &options, Figures *figures);

    /// Records the life, then cuts it everywhere. Faults are in the figures.
    void run();

private:
    struct Recording {
        std::vector<Operation> operations;
        History history;
    };

    struct Sight {
        std::set<int> inSight;          ///< items that pages show
        std::set<int> inFiles;          ///< items that are in some file
        std::vector<bool> isIndexLost;  ///< by object: now or before
        bool isRefused = false;         ///< queries answer only after the next item
        bool isGapLeft = false;         ///< tidying renamed over a file
    };

    void setScene();
    void record();
    void goOn(const Operation &done, size_t number);
    void cutAt(size_t operation, ShadowWalk *walk);
    void examine(const ShadowWalk &walk, bool isNested);
    bool checkChip(const ShadowWalk &walk);
    Sight lifeAfterCut(const ShadowWalk &walk);
    void secondStart(bool isGapPossible);
    void cutAgain(const Recording &recording, const Shadow &start);
    void examineAgain(const ShadowWalk &walk);
    void createAll(Life *life);
    Sight look(const Life &life) const;
    Sight countLosses(const ShadowWalk &walk, const Life &life);
    Reason reasonFor(int item, const ShadowWalk &walk, const RingModel &model, bool isInFiles) const;
    bool isWanted(size_t operation, Torn torn) const;
    bool isWantedAgain(size_t operation, Torn torn) const;
    void report(Check check, const std::string &fault);
    void lookForBrokenRules();
    Directory readChip() const;
    bool powerOn(Nand *chip);
    PageSample sample(size_t fullUpTo) const;

    const Workload &workload_;
    Platform platform_;
    CutOptions options_;
    Figures *figures_;
    Ledger ledger_;
    Nand image_;                          ///< with the operations before the cut
    Nand chip_;                           ///< the one that lives on after it
    Directory scene_;                     ///< files before the first life, by path
    std::vector<size_t> firstOrdinals_;   ///< by object, the item that comes first in the first life
    std::vector<size_t> secondOrdinals_;  ///< the same for the life after the cut
    std::vector<bool> isIndexLost_;       ///< by object: by the scene or the cut before
    Recording first_;
    Directory found_;  ///< on the chip after the cut, by path
};

}  // namespace flash

#endif
