// SPDX-License-Identifier: Apache-2.0
#include "health/ring_evidence.h"

#include <algorithm>
#include <utility>

#include "log/store_directory.h"
#include "ring.h"

namespace tool {
namespace {

/// A step back of less than one part in kSmallPart of what it is compared with may come from a clock that
/// was set.
constexpr int64_t kSmallPart = 10;

std::string at(int position) { return dataFileName(position); }

/// The files with items in ring order, and the questions by which their order is judged.
class Evidence {
public:
    explicit Evidence(const RingFacts &facts) : facts_(facts) {
        for (int position = 0; position < facts.ringSize; ++position) {
            if (fileAt(position).hasItems()) {
                ring_.push_back(position);
            }
        }
    }

    const std::vector<int> &ring() const { return ring_; }

    const FileFacts &fileAt(int position) const { return facts_.files[static_cast<size_t>(position)]; }

    /// Seconds by which the times fall from the end of one file to the start of another; negative when
    /// they rise.
    int64_t fall(int from, int to) const {
        return static_cast<int64_t>(fileAt(from).lastTime) - fileAt(to).firstTime;
    }

    int64_t duration(int position) const {
        return static_cast<int64_t>(fileAt(position).lastTime) - fileAt(position).firstTime;
    }

    /// The ring's own order, starting after the file at `last`, an index into ring().
    std::vector<int> ringOrderBehind(size_t last) const {
        std::vector<int> order = ring_;
        std::rotate(order.begin(), order.begin() + static_cast<ptrdiff_t>((last + 1) % order.size()),
                    order.end());
        return order;
    }

    std::vector<int> timeOrder(std::vector<int> order) const {
        std::stable_sort(order.begin(), order.end(),
                         [this](int a, int b) { return fileAt(a).firstTime < fileAt(b).firstTime; });
        return order;
    }

    /// Whether the files follow one another without doubt: no neighbours share more than a small part of
    /// their time.
    bool isClear(const std::vector<int> &order) const {
        for (size_t i = 0; i + 1 < order.size(); ++i) {
            const int64_t shorter = std::min(duration(order[i]), duration(order[i + 1]));
            if (fall(order[i], order[i + 1]) * kSmallPart > std::max<int64_t>(shorter, 0)) {
                return false;
            }
            const bool isSameTime = fileAt(order[i]).firstTime == fileAt(order[i + 1]).lastTime;
            if (isSameTime) {
                return false;
            }
        }
        return true;
    }

    /// Whether the times rise along the order, and fall from its end to its beginning.
    bool isBorneOutByTimes(const std::vector<int> &order) const {
        for (size_t i = 0; i + 1 < order.size(); ++i) {
            if (fall(order[i], order[i + 1]) > 0) {
                return false;
            }
        }
        return fall(order.back(), order.front()) > 0;
    }

    bool isRotation(const std::vector<int> &order) const {
        const auto first = std::find(ring_.begin(), ring_.end(), order.front());
        std::vector<int> rotated = ring_;
        std::rotate(rotated.begin(), rotated.begin() + (first - ring_.begin()), rotated.end());
        return rotated == order;
    }

    /// Whether the position after a file is empty or missing: after the newest file, it is what the store
    /// opens next.
    bool isFreeBehind(int position) const { return !fileAt(successorOf(position)).hasItems(); }

    /// Whether the files are numbered from 0 without a gap, and all but the last are full. Then they were
    /// filled one after another, and none was ever restarted, whatever the clock said.
    bool isFilledByNumber() const {
        const int last = ring_.back();
        const bool isWithoutGap = last + 1 == static_cast<int>(ring_.size());
        const bool mayBeLeft = fileAt(0).startsCleared;
        return isWithoutGap && !mayBeLeft && !fileAt(last).isFull() &&
               std::all_of(ring_.begin(), ring_.end() - 1,
                           [this](int position) { return fileAt(position).isFull(); });
    }

    /// Judging by how full it is, this file may be the newest.
    bool looksNewest(int position) const { return !fileAt(position).isFull() || isFreeBehind(position); }

    /// The first file that may be the newest: it is not full although no clearing left it so, or the one
    /// after it has just been begun.
    std::optional<int> firstWithRoom() const {
        return find([this](int position) {
            const FileFacts &next = fileAt(successorOf(position));
            const bool isNextBegun = next.isPresent && !next.hasItems();
            return isNextBegun || (!fileAt(position).isFull() && !isLeftByClearing(position));
        });
    }

