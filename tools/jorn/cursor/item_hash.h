// SPDX-License-Identifier: Apache-2.0
// Hashes by which items are recognised, whichever file they are in by now. They are part of the format of
// cursors.
#ifndef JORN_TOOLS_ITEM_HASH_H
#define JORN_TOOLS_ITEM_HASH_H

#include <stdint.h>

#include <string_view>

namespace tool {

inline constexpr uint64_t kHashBasis = 14695981039346656037U;
inline constexpr uint64_t kHashPrime = 1099511628211U;

/// Of an item alone: 64-bit FNV-1a over its line without the line feed, which the last one of a file may
/// lack.
inline uint64_t hashOfItem(std::string_view line) {
    uint64_t hash = kHashBasis;
    for (const char c : line) {
        hash = (hash ^ static_cast<unsigned char>(c)) * kHashPrime;
    }
    return hash;
}

/// Of a chain of items: from the chain of all but the last one (0 for none) and the hash of the last one. It
/// is a polynomial, so the chain of the items between two places follows from the chains at these places.
inline uint64_t chained(uint64_t chain, uint64_t item) { return chain * kHashPrime + item; }

/// The halves that are kept where there are many hashes: a chain's low half depends on its items' low halves
/// alone.
inline uint32_t halfOfItem(uint64_t hash) { return static_cast<uint32_t>(hash); }
inline uint32_t halfOfChain(uint64_t chain) { return static_cast<uint32_t>(chain >> 32); }

}  // namespace tool

#endif
