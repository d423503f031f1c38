// SPDX-License-Identifier: Apache-2.0
#include "history.h"

#include <algorithm>
#include <array>

namespace flash {

namespace {

constexpr size_t kItemsOfFullFile = 5000;

/// The number of a data file, -1 for any other file.
int positionOf(const std::string &path) {
    const std::string name = path.substr(path.rfind('/') + 1);
    const bool isNumber = !name.empty() && name[0] >= '0' && name[0] <= '9';
    return isNumber ? std::stoi(name) : -1;
}

std::string pathOf(const std::string &like, int position) {
    return like.substr(0, like.rfind('/') + 1) + std::to_string(position) + ".csv";
}

/// Whether `chip` begins like `expected` and is zero from some byte on.
bool isPrefixThenZeros(std::string_view chip, std::string_view expected) {
    const auto [end, ignored] = std::mismatch(chip.begin(), chip.end(), expected.begin());
    return std::all_of(end, chip.end(), [](char byte) { return byte == '\0'; });
}

/// Whether a file is as its calls leave it. Pages reach the chip one by one and not always in order, and a
/// file's length can reach it before its bytes; what is missing reads as zeros.
bool fits(const ShadowFile &file, std::string_view chip) {
    const size_t sure = file.durable.size();
    if (chip.size() < sure || chip.size() > sure + file.pending.size() ||
        chip.substr(0, sure) != file.durable) {
        return false;
    }
    for (size_t begin = sure; begin < chip.size();) {
        const size_t end = std::min((begin / kPageBytes + 1) * kPageBytes, chip.size());
        const std::string_view expected = std::string_view(file.pending).substr(begin - sure, end - begin);
        if (!isPrefixThenZeros(chip.substr(begin, end - begin), expected)) {
            return false;
        }
        begin = end;
    }
    return true;
}

}  // namespace

const char *nameOf(Reason reason) {
    constexpr std::array<const char *, kReasons> kNames = {
        "overwritten by ring wrap",   "cleared",
        "renamed over by tidying",    "deleted as surplus",
        "index lost, still in files", "index lost, overwritten",
        "run together with torn line"};
    return kNames[static_cast<size_t>(reason)];
}

Shadow::Shadow(const Ledger &ledger, const Directory &before, std::vector<size_t> next)
    : ledger_(&ledger), next_(std::move(next)), cleared_(next_.size()) {
    for (const auto &[path, bytes] : before) {
        ShadowFile &file = files_[path];
        file.durable = bytes;
        if (positionOf(path) < 0) {
            continue;
        }
        for (const Line &line : ledger.parse(bytes)->lines) {
            if (line.item != kUnknownItem) {
                file.items.push_back(line.item);
                closed_.push_back(line.item);
            }
        }
    }
    submitted_ = closed_.size();
}

size_t Shadow::clearedItems(size_t object) const { return cleared_[object]; }

/// The bytes written since the file was opened become durable, and must be the items that come next.
void Shadow::closeFile(ShadowFile *file) {
    const bool isAfterTornLine = !file->durable.empty() && file->durable.back() != '\n';
    bool isFirst = true;
    for (const Line &line : ledger_->parse(file->pending)->lines) {
        const bool isRunTogether = isFirst && isAfterTornLine;
        isFirst = false;
        if (line.item == kUnknownItem) {
            fault_ = "wrote what nobody submitted: " + std::string(line.text);
            continue;
        }
        const Item &item = ledger_->item(line.item);
        if (item.ordinal != next_[item.object]) {
            fault_ = "wrote out of order, twice or with a gap: " + item.line;
        }
        next_[item.object] = item.ordinal + 1;
        closed_.push_back(line.item);
        if (isRunTogether) {
            removed_[line.item] = Reason::RunTogether;
        } else {
            file->items.push_back(line.item);
        }
    }
}

void Shadow::forget(const std::vector<int> &items, Reason reason) {
    for (const int number : items) {
        const Item &item = ledger_->item(number);
        removed_[number] = item.ordinal < cleared_[item.object] ? Reason::Cleared : reason;
    }
}

/// A file that holds items is started afresh only when its ring has wrapped round to it, which it does when
/// the file before it is full.
Reason Shadow::reasonToTruncate(const std::string &path, const ShadowFile &file) const {
    const int position = positionOf(path);
    int previous = position - 1;
    if (previous < 0) {
        previous = 0;
        while (files_.count(pathOf(path, previous + 1)) != 0) {
            ++previous;
        }
    }
    const auto found = files_.find(pathOf(path, previous));
    const bool isFull = found != files_.end() && found->second.items.size() >= kItemsOfFullFile;
    return isFull || file.items.empty() ? Reason::OverwrittenByWrap : Reason::Count;
}

void Shadow::take(const std::string &path, ShadowFile *file) {
    *file = std::move(files_[path]);
    files_.erase(path);
}

void Shadow::apply(const Event &event) {
    switch (event.kind) {
        case Event::OpenTruncated: {
            ShadowFile &file = files_[event.path];
            forget(file.items, reasonToTruncate(event.path, file));
            file = ShadowFile{};
            break;
        }
        case Event::OpenToAppend:
            files_[event.path];  // exists from now on
            break;
        case Event::Write:
            files_[event.path].pending += event.target;
            break;
        case Event::Close: {
            ShadowFile &file = files_[event.path];
            if (positionOf(event.path) >= 0) {
                closeFile(&file);
            }
            file.durable += file.pending;
            file.pending.clear();
            break;
        }
        case Event::Rename: {
            ShadowFile moved;
            take(event.path, &moved);
            forget(files_[event.target].items, Reason::RenamedOver);
            files_[event.target] = std::move(moved);
            break;
        }
        case Event::Remove:
            forget(files_[event.path].items, Reason::DeletedAsSurplus);
            files_.erase(event.path);
            break;
        case Event::Submit:
            ++submitted_;
            break;
        case Event::Clear:
            cleared_[event.object] = event.itemsBefore;
            break;
    }
}

bool Shadow::agrees(const Directory &chip, std::string *difference) const {
    for (const auto &[path, file] : files_) {
        const auto found = chip.find(path);
        if (found == chip.end()) {
            *difference = path + " is missing";
            return false;
        }
        if (!fits(file, found->second)) {
            *difference = path + " has " + std::to_string(found->second.size()) + " bytes; sure are " +
                          std::to_string(file.durable.size()) + " and pending " +
                          std::to_string(file.pending.size());
            return false;
        }
    }
    for (const auto &[path, bytes] : chip) {
        if (files_.count(path) == 0) {
            *difference = path + " should not be there";
            return false;
        }
    }
    return true;
}

bool ShadowWalk::isInFlight(size_t operations) const {
    if (nextEvent_ >= history_->size()) {
        return false;
    }
    const Event &event = (*history_)[nextEvent_];
    return event.begin <= operations && event.end > operations;
}

void ShadowWalk::advanceTo(size_t operations) {
    while (nextEvent_ < history_->size() && (*history_)[nextEvent_].end <= operations) {
        before_.apply((*history_)[nextEvent_++]);
    }
    after_.clear();
    if (isInFlight(operations)) {
        after_.push_back(before_);
        after_.front().apply((*history_)[nextEvent_]);
    }
}

bool ShadowWalk::agrees(const Directory &chip, std::string *difference) const {
    if (before_.agrees(chip, difference)) {
        return true;
    }
    if (after_.empty()) {
        return false;
    }
    std::string other;
    if (after_.front().agrees(chip, &other)) {
        return true;
    }
    const Event &event = (*history_)[nextEvent_];
    if (event.kind == Event::Remove) {
        // A removal empties the file before it removes the name.
        Directory withContent = chip;
        const auto emptied = withContent.find(event.path);
        if (emptied != withContent.end() && emptied->second.empty()) {
            emptied->second = before_.files().at(event.path).durable;
            if (before_.agrees(withContent, &other)) {
                return true;
            }
        }
    }
    *difference += "; or, with the call under way: " + other;
    return false;
}

}  // namespace flash
