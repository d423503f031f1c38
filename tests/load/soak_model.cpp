// SPDX-License-Identifier: Apache-2.0
#include "load/soak_model.h"

#include <algorithm>

namespace load {

namespace {

constexpr uint32_t kFirstTime = 1699990000;  // not at the start of a day
constexpr uint32_t kItemsPerSecond = 2;
constexpr uint32_t kRunLength = 64;

bool isWanted(const SoakItem &item, const JORN_REQUIRE &require) {
    const int64_t day = item.time / 86400U;
    if (require.dayDwLimit >= 0 && day < require.dayDwLimit) {
        return false;
    }
    if (require.dayUpLimit >= 0 && day > require.dayUpLimit) {
        return false;
    }
    if (require.slot >= 0 && item.slot != require.slot) {
        return false;
    }
    if (require.level < 0) {
        return item.level < JORN_LEVEL_DEBUG;
    }
    return require.levelMode > 0 ? item.level == require.level : item.level <= require.level;
}

}  // namespace

uint64_t ItemSource::hash(uint64_t number) const {
    uint64_t mixed = (number + 1) * 0x9e3779b97f4a7c15U + seed_ * 0xd1342543de82ef95U;
    mixed ^= mixed >> 31;
    mixed *= 0xbf58476d1ce4e5b9U;
    return mixed ^ (mixed >> 29);
}

uint32_t ItemSource::timeOf(uint32_t number) const { return kFirstTime + number / kItemsPerSecond; }

SoakItem ItemSource::item(uint32_t number) const {
    const uint64_t bits = hash(number);
    const auto fill = static_cast<size_t>((bits >> 8) % (bits % 16 == 0 ? 180 : 24));
    std::string text = "item " + std::to_string(number) + ", ";
    text.append(fill, static_cast<char>('a' + (bits >> 20) % 26));
    return {timeOf(number), static_cast<int32_t>((bits >> 32) % 4), static_cast<int32_t>((bits >> 40) % 8),
            text};
}

size_t ItemSource::objectOf(uint32_t number, size_t objects) const {
    return objects == 1 ? 0 : static_cast<size_t>(hash(~uint64_t{number / kRunLength}) % objects);
}

SoakItem RingModel::itemAt(size_t index) const {
    const uint32_t number = numbers_[index];
    if ((number & kInitBit) != 0) {
        return {source_->timeOf(number & ~kInitBit), JORN_LEVEL_DEBUG, 0, "Log start init!"};
    }
    return source_->item(number);
}

// All files but the newest are full; the newest holds 1 to 5000 items, as a file is only left for the next
// item.
size_t RingModel::kept() const {
    const size_t inNewest = numbers_.empty() ? 0 : (numbers_.size() - 1) % JORN_CSV_ITEM_MAX + 1;
    const size_t inRing = static_cast<size_t>(files_ - 1) * JORN_CSV_ITEM_MAX + inNewest;
    return std::min(numbers_.size(), inRing);
}

std::vector<SoakItem> RingModel::matching(const JORN_REQUIRE &require) const {
    std::vector<SoakItem> found;
    for (size_t i = kept(); i > 0; --i) {
        SoakItem item = keptItem(i - 1);
        if (isWanted(item, require)) {
            found.push_back(std::move(item));
        }
    }
    return found;
}

}  // namespace load
