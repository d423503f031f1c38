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

/// What became of each item matters where some may still have to be sent, and where others may have come
/// since.
void dropDetails(Numbering *numbering) {
    std::vector<KnownFile> &files = numbering->files;
    const auto newest =
        std::find_if(files.rbegin(), files.rend(), [](const KnownFile &known) { return known.isNumbered(); });
    const auto kept = newest == files.rend() ? newest : newest + 1;
    for (auto file = kept == files.rend() ? kept : kept + 1; file != files.rend(); ++file) {
        if (!file->isOpen()) {
            file->shape.dropDetails();
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
    return const_cast<KnownFile *>(std::as_const(*this).file(number));
}

const KnownFile *Numbering::file(int number) const {
    const auto found = std::find_if(files.begin(), files.end(),
                                    [number](const KnownFile &known) { return known.number == number; });
    return found == files.end() ? nullptr : &*found;
}

KnownFile *Numbering::fileOrNew(int number) {
    if (KnownFile *const known = file(number)) {
        return known;
    }
    files.emplace_back().number = number;
    return &files.back();
}

const KnownFile *Numbering::newest() const {
    const auto newest =
        std::find_if(files.rbegin(), files.rend(), [](const KnownFile &known) { return known.isNumbered(); });
    return newest == files.rend() ? nullptr : &*newest;
}

void Numbering::forget(int number) {
    files.erase(std::remove_if(files.begin(), files.end(),
                               [number](const KnownFile &known) { return known.number == number; }),
                files.end());
}

void Numbering::replace(int number) {
    replaced = *file(number);
    replaced->shape.dropDetails();
    forget(number);
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
    dropDetails(&result.current());
    return result;
}

LogCursor arrived(const LogCursor &reached) {
    LogCursor result = reached;
    changeState(&result, ItemState::Sent, ItemState::Arrived);
    dropDetails(&result.current());
    return result;
}

}  // namespace tool
