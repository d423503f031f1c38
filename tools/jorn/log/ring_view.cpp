// SPDX-License-Identifier: Apache-2.0
#include "log/ring_view.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "log/regular_file.h"
#include "system/failure.h"
#include "system/file_bytes.h"

namespace tool {
namespace {

/// The index is unreadable for a moment while a writer replaces it; a look at that moment is repeated.
RingLook lookBetweenRewrites(const StoreDirectory &directory) {
    constexpr int kTries = 20;
    constexpr useconds_t kPauseMicroseconds = 1000;
    for (int tries = 1;; ++tries) {
        RingLook look(directory);
        if (look.index().positions() || look.highestFile() < 0 || tries == kTries) {
            return look;
        }
        usleep(kPauseMicroseconds);
    }
}

/// Up to this many bytes at the start of a file identify it: dozens of items with their times.
constexpr size_t kBeginSize = 4096;

/// And this many at its end: at least an item. Together with the start they show that everything in between
/// is the same, even when all items have the same text and only their times differ.
constexpr size_t kEndSize = jorn::kLineMax;

uint64_t sizeOf(const FileMark &mark) { return static_cast<uint64_t>(mark.size); }

size_t atMost(uint64_t size, size_t most) { return static_cast<size_t>(std::min<uint64_t>(size, most)); }

/// Where the kept end of a file begins.
uint64_t beginOfEnd(const FileMark &mark) { return sizeOf(mark) - atMost(sizeOf(mark), kEndSize); }

/// Whether a file, as opened, is what it was before and what its name refers to now. Growth of the newest one
/// is no change.
bool isUnchanged(const RingFile &file, const FileMark &before, const FileMark &now) {
    const bool isOne = isSameFile(before, file.mark) && isSameFile(file.mark, now);
    if (file.isNewest) {
        return isOne && before.size <= file.mark.size && file.mark.size <= now.size && file.isStill();
    }
    return before == file.mark && file.mark == now;
}

}  // namespace

bool RingFile::isStill() const {
    return sizeOf(markOf(file.get())) >= sizeOf(mark) && bytesAt(file.get(), 0, begin.size()) == begin &&
           bytesAt(file.get(), beginOfEnd(mark), end.size()) == end;
}

RingView::RingView(const StoreDirectory &directory, std::optional<int> ringSize, Opening opening)
    : RingView(openStill(directory, ringSize, opening)) {}

RingView::RingView(const StoreDirectory &directory, std::optional<int> ringSize, Opening opening,
                   RingLook look)
    : directory_(directory),
      look_(std::move(look)),
      ringSize_(ringSize.value_or(look_.smallestRing())),
      plan_(look_.planFor(ringSize_)) {
    jorn_SetDebugPrintLevel(0);  // The module prints on standard output, which belongs to the items.
    summarisePlan();
    noteState();
    placeFiles(opening);
}

RingView RingView::openStill(const StoreDirectory &directory, std::optional<int> ringSize, Opening opening) {
    constexpr int kTries = 100;
    constexpr useconds_t kPauseMicroseconds = 1000;
    for (int tries = 1; tries <= kTries; ++tries) {
        if (std::optional<RingView> view = openOnce(directory, ringSize, opening)) {
            return std::move(*view);
        }
        usleep(kPauseMicroseconds);
    }
    throw Failure(directory.path() + ": the ring moved on during each of " + std::to_string(kTries) +
                  " attempts to open it; nothing is shown; try again");
}

std::optional<RingView> RingView::openOnce(const StoreDirectory &directory, std::optional<int> ringSize,
                                           Opening opening) {
    RingView view(directory, ringSize, opening, lookBetweenRewrites(directory));
    return view.isCurrent() ? std::make_optional(std::move(view)) : std::nullopt;
}

void RingView::summarisePlan() {
    for (int32_t position = 0; position < jorn::kSurveySize; ++position) {
        const int32_t target = plan_.moveTable[position];
        if (target == jorn::kSurplus) {
            ++deleted_;
        } else if (target != position) {
            ++moved_;
        }
    }
}

void RingView::noteState() {
    if (!look_.index().positions() && look_.highestFile() >= 0) {
        damage_.addText(directory_.path() +
                        ": the index is missing or damaged: only the items of 0.csv are in view, as for "
                        "the store itself; see jorn check");
    }
    if (moved_ > 0 || deleted_ > 0) {
        notes_.push_back(directory_.path() + ": not tidy: the store's next start would rename " +
                         std::to_string(moved_) + " and delete " + std::to_string(deleted_) +
                         " of its files; the items shown are those that it would see then");
    }
}

void RingView::placeFiles(Opening opening) {
    const FilePresence isPresent = look_.presence();
    std::array<int, jorn::kSurveySize> numberAt{};
    numberAt.fill(-1);
    for (int32_t number = 0; number < jorn::kSurveySize; ++number) {
        const int32_t target = plan_.moveTable[number];
        if (isPresent[static_cast<size_t>(number)] && target != jorn::kSurplus) {
            numberAt[static_cast<size_t>(target)] = number;
        }
    }
    const jorn::Ring ring = {ringSize_, plan_.oldest, plan_.latest};
    const jorn::RingRange range = ring.range();
    for (int32_t i = range.oldest; i <= range.latest; ++i) {
        RingFile file;
        file.position = ring.position(i);
        file.number = numberAt[static_cast<size_t>(file.position)];
        file.isNewest = i == range.latest;
        file.isToOpen = opening == Opening::WhenRead && !file.isNewest;
        if (file.number >= 0) {
            file.path = directory_.pathOf(dataFileName(file.number));
            files_.push_back(std::move(file));
        }
    }
    for (RingFile &file : files_) {
        if (!file.isToOpen) {
            openRingFile(directory_, &file, &damage_);
        }
    }
}

const RingFile &RingView::file(size_t index, DamageLog *damage) const {
    RingFile &file = files_[index];
    if (file.isToOpen) {
        file.isToOpen = false;
        openFileLate(&file, damage);
    }
    return file;
}

bool openRingFile(const StoreDirectory &directory, RingFile *file, DamageLog *damage) {
    try {
        file->file = openRegular(directory, dataFileName(file->number));
    } catch (const Failure &failure) {
        damage->addText(std::string(failure.what()) + "; its items are left out");
        return false;
    }
    if (file->file.isOpen()) {
        file->mark = markOf(file->file.get());
        file->size = sizeOf(file->mark);
        file->begin = bytesAt(file->file.get(), 0, atMost(file->size, kBeginSize));
        file->end = bytesAt(file->file.get(), beginOfEnd(file->mark), atMost(file->size, kEndSize));
    }
    return true;
}

/// Only the newest file grows, so any other is unchanged since the look, or a writer has reached it.
void RingView::openFileLate(RingFile *file, DamageLog *damage) const {
    if (!openRingFile(directory_, file, damage)) {
        return;
    }
    const FileMark &before = look_.look().files[static_cast<size_t>(file->number)].target.mark;
    if (!file->file.isOpen() || !isUnchanged(*file, before, markOf(file->file.get()))) {
        damage->addLoss(file->path);
        file->file = Descriptor();
    }
}

void RingView::settleEnd() {
    for (RingFile &file : files_) {
        if (file.isNewest && file.file.isOpen()) {
            settleEndOf(&file);
        }
    }
}

void RingView::settleEndOf(RingFile *file) {
    constexpr int kTries = 20;
    constexpr useconds_t kPauseMicroseconds = 10000;
    const std::string &end = file->end;
    const uint64_t endBegin = beginOfEnd(file->mark);
    const size_t feed = end.rfind('\n');
    if (endBegin + end.size() < file->size || feed == std::string::npos || feed + 1 == end.size()) {
        return;
    }
    const auto isGrowing = [file] { return sizeOf(markOf(file->file.get())) > file->size; };
    bool hasGrown = isGrowing();
    for (int tries = 1; tries < kTries && !hasGrown; ++tries) {
        usleep(kPauseMicroseconds);
        hasGrown = isGrowing();
    }
    file->size = hasGrown ? endBegin + feed + 1 : file->size;
}

bool RingView::isCurrent() const {
    if (!index().isStill(directory_)) {
        return false;
    }
    const DataFileEntries now = lookAtDataFiles(directory_);
    const auto isSame = [](const NamedEntry &a, const NamedEntry &b) {
        return isSameFile(a.target.mark, b.target.mark);
    };
    const DataFileEntries &before = look_.look().files;
    if (!std::equal(now.begin(), now.end(), before.begin(), isSame)) {
        return false;
    }
    return std::all_of(files_.begin(), files_.end(), [&](const RingFile &file) {
        const auto number = static_cast<size_t>(file.number);
        return !file.file.isOpen() || isUnchanged(file, before[number].target.mark, now[number].target.mark);
    });
}

}  // namespace tool