    /// A file that may be the newest instead, if the clock was set back after the one that is newest by the
    /// times. A file that a clearing left as it was is not considered, unless that is true of both; nor is
    /// one after which the times run on: the clock would have to have stopped just before the oldest item's
    /// time.
    std::optional<int> otherThan(int newest) const {
        const bool isByFill = find([this](int position) {
                                  return looksNewest(position) && !isLeftByClearing(position);
                              }).has_value();
        return find([&](int position) {
            const bool wasLeft = isLeftByClearing(position) && !(isByFill && isLeftByClearing(newest));
            return position != newest && (looksNewest(position) || !isByFill) && !wasLeft &&
                   !doTimesRunOn(position);
        });
    }

    /// Whether the newest file is full while another is not, and the ring goes on after it: then the file
    /// that is not full may be the newest, and the clock may have been wrong.
    bool contradictsFill(int newest) const {
        const bool isAnyPartial = std::any_of(ring_.begin(), ring_.end(), [&](int position) {
            return position != newest && !fileAt(position).isFull();
        });
        return fileAt(newest).isFull() && isAnyPartial && !isFreeBehind(newest);
    }

    /// Whether the next file begins when this one ends, but for the time that a few items take.
    bool doTimesRunOn(int position) const {
        constexpr int64_t kFew = 4;
        const int next = successorOf(position);
        const int64_t spent = std::max<int64_t>(duration(position), 0) + std::max<int64_t>(duration(next), 0);
        const int64_t most = 1 + kFew * spent / (fileAt(position).items + fileAt(next).items);
        const int64_t gap = -fall(position, next);
        return fileAt(next).hasItems() && gap >= 0 && gap <= most;
    }

    bool isLeftByClearing(int position) const { return fileAt(successorOf(position)).startsCleared; }

private:
    int successorOf(int position) const { return jorn::ringSuccessor(facts_.ringSize, position); }

    template <class Condition>
    std::optional<int> find(Condition condition) const {
        const auto found = std::find_if(ring_.begin(), ring_.end(), condition);
        return found == ring_.end() ? std::nullopt : std::optional<int>(*found);
    }

