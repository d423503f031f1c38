// SPDX-License-Identifier: Apache-2.0
#include "cursor/numbering.h"

#include <algorithm>
#include <utility>

namespace tool {
namespace {

/// So many epochs are known again.
constexpr size_t kEpochs = 4;

void changeState(LogCursor *cursor, ItemState from, ItemState to) {
    for (Numbering &numbering : cursor->epochs) {
        for (KnownFile &file : numbering.files) {
            file.numbered.change(from, to);
        }
    }
}

/// Only the newest files lose their ends.
void dropOldTails(Numbering *numbering) {
    constexpr size_t kTails = 2;
    std::vector<KnownFile> &files = numbering->files;
    for (size_t i = 0; i + kTails < files.size(); ++i) {
        if (!files[i].numbered.has(ItemState::Pending)) {
            files[i].tail = {};
        }
    }
}

}  // namespace

uint64_t Numbering::pending() const {
    uint64_t items = 0;
    for (const KnownFile &file : files) {
        items += file.numbered.count(ItemState::Pending);
    }
    return items;
}

KnownFile *Numbering::file(int number) {
    if (!files.empty() && files.back().number == number) {
        return &files.back();  // Nearly always.
    }
    const auto found = std::find_if(files.begin(), files.end(),
                                    [number](const KnownFile &known) { return known.number == number; });
    return found == files.end() ? nullptr : &*found;
}

KnownFile *Numbering::fileAtEnd(int number) {
    if (!files.empty() && files.back().number == number) {
        return &files.back();
    }
    KnownFile last;
    last.number = number;
    if (const KnownFile *const known = file(number)) {
        last = *known;
        forget(number);
    }
    files.push_back(std::move(last));
    return &files.back();
}

void Numbering::forget(int number) {
    files.erase(std::remove_if(files.begin(), files.end(),
                               [number](const KnownFile &known) { return known.number == number; }),
                files.end());
}

void enterEpoch(LogCursor *cursor, Numbering numbering) {
    std::vector<Numbering> &epochs = cursor->epochs;
    epochs.erase(std::remove_if(epochs.begin(), epochs.end(),
                                [&](const Numbering &other) { return other.epoch == numbering.epoch; }),
                 epochs.end());
    epochs.push_back(std::move(numbering));
    if (epochs.size() > kEpochs) {
        epochs.erase(epochs.begin());
    }
}

LogCursor attempted(const LogCursor &kept, const LogCursor &reached) {
    LogCursor result = reached;
    result.shipped = kept.shipped;
    result.time = kept.time;
    result.damaged = kept.damaged;
    result.stamp.clear();
    changeState(&result, ItemState::Sent, ItemState::Pending);
    dropOldTails(&result.current());
    return result;
}

LogCursor arrived(const LogCursor &reached) {
    LogCursor result = reached;
    changeState(&result, ItemState::Sent, ItemState::Arrived);
    dropOldTails(&result.current());
    return result;
}

}  // namespace tool
