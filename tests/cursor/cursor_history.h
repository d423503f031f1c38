// SPDX-License-Identifier: Apache-2.0
// A log whose every item has an identity that its line does not show, and an engine that stores what is sent
// to it: against these, random histories of a log are pulled.
#ifndef JORN_TESTS_CURSOR_HISTORY_H
#define JORN_TESTS_CURSOR_HISTORY_H

#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cursor/numbering.h"

namespace test {

/// A line of a data file: an item, or junk.
struct KnownLine {
    std::string bytes;  ///< With its line feed.
    int64_t id = -1;    ///< Of an item.
};

using KnownFile = std::vector<KnownLine>;

/// A ring that a writer keeps as the store does, with small files.
class KnownRing {
public:
    KnownRing(std::string directory, std::mt19937 *random, int64_t *nextId);

    void append(int count);
    void clear();
    void restart();
    /// Loses so many of the newest items, as a power cut may, and starts again.
    void crash(int count);
    /// Junk, or zeros, between two lines of some file.
    void damage();
    /// All junk goes, and every file is a new one.
    void repair();
    /// Every file is a new one, in a new directory.
    void copy();
    void loseIndex();
    void stepClock();
    bool hasIndex() const { return hasIndex_; }
    void mendIndex();

    /// Identities of the items in view.
    std::vector<int64_t> inView() const;
    const KnownFile &file(int number) const { return files_.at(number); }
    /// Of the item whose line begins at an offset.
    int64_t idAt(int number, uint64_t offset) const;
    std::string linesUpTo(int number, int64_t id) const;
    bool hasId(int number, int64_t id) const;

private:
    void add(const std::string &text);
    void moveOn();
    void writeFile(int number) const;
    void writeIndex() const;
    void writeAll() const;
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(*random_); }

    const std::string directory_;
    std::mt19937 *random_;
    int64_t *nextId_;
    const int size_;
    const int itemsOfFile_;
    const bool hasClock_;
    uint32_t time_;
    std::map<int, KnownFile> files_;
    KnownFile lost_;  ///< By the last crash, the next one last: who writes the same bytes again writes the
                      ///< same item.
    int oldest_ = 0;
    int latest_ = 0;
    bool hasIndex_ = true;
};

struct HistoryCounts {
    uint64_t items = 0;    ///< Written.
    uint64_t arrived = 0;  ///< In the engine in the end.
    uint64_t pulls = 0;
    uint64_t failures = 0;   ///< Of pulls.
    uint64_t ambiguous = 0;  ///< Histories that ended with what files alone cannot tell.
    uint64_t doubtful = 0;
};

/// Runs a history of so many pulls. Returns what is wrong with it, empty when nothing is.
std::string runHistory(uint32_t seed, int pulls, const std::string &directory, HistoryCounts *counts);

}  // namespace test

#endif
