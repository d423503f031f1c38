// SPDX-License-Identifier: Apache-2.0
// Which items a question is about. The same filter serves every reading command; filter_options.h builds it
// from the command line.
#ifndef JORN_TOOLS_ITEM_FILTER_H
#define JORN_TOOLS_ITEM_FILTER_H

#include <re2/re2.h>
#include <stdint.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "log/stored_line.h"
#include "module_limits.h"

namespace tool {

/// A set of levels. Items of a damaged file may have levels below 0 or above 3: an unrestricted set
/// includes them, and "this level and below" includes the negative ones, as on the device.
class LevelSet {
public:
    static LevelSet all() { return LevelSet({true, true, true, true}, true, true); }
    static LevelSet none() { return LevelSet({}, false, false); }
    static LevelSet upTo(int level);
    static LevelSet range(int first, int last);
    void add(int level) { isIn_[static_cast<size_t>(level)] = true; }

    bool has(int32_t level) const {
        if (level < 0) {
            return hasNegative_;
        }
        return level < jorn::kLevelMax ? isIn_[static_cast<size_t>(level)] : hasHigher_;
    }
    bool isAll() const { return hasHigher_; }
    /// Whether levels outside 0 to 3 belong to it.
    bool hasStray() const { return hasNegative_ || hasHigher_; }

private:
    using Table = std::array<bool, jorn::kLevelMax>;
    LevelSet(const Table &isIn, bool hasNegative, bool hasHigher)
        : isIn_(isIn), hasNegative_(hasNegative), hasHigher_(hasHigher) {}

    Table isIn_;
    bool hasNegative_;
    bool hasHigher_;
};

/// A set of slots. With none added it includes every slot, even those outside 0 to 7.
class SlotSet {
public:
    static SlotSet none() {
        SlotSet set;
        set.isAny_ = false;
        return set;
    }
    void add(int slot) {
        isIn_[static_cast<size_t>(slot)] = true;
        isAny_ = false;
    }
    bool has(int32_t slot) const {
        return isAny_ || (slot >= 0 && slot < jorn::kSlotMax && isIn_[static_cast<size_t>(slot)]);
    }
    bool isAny() const { return isAny_; }

private:
    std::array<bool, jorn::kSlotMax> isIn_{};
    bool isAny_ = true;
};

/// The expression that is found where any of several is.
std::string anyOf(const std::vector<std::string> &patterns);

/// A filter with nothing set passes everything.
struct ItemFilter {
    uint32_t since = 0;           ///< First second wanted.
    uint32_t until = UINT32_MAX;  ///< Last second wanted.
    LevelSet levels = LevelSet::all();
    SlotSet slots;
    std::shared_ptr<const RE2> pattern;  ///< Must be found in the text; null for none.
    bool isInverted = false;             ///< The pattern must not be found in the text.
    bool isMarking = false;              ///< Items with the wrong text pass too, marked as no match.

    bool hasNumbers(const LineNumbers &numbers) const {
        return numbers.time >= since && numbers.time <= until && levels.has(numbers.level) &&
               slots.has(numbers.slot);
    }
    bool hasText(std::string_view text) const {
        return pattern == nullptr ||
               RE2::PartialMatch(re2::StringPiece(text.data(), text.size()), *pattern) != isInverted;
    }
};

}  // namespace tool

#endif
