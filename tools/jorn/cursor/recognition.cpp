// SPDX-License-Identifier: Apache-2.0
#include "cursor/recognition.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "cursor/content_search.h"
#include "ring.h"

namespace tool {
namespace {

/// Items for and against the newest file's being where it is supposed.
struct Evidence {
    uint64_t agreeing = 0;
    uint64_t differing = 0;
};

class Recogniser {
public:
    Recogniser(LogFiles *files, const Numbering &numbering, const KnownFile &newest)
        : files_(*files), numbering_(numbering), newest_(newest) {}

    std::optional<Recognition> run() {
        const RingFile *const own = files_.numbered(newest_.number);
        const auto ownMatch = own != nullptr ? matchFile(newest_, files_.table(*own)) : std::nullopt;
        if (ownMatch && ownMatch->isWhole) {
            if (auto found = judged(newest_.number, *ownMatch)) {
                return found;
            }
        }
        if (auto moved = findElsewhere([](const FileMatch &match) { return match.isWhole; })) {
            return moved;
        }
        if (files_.isUnreadable(newest_.number)) {
            return unread(ownMatch ? ownMatch->found : 0);
        }
        return withLosses(own, ownMatch);
    }

private:
    /// The newest file has lost items, or has gone. What content shows of it comes before the hypothesis that
    /// it is in its place with a rest, or with nothing, of what it held: where a repair has changed the
    /// order, that place may be another file's. That it has gone is the last resort, and not while it may be
    /// a file that cannot be read.
    std::optional<Recognition> withLosses(const RingFile *own, const std::optional<FileMatch> &ownMatch) {
        auto byContent = recogniseByContent(&files_, numbering_);
        if (byContent && hasNewest(*byContent)) {
            return byContent;
        }
        if (ownMatch && !ownMatch->isWhole) {
            if (auto found = judged(newest_.number, *ownMatch)) {
                return found;
            }
        }
        const bool isNewestGone = byContent && !hasUnreadable();
        if (own != nullptr || !isNewestGone) {
            const FileMatch lost = own != nullptr ? matchLostFile(newest_, files_.table(*own)) : FileMatch();
            if (auto found = judged(newest_.number, lost)) {
                return found;
            }
        }
        return isNewestGone ? byContent
                            : findElsewhere([](const FileMatch &match) { return match.found >= kProof; });
    }

    /// Whether the newest file is still that.
    bool hasNewest(const Recognition &found) const {
        return found.numbers[static_cast<size_t>(&newest_ - numbering_.files.data())] == found.number;
    }

    /// Whether the newest file may be one that cannot be read.
    bool hasUnreadable() const {
        bool isAny = false;
        for (int number = 0; number < jorn::kSurveySize; ++number) {
            isAny = isAny || files_.isUnreadable(number);
        }
        return isAny;
    }

    template <class IsEnough>
    std::optional<Recognition> findElsewhere(const IsEnough &isEnough) {
        for (const RingFile *const file : files_.all()) {
            const bool isOther = file->number != newest_.number;
            const auto match = isOther ? matchFile(newest_, files_.table(*file)) : std::nullopt;
            if (match && isEnough(*match)) {
                auto found = judged(file->number, *match);
                if (found && (match->found >= kFewest || found->weight >= kProof)) {
                    return found;
                }
            }
        }
        return std::nullopt;
    }

    /// What cannot be read is taken for what it was when other files prove it.
    std::optional<Recognition> unread(uint64_t own) {
        FileMatch match = matchWholeFile(newest_);
        match.found = own;
        auto found = judged(newest_.number, match);
        return found && found->weight >= kProof ? found : std::nullopt;
    }

    /// The newest file with what is left of it, if the others agree. What it has lost itself is no evidence.
    std::optional<Recognition> judged(int number, const FileMatch &match) {
        const std::vector<int> numbers = numbersNow(number);
        const Evidence others = evidenceFrom(number, numbers);
        const uint64_t agreeing = match.found + others.agreeing;
        return isEnough(agreeing, others.differing)
                   ? std::optional(Recognition{number, match, agreeing, false, withMoved(numbers)})
                   : std::nullopt;
    }

    /// After files have gone, or when a ring that was cleared is enlarged, the distances are others: then
    /// what can be found by its content counts.
    std::vector<int> withMoved(const std::vector<int> &byDistance) {
        const std::vector<KnownFile> &known = numbering_.files;
        const bool isAsBefore = std::equal(
            known.begin(), known.end(), byDistance.begin(),
            [this](const auto &file, int number) { return file.number == number && files_.exists(number); });
        if (isAsBefore) {
            return byDistance;
        }
        std::vector<int> numbers = numbersByContent(&files_, known);
        for (size_t i = 0; i < numbers.size(); ++i) {
            const bool isFree = std::count(numbers.begin(), numbers.end(), byDistance[i]) == 0;
            numbers[i] = numbers[i] < 0 && isFree ? byDistance[i] : numbers[i];
        }
        return numbers;
    }

