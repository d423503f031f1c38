// SPDX-License-Identifier: Apache-2.0
// Finds an expression in the texts of blocks, and remembers for the last few expressions where it was found.
#ifndef JORN_TOOLS_TEXT_MATCHES_H
#define JORN_TOOLS_TEXT_MATCHES_H

#include <re2/re2.h>
#include <stddef.h>
#include <stdint.h>

#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "serve/log_block.h"
#include "serve/view_filter.h"

namespace tool {

/// A block's file does not hold any more what it did: the view is out of date, and is to be looked at anew.
struct StaleView {};

/// A bit for each item of a block.
class RowBits {
public:
    explicit RowBits(size_t rows) : words_((rows + kBits - 1) / kBits) {}
    void set(size_t row) { words_[row / kBits] |= uint64_t{1} << row % kBits; }
    bool has(size_t row) const { return (words_[row / kBits] >> row % kBits & 1) != 0; }
    size_t bytes() const { return words_.size() * sizeof words_[0]; }

private:
    static constexpr size_t kBits = 64;
    std::vector<uint64_t> words_;
};

/// Safe to use from any thread; several that look for the same share the work.
class TextMatches {
public:
    /// Memory is bounded: so many expressions, each with the bits of so many bytes.
    static constexpr size_t kMostPatterns = 8;
    static constexpr size_t kMostBytesEach = size_t{2} << 20;

    /// The items in whose texts the filter's expression is found. Throws StaleView.
    std::shared_ptr<const RowBits> of(const ViewFilter &filter, const LogBlock &block);

private:
    struct Found {
        std::string pattern;
        bool isCaseIgnored = false;
        std::mutex mutex;
        std::map<uint64_t, std::shared_ptr<const RowBits>> blocks;  ///< By the number of their columns.
        size_t bytes = 0;
        std::vector<char> buffer;
    };

    std::shared_ptr<Found> foundFor(const ViewFilter &filter);

    std::mutex mutex_;
    std::list<std::shared_ptr<Found>> found_;  ///< The one used last first.
};

}  // namespace tool

#endif
