// SPDX-License-Identifier: Apache-2.0
#include "query/item_filter.h"

namespace tool {
namespace {

/// An expression as a part of another one.
std::string grouped(const std::string &pattern) {
    // A plain word is left as it is: it is found much faster than an expression.
    if (pattern.find_first_of("\\^$.?*+()[]{}") == std::string::npos) {
        return pattern;
    }
    // Literal text that begins with \Q and does not end goes on to the end of the whole.
    const std::string group = "(?:" + pattern + ")";
    return RE2(group, RE2::Quiet).ok() ? group : "(?:" + pattern + "\\E)";
}

}  // namespace

LevelSet LevelSet::range(int first, int last) {
    LevelSet set = none();
    for (int level = first; level <= last; ++level) {
        set.add(level);
    }
    return set;
}

LevelSet LevelSet::upTo(int level) {
    LevelSet set = range(0, level);
    set.hasNegative_ = true;
    return set;
}

std::string anyOf(const std::vector<std::string> &patterns) {
    std::string all = patterns.size() == 1 ? patterns.front() : "";
    for (size_t i = 0; i < patterns.size() && patterns.size() > 1; ++i) {
        all += (i == 0 ? "" : "|") + grouped(patterns[i]);
    }
    return all;
}

}  // namespace tool
