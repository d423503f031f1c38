// SPDX-License-Identifier: Apache-2.0
// A log whose items have identities, and an engine that stores what is sent to it: against these, random
// histories of a log are pulled.
#ifndef JORN_TESTS_CURSOR_HISTORY_H
#define JORN_TESTS_CURSOR_HISTORY_H

#include <cstdint>
#include <string>

namespace test {

struct HistoryCounts {
    uint64_t items = 0;    ///< Written.
    uint64_t arrived = 0;  ///< In the engine in the end.
    uint64_t pulls = 0;
    uint64_t failures = 0;   ///< Of transfers.
    uint64_t ambiguous = 0;  ///< How often files alone could not show that they were others,
    uint64_t forgotten = 0;  ///< how often a log came back that was not kept, or by too few items,
    uint64_t doubtful = 0;   ///< how often more was gone from a file than shows which items are left,
    uint64_t twins = 0;      ///< and how often an item had the bytes of another that was gone.
    uint64_t waiting = 0;    ///< Pulls that waited for files that could not be read.
};

/// Runs a history of so many pulls. Returns what is wrong with it, empty when nothing is.
std::string runHistory(uint32_t seed, int pulls, const std::string &directory, HistoryCounts *counts);

}  // namespace test

#endif
