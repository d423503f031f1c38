// SPDX-License-Identifier: Apache-2.0
#include "cursor/place_match.h"

#include <algorithm>

namespace tool {
namespace {

using Kind = PlaceMatch::Kind;

/// Fewer equal items in a row show nothing about where they are.
constexpr size_t kFewest = 8;

uint64_t chainOf(const std::vector<uint64_t> &hashes, uint64_t items) {
    uint64_t chain = kChainStart;
    for (uint64_t i = 0; i < items; ++i) {
        chain = chained(chain, hashes[static_cast<size_t>(i)]);
    }
    return chain;
}

bool isSame(uint32_t known, uint64_t hash) { return known == static_cast<uint32_t>(hash); }

/// After the last items before the place, wherever they are; nothing when they are there more than once.
std::optional<PlaceMatch> matchLast(const Place &place, const std::vector<uint64_t> &hashes) {
    const std::vector<uint32_t> &last = place.last;
    if (last.size() < kFewest) {
        return std::nullopt;
    }
    const auto found = std::search(hashes.begin(), hashes.end(), last.begin(), last.end(),
                                   [](uint64_t hash, uint32_t known) { return isSame(known, hash); });
    if (found == hashes.end() ||
        std::search(found + 1, hashes.end(), last.begin(), last.end(),
                    [](uint64_t hash, uint32_t known) { return isSame(known, hash); }) != hashes.end()) {
        return std::nullopt;
    }
    const uint64_t items = static_cast<uint64_t>(found - hashes.begin()) + last.size();
    return PlaceMatch{Kind::Moved, items, 0, 0};
}

/// How many of the items known one by one are still there, after `begin` others.
uint64_t leftOfLast(const Place &place, const std::vector<uint64_t> &hashes, uint64_t begin) {
    uint64_t left = 0;
    while (left < place.last.size() && begin + left < hashes.size() &&
           isSame(place.last[static_cast<size_t>(left)], hashes[static_cast<size_t>(begin + left)])) {
        ++left;
    }
    return left;
}

bool hasMark(const Place &place, const std::vector<uint64_t> &hashes, size_t number) {
    const uint64_t items = markAt(place.before.items, number);
    return items > 0 && number < place.marks.size() && items <= hashes.size() &&
           place.marks[number] == static_cast<uint32_t>(chainOf(hashes, items));
}

/// The file has lost its end.
std::optional<PlaceMatch> matchCut(const Place &place, const std::vector<uint64_t> &hashes) {
    const uint64_t begin = place.before.items - place.last.size();
    const uint64_t left = begin == 0 || hasMark(place, hashes, 0) ? leftOfLast(place, hashes, begin) : 0;
    if (left > 0 || hasMark(place, hashes, 0)) {
        return PlaceMatch{Kind::Cut, begin + left, place.last.size() - left, 0};
    }
    for (size_t number = 1; number < place.marks.size(); ++number) {
        if (hasMark(place, hashes, number)) {
            const uint64_t items = markAt(place.before.items, number);
            const uint64_t next = markAt(place.before.items, number - 1);
            return PlaceMatch{Kind::Vague, items, place.before.items - items,
                              std::min<uint64_t>(next, hashes.size()) - items};
        }
    }
    return std::nullopt;
}

}  // namespace

FileSum sumOf(const std::vector<uint64_t> &hashes) { return {hashes.size(), chainOf(hashes, hashes.size())}; }

bool beginsWith(const std::vector<uint64_t> &hashes, const FileSum &sum) {
    return sum.items <= hashes.size() && chainOf(hashes, sum.items) == sum.chain;
}

std::optional<PlaceMatch> matchPlace(const Place &place, const std::vector<uint64_t> &hashes) {
    if (beginsWith(hashes, place.before)) {
        return PlaceMatch{Kind::Whole, place.before.items, 0, 0};
    }
    if (const auto match = matchLast(place, hashes)) {
        return match;
    }
    return matchCut(place, hashes);
}

PlaceMatch matchLostPlace(const Place &place, const std::vector<uint64_t> &hashes) {
    const uint64_t earliest = place.marks.empty() ? 0 : markAt(place.before.items, place.marks.size() - 1);
    return {Kind::Vague, 0, place.before.items, std::min<uint64_t>(earliest, hashes.size())};
}

}  // namespace tool
