// SPDX-License-Identifier: Apache-2.0
#include "record/ring_fit.h"

#include <errno.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "csvfile/file_summary.h"
#include "health/index_mending.h"
#include "health/ring_memory.h"
#include "health/ring_placement.h"
#include "import/whole_input.h"
#include "jorn.h"
#include "log/regular_file.h"
#include "system/failure.h"

namespace tool {
namespace {

/// Which positions have a file, kept up to date while files are moved.
class Layout {
public:
    Layout(const StoreDirectory &directory, const RingLook &look)
        : directory_(directory), isPresent_(look.presence()) {}

    bool isPresent(int position) const { return isPresent_[static_cast<size_t>(position)]; }

    void remove(int position) {
        const std::string name = dataFileName(position);
        if (unlinkat(directory_.descriptor(), name.c_str(), 0) < 0) {
            throw systemFailure(directory_.pathOf(name), errno);
        }
        isPresent_[static_cast<size_t>(position)] = false;
    }

    void rename(const FileMove &move) {
        const std::string from = dataFileName(move.from);
        const std::string to = dataFileName(move.to);
        if (renameat(directory_.descriptor(), from.c_str(), directory_.descriptor(), to.c_str()) < 0) {
            throw systemFailure(directory_.pathOf(from), errno);
        }
        isPresent_[static_cast<size_t>(move.from)] = false;
        isPresent_[static_cast<size_t>(move.to)] = true;
    }

private:
    const StoreDirectory &directory_;
    FilePresence isPresent_;
};

int deleteSurplus(const jorn::TidyingPlan &plan, Layout *layout) {
    int deleted = 0;
    for (int position = 0; position < jorn::kSurveySize; ++position) {
        if (plan.moveTable[position] == jorn::kSurplus) {
            layout->remove(position);
            ++deleted;
        }
    }
    return deleted;
}

std::vector<FileMove> movesOf(const jorn::TidyingPlan &plan) {
    std::vector<FileMove> moves;
    for (int position = 0; position < jorn::kSurveySize; ++position) {
        const int target = plan.moveTable[position];
        if (target != position && target != jorn::kSurplus) {
            moves.push_back({position, target});
        }
    }
    return moves;
}

/// How many positions the start-up visits, from the newest file downward, before it reaches this one.
int positionsBefore(int position, int newest) {
    return (newest - position + jorn::kSurveySize) % jorn::kSurveySize;
}

/// Whether the move takes its file neither past another one nor onto one. The former index stays in force
/// until all moves are done: with it, a start after a cut still finds the files in their order.
bool keepsOrder(const FileMove &move, int newest, const Layout &layout) {
    const auto [first, last] =
        std::minmax({positionsBefore(move.from, newest), positionsBefore(move.to, newest)});
    for (int position = 0; position < jorn::kSurveySize; ++position) {
        const int before = positionsBefore(position, newest);
        const bool isOnTheWay = position != move.from && before >= first && before <= last;
        if (isOnTheWay && layout.isPresent(position)) {
            return false;
        }
    }
    return true;
}

/// Carries out each move once no file is in its way. There is always such a move: the files keep their
/// order, so of neighbours that move the same way the foremost one is free to move. Returns how many were
/// moved.
int moveFiles(const StoreDirectory &directory, std::vector<FileMove> moves, int newest, Layout *layout) {
    const int moved = static_cast<int>(moves.size());
    while (!moves.empty()) {
        const auto next = std::find_if(moves.begin(), moves.end(), [&](const FileMove &move) {
            return keepsOrder(move, newest, *layout);
        });
        if (next == moves.end()) {
            throw Failure(directory.path() + ": the files cannot be put in order without overwriting one");
        }
        layout->rename(*next);
        *next = moves.back();
        moves.pop_back();
    }
    return moved;
}

/// Deletes a backup that a cut has left, as the store would when it rewrites the index.
void replaceIndex(const StoreDirectory &directory, const IndexPositions &positions) {
    writeIndex(directory, positions);
    unlinkat(directory.descriptor(), kIndexBackupName, 0);
}

/// Number of items in a data file that the store continues with.
uint64_t itemsIn(const StoreDirectory &directory, int position) {
    const Descriptor file = openRegular(directory, dataFileName(position));
    return file.isOpen() ? linesLeft(file.get()).value_or(0) : 0;
}

}  // namespace

std::string shrinkingOf(const RingLook &look, std::optional<int> requested) {
    const int needed = look.highestFile() + 1;
    if (!requested || *requested >= needed) {
        return "";
    }
    return "holds a ring of " + std::to_string(needed) + " files or more, and --files " +
           std::to_string(*requested) + " may delete the oldest of them";
}

void refuseSmallerRing(const StoreDirectory &directory, const RingLook &look, std::optional<int> requested,
                       bool mayShrink) {
    const std::string shrinking = shrinkingOf(look, requested);
    if (!shrinking.empty() && !mayShrink) {
        refuse(directory.path() + ": " + shrinking + "; give --shrink if that is intended");
    }
}

RingSize chooseRingSize(const StoreDirectory &directory, const RingLook &look, std::optional<int> requested,
                        bool mayShrink) {
    if (requested) {
        refuseSmallerRing(directory, look, requested, mayShrink);
        return {*requested, true, ""};
    }
    const RingMemory memory(directory);
    const int smallest = look.smallestRing();
    std::string note = memory.problemFor(look.isFresh() ? 0 : smallest);
    if (!note.empty()) {
        note = directory.pathOf(kRingMemoryName) + ": " + note;
    }
    if (const std::optional<int> remembered = memory.filesFor(look.isFresh() ? 0 : smallest)) {
        return {*remembered, true, note};
    }
    if (look.hasWrapped() || smallest == JORN_CSV_NUM_MAX) {
        return {smallest, true, note};
    }
    return {std::max(kDefaultRingSize, smallest), look.isFresh(), note};
}

Failure unknownSize(const StoreDirectory &directory, const std::string &what) {
    return Failure(directory.path() + ": the ring has not wrapped, so its files do not show its size, and " +
                       what + "; nothing was changed. Give its size with --files",
                   kExitUsage);
}

/// The file after the last existing one may be a new one, or the first one again.
uint64_t roomInCertainFiles(const StoreDirectory &directory, const RingLook &look) {
    const int latest = look.positions().latest;
    constexpr uint64_t kFile = jorn::kCsvItemMax;
    const uint64_t inLatest = kFile - std::min(kFile, itemsIn(directory, latest));
    return inLatest + static_cast<uint64_t>(look.smallestRing() - 1 - latest) * kFile;
}

/// The store adds one item of its own when it starts. When the ring wraps, the file that it began in is
/// dropped as a whole.
uint64_t roomInRing(const StoreDirectory &directory, int ringSize) {
    const uint64_t former = itemsIn(directory, RingLook::ofReadable(directory).planFor(ringSize).latest);
    constexpr uint64_t kFile = jorn::kCsvItemMax;
    return static_cast<uint64_t>(ringSize) * kFile - 1 - (former < kFile ? former : 0);
}

int fitRing(const StoreDirectory &directory, const RingLook &look, int ringSize) {
    const jorn::TidyingPlan plan = look.planFor(ringSize);
    Layout layout(directory, look);
    const int deleted = deleteSurplus(plan, &layout);
    const int changed = deleted + moveFiles(directory, movesOf(plan), plan.firstVisited, &layout);
    if (changed > 0) {
        replaceIndex(directory, {plan.oldest, plan.latest});
    }
    return changed;
}

}  // namespace tool
