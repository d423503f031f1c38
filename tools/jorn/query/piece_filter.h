// SPDX-License-Identifier: Apache-2.0
// Tells which line pieces pass a filter. To take each text apart and to ask a pattern about it costs far more
// than to look through a block for words that a pattern cannot do without; so that is done first.
#ifndef JORN_TOOLS_PIECE_FILTER_H
#define JORN_TOOLS_PIECE_FILTER_H

#include <re2/re2.h>
#include <stdint.h>

#include <memory>
#include <string_view>

#include "log/stored_line.h"
#include "query/item_filter.h"

namespace tool {

class PieceFilter {
public:
    /// The filter must outlive it.
    explicit PieceFilter(const ItemFilter &filter);

    /// The pieces asked about next lie in this block, one behind the other.
    void enter(std::string_view block);

    /// Whether a piece passes that is an item with these numbers.
    bool passes(std::string_view piece, const LineNumbers &numbers) {
        return filter_.hasNumbers(numbers) && (filter_.isMarking || hasText(piece));
    }

    /// Whether one that has passed is a match.
    bool isMatch(std::string_view piece) { return !filter_.isMarking || hasText(piece); }

private:
    bool hasText(std::string_view piece) {
        if (filter_.pattern == nullptr) {
            return true;
        }
        const bool mayMatch = words_ == nullptr || mayHaveWord(piece);
        return mayMatch ? filter_.hasText(textIn(piece)) : filter_.isInverted;
    }
    bool mayHaveWord(std::string_view piece);
    void findWord(const char *begin);

    const ItemFilter &filter_;
    std::unique_ptr<const RE2> words_;  ///< One of them is in every match; null where there are none such.
    const char *blockEnd_ = nullptr;
    const char *nextWord_ = nullptr;  ///< No word begins between the piece asked about last and this.
    uint64_t pieces_ = 0;             ///< That were asked about.
    uint64_t piecesWithWord_ = 0;
};

/// Takes its place where every item is wanted, at no cost.
struct EveryPiece {
    void enter(std::string_view) {}
    bool passes(std::string_view, const LineNumbers &) { return true; }
};

}  // namespace tool

#endif
