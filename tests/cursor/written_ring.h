// SPDX-License-Identifier: Apache-2.0
// A ring whose every item has an identity that its line does not show.
#ifndef JORN_TESTS_WRITTEN_RING_H
#define JORN_TESTS_WRITTEN_RING_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace test {

/// A line of a data file: an item, or junk.
struct WrittenLine {
    std::string bytes;  ///< With its line feed.
    int64_t id = -1;    ///< Of an item.
};

using WrittenFile = std::vector<WrittenLine>;

/// A ring that a writer keeps as the store does, with small files.
class WrittenRing {
public:
    WrittenRing(std::string directory, std::mt19937 *random, int64_t *nextId);

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
    /// Of the item whose line begins at an offset.
    int64_t idAt(int number, uint64_t offset) const;
    /// The lines of a file that are items, at most so many of the first; none where there is no such file.
    std::vector<std::string> lines(int number, size_t most = SIZE_MAX) const;
    /// Which a file is of all that were ever begun; 0 where there is no such file.
    int64_t generation(int number) const;
    /// How many files were begun since that one, if the writer has not come round.
    int age(int number) const { return (latest_ - number + size_) % size_; }
    bool isInView(int number) const { return age(number) <= age(oldest_); }
    int size() const { return size_; }

private:
    void add(const std::string &text);
    void moveOn();
    void begin(int number);
    void writeFile(int number) const;
    void writeIndex() const;
    void writeChanged();
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(*random_); }

    const std::string directory_;
    std::mt19937 *random_;
    int64_t *nextId_;
    const int size_;
    const int itemsOfFile_;
    const bool hasClock_;
    uint32_t time_;
    std::map<int, WrittenFile> files_;
    std::map<int, int64_t> generations_;
    std::set<int> changed_;  ///< Since they were written.
    /// By all items of the newest file up to there: what is written again after it was lost is the same item.
    std::map<std::string, int64_t> written_;
    int oldest_ = 0;
    int latest_ = 0;
    bool hasIndex_ = true;
};

}  // namespace test

#endif
