// SPDX-License-Identifier: Apache-2.0
#include "cursor/content_search.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace tool {
namespace {

/// Whether no other file has the same items by chance. Where the log is known already, many items are enough
/// even without a clock.
bool isDistinct(const KnownFile &known, bool isLogKnown) {
    return known.sum.items > 0 && (isOfClock(known.time) || (isLogKnown && known.sum.items >= kProof));
}

/// What a data file holds of a known one, if that is beyond chance.
std::optional<FileMatch> certainMatch(const KnownFile &known, const ItemTable &table) {
    const auto match = matchFile(known, table);
    return match && (match->isWhole || match->found >= kFewest) ? match : std::nullopt;
}

bool isLike(const KnownFile &known, const ItemTable &table) {
    return !table.hashes.empty() && likenessOf(known, table) != Likeness::Other;
}

/// Puts known files next to those that are there.
class ContentSearch {
public:
    ContentSearch(LogFiles *files, const std::vector<KnownFile> &known, bool isLogKnown)
        : files_(*files),
          known_(known),
          isLogKnown_(isLogKnown),
          numbers_(known.size(), -1),
          matches_(known.size()) {}

    void run() {
        for (const size_t i : theFullestFirst()) {
            placeCertain(i);
        }
        for (size_t i = 0; i < known_.size(); ++i) {
            if (numbers_[i] < 0 && isDistinct(known_[i], isLogKnown_)) {
                placeLike(i);
            }
        }
        for (size_t i = 0; i < known_.size(); ++i) {
            if (numbers_[i] < 0 && files_.isUnreadable(known_[i].number)) {
                place(i, known_[i].number);
            }
        }
    }

    /// Where no file has another number than before, those that show nothing any more have not, either.
    void placeOthers() {
        bool isMoved = false;
        for (size_t i = 0; i < known_.size(); ++i) {
            isMoved = isMoved || (matches_[i] && numbers_[i] != known_[i].number);
        }
        for (size_t i = 0; i < known_.size() && !isMoved; ++i) {
            if (numbers_[i] < 0 && files_.exists(known_[i].number)) {
                place(i, known_[i].number);
            }
        }
    }

    const std::vector<int> &numbers() const { return numbers_; }

    /// What a file holds of the known one; nothing where only its likeness shows which one it is.
    const std::optional<FileMatch> &match(size_t i) const { return matches_[i]; }

    /// Whether the same items are there twice, and so show nothing.
    bool isAmbiguous() const { return isAmbiguous_; }

private:
    void placeCertain(size_t i) {
        std::optional<FileMatch> found;
        int number = -1;
        for (const RingFile *const file : files_.all()) {
            const auto match =
                isDistinct(known_[i], isLogKnown_) ? certainMatch(known_[i], files_.table(*file)) : found;
            if (match && number >= 0) {
                return;
            }
            if (match) {
                found = match;
                number = file->number;
            }
        }
        if (number >= 0 && isFree(number)) {
            place(i, number);
            matches_[i] = found;
        } else if (number >= 0 && known_[i].sum.items >= kFewest) {
            isAmbiguous_ = true;
        }
    }

    /// Files may begin with the few items of another one.
    std::vector<size_t> theFullestFirst() const {
        std::vector<size_t> order(known_.size());
        std::iota(order.begin(), order.end(), size_t{0});
        std::stable_sort(order.begin(), order.end(),
                         [this](size_t a, size_t b) { return known_[a].sum.items > known_[b].sum.items; });
        return order;
    }

    /// A closed file of which much is gone: in its own place, or in the only one where it may be.
    void placeLike(size_t i) {
        int number = -1;
        int found = 0;
        for (const RingFile *const file : files_.all()) {
            if (!isFree(file->number) || !isLike(known_[i], files_.table(*file))) {
                continue;
            }
            if (file->number == known_[i].number) {
                return place(i, file->number);
            }
            number = file->number;
            ++found;
        }
        if (found == 1) {
            place(i, number);
        }
    }

    bool isFree(int number) const { return std::count(numbers_.begin(), numbers_.end(), number) == 0; }

    void place(size_t i, int number) {
        if (isFree(number)) {
            numbers_[i] = number;
        }
    }

    LogFiles &files_;
    const std::vector<KnownFile> &known_;
    const bool isLogKnown_;
    std::vector<int> numbers_;
    std::vector<std::optional<FileMatch>> matches_;
    bool isAmbiguous_ = false;
};

}  // namespace

bool hasContentOf(const KnownFile &known, const ItemTable &table) {
    return isDistinct(known, true) && (certainMatch(known, table) || isLike(known, table));
}

std::vector<int> numbersByContent(LogFiles *files, const std::vector<KnownFile> &known) {
    ContentSearch search(files, known, true);
    search.run();
    return search.numbers();
}

std::optional<Recognition> recogniseByContent(LogFiles *files, const Numbering &numbering) {
    ContentSearch search(files, numbering.files, false);
    search.run();
    search.placeOthers();
    Recognition found;
    found.numbers = search.numbers();
    for (size_t i = 0; i < found.numbers.size(); ++i) {
        const std::optional<FileMatch> &match = search.match(i);
        if (!match) {
            continue;
        }
        const int number = found.numbers[i];
        found.weight += match->found;
        if (numbering.files[i].isNumbered() &&
            (found.number < 0 || files->age(number) < files->age(found.number))) {
            found.number = number;
            found.match = *match;
        }
    }
    const bool isEnough = found.weight >= kFewest && found.number >= 0 && !search.isAmbiguous();
    return isEnough ? std::optional(found) : std::nullopt;
}

}  // namespace tool
