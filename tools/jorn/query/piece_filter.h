// SPDX-License-Identifier: Apache-2.0
// Decides which pieces of lines pass a filter. Extracting each text and matching a pattern against it costs
// far more than searching a block for words that every match must contain, so that search comes first.
#ifndef JORN_TOOLS_PIECE_FILTER_H
#define JORN_TOOLS_PIECE_FILTER_H

#include <re2/re2.h>
#include <stdint.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "log/stored_line.h"
#include "query/item_filter.h"
#include "query/literal_search.h"

namespace tool {

class PieceFilter {
public:
    /// The filter must outlive it.
    explicit PieceFilter(const ItemFilter &filter);

    /// The pieces checked next are in this block, one after the other.
    void enter(std::string_view block);

    /// Whether a piece that is an item with these numbers passes.
    bool passes(std::string_view piece, const LineNumbers &numbers) {
        return filter_.hasNumbers(numbers) && (filter_.isMarking || hasText(piece));
    }

    /// Whether a piece can be told not to pass by a look at where words are. (False tells nothing.)
    bool isOut(std::string_view piece) {
        return isLookingForWords() && !filter_.isInverted && !filter_.isMarking && !mayHaveWord(piece);
    }

    /// Whether one that has passed is a match.
    bool isMatch(std::string_view piece) { return !filter_.isMarking || hasText(piece); }

private:
    bool hasText(std::string_view piece) {
        if (filter_.pattern == nullptr) {
            return true;
        }
        const bool mayMatch = !isLookingForWords() || mayHaveWord(piece);
        return mayMatch ? hasMatch(piece) : filter_.isInverted;
    }

    bool isLookingForWords() const { return words_ != nullptr || !literals_.empty(); }
    void lookForOtherWords();
    bool mayHaveWord(std::string_view piece);
    void countPiece(bool hasWord);
    void findWord(const char *begin);
    bool hasMatch(std::string_view piece);

    const ItemFilter &filter_;
    // Words of which one is in every match, to be looked for in one way or the other; neither where there are
    // none.
    std::vector<LiteralSearch> literals_;
    std::unique_ptr<const RE2> words_;
    std::vector<std::vector<std::string>> choices_;  ///< Others, should these be frequent; the next one last.
    bool isDecidedByLiterals_ = false;               ///< The literals are all that the pattern finds.
    const char *blockEnd_ = nullptr;
    const char *nextWord_ = nullptr;   ///< No word begins between the piece asked about last and this.
    const char *lastPiece_ = nullptr;  ///< That was asked about.
    uint64_t pieces_ = 0;
    uint64_t piecesWithWord_ = 0;
};

/// Replaces PieceFilter where every item is wanted, at no cost.
struct EveryPiece {
    void enter(std::string_view) {}
    bool isOut(std::string_view) const { return false; }
    bool passes(std::string_view, const LineNumbers &) { return true; }
};

}  // namespace tool

#endif
