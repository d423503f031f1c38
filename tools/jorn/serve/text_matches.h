// SPDX-License-Identifier: Apache-2.0
// Finds an expression in the texts of blocks, and remembers for the last expressions where it was found.
#ifndef JORN_TOOLS_TEXT_MATCHES_H
#define JORN_TOOLS_TEXT_MATCHES_H

#include <stddef.h>
#include <stdint.h>

#include <chrono>
#include <condition_variable>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "http/request.h"
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

    /// Those for a block of so many items.
    static size_t bytesFor(size_t rows) { return (rows + kBits - 1) / kBits * sizeof(uint64_t); }

private:
    static constexpr size_t kBits = 64;
    std::vector<uint64_t> words_;
};

/// Safe to use from any thread. One search goes on at a time, with two threads, so that its memory is
/// bounded. Those that wait have their turns in the order in which they came, and a turn is short, so that
/// none is held up for long by one that costs a lot.
class TextMatches {
public:
    /// All that is remembered.
    static constexpr size_t kMostBytes = size_t{8} << 20;
    static constexpr size_t kMostExpressions = 64;

    /// A search of one file is given up after this time.
    static constexpr std::chrono::milliseconds kLongestTurn{5000};

    explicit TextMatches(size_t mostBytes = kMostBytes, std::chrono::milliseconds longestTurn = kLongestTurn)
        : most_(mostBytes), longestTurn_(longestTurn) {}

    /// The items of a block in whose texts the filter's expression is found. Where that is not known, the
    /// blocks after it are looked through as well, as they are asked for next, as many as a turn has time
    /// for. Throws StaleView, RequestError.
    std::shared_ptr<const RowBits> of(const ViewFilter &filter, const std::vector<LogBlock> &blocks,
                                      size_t index, const Deadline &deadline);

    /// What is remembered now.
    size_t bytes() const;

private:
    struct Found {
        std::string pattern;
        bool isCaseIgnored = false;
        std::map<uint64_t, std::shared_ptr<const RowBits>> blocks;  ///< By the number of their columns.
        size_t bytes = 0;
    };
    using Blocks = std::vector<const LogBlock *>;
    class Turn;

    std::shared_ptr<const RowBits> known(const ViewFilter &filter, const LogBlock &block);
    Found *foundFor(const ViewFilter &filter);
    Blocks unknownOf(const ViewFilter &filter, const std::vector<LogBlock> &blocks, size_t index);
    void keep(const ViewFilter &filter, const Blocks &blocks,
              const std::vector<std::shared_ptr<const RowBits>> &bits);
    bool makeRoom(Found *found, size_t bytes);

    const size_t most_;
    const std::chrono::milliseconds longestTurn_;
    mutable std::mutex mutex_;
    std::condition_variable free_;
    std::list<char> queue_;   ///< A place for each that wants to search; the first one does.
    std::list<Found> found_;  ///< The one used last first.
    size_t bytes_ = 0;
};

}  // namespace tool

#endif