    /// What was damaged may differ.
    static bool isEnough(uint64_t agreeing, uint64_t differing) {
        constexpr uint64_t kClear = 16;
        return (agreeing > 0 && differing == 0) || (agreeing >= kClear && agreeing >= 3 * differing) ||
               (agreeing >= kProof && agreeing > differing);
    }

    /// As many files before the newest one as they were.
    std::vector<int> numbersNow(int newest) const {
        std::vector<int> numbers;
        for (const KnownFile &known : numbering_.files) {
            const bool isBeyondRing = known.number >= numbering_.ringSize;
            numbers.push_back(isBeyondRing ? known.number : numberNow(newest, known));
        }
        return numbers;
    }

    /// The writer has perhaps come to it since.
    int numberNow(int newest, const KnownFile &known) const {
        const int size = files_.view().ringSize();
        const int before = filesBeforeNewest(known);
        if (&known == &newest_) {
            return newest;
        }
        return before < size ? files_.ofAge(jorn::ringPosition(size, files_.age(newest) + before)) : -1;
    }

    int filesBeforeNewest(const KnownFile &known) const {
        return jorn::ringPosition(numbering_.ringSize, newest_.number - known.number);
    }

    /// From the files that must be as they were, if this is the newest one. The nearest one before it is the
    /// next to be started afresh: what it proves needs no more.
    Evidence evidenceFrom(int newest, const std::vector<int> &numbers) {
        Evidence evidence;
        for (const auto &[age, known] : closedFiles(newest)) {
            weigh(*known, files_.ofAge(age), &evidence);
            if (evidence.differing == 0 && evidence.agreeing >= kProof) {
                return evidence;
            }
        }
        // A file that nobody knows is not older than those that are known.
        for (const RingFile &file : files_.view().files()) {
            const bool isKnown = std::find(numbers.begin(), numbers.end(), file.number) != numbers.end();
            if (file.file.isOpen() && files_.age(file.number) > files_.age(newest) && !isKnown) {
                evidence.differing += files_.table(file).hashes.size();
            }
        }
        return evidence;
    }

    /// Files to which the writer cannot have come since, by their ages, the nearest one first.
    std::vector<std::pair<int, const KnownFile *>> closedFiles(int newest) const {
        std::vector<std::pair<int, const KnownFile *>> closed;
        for (const KnownFile &known : numbering_.files) {
            const int age = files_.age(newest) + filesBeforeNewest(known);
            if (&known != &newest_ && age < files_.view().ringSize()) {
                closed.emplace_back(age, &known);
            }
        }
        std::sort(closed.begin(), closed.end());
        return closed;
    }

    /// A closed file gets no more items, and is not deleted; in a ring that was smaller before, the writer
    /// had perhaps come to it. One that cannot be read shows nothing.
    void weigh(const KnownFile &known, int number, Evidence *evidence) {
        const RingFile *const file = files_.numbered(number);
        const bool hasOtherSize = files_.view().ringSize() != numbering_.ringSize;
        if (files_.isUnreadable(number) || (file == nullptr && hasOtherSize)) {
            return;
        }
        const Likeness likeness = file != nullptr ? likenessOf(known, files_.table(*file)) : Likeness::Other;
        evidence->agreeing += likeness == Likeness::Same ? known.sum.items : 0;
        evidence->differing += likeness == Likeness::Other ? known.sum.items : 0;
    }

    LogFiles &files_;
    const Numbering &numbering_;
    const KnownFile &newest_;
};

/// Whether the newest file, or another one, is as it was, beyond chance.
bool isClear(const Recognition &found, const KnownFile &newest) {
    const bool isMany = found.weight >= kFewest || isOfClock(newest.time);
    const bool hasOthers = found.weight >= found.match.found + kFewest;
    return (found.match.isWhole && isMany) || hasOthers || found.match.found >= kProof;
}

}  // namespace

std::optional<Recognition> recognise(LogFiles *files, const Numbering &numbering) {
    const KnownFile *const newest = numbering.newest();
    if (newest == nullptr) {
        return std::nullopt;
    }
    files->assumeToBegin(false);
    if (auto found = Recogniser(files, numbering, *newest).run()) {
        return found;
    }
    files->assumeToBegin(files->mayBeToBegin());
    auto found = files->mayBeToBegin() ? Recogniser(files, numbering, *newest).run() : std::nullopt;
    if (found && isClear(*found, *newest)) {
        found->isToBegin = true;
        return found;
    }
    files->assumeToBegin(false);
    return std::nullopt;
}

}  // namespace tool
