// SPDX-License-Identifier: Apache-2.0
// The items of the measurements, by number: the same in every run.
#ifndef JORN_BENCH_ITEM_SOURCE_H
#define JORN_BENCH_ITEM_SOURCE_H

#include <cstdint>
#include <string>

namespace bench {

/// Time of item 0, and the seconds from one item to the next: 90 full files hold 31 days.
constexpr uint32_t kFirstTime = 1700006400;
constexpr uint32_t kSecondsApart = 6;

struct Item {
    uint32_t time;
    int32_t level;
    int32_t slot;
    std::string text;
};

/// Item `number`: mostly levels 1 and 2, all slots equally often, a text of 40 to 140 bytes that begins with
/// the number. One text in 500 holds the word "overheated". No text holds a comma or a quote, so that
/// programs that read plain CSV need no help.
Item makeItem(uint32_t number);

}  // namespace bench

#endif
