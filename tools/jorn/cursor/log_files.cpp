// SPDX-License-Identifier: Apache-2.0
#include "cursor/log_files.h"

#include <algorithm>

#include "csvfile/line.h"
#include "ring.h"

namespace tool {

const ItemTable &LogFiles::table(const RingFile &file) {
    const auto known = tables_.find(file.number);
    return known != tables_.end() ? known->second : tables_.emplace(file.number, tableOf(file)).first->second;
}

std::vector<const RingFile *> LogFiles::all() {
    openOutOfView();
    std::vector<const RingFile *> files;
    const auto add = [&files](const RingFile &file) {
        if (file.file.isOpen()) {
            files.push_back(&file);
        }
    };
    std::for_each(view_.files().rbegin(), view_.files().rend(), add);
    std::for_each(outOfView_.begin(), outOfView_.end(), add);
    return files;
}

const RingFile *LogFiles::numbered(int number) {
    const auto isIt = [number](const RingFile &file) { return file.number == number && file.file.isOpen(); };
    const auto inView = std::find_if(view_.files().begin(), view_.files().end(), isIt);
    if (inView != view_.files().end()) {
        return &*inView;
    }
    if (isInView(number)) {
        return nullptr;
    }
    openOutOfView();
    const auto outOfView = std::find_if(outOfView_.begin(), outOfView_.end(), isIt);
    return outOfView != outOfView_.end() ? &*outOfView : nullptr;
}

bool LogFiles::isInView(int number) const {
    return std::any_of(view_.files().begin(), view_.files().end(),
                       [number](const RingFile &file) { return file.number == number; });
}

/// The store's next start may give files other numbers; it keeps their order.
int LogFiles::age(int number) const {
    const int position = view_.plan().moveTable[number];
    const int size = view_.ringSize();
    const int newest = view_.plan().latest - (isToBegin_ ? 1 : 0);
    return position >= 0 && position < size ? jorn::ringPosition(size, newest - position) : size + number;
}

bool LogFiles::mayBeToBegin() const {
    return view_.ringSize() > 1 && view_.plan().oldest == view_.plan().latest;
}

int LogFiles::ofAge(int age) const {
    for (int number = 0; age < view_.ringSize() && number < jorn::kSurveySize; ++number) {
        if (exists(number) && this->age(number) == age) {
            return number;
        }
    }
    return -1;
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

bool LogFiles::isOvertaken() const {
    return std::any_of(tables_.begin(), tables_.end(),
                       [](const auto &known) { return known.second.end == FileEnd::Lost; });
}

bool LogFiles::isUnreadable(int number) {
    const RingFile *const file = numbered(number);
    return file != nullptr ? table(*file).end == FileEnd::Failed : exists(number);
}

void LogFiles::openOutOfView() {
    if (std::exchange(hasOpenedAll_, true)) {
        return;
    }
    DamageLog ignored;  // These are not in view.
    const FilePresence isPresent = view_.look().presence();
    for (int number = 0; number < jorn::kSurveySize; ++number) {
        if (isPresent[static_cast<size_t>(number)] && !isInView(number)) {
            RingFile &file = outOfView_.emplace_back();
            file.number = file.position = number;
            file.path = view_.directory().pathOf(dataFileName(number));
            // After a clearing, a writer may still append to the file that was the newest.
            file.isNewest = !view_.files().empty() && table(view_.files().front()).hashes.empty() &&
                            number == ofAge(age(view_.files().front().number) + 1);
            openRingFile(view_.directory(), &file, &ignored);
        }
    }
}

}  // namespace tool
