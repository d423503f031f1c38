// SPDX-License-Identifier: Apache-2.0
#include "cursor/numbered_items.h"

#include <algorithm>

namespace tool {
namespace {

/// The part of a span from `begin` to `end`, which may be empty.
NumberedSpan partOf(const NumberedSpan &span, uint64_t begin, uint64_t end) {
    NumberedSpan part = span;
    part.begin = std::max(span.begin, begin);
    part.end = std::max(part.begin, std::min(span.end, end));
    part.first += span.hasNumbers() ? part.begin - span.begin : 0;
    return part;
}

bool isContinued(const NumberedSpan &span, const NumberedSpan &next) {
    return span.end == next.begin && span.state == next.state &&
           (!span.hasNumbers() || span.last() + 1 == next.first);
}

void addTo(std::vector<NumberedSpan> *spans, const NumberedSpan &next) {
    if (next.begin == next.end) {
        return;
    }
    if (!spans->empty() && isContinued(spans->back(), next)) {
        spans->back().end = next.end;
    } else {
        spans->push_back(next);
    }
}

}  // namespace

std::optional<NumberedSpan> NumberedItems::at(uint64_t item) const {
    const auto found = std::find_if(spans_.rbegin(), spans_.rend(), [item](const NumberedSpan &span) {
        return span.begin <= item && item < span.end;
    });
    return found == spans_.rend() ? std::nullopt : std::optional(*found);
}

uint64_t NumberedItems::firstOpen() const {
    uint64_t item = 0;
    for (const NumberedSpan &span : spans_) {
        const bool isDone = span.state == ItemState::Arrived || span.state == ItemState::LeftOut;
        if (span.begin != item || !isDone) {
            break;
        }
        item = span.end;
    }
    return item;
}

bool NumberedItems::has(ItemState state) const { return count(state) > 0; }

uint64_t NumberedItems::count(ItemState state) const {
    uint64_t items = 0;
    for (const NumberedSpan &span : spans_) {
        items += span.state == state ? span.end - span.begin : 0;
    }
    return items;
}

void NumberedItems::set(const NumberedSpan &span) {
    if (spans_.empty() || spans_.back().end <= span.begin) {
        addTo(&spans_, span);  // Nearly always.
        return;
    }
    std::vector<NumberedSpan> spans;
    for (const NumberedSpan &other : spans_) {
        addTo(&spans, partOf(other, 0, span.begin));
    }
    addTo(&spans, span);
    for (const NumberedSpan &other : spans_) {
        addTo(&spans, partOf(other, span.end, UINT64_MAX));
    }
    spans_ = std::move(spans);
}

void NumberedItems::change(ItemState from, ItemState to) {
    std::vector<NumberedSpan> spans;
    for (NumberedSpan span : spans_) {
        span.state = span.state == from ? to : span.state;
        addTo(&spans, span);
    }
    spans_ = std::move(spans);
}

void NumberedItems::cut(uint64_t items) {
    std::vector<NumberedSpan> spans;
    for (const NumberedSpan &span : spans_) {
        addTo(&spans, partOf(span, 0, items));
    }
    spans_ = std::move(spans);
}

void NumberedItems::move(const std::vector<MovedItems> &moves) {
    std::vector<NumberedSpan> spans;
    uint64_t end = 0;
    for (const MovedItems &moved : moves) {
        addTo(&spans, {end, moved.now, 0, ItemState::LeftOut});
        for (const NumberedSpan &span : spans_) {
            NumberedSpan part = partOf(span, moved.known, moved.known + moved.count);
            part.begin = part.begin - moved.known + moved.now;
            part.end = part.end - moved.known + moved.now;
            addTo(&spans, part);
        }
        end = moved.now + moved.count;
    }
    spans_ = std::move(spans);
}

}  // namespace tool
