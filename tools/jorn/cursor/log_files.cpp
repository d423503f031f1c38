// SPDX-License-Identifier: Apache-2.0
#include "cursor/log_files.h"

#include <algorithm>

#include "csvfile/line.h"
#include "ring.h"

namespace tool {
namespace {

bool isBetter(const std::optional<FoundPlace> &found, const std::optional<FoundPlace> &best) {
    return found && (!best || found->match.kind < best->match.kind);
}

}  // namespace

const ItemTable &LogFiles::table(const RingFile &file) {
    const auto known = tables_.find(file.number);
    return known != tables_.end() ? known->second : tables_.emplace(file.number, tableOf(file)).first->second;
}

std::optional<FoundPlace> LogFiles::find(const Place &place) {
    std::optional<FoundPlace> best;
    const auto look = [&](const RingFile &file) {
        const std::optional<FoundPlace> found = matchIn(file, place);
        best = isBetter(found, best) ? found : best;
    };
    // Nearly always in its own file, and then no other one is read.
    const RingFile *const own = numbered(place.file);
    if (own != nullptr) {
        look(*own);
    }
    if (best && best->match.kind == PlaceMatch::Kind::Whole) {
        return best;
    }
    openOutOfView();
    std::for_each(view_.files().rbegin(), view_.files().rend(), look);
    std::for_each(outOfView_.begin(), outOfView_.end(), look);
    return best ? best : findLost(place);
}

std::optional<FoundPlace> LogFiles::matchIn(const RingFile &file, const Place &place) {
    const auto match = file.file.isOpen() ? matchPlace(place, table(file).hashes) : std::nullopt;
    const FoundPlace found{&file, match.value_or(PlaceMatch{})};
    return match && isCredible(found, place) ? std::optional(found) : std::nullopt;
}

/// A few items may be the same each time that the writer comes round, as after each start of a device whose
/// clock starts again too. Then the file before must be the one that was before, unless the writer is there.
bool LogFiles::isCredible(const FoundPlace &found, const Place &place) {
    if (found.match.items >= Place::kKnown) {
        return true;
    }
    const bool isOwn = found.file->number == place.file;
    const RingFile *const before = place.former ? precursorOf(*found.file) : nullptr;
    if (before == nullptr || !before->file.isOpen() || (isOwn && before->isNewest)) {
        return isOwn;
    }
    return beginsWith(table(*before).hashes, *place.former);
}

/// The file that comes before another in the ring, in view or not.
const RingFile *LogFiles::precursorOf(const RingFile &file) {
    const std::vector<RingFile> &files = view_.files();
    for (size_t i = 1; i < files.size(); ++i) {
        if (&files[i] == &file) {
            return &files[i - 1];
        }
    }
    return numbered(jorn::ringPosition(view_.ringSize(), file.number - 1));
}

/// Where the file of a place has lost all that could show it, the one before it can. The place is in the next
/// file then, or at the end where there is none.
std::optional<FoundPlace> LogFiles::findLost(const Place &place) {
    std::optional<FoundPlace> found;
    const int before = jorn::ringPosition(view_.ringSize(), place.file - 1);
    const auto look = [&](const RingFile &file) {
        const bool isTelling = place.former->items >= Place::kKnown || file.number == before;
        if (!found && isTelling && beginsWith(table(file).hashes, *place.former)) {
            const RingFile *const next = successorOf(file);
            found =
                next != nullptr
                    ? FoundPlace{next, matchLostPlace(place, table(*next).hashes)}
                    : FoundPlace{&file, {PlaceMatch::Kind::Cut, place.former->items, place.before.items, 0}};
        }
    };
    if (place.former) {
        std::for_each(view_.files().rbegin(), view_.files().rend(), look);
        std::for_each(outOfView_.begin(), outOfView_.end(), look);
    }
    return found;
}

/// The file that the writer went on to; null for the newest.
const RingFile *LogFiles::successorOf(const RingFile &file) {
    const std::vector<RingFile> &files = view_.files();
    for (size_t i = 0; i < files.size(); ++i) {
        if (&files[i] == &file) {
            return i + 1 < files.size() ? &files[i + 1] : nullptr;
        }
    }
    return numbered(jorn::ringSuccessor(view_.ringSize(), file.number));
}

std::vector<const RingFile *> LogFiles::from(const RingFile &file) {
    std::vector<const RingFile *> result;
    const std::vector<RingFile> &files = view_.files();
    auto first =
        std::find_if(files.begin(), files.end(), [&](const RingFile &other) { return &other == &file; });
    if (first == files.end()) {
        result.push_back(&file);
        first = files.begin();
        const int size = view_.ringSize();
        // What the writer did not come through, because its index was lost, is known from when it was passed.
        for (int number = jorn::ringSuccessor(size, file.number);
             number != first->number && number != file.number; number = jorn::ringSuccessor(size, number)) {
            const RingFile *const between = numbered(number);
            if (between != nullptr && between->file.isOpen()) {
                result.push_back(between);
            }
        }
    }
    std::transform(first, files.end(), std::back_inserter(result),
                   [](const RingFile &next) { return &next; });
    return result;
}

bool LogFiles::isCleared() {
    if (view_.files().empty()) {
        return false;
    }
    bool isCleared = false;
    DamageLog ignored;
    readLines(view_.files().front(), 0, &ignored, [&isCleared](const Line &line) {
        isCleared = line.isItem() && textIn(line.bytes) == jorn::kClearedText;
        return false;
    });
    return isCleared;
}

void LogFiles::openOutOfView() {
    if (hasOpenedAll_) {
        return;
    }
    hasOpenedAll_ = true;
    DamageLog ignored;  // These are not in view.
    const FilePresence isPresent = view_.look().presence();
    const std::vector<RingFile> &files = view_.files();
    for (int number = 0; number < jorn::kSurveySize; ++number) {
        const bool isInView = std::any_of(files.begin(), files.end(),
                                          [number](const RingFile &file) { return file.number == number; });
        if (isPresent[static_cast<size_t>(number)] && !isInView) {
            RingFile &file = outOfView_.emplace_back();
            file.number = file.position = number;
            file.path = view_.directory().pathOf(dataFileName(number));
            openRingFile(view_.directory(), &file, &ignored);
        }
    }
}

/// The file of a number, out of view too; null where there is none.
const RingFile *LogFiles::numbered(int number) {
    const auto isIt = [number](const RingFile &file) { return file.number == number; };
    const auto inView = std::find_if(view_.files().begin(), view_.files().end(), isIt);
    if (inView != view_.files().end()) {
        return &*inView;
    }
    openOutOfView();
    const auto outOfView = std::find_if(outOfView_.begin(), outOfView_.end(), isIt);
    return outOfView != outOfView_.end() ? &*outOfView : nullptr;
}

}  // namespace tool
