// SPDX-License-Identifier: Apache-2.0
#include "cursor/numbering.h"

#include <algorithm>
#include <utility>

namespace tool {
namespace {

/// So many epochs are known again.
constexpr size_t kEpochs = 4;

/// What is kept of the epoch that `reached` is in; empty when nothing is yet.
Numbering keptOf(const LogCursor &kept, uint64_t epoch) {
    const auto found = std::find_if(kept.epochs.begin(), kept.epochs.end(),
                                    [epoch](const Numbering &numbering) { return numbering.epoch == epoch; });
    if (found != kept.epochs.end()) {
        return *found;
    }
    Numbering fresh;
    fresh.epoch = epoch;
    return fresh;
}

/// One that goes on where the last one ended, without a gap in the numbers, takes its place.
void addAttempt(std::vector<Attempt> *attempts, Attempt next) {
    if (!attempts->empty() && next.first <= attempts->back().last) {
        next.first = attempts->back().first;
        attempts->back() = std::move(next);
    } else {
        attempts->push_back(std::move(next));
    }
}

}  // namespace

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
    LogCursor result = kept;
    result.directory = reached.directory;
    result.gaps = reached.gaps;
    result.lost = reached.lost;
    result.stamp.clear();
    const Numbering &end = reached.current();
    Numbering numbering = keptOf(kept, end.epoch);
    if (end.seq > numbering.highest() && end.place) {
        addAttempt(&numbering.attempts, {end.begun, end.seq, *end.place});
    }
    enterEpoch(&result, std::move(numbering));
    return result;
}

LogCursor arrived(const LogCursor &kept, const LogCursor &reached) {
    LogCursor result = reached;
    const Numbering before = keptOf(kept, reached.current().epoch);
    std::vector<Attempt> &attempts = result.current().attempts = before.attempts;
    attempts.erase(
        std::remove_if(attempts.begin(), attempts.end(),
                       [&](const Attempt &attempt) { return attempt.last <= result.current().seq; }),
        attempts.end());
    return result;
}

}  // namespace tool
