// SPDX-License-Identifier: Apache-2.0
#include "terminal/likeness.h"

#include <algorithm>
#include <utility>

namespace tool {

/// The rows of the usual table that are still needed: each letter is exchanged once at most.
size_t editDistance(std::string_view from, std::string_view to) {
    std::vector<size_t> beforeLast;
    std::vector<size_t> last(to.size() + 1);
    for (size_t j = 0; j <= to.size(); ++j) {
        last[j] = j;
    }
    for (size_t i = 1; i <= from.size(); ++i) {
        std::vector<size_t> row(to.size() + 1, i);
        for (size_t j = 1; j <= to.size(); ++j) {
            const size_t replaced = last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
        beforeLast = std::exchange(last, std::move(row));
    }
    return last.back();
}

std::string likeliest(std::string_view word, const std::vector<std::string> &words) {
    // Two slips at most, and most of the letters right.
    size_t least = std::min<size_t>(3, (word.size() + 1) / 2);
    std::string best;
    for (const std::string &each : words) {
        const size_t distance = editDistance(word, each);
        if (distance < least) {
            least = distance;
            best = each;
        }
    }
    return best;
}

}  // namespace tool