    const RingFacts &facts_;
    std::vector<int> ring_;
};

struct Seam {
    size_t last = 0;  ///< Index into the ring of the file before the largest fall.
    int64_t largest = 0;
    int64_t second = 0;
    int falls = 0;
};

Seam findSeam(const Evidence &evidence) {
    const std::vector<int> &ring = evidence.ring();
    Seam seam;
    for (size_t i = 0; i < ring.size(); ++i) {
        const int64_t fall = evidence.fall(ring[i], ring[(i + 1) % ring.size()]);
        if (fall <= 0) {
            continue;
        }
        ++seam.falls;
        if (fall > seam.largest) {
            seam.second = std::exchange(seam.largest, fall);
            seam.last = i;
        } else {
            seam.second = std::max(seam.second, fall);
        }
    }
    return seam;
}

RingOrder fromFiles(const std::vector<int> &order, const std::string &why) {
    return {RingOrder::Source::Files, order, {}, why, ""};
}

RingOrder unclear(const std::string &why) { return {RingOrder::Source::Unclear, {}, {}, why, ""}; }

std::string span(const std::vector<int> &order) {
    return at(order.front()) + " is the oldest and " + at(order.back()) + " the newest";
}

std::string times(const Evidence &evidence, const std::vector<int> &order) {
    return " (" + std::to_string(evidence.fileAt(order.front()).firstTime) + " to " +
           std::to_string(evidence.fileAt(order.back()).lastTime) + ")";
}

RingOrder unlessFillContradicts(const Evidence &evidence, RingOrder order) {
    const int newest = order.files.back();
    if (evidence.contradictsFill(newest)) {
        return unclear(
            "by their times " + span(order.files) + ", but " + at(newest) +
            " is full, the ring goes on after it, and another file is not full: the clock may have "
            "been set back");
    }
    const bool isEnd = !evidence.fileAt(newest).isFull();
    if (isEnd) {
        order.evidence += "; " + at(newest) + " is not full, as the newest is";
    } else if (evidence.isFreeBehind(newest)) {
        order.evidence +=
            "; the file after " + at(newest) + " is empty or missing, as when the store moves on";
    }
    return order;
}

/// All files begin and end at the same time: the only evidence is how full they are.
RingOrder findByFill(const Evidence &evidence) {
    const std::vector<int> &ring = evidence.ring();
    std::vector<size_t> ends;
    for (size_t i = 0; i < ring.size(); ++i) {
        if (evidence.looksNewest(ring[i]) && !evidence.isLeftByClearing(ring[i])) {
            ends.push_back(i);
        }
    }
    if (ends.size() != 1) {
        return unclear("the times of all files are equal, and not exactly one of them looks like the newest");
    }
    const std::vector<int> order = evidence.ringOrderBehind(ends.front());
    return fromFiles(order, "the times of all files are equal, and only " + at(order.back()) +
                                " is not full or has no file after it: " + span(order));
}

/// A clock that was set back makes the times fall at other places than the end of the ring, so they are no
/// evidence where another file may be the newest.
RingOrder withDoubt(const Evidence &evidence, RingOrder order) {
    const auto other = order.isKnown() ? evidence.otherThan(order.files.back()) : std::nullopt;
    if (other) {
        order.doubt = "if the clock was set back, " + at(*other) + " could be the newest instead";
    }
    return order;
}

RingOrder byTimes(const Evidence &evidence, const std::vector<int> &order, const std::string &why) {
    return withDoubt(evidence, unlessFillContradicts(evidence, fromFiles(order, why + ": " + span(order) +
                                                                                    times(evidence, order))));
}

RingOrder findByNumber(const Evidence &evidence) {
    const std::vector<int> &order = evidence.ring();
    return fromFiles(order, "every file but the last, " + at(order.back()) +
                                ", is full, so they were filled one after the other: " + span(order));
}

RingOrder findByTimes(const Evidence &evidence) {
    const Seam seam = findSeam(evidence);
    if (seam.falls == 0) {
        return findByFill(evidence);
    }
    const std::vector<int> rotated = evidence.ringOrderBehind(seam.last);
    if (seam.falls == 1) {
        return byTimes(evidence, rotated, "the times fall once around the ring, after " + at(rotated.back()));
    }
    const std::vector<int> timeOrder = evidence.timeOrder(rotated);
    if (timeOrder == rotated && seam.second * kSmallPart <= seam.largest) {
        return byTimes(evidence, rotated,
                       "the times fall by " + std::to_string(seam.largest) + " s after " +
                           at(rotated.back()) + " and elsewhere by " + std::to_string(seam.second) +
                           " s at most");
    }
    const std::string falls = "the times fall " + std::to_string(seam.falls) + " times around the ring, ";
    if (evidence.isClear(timeOrder)) {
        return byTimes(evidence, timeOrder,
                       falls + "as after starts without the index, but no two files overlap in time");
    }
    return unclear(falls + "and files overlap in time, so their order cannot be determined");
}

/// Whether a range leaves items out for no visible reason: a clearing logs that it left items out.
bool leavesItemsOut(const RingFacts &facts, const IndexPositions &range) {
    return !filesOutsideRange(facts, range).empty() &&
           !facts.files[static_cast<size_t>(range.oldest)].startsCleared;
}

RingOrder fromRange(const RingFacts &facts, const IndexPositions &range, const std::string &why) {
    RingOrder order = fromFiles(filesInRange(facts, range), why);
    order.cleared = filesOutsideRange(facts, range);
    return order;
}

/// The file after the newest of former positions, if the ring has moved on to it since. The ring may be
/// larger than its files show, or may only now become larger, so the file is looked for in both sizes.
std::optional<int> fileBegunAfter(const RingFacts &facts, const IndexPositions &former) {
    if (!facts.files[static_cast<size_t>(former.latest)].isFull()) {
        return std::nullopt;
    }
    FilePresence files{};
    std::transform(facts.files.begin(), facts.files.end(), files.begin(),
                   [](const FileFacts &file) { return file.isPresent; });
    for (const int size : {facts.ringSize, smallestRingFor(files, {former})}) {
        const int next = jorn::ringSuccessor(size, former.latest);
        if (facts.files[static_cast<size_t>(next)].hasItems()) {
            return next;
        }
    }
    return std::nullopt;
}

/// The store begins the file after the newest, rewrites the index, and only then stores items there. So if
/// that file was begun but holds none, the backup is the index that was to be rewritten, whatever the times
/// say.
bool isOfCutRotation(const RingFacts &facts, const Evidence &evidence, int next) {
    const IndexPositions &backup = *facts.backup;
    return evidence.fileAt(next).isPresent && !evidence.fileAt(next).hasItems() &&
           evidence.fileAt(backup.latest).hasItems() && !leavesItemsOut(facts, backup);
}

/// The order by the backup, where the times show nothing; unclear if the files contradict it.
RingOrder byBackup(const RingFacts &facts, const std::string &evidence) {
    const IndexPositions &backup = *facts.backup;
    if (leavesItemsOut(facts, backup)) {
        return unclear(evidence + ", which leaves items out");
    }
    if (const auto next = fileBegunAfter(facts, backup)) {
        return unclear(evidence + ", but " + at(backup.latest) + " is full and " + at(*next) +
                       " holds items");
    }
    return fromRange(facts, backup,
                     "index.bak names " + textOf(backup) + ", and every item lies in that range");
}

/// The backup is the index as it was before the rewrite that was cut short: the ring may have moved on by one
/// file.
RingOrder comparedWithBackup(const RingFacts &facts, const Evidence &evidence, RingOrder order) {
    const IndexPositions &backup = *facts.backup;
    const int next = jorn::ringSuccessor(facts.ringSize, backup.latest);
    const std::string named = "index.bak names " + textOf(backup);
    if (isOfCutRotation(facts, evidence, next)) {
        return fromRange(facts, backup, named + ", and the file after its newest was just begun");
    }
    if (!order.isKnown()) {
        return byBackup(facts, order.evidence + "; " + named);
    }
    const int newest = order.files.back();
    const bool isOneOn = newest == next;
    if (evidence.isRotation(order.files) && (newest == backup.latest || isOneOn)) {
        order.evidence += "; " + named + ", which agrees";
        // The store moves on from a full file, and the backup exists no longer than the next one takes to
        // fill.
        const bool isMoveLikely =
            evidence.fileAt(backup.latest).isFull() && !evidence.fileAt(newest).isFull();
        if ((!isOneOn || isMoveLikely) && !evidence.isLeftByClearing(newest)) {
            order.doubt.clear();
        }
        return order;
    }
    if (hasMovedOn(facts, backup) && !evidence.fileAt(newest).isFull()) {
        order.evidence += "; " + named + ", but the ring has moved on since";
        return order;
    }
    return unclear(order.evidence + "; " + named + ", which does not agree");
}

/// The log begins at the last clearing: older items stay out of view.
RingOrder withoutCleared(const RingFacts &facts, RingOrder order) {
    const auto begin = std::find_if(order.files.rbegin(), order.files.rend(), [&facts](int position) {
        return facts.files[static_cast<size_t>(position)].startsCleared;
    });
    if (begin != order.files.rend()) {
        order.cleared.insert(order.cleared.end(), order.files.begin(), begin.base() - 1);
        order.files.erase(order.files.begin(), begin.base() - 1);
    }
    if (!order.cleared.empty()) {
        order.evidence += "; what was cleared before " + at(order.files.front()) + " stays out of view";
    }
    return order;
}

RingOrder findAll(const RingFacts &facts, const Evidence &evidence) {
    if (evidence.ring().size() == 1) {
        return fromFiles(evidence.ring(), "only " + at(evidence.ring().front()) + " holds items");
    }
    const RingOrder order = evidence.isFilledByNumber() ? findByNumber(evidence) : findByTimes(evidence);
    return facts.backup ? comparedWithBackup(facts, evidence, order) : order;
}

RingOrder findFromFiles(const RingFacts &facts) {
    return withoutCleared(facts, findAll(facts, Evidence(facts)));
}

RingOrder takeGiven(const RingFacts &facts) {
    const std::vector<int> outside = filesOutsideRange(facts, *facts.given);
    if (!outside.empty()) {
        return unclear("the positions that were given leave out the items of " + listFiles(outside));
    }
    return fromFiles(filesInRange(facts, *facts.given), "the positions were given");
}

RingOrder fromIndex(const RingFacts &facts, RingOrder::Source source, const std::string &why) {
    RingOrder order = fromRange(facts, *facts.index, why);
    order.source = source;
    return order;
}

/// For an index that names every file with items, and whose newest file is full and has no room after it,
/// while another file is not full: the ring may have moved on since it was written.
RingOrder judgeFullNewest(const RingFacts &facts, const RingOrder &named, int other) {
    const RingOrder found = findFromFiles(facts);
    if (found.isKnown() && found.doubt.empty() && Evidence(facts).isBorneOutByTimes(found.files)) {
        return found;
    }
    return unclear("the index names " + at(named.files.back()) +
                   " as the newest, but that is full, and the ring may " + "have ended with " + at(other));
}

RingOrder judgeWholeRange(const RingFacts &facts) {
    const int newest = facts.index->latest;
    const RingOrder named =
        fromIndex(facts, RingOrder::Source::Index, "the index names every file with items");
    if (facts.files[static_cast<size_t>(newest)].isPresent) {
        const Evidence evidence(facts);
        const auto other = evidence.looksNewest(newest) ? std::nullopt : evidence.firstWithRoom();
        return other ? judgeFullNewest(facts, named, *other) : named;
    }
    const RingOrder found = findFromFiles(facts);
    const bool isSame = found.isKnown() && found.files.back() == named.files.back();
    return isSame ? named : found;
}

/// Whether a clearing was cut short before it began its file: what it cleared is there, and nothing came
/// after it.
bool isOfCutClearing(const RingFacts &facts) {
    if (facts.index->oldest != facts.index->latest) {
        return false;
    }
    const RingOrder order = findFromFiles(facts);
    return order.isKnown() && order.doubt.empty() &&
           jorn::ringSuccessor(facts.ringSize, order.files.back()) == facts.index->latest;
}

/// Whether this is the range that a start without an index leaves, which begins at 0. Any other range that
/// leaves items out was written on purpose, by a clearing.
bool isRangeOfReset(const IndexPositions &index) { return index.oldest == 0; }

RingOrder judgeIndex(const RingFacts &facts) {
    const IndexPositions &index = *facts.index;
    const std::vector<int> outside = filesOutsideRange(facts, index);
    if (outside.empty()) {
        return judgeWholeRange(facts);
    }
    if (facts.files[static_cast<size_t>(index.oldest)].startsCleared) {
        return fromIndex(facts, RingOrder::Source::Cleared,
                         at(index.oldest) + " begins where the log was cleared");
    }
    if (isRangeOfReset(index)) {
        return findFromFiles(facts);
    }
    if (isOfCutClearing(facts)) {
        return fromIndex(facts, RingOrder::Source::Cleared,
                         at(index.latest) + " is the next file, as when a clearing is cut short");
    }
    return unclear("the index leaves out the items of " + listFiles(outside) +
                   ", as after a clearing that was not logged");
}

}  // namespace

std::vector<int> filesInRange(const RingFacts &facts, const IndexPositions &range) {
    std::vector<int> positions;
    for (const int position : positionsInRange(range, facts.ringSize)) {
        if (facts.files[static_cast<size_t>(position)].hasItems()) {
            positions.push_back(position);
        }
    }
    return positions;
}

std::vector<int> filesOutsideRange(const RingFacts &facts, const IndexPositions &range) {
    const std::vector<int> inside = filesInRange(facts, range);
    std::vector<int> outside;
    for (int position = 0; position < jorn::kSurveySize; ++position) {
        const bool isInside = std::find(inside.begin(), inside.end(), position) != inside.end();
        if (facts.files[static_cast<size_t>(position)].hasItems() && !isInside) {
            outside.push_back(position);
        }
    }
    return outside;
}

bool hasMovedOn(const RingFacts &facts, const IndexPositions &former) {
    return fileBegunAfter(facts, former).has_value();
}

std::string listFiles(const std::vector<int> &positions) {
    std::string text;
    for (size_t i = 0; i < positions.size();) {
        size_t end = i;
        while (end + 1 < positions.size() && positions[end + 1] == positions[end] + 1) {
            ++end;
        }
        text += (i == 0 ? "" : ", ") + at(positions[i]);
        if (end > i) {
            text += " to " + at(positions[end]);
        }
        i = end + 1;
    }
    return text;
}

RingOrder findRingOrder(const RingFacts &facts) {
    if (facts.given) {
        return takeGiven(facts);
    }
    const bool isAnyItem = std::any_of(facts.files.begin(), facts.files.end(),
                                       [](const FileFacts &file) { return file.hasItems(); });
    if (!isAnyItem) {
        RingOrder order = fromFiles({}, "no file holds an item");
        order.source = facts.index ? RingOrder::Source::Index : RingOrder::Source::Files;
        return order;
    }
    return facts.index ? judgeIndex(facts) : findFromFiles(facts);
}

}  // namespace tool
