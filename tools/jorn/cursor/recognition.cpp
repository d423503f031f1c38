// SPDX-License-Identifier: Apache-2.0
#include "cursor/recognition.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace tool {
namespace {

using Kind = FileMatch::Kind;

/// A file that is not where it was must have more than the few items with which any may begin.
constexpr uint64_t kFewest = 8;

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
        const auto ownMatch = own != nullptr ? matchFile(newest_, files_.table(*own).hashes) : std::nullopt;
        if (ownMatch && ownMatch->kind == Kind::Whole) {
            if (auto found = judged(newest_.number, *ownMatch)) {
                return found;
            }
        }
        if (auto moved = findElsewhere()) {
            return moved;
        }
        if (files_.isUnreadable(newest_.number)) {
            return std::nullopt;
        }
        if (ownMatch && ownMatch->kind != Kind::Whole) {
            if (auto found = judged(newest_.number, *ownMatch)) {
                return found;
            }
        }
        const FileMatch lost =
            own != nullptr ? matchLostFile(newest_, files_.table(*own).hashes) : FileMatch{Kind::Vague, 0, 0};
        return judged(newest_.number, lost);
    }

private:
    std::optional<Recognition> findElsewhere() {
        if (newest_.sum.items < kFewest) {
            return std::nullopt;
        }
        for (const RingFile *const file : files_.all()) {
            if (file->number != newest_.number && beginsWith(files_.table(*file).hashes, newest_.sum)) {
                if (auto found = judged(file->number, {Kind::Whole, newest_.sum.items, 0})) {
                    return found;
                }
            }
        }
        return std::nullopt;
    }

    /// The newest file with what is left of it, if the others agree. What it has lost itself is no evidence.
    std::optional<Recognition> judged(int number, const FileMatch &match) {
        const Recognition found = {number, number - newest_.number, match, 0};
        const Evidence others = evidenceFrom(found);
        const uint64_t agreeing = match.items + others.agreeing;
        const bool isLikely = agreeing >= kProof && agreeing > others.differing;
        return isLikely || (agreeing > 0 && others.differing == 0)
                   ? std::optional(Recognition{found.number, found.shift, match, agreeing})
                   : std::nullopt;
    }

    /// From the files that must be as they were, if this is the newest one. The nearest one before it is the
    /// next to be started afresh: what it proves needs no more.
    Evidence evidenceFrom(const Recognition &found) {
        Evidence evidence;
        for (const auto &[age, known] : closedFiles(found)) {
            weigh(*known, files_.before(known->number, -found.shift), &evidence);
            if (evidence.differing == 0 && evidence.agreeing >= kProof) {
                return evidence;
            }
        }
        // A file that nobody knows is not older than those that are known.
        for (const RingFile &file : files_.view().files()) {
            if (file.file.isOpen() && files_.age(file.number) > files_.age(found.number) &&
                !isKnown(files_.before(file.number, found.shift))) {
                evidence.differing += files_.table(file).hashes.size();
            }
        }
        return evidence;
    }

    bool isKnown(int number) const {
        return std::any_of(numbering_.files.begin(), numbering_.files.end(),
                           [number](const KnownFile &known) { return known.number == number; });
    }

    /// Files to which the writer cannot have come since, the nearest one first.
    std::vector<std::pair<int, const KnownFile *>> closedFiles(const Recognition &found) const {
        std::vector<std::pair<int, const KnownFile *>> closed;
        for (const KnownFile &known : numbering_.files) {
            const int age = files_.age(files_.before(known.number, -found.shift));
            if (&known != &newest_ && age > files_.age(found.number)) {
                closed.emplace_back(age, &known);
            }
        }
        std::sort(closed.begin(), closed.end());
        return closed;
    }  /// A closed file gets no more items, and is not deleted. One that cannot be read shows nothing; of one
       /// that
    /// could not be read to its end, more may be there now.
    void weigh(const KnownFile &known, int number, Evidence *evidence) {
        const RingFile *const file = files_.numbered(number);
        const auto match = file != nullptr ? matchFile(known, files_.table(*file).hashes) : std::nullopt;
        const bool isAsItWas = match && match->kind <= Kind::Moved &&
                               (known.isUnread || match->items == files_.table(*file).hashes.size());
        if (isAsItWas) {
            evidence->agreeing += known.sum.items;
        } else if (!files_.isUnreadable(number)) {
            evidence->differing += known.sum.items;
        }
    }

    LogFiles &files_;
    const Numbering &numbering_;
    const KnownFile &newest_;
};

}  // namespace

const KnownFile *newestOf(const Numbering &numbering) {
    const auto newest = std::find_if(numbering.files.rbegin(), numbering.files.rend(),
                                     [](const KnownFile &file) { return file.numbered.hasAny(); });
    return newest == numbering.files.rend() ? nullptr : &*newest;
}

std::optional<Recognition> recognise(LogFiles *files, const Numbering &numbering) {
    const KnownFile *const newest = newestOf(numbering);
    return newest == nullptr ? std::nullopt : Recogniser(files, numbering, *newest).run();
}

}  // namespace tool
