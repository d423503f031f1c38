// SPDX-License-Identifier: Apache-2.0
// Hashes by which items are known again, whatever file they are in by now. They are a part of the format of
// cursors: FNV-1a of 64 bits.
#ifndef JORN_TOOLS_ITEM_HASH_H
#define JORN_TOOLS_ITEM_HASH_H

#include <stdint.h>

#include <string_view>

namespace tool {

/// The hash of no item.
inline constexpr uint64_t kChainStart = 14695981039346656037U;

inline constexpr uint64_t kHashPrime = 1099511628211U;

/// Of an item alone: of its line without the line feed, which the last one of a file may lack.
inline uint64_t hashOfItem(std::string_view line) {
    uint64_t hash = kChainStart;
    for (const char c : line) {
        hash = (hash ^ static_cast<unsigned char>(c)) * kHashPrime;
    }
    return hash;
}

/// Of a chain of items, from that of those before the last one, and the hash of the last one.
inline uint64_t chained(uint64_t chain, uint64_t item) { return (chain ^ item) * kHashPrime; }

}  // namespace tool

#endif
