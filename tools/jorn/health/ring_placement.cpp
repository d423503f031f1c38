// SPDX-License-Identifier: Apache-2.0
#include "health/ring_placement.h"

#include <algorithm>

#include "ring.h"

namespace tool {
namespace {

bool contains(const std::vector<int> &positions, int position) {
    return std::find(positions.begin(), positions.end(), position) != positions.end();
}

/// Whether the store's start-up, with a ring of this size, leaves files and index as they are.
bool isTidy(const RingFacts &facts, const IndexPositions &positions, int ringSize) {
    FilePresence files{};
    std::transform(facts.files.begin(), facts.files.end(), files.begin(),
                   [](const FileFacts &file) { return file.isPresent; });
    if (highestOf(files) < 0) {
        return positions == IndexPositions{0, 0};
    }
    const jorn::TidyingPlan plan = tidyingPlanOf(files, positions, ringSize);
    for (int32_t position = 0; position < jorn::kSurveySize; ++position) {
        if (plan.moveTable[position] != position) {
            return false;
        }
    }
    return plan.oldest == positions.oldest && plan.latest == positions.latest;
}

/// Whether a range holds the order's files and nothing else. A file without items does no harm at the old
/// end; elsewhere it would end the store's search by days, and at the new end every search.
bool isRangeOf(const RingFacts &facts, const IndexPositions &range, const std::vector<int> &order) {
    if (filesInRange(facts, range) != order) {
        return false;
    }
    if (order.empty()) {
        return true;
    }
    int32_t expected = jorn::ringPosition(facts.ringSize, range.latest);
    for (auto position = order.rbegin(); position != order.rend(); ++position) {
        if (*position != expected) {
            return false;
        }
        expected = jorn::ringPosition(facts.ringSize, expected - 1);
    }
    return true;
}

/// A ring that has not wrapped may be larger than it shows. One that was cleared may have wrapped before.
bool isTidyInAnyRing(const RingFacts &facts, const IndexPositions &positions,
                     const std::vector<int> &cleared) {
    const bool mayHaveWrapped = positions.latest < positions.oldest || !cleared.empty();
    return isTidy(facts, positions, facts.ringSize) &&
           (mayHaveWrapped || isTidy(facts, positions, jorn::kSurveySize));
}

std::vector<int> filesWithoutItems(const RingFacts &facts) {
    std::vector<int> positions;
    for (int position = 0; position < jorn::kSurveySize; ++position) {
        const FileFacts &file = facts.files[static_cast<size_t>(position)];
        if (file.isPresent && !file.hasItems()) {
            positions.push_back(position);
        }
    }
    return positions;
}

RingFacts without(RingFacts facts, const std::vector<int> &dropped) {
    for (const int position : dropped) {
        facts.files[static_cast<size_t>(position)] = {};
    }
    return facts;
}

Placement layOut(const std::vector<int> &order, const std::vector<int> &cleared, std::vector<int> dropped) {
    std::vector<int> all = cleared;
    all.insert(all.end(), order.begin(), order.end());
    Placement placement;
    placement.positions = {static_cast<int32_t>(cleared.size()),
                           std::max(static_cast<int32_t>(all.size()) - 1, 0)};
    placement.dropped = std::move(dropped);
    for (size_t target = 0; target < all.size(); ++target) {
        if (all[target] != static_cast<int>(target)) {
            placement.moves.push_back({all[target], static_cast<int>(target)});
        }
    }
    return placement;
}

}  // namespace

std::optional<int> Placement::targetOf(int position) const {
    if (contains(dropped, position)) {
        return std::nullopt;
    }
    const auto move = std::find_if(moves.begin(), moves.end(), [position](const FileMove &candidate) {
        return candidate.from == position;
    });
    return move == moves.end() ? position : move->to;
}

std::optional<Placement> placeFiles(const RingFacts &facts, const std::vector<int> &order,
                                    const std::vector<int> &cleared) {
    if (static_cast<int>(order.size() + cleared.size()) > facts.ringSize) {
        return std::nullopt;
    }
    if (facts.index && !facts.given && isRangeOf(facts, *facts.index, order) &&
        isTidy(facts, *facts.index, facts.ringSize)) {
        return Placement{*facts.index, {}, {}};
    }
    const IndexPositions ends =
        order.empty() ? IndexPositions{} : IndexPositions{order.front(), order.back()};
    const std::vector<int> empty = filesWithoutItems(facts);
    for (const std::vector<int> &dropped : {std::vector<int>{}, empty}) {
        const RingFacts left = without(facts, dropped);
        if (isRangeOf(left, ends, order) && isTidyInAnyRing(left, ends, cleared)) {
            return Placement{ends, {}, dropped};
        }
    }
    return layOut(order, cleared, empty);
}

}  // namespace tool
