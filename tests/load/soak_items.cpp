// SPDX-License-Identifier: Apache-2.0
#include "load/soak_items.h"

#include <string>

namespace load {

namespace {

constexpr uint32_t kFirstTime = 1699990000;  // not at the start of a day
constexpr uint32_t kItemsPerSecond = 2;
constexpr uint32_t kRunLength = 64;

}  // namespace

uint64_t ItemSource::hash(uint64_t number) const {
    uint64_t mixed = (number + 1) * 0x9e3779b97f4a7c15U + seed_ * 0xd1342543de82ef95U;
    mixed ^= mixed >> 31;
    mixed *= 0xbf58476d1ce4e5b9U;
    return mixed ^ (mixed >> 29);
}

uint32_t ItemSource::timeOf(uint32_t number) const { return kFirstTime + number / kItemsPerSecond; }

test::ModelItem ItemSource::item(uint32_t number) const {
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

}  // namespace load
