// SPDX-License-Identifier: Apache-2.0
#include "health/diagnosis.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

#include "health/ring_memory.h"
#include "module_limits.h"
#include "system/failure.h"
#include "system/temporary.h"

namespace tool {
namespace {

constexpr int kTries = 20;
constexpr useconds_t kPauseMicroseconds = 20000;

void scanFile(const StoreDirectory &directory, int position, Diagnosis *diagnosis) {
    diagnosis->scans.erase(position);
    diagnosis->unreadable.erase(position);
    try {
        diagnosis->scans[position] = scanDataFile(openQuietly(directory, dataFileName(position)).get());
    } catch (const std::system_error &error) {
        diagnosis->unreadable[position] = error.code().message();
    } catch (const Failure &failure) {
        diagnosis->unreadable[position] = failure.what();
    }
}

/// Reads the files that have changed since they were last read.
void scanChanged(const StoreDirectory &directory, const DirectoryLook &look, Diagnosis *diagnosis) {
    for (int position = 0; position < jorn::kSurveySize; ++position) {
        const auto i = static_cast<size_t>(position);
        const bool isKnown = diagnosis->scans.count(position) + diagnosis->unreadable.count(position) > 0;
        if (!look.files[i].itself.isFile()) {
            diagnosis->scans.erase(position);
            diagnosis->unreadable.erase(position);
        } else if (!isKnown || !(look.files[i].itself == diagnosis->look.files[i].itself)) {
            scanFile(directory, position, diagnosis);
        }
    }
    diagnosis->look = look;
}

/// Existing lines of a file do not change while the store appends to it.
bool isSameOrLonger(const Entry &before, const Entry &after) {
    return before.kind == after.kind && isSameFile(before.mark, after.mark) &&
           before.mark.size <= after.mark.size;
}

/// Whether the ring is still the one that was read, apart from files that grew, which are stored in
/// `growing`.
bool isSameRing(const DirectoryLook &before, const DirectoryLook &after, std::vector<int> *growing) {
    growing->clear();
    for (size_t i = 0; i < before.files.size(); ++i) {
        if (!isSameOrLonger(before.files[i].itself, after.files[i].itself)) {
            return false;
        }
        if (!(before.files[i].itself == after.files[i].itself)) {
            growing->push_back(static_cast<int>(i));
        }
    }
    return before.index == after.index && before.backup == after.backup &&
           before.otherNames == after.otherNames;
}

void collectFacts(const RingHints &hints, Diagnosis *diagnosis) {
    RingFacts &facts = diagnosis->facts;
    facts.ringSize = hints.files.value_or(smallestRing(diagnosis->look));
    facts.given = hints.range;
    for (size_t i = 0; i < facts.files.size(); ++i) {
        facts.files[i].isPresent = diagnosis->look.files[i].itself.isPresent();
    }
    for (const auto &[position, scan] : diagnosis->scans) {
        FileFacts &file = facts.files[static_cast<size_t>(position)];
        file.isPresent = true;
        file.items = scan.items;
        file.firstTime = scan.firstTime;
        file.lastTime = scan.lastTime;
        file.startsCleared = scan.startsCleared;
    }
    const auto inRing = [&facts](std::optional<IndexPositions> positions) {
        return positions && isInRing(*positions, facts.ringSize) ? positions : std::nullopt;
    };
    const auto backup = inRing(diagnosis->look.backup.usablePositions());
    if (diagnosis->look.index.entry.isPresent()) {
        facts.index = inRing(diagnosis->look.index.usablePositions());
    } else if (backup && !hasMovedOn(facts, *backup)) {
        facts.index = backup;  // As the store does, which does not look at items.
    }
    if (!facts.index) {
        facts.backup = backup;
    }
}

void judgeRing(Diagnosis *diagnosis) {
    const RingFacts &facts = diagnosis->facts;
    if (diagnosis->hasStrangeEntries()) {
        diagnosis->order.evidence = "not every data file can be read";
        return;
    }
    if (diagnosis->look.highestFile() >= facts.ringSize) {
        diagnosis->order.evidence = "a ring of " + std::to_string(facts.ringSize) +
                                    " files has no room for " + dataFileName(diagnosis->look.highestFile());
        return;
    }
    if (facts.given && !isInRing(*facts.given, facts.ringSize)) {
        diagnosis->order.evidence = "the positions that were given lie outside a ring of " +
                                    std::to_string(facts.ringSize) + " files";
        return;
    }
    diagnosis->order = findRingOrder(facts);
    if (diagnosis->order.isKnown()) {
        diagnosis->placement = placeFiles(facts, diagnosis->order.files, diagnosis->order.cleared);
    }
}

/// Leftovers in the directory, and of a repair that was building next to it.
std::vector<std::string> findLeftovers(const StoreDirectory &directory) {
    std::vector<std::string> leftovers = abandonedNames(directory.descriptor());
    const Descriptor parent(openat(directory.descriptor(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
    for (const std::string &name : abandonedNames(parent.get())) {
        if (isTemporaryDirectoryName(name)) {
            leftovers.push_back("../" + name);
        }
    }
    return leftovers;
}

bool needsSecondLook(const Diagnosis &diagnosis) { return !countFindings(findingsOf(diagnosis)).isSound(); }

}  // namespace

bool Diagnosis::hasStrangeEntries() const {
    const auto isStrange = [](const Entry &entry) { return entry.isPresent() && !entry.isFile(); };
    return !unreadable.empty() || isStrange(look.index.entry) || isStrange(look.backup.entry) ||
           std::any_of(look.files.begin(), look.files.end(),
                       [&](const NamedEntry &file) { return isStrange(file.itself); });
}

bool Diagnosis::isIndexWhole() const {
    const auto positions = look.index.usablePositions();
    return positions && isInRing(*positions, facts.ringSize);
}

int smallestRing(const DirectoryLook &look) {
    return smallestRingFor(look.presence(), {look.index.usablePositions(), look.backup.usablePositions()});
}

int64_t Diagnosis::items() const {
    int64_t sum = 0;
    for (const auto &[position, scan] : scans) {
        sum += scan.items;
    }
    return sum;
}

void judge(const RingHints &hints, Diagnosis *diagnosis) {
    diagnosis->facts = {};
    diagnosis->order = {};
    diagnosis->placement.reset();
    collectFacts(hints, diagnosis);
    judgeRing(diagnosis);
}

Diagnosis diagnose(const StoreDirectory &directory, const RingHints &hints,
                   const std::function<void()> &whenRead) {
    Diagnosis diagnosis;
    for (int tries = 1; tries <= kTries; ++tries) {
        scanChanged(directory, lookAtAll(directory), &diagnosis);
        judge(hints, &diagnosis);
        if (needsSecondLook(diagnosis)) {
            usleep(kPauseMicroseconds);
        }
        whenRead();
        diagnosis.isSteady = isSameRing(diagnosis.look, lookAtAll(directory), &diagnosis.growing);
        if (diagnosis.isSteady) {
            break;
        }
    }
    diagnosis.leftovers = findLeftovers(directory);
    diagnosis.ringMemoryProblem = RingMemory(directory).problemFor(smallestRing(diagnosis.look));
    return diagnosis;
}

}  // namespace tool
