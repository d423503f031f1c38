// SPDX-License-Identifier: Apache-2.0
#include "item_source.h"

#include <array>
#include <random>

namespace bench {
namespace {

constexpr std::array<const char *, 24> kWords = {
    "door",     "open",    "closed",  "after",   "motor",  "current", "limit",    "reached",
    "retry",    "bus",     "node",    "answers", "no",     "frame",   "pressure", "brake",
    "released", "voltage", "battery", "charged", "sensor", "timeout", "restart",  "done"};
constexpr uint32_t kRareEvery = 500;

/// Of 20 items, 1 is of level 0, 5 of level 1, 12 of level 2 and 2 of the debug level.
int32_t levelOf(uint32_t draw) {
    const uint32_t of20 = draw % 20;
    if (of20 == 0) {
        return 0;
    }
    if (of20 <= 5) {
        return 1;
    }
    return of20 <= 17 ? 2 : 3;
}

}  // namespace

Item makeItem(uint32_t number) {
    std::minstd_rand random(number + 1);
    random.discard(3);  // neighbouring seeds begin alike
    Item item{kFirstTime + number * kSecondsApart, levelOf(static_cast<uint32_t>(random())),
              static_cast<int32_t>(random() % 8), std::to_string(number)};
    const size_t length = 40 + random() % 93;
    if (number % kRareEvery == kRareEvery / 2) {
        item.text += " overheated";
    }
    while (item.text.size() < length) {
        item.text += ' ';
        item.text += kWords[random() % kWords.size()];
    }
    return item;
}

}  // namespace bench
