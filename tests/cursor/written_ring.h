// SPDX-License-Identifier: Apache-2.0
// A ring whose every item has an identity that its line does not show.
#ifndef JORN_TESTS_WRITTEN_RING_H
#define JORN_TESTS_WRITTEN_RING_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
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

/// The item whose line begins at an offset.
int64_t idAt(const WrittenFile &file, uint64_t offset);

/// A ring that a writer keeps as the store does, with small files.
class WrittenRing {
public:
    WrittenRing(std::string directory, std::mt19937 *random, int64_t *nextId);

    void append(int count);
    void clear();
    /// Without an item that says so: what was in the next file stays in view until it is started afresh.
    void clearSilently();
    void restart();
    /// Loses so many of the newest items, as a power cut may, and starts again. False where damage is so near
    /// that nobody can tell what was lost.
    bool crash(int count);
    /// Items that a power cut took are gone for good: what is written again is new.
    void forgetLost();
    /// Junk, or zeros, between two lines of some file.
    void damage();
    /// Junk in place of some items that follow each other in some file. False, as below.
    bool destroy(int count);
    /// One byte of an item's text becomes another. False where it is so near to items that were lost that
    /// nobody can tell what was.
    bool alter();
    /// Some file cannot be read any more, or can be read again.
    void turnReadable();
    /// The store starts again with so many more files.
    void grow(int files);
    /// A file other than the newest one goes, and perhaps the store's next start closes the ranks. False
    /// where too little is left to know the log by.
    bool vanish();
    /// On a device with a clock, a power cut takes back that the newest file was begun. False as above.
    bool takeBack();
    /// All junk goes, and every file is a new one.
    void repair();
    /// Every file is a new one, in a new directory.
    void copy();
    void loseIndex();
    void stepClock();
    bool hasIndex() const { return hasIndex_; }
    void mendIndex();

    /// Identities of the items in view, by place, but for those in files that cannot be read.
    std::vector<int64_t> inView() const;
    /// The lines of a file that are items, at most so many of the first; none where there is no such file.
    std::vector<std::string> lines(int number, size_t most = SIZE_MAX) const;
    /// Which a file is of all that were ever begun; 0 where there is no such file.
    int64_t generation(int number) const;
    /// Whether the ring still has that one.
    bool hasGeneration(int64_t generation) const;
    bool isToBegin() const { return isToBegin_; }
    /// Whether files between others are gone.
    bool hasHole() const { return files_.rbegin()->first >= static_cast<int>(files_.size()); }
    bool isReadable(int number) const { return unreadable_.count(number) == 0; }
    /// As it was when it was written.
    const std::string &bytesOf(int64_t id) const { return bytes_.at(id); }
    /// Whether its bytes are others by now: then it is known by its neighbours at most.
    bool isAltered(int64_t id) const { return altered_.count(id) > 0; }
    /// What is in the files now.
    const std::map<int, WrittenFile> &files() const { return files_; }
    /// How many files were begun since that one, if the writer has not come round.
    int age(int number) const { return (latest_ - number + size_) % size_; }
    bool isInView(int number) const { return age(number) <= age(oldest_); }
    int size() const { return size_; }

private:
    void add(const std::string &text);
    bool hasLost(int number);
    void moveOn();
    void tidy(int size);
    void begin(int number);
    std::string path(int number) const { return directory_ + "/" + std::to_string(number) + ".csv"; }
    WrittenFile *someFile(int *number = nullptr);
    void writeFile(int number) const;
    void writeIndex() const;
    void writeChanged();
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(*random_); }

    const std::string directory_;
    std::mt19937 *random_;
    int64_t *nextId_;
    int size_;
    const int itemsOfFile_;
    const bool hasClock_;
    uint32_t time_;
    std::map<int, WrittenFile> files_;
    std::map<int, int64_t> generations_;
    std::set<int> changed_;  ///< Since they were written.
    std::set<int> unreadable_;
    std::map<int64_t, std::string> bytes_;
    std::set<int64_t> altered_;
    /// By all items of the newest file up to there: what is written again after it was lost is the same item,
    /// unless somebody has seen that it was lost.
    std::map<std::string, int64_t> written_;
    std::set<int64_t> mended_;        ///< Generations of files that do not show any more what they have lost.
    std::map<int64_t, size_t> cuts_;  ///< What a power cut left of files, by their generations.
    size_t left_ = 0;                 ///< Items in the newest file after the last power cut.
    int oldest_ = 0;
    int latest_ = 0;
    bool hasIndex_ = true;
    bool isToBegin_ = false;  ///< The newest file, with the next item.
    size_t former_ = 0;       ///< Items of the newest file from before it was that.

    /// The ring before its newest file was begun.
    struct Before {
        int oldest = 0;
        int latest = 0;
        WrittenFile file;  ///< What was in the place of the newest one.
        int64_t generation = 0;
    };
    std::optional<Before> before_;  ///< As long as only items were added since.
};

}  // namespace test

#endif
