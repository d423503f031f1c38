// SPDX-License-Identifier: Apache-2.0
// Which items a request is about. The parameters mean what the options of the reading commands mean.
#ifndef JORN_TOOLS_VIEW_FILTER_H
#define JORN_TOOLS_VIEW_FILTER_H

#include <re2/re2.h>
#include <stdint.h>
#include <time.h>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "http/request.h"
#include "query/expression_pool.h"
#include "query/item_filter.h"
#include "serve/log_block.h"
#include "serve/served_logs.h"

namespace tool {

/// Which kinds of items are wanted, by level and by slot.
struct KindTables {
    std::array<bool, kKinds> levels{};
    std::array<bool, kKinds> slots{};

    bool hasLevel(ItemKind kind) const { return levels[kind]; }
    bool hasSlot(ItemKind kind) const { return slots[kind]; }
    bool has(ItemKind kind) const { return levels[kind] && slots[kind]; }
};

/// A question to one of the logs: names of levels and slots may differ between them.
struct LogFilter {
    bool isWanted = true;
    LevelSet levels = LevelSet::all();
    SlotSet slots;
    bool isNoSlot = false;  ///< Slots were asked for of which this log has none.
    KindTables kinds;
};

/// The parameters as they were given, for the command that asks the same.
struct FilterWords {
    std::optional<std::string> since, until;
    std::vector<std::string> levels, slots, patterns;
    bool isLevelRange = false;  ///< `levels` is A..B, or ..B for B and all that is more severe.
};

struct ViewFilter {
    FilterWords words;
    std::optional<uint32_t> since;
    std::optional<uint32_t> until;
    std::shared_ptr<const RE2> pattern;
    bool isCaseIgnored = false;
    bool isInverted = false;
    bool isNewestFirst = true;
    std::vector<LogFilter> logs;

    uint32_t first() const { return since.value_or(0); }
    uint32_t last() const { return until.value_or(UINT32_MAX); }
    bool hasTime(uint32_t time) const { return time >= first() && time <= last(); }

    /// The expression whose matches are marked; null for none.
    std::shared_ptr<const RE2> marked() const { return isInverted ? nullptr : pattern; }

    /// Whether an item of one of the logs passes, read from its line.
    bool passes(size_t log, const Line &line) const;
};

/// Longest expression that is searched for.
inline constexpr size_t kMostPatternBytes = 1000;

/// Takes since, until, level, slot, log, q, case, invert and order off the parameters; level, slot, log and q
/// may be there several times. Relative times are counted from `now`; expressions are of `pool`. Throws
/// RequestError.
ViewFilter takeFilter(Parameters *parameters, const Snapshot &snapshot, time_t now, ExpressionPool *pool);

}  // namespace tool

#endif
