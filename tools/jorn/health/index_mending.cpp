// SPDX-License-Identifier: Apache-2.0
#include "health/index_mending.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <vector>

#include "module_limits.h"
#include "system/failure.h"
#include "system/file_bytes.h"
#include "system/file_replacement.h"

namespace tool {
namespace {

constexpr char kKeptSuffix[] = ".lost";

/// Positions of the files that are not empty.
std::vector<int> filledFiles(const DirectoryLook &look) {
    std::vector<int> filled;
    for (int position = 0; position < jorn::kSurveySize; ++position) {
        const Entry &entry = look.files[static_cast<size_t>(position)].itself;
        if (entry.isPresent() && entry.mark.size > 0) {
            filled.push_back(position);
        }
    }
    return filled;
}

int smallestRing(const DirectoryLook &look, std::initializer_list<std::optional<IndexPositions>> indexes) {
    return smallestRingFor(look.presence(), indexes);
}

bool holdsAll(const IndexPositions &range, const std::vector<int> &files, int ringSize) {
    const std::vector<int> inside = positionsInRange(range, ringSize);
    return std::all_of(files.begin(), files.end(), [&inside](int position) {
        return std::find(inside.begin(), inside.end(), position) != inside.end();
    });
}

/// Whether the store's start can use what the rewrites of the index have left. Where only the backup is
/// there, it becomes the index, which is right unless the ring has moved on since.
bool isGoodEnough(const StoreDirectory &directory) {
    const DirectoryLook look = lookAtAll(directory);
    const std::vector<int> filled = filledFiles(look);
    if (filled.empty()) {
        // Nothing can be lost, but the store would keep whatever it can read of a broken index.
        return look.index.entry.mark.size == 0 || look.index.usablePositions().has_value();
    }
    if (look.index.entry.isPresent()) {
        return look.index.usablePositions().has_value();
    }
    const auto backup = look.backup.usablePositions();
    return backup && holdsAll(*backup, filled, smallestRing(look, {backup})) &&
           diagnose(directory, {}).facts.index;
}

/// Whether a file has enough lines to be full, whatever they hold.
bool mayBeFull(const StoreDirectory &directory, int position) {
    const Descriptor file = openQuietly(directory, dataFileName(position));
    std::vector<char> block(1 << 16);
    int64_t lines = 0;
    int64_t offset = 0;
    while (const size_t length =
               readAt(file.get(), static_cast<uint64_t>(offset), block.data(), block.size())) {
        lines += std::count(block.begin(), block.begin() + static_cast<ptrdiff_t>(length), '\n');
        offset += static_cast<int64_t>(length);
    }
    return lines + 1 >= jorn::kCsvItemMax;
}

/// Whether a whole index may not belong to these files, so that they have to be read. It almost certainly
/// does if it names every file, and its newest one is there and has room.
bool mayBeContradicted(const StoreDirectory &directory, std::optional<int> ringSize) {
    const DirectoryLook look = lookAtAll(directory);
    const auto index = look.index.usablePositions();
    const std::vector<int> filled = filledFiles(look);
    if (!index || filled.empty()) {
        return false;
    }
    const int size = std::max(ringSize.value_or(0), smallestRing(look, {index}));
    const Entry &newest = look.files[static_cast<size_t>(index->latest)].itself;
    return (ringSize && !isInRing(*index, *ringSize)) || !holdsAll(*index, filled, size) ||
           !newest.isFile() || (newest.mark.size > 0 && mayBeFull(directory, index->latest));
}

std::string flawOf(const IndexEntry &index) {
    if (!index.entry.isPresent()) {
        return "missing";
    }
    if (index.entry.mark.size == 0) {
        return "empty";
    }
    return index.positions() ? "beyond any ring" : "not whole";
}

/// Also for an index that the store would use.
std::string flawOf(const Diagnosis &diagnosis) {
    const IndexEntry &index = diagnosis.look.index;
    const auto positions = index.usablePositions();
    if (!positions) {
        return flawOf(index);
    }
    const int ringSize = diagnosis.facts.ringSize;
    return isInRing(*positions, ringSize) ? "at odds with the files"
                                          : "beyond a ring of " + std::to_string(ringSize) + " files";
}

/// The name that keeps what is replaced: a free one, or the one given to it by a start that was cut short.
std::string keptName(const StoreDirectory &directory, const char *name) {
    const Entry former = lookAtEntry(directory, name);
    const std::string first = std::string(name) + kKeptSuffix;
    std::string kept = first;
    for (int number = 2;; ++number) {
        const Entry entry = lookAtEntry(directory, kept);
        if (!entry.isPresent() || (entry.isFile() && isSameFile(entry.mark, former.mark))) {
            return kept;
        }
        kept = first + "-" + std::to_string(number);
    }
}

std::string keptText(const StoreDirectory &directory, const DirectoryLook &look) {
    const std::string index = keptName(directory, kIndexName);
    const std::string backup = keptName(directory, kIndexBackupName);
    if (look.index.entry.isPresent() && look.backup.entry.isPresent()) {
        return index + " and " + backup + " keep the former ones";
    }
    if (look.index.entry.isPresent()) {
        return index + " keeps the former one";
    }
    return look.backup.entry.isPresent() ? backup + " keeps the former backup" : "";
}

/// Files without items that are in the way do not count: the store's start moves them, and loses nothing.
bool keepsItems(const Diagnosis &diagnosis) {
    return diagnosis.placement && diagnosis.placement->moves.empty();
}

bool isCertain(const Diagnosis &diagnosis) {
    return diagnosis.order.isKnown() && diagnosis.order.doubt.empty() && keepsItems(diagnosis);
}

bool isByIndex(const Diagnosis &diagnosis) {
    const RingOrder::Source source = diagnosis.order.source;
    return source == RingOrder::Source::Index || source == RingOrder::Source::Cleared;
}

/// The text as one shell word, quoted only where necessary.
std::string shellWord(const std::string &text) {
    constexpr char kPlain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:@%+,=-";
    if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) {
        return text;
    }
    std::string word = "'";
    for (const char c : text) {
        word += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return word + "'";
}

IndexMending decide(const Diagnosis &diagnosis, const StoreDirectory &directory) {
    IndexMending mending;
    mending.flaw = flawOf(diagnosis);
    mending.kept = keptText(directory, diagnosis.look);
    mending.reason = diagnosis.order.reason();
    if (isByIndex(diagnosis)) {
        return mending;
    }
    if (isCertain(diagnosis)) {
        mending.kind = IndexMending::Kind::Write;
        mending.positions = diagnosis.placement->positions;
        return mending;
    }
    mending.kind = IndexMending::Kind::Unclear;
    mending.advice = "`jorn repair --yes --oldest A --latest B " + shellWord(directory.path()) + "` decides";
    if (diagnosis.order.isKnown() && !keepsItems(diagnosis)) {
        mending.reason = "files would have to be renamed";
        mending.advice = "`jorn repair " + shellWord(directory.path()) + "` shows how";
    }
    return mending;
}

/// The ring that the files need, including index positions that are within the requested size.
int leastRing(const DirectoryLook &look, int requested) {
    const auto within = [requested](const std::optional<IndexPositions> &positions) {
        return positions && isInRing(*positions, requested) ? positions : std::nullopt;
    };
    return smallestRing(look, {within(look.index.usablePositions()), within(look.backup.usablePositions())});
}

/// The size asked for may be the ring's own, or one that the ring is to get while it still has the size that
/// its files need. An index must be right for both, and so must an order. The larger ring decides, except for
/// what shows only in the smaller one, in which the ring has wrapped.
void judgeBySize(std::optional<int> ringSize, Diagnosis *diagnosis) {
    if (!ringSize || *ringSize <= diagnosis->look.highestFile()) {
        return;
    }
    judge({leastRing(diagnosis->look, *ringSize), std::nullopt}, diagnosis);
    Diagnosis larger = *diagnosis;
    judge({ringSize, std::nullopt}, &larger);
    if (isByIndex(larger)) {
        return;
    }
    const bool doAgree = larger.order.isKnown() && larger.order.files == diagnosis->order.files;
    if (isCertain(larger) || (isCertain(*diagnosis) && !doAgree)) {
        *diagnosis = larger;
    }
}

/// Gives the index a second name, so that its own name never goes missing.
void keepIndex(const StoreDirectory &directory) {
    const int fd = directory.descriptor();
    const std::string kept = keptName(directory, kIndexName);
    if (lookAtEntry(directory, kept).isPresent()) {
        return;
    }
    int result = linkat(fd, kIndexName, fd, kept.c_str(), 0);
    if (result < 0 && (errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS)) {
        // A file system without hard links. A cut here leaves no index, which is recovered in the same way.
        result = renameat(fd, kIndexName, fd, kept.c_str());
    }
    if (result < 0 && errno != ENOENT) {
        throw systemFailure(directory.pathOf(kept), errno);
    }
}

/// Once the index is whole, the backup must not be taken for it any more.
void keepBackup(const StoreDirectory &directory) {
    const int fd = directory.descriptor();
    const std::string kept = keptName(directory, kIndexBackupName);
    if (renameat(fd, kIndexBackupName, fd, kept.c_str()) < 0 && errno != ENOENT) {
        throw systemFailure(directory.pathOf(kept), errno);
    }
}

}  // namespace

bool isIndexLost(const StoreDirectory &directory) { return !isGoodEnough(directory); }

IndexMending planIndexMending(const StoreDirectory &directory, std::optional<int> ringSize) {
    if (!isIndexLost(directory) && !mayBeContradicted(directory, ringSize)) {
        return {};
    }
    Diagnosis diagnosis = diagnose(directory, {});
    if (!diagnosis.isSteady || !diagnosis.growing.empty()) {
        throw Failure(directory.path() + ": is being written to; stop its writer first");
    }
    judgeBySize(ringSize, &diagnosis);
    return decide(diagnosis, directory);
}

void writeIndex(const StoreDirectory &directory, const IndexPositions &positions) {
    replaceFile(directory.descriptor(), kIndexName, directory.pathOf(kIndexName), indexTextOf(positions));
}

void mendIndex(const StoreDirectory &directory, const IndexPositions &positions) {
    keepIndex(directory);
    writeIndex(directory, positions);
    keepBackup(directory);
    syncNames(directory.descriptor());
}

}  // namespace tool
