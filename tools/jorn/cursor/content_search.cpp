// SPDX-License-Identifier: Apache-2.0
#include "cursor/content_search.h"

#include <algorithm>
#include <vector>

namespace tool {
namespace {

/// A known file where it is now. What a damaged one holds nobody knows exactly: then it may not be the
/// newest.
struct Place {
    int number = -1;
    std::optional<FileMatch> match;
};

/// What a data file holds of a known one, if that is beyond chance.
std::optional<FileMatch> certainMatch(const KnownFile &known, const ItemTable &table) {
    const auto match = matchFile(known, table);
    return match && (match->isWhole || match->found >= kProof) ? match : std::nullopt;
}

bool isDamaged(const KnownFile &known, const ItemTable &table) {
    return known.sum.items >= kProof && likenessOf(known, table) == Likeness::Same;
}

/// The only data file that is the known one.
std::optional<Place> placeOf(LogFiles *files, const KnownFile &known) {
    std::optional<Place> place;
    if (known.sum.items == 0 || !isOfClock(known.time)) {
        return place;
    }
    for (const RingFile *const file : files->all()) {
        const auto match = certainMatch(known, files->table(*file));
        if (match || isDamaged(known, files->table(*file))) {
            if (place) {
                return std::nullopt;
            }
            place = Place{file->number, match};
        }
    }
    return place;
}

}  // namespace

int numberByContent(LogFiles *files, const KnownFile &known) {
    const auto place = placeOf(files, known);
    return place ? place->number : -1;
}

std::optional<Recognition> recogniseByContent(LogFiles *files, const Numbering &numbering) {
    Recognition found;
    for (const KnownFile &known : numbering.files) {
        const auto place = placeOf(files, known);
        const int unread = files->isUnreadable(known.number) ? known.number : -1;
        const int number = place ? place->number : unread;
        if (number >= 0 && std::count(found.numbers.begin(), found.numbers.end(), number) > 0) {
            return std::nullopt;  // The same items twice show nothing.
        }
        found.numbers.push_back(number);
        if (!place || !place->match) {
            continue;
        }
        found.weight += place->match->found;
        if (known.isNumbered() && (found.number < 0 || files->age(number) < files->age(found.number))) {
            found.number = number;
            found.match = *place->match;
        }
    }
    return found.weight >= kFewest && found.number >= 0 ? std::optional(found) : std::nullopt;
}

}  // namespace tool
