// SPDX-License-Identifier: Apache-2.0
#include "cursor/file_match.h"

#include <algorithm>

namespace tool {
namespace {

using Kind = FileMatch::Kind;

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

/// After the last items, wherever they are; nothing when they are there more than once.
std::optional<FileMatch> matchLast(const FileTail &tail, const std::vector<uint64_t> &hashes) {
    const std::vector<uint32_t> &last = tail.last;
    if (last.size() < kFewest) {
        return std::nullopt;
    }
    const auto isKnown = [](uint64_t hash, uint32_t known) { return isSame(known, hash); };
    const auto found = std::search(hashes.begin(), hashes.end(), last.begin(), last.end(), isKnown);
    if (found == hashes.end() ||
        std::search(found + 1, hashes.end(), last.begin(), last.end(), isKnown) != hashes.end()) {
        return std::nullopt;
    }
    const uint64_t items = static_cast<uint64_t>(found - hashes.begin()) + last.size();
    return FileMatch{Kind::Moved, items, 0};
}

/// How many of the items known one by one are still there, after `begin` others.
uint64_t leftOfLast(const FileTail &tail, const std::vector<uint64_t> &hashes, uint64_t begin) {
    uint64_t left = 0;
    while (left < tail.last.size() && begin + left < hashes.size() &&
           isSame(tail.last[static_cast<size_t>(left)], hashes[static_cast<size_t>(begin + left)])) {
        ++left;
    }
    return left;
}

bool hasMark(const KnownFile &known, const std::vector<uint64_t> &hashes, size_t number) {
    const uint64_t items = markAt(known.sum.items, number);
    return items > 0 && number < known.tail.marks.size() && items <= hashes.size() &&
           isSame(known.tail.marks[number], chainOf(hashes, items));
}

/// The file has lost its end.
std::optional<FileMatch> matchCut(const KnownFile &known, const std::vector<uint64_t> &hashes) {
    const uint64_t begin = known.sum.items - known.tail.last.size();
    const bool hasFirst = begin > 0 && hasMark(known, hashes, 0);
    const uint64_t left = begin == 0 || hasFirst ? leftOfLast(known.tail, hashes, begin) : 0;
    if (left > 0 || hasFirst) {
        return FileMatch{Kind::Cut, begin + left, 0};
    }
    for (size_t number = 1; number < known.tail.marks.size(); ++number) {
        if (hasMark(known, hashes, number)) {
            const uint64_t items = markAt(known.sum.items, number);
            const uint64_t next = markAt(known.sum.items, number - 1);
            return FileMatch{Kind::Vague, items, std::min<uint64_t>(next, hashes.size()) - items};
        }
    }
    return std::nullopt;
}

}  // namespace

bool beginsWith(const std::vector<uint64_t> &hashes, const FileSum &sum) {
    return sum.items <= hashes.size() && chainOf(hashes, sum.items) == sum.chain;
}

std::optional<FileMatch> matchFile(const KnownFile &known, const std::vector<uint64_t> &hashes) {
    if (beginsWith(hashes, known.sum)) {
        return FileMatch{Kind::Whole, known.sum.items, 0};
    }
    if (!known.hasTail()) {
        return std::nullopt;
    }
    if (const auto match = matchLast(known.tail, hashes)) {
        return match;
    }
    return matchCut(known, hashes);
}

FileMatch matchLostFile(const KnownFile &known, const std::vector<uint64_t> &hashes) {
    const std::vector<uint32_t> &marks = known.tail.marks;
    const uint64_t earliest = marks.empty() ? 0 : markAt(known.sum.items, marks.size() - 1);
    return {Kind::Vague, 0, std::min<uint64_t>(earliest, hashes.size())};
}

}  // namespace tool
