// SPDX-License-Identifier: Apache-2.0
#include "ring_model.h"

#include <algorithm>
#include <cstdio>

namespace flash {

namespace {

constexpr int kPositions = 90;
constexpr size_t kItemsOfFullFile = 5000;
constexpr uint32_t kSecondsPerDay = 86400;
constexpr int kDeleted = -1;
constexpr char kIndex[] = "index.csv";
constexpr char kBackup[] = "index.bak";

std::string nameOf(int position) { return std::to_string(position) + ".csv"; }

/// The positions that an index names; false when it is no index.
bool parseIndex(const std::string &text, int *oldest, int *latest) {
    int version = 0;
    *latest = 0;
    const int numbers = sscanf(text.c_str(), "version:%d %d,%d", &version, oldest, latest);
    return numbers >= 2 && version == 1 && *oldest < kPositions && *latest < kPositions;
}

}  // namespace

void RingModel::start(const Directory &files) {
    files_ = files;
    removed_.clear();
    summaries_.clear();
    readIndex();
    tidy();
    summarise();
}

void RingModel::readIndex() {
    const bool hasIndex = files_.count(kIndex) != 0;
    const auto source = files_.find(hasIndex ? kIndex : kBackup);
    const bool exists = source != files_.end();
    wasIndexLost_ = exists && !parseIndex(source->second, &oldest_, &latest_);
    if (!exists || wasIndexLost_) {
        oldest_ = 0;
        latest_ = 0;
        writeIndex();
    } else if (!hasIndex) {
        files_[kIndex] = source->second;
        files_.erase(kBackup);
    }
}

void RingModel::writeIndex() {
    files_[kIndex] = "version:1\n" + std::to_string(oldest_) + "," + std::to_string(latest_) + "\n";
    files_.erase(kBackup);
}

/// The newest files get consecutive positions that end at the latest one, the others go.
void RingModel::tidy() {
    const int newest = latest_ >= 0 ? latest_ : kPositions - 1;
    const int formerRange = newest >= oldest_ ? newest - oldest_ : newest - oldest_ + kPositions;
    const int latest = std::min(newest, csvNum_ - 1);
    int oldest = latest;
    std::map<int, int> targets;
    int kept = 0;
    for (int age = 0; age < kPositions; ++age) {
        const int position = (newest - age + kPositions) % kPositions;
        if (files_.count(nameOf(position)) == 0) {
            continue;
        }
        if (kept == csvNum_) {
            targets[position] = kDeleted;
            continue;
        }
        const int target = (latest - kept + csvNum_) % csvNum_;
        targets[position] = target;
        if (age <= formerRange) {
            oldest = target;
        }
        ++kept;
    }
    carryOut(targets, newest);
    const bool isChanged = oldest != oldest_ || latest != latest_;
    oldest_ = oldest;
    latest_ = latest;
    if (isChanged) {
        writeIndex();
    }
}

/// Renames and deletes in the documented order: the oldest file first, whatever stands at its target.
void RingModel::carryOut(const std::map<int, int> &targets, int newest) {
    for (int step = 1; step <= kPositions; ++step) {
        const int position = (newest + step) % kPositions;
        const auto found = targets.find(position);
        if (found == targets.end() || found->second == position) {
            continue;
        }
        if (found->second == kDeleted) {
            remove(nameOf(position), Reason::DeletedAsSurplus);
            continue;
        }
        const std::string target = nameOf(found->second);
        // What stands there by now may be a file that was renamed over the one that the plan meant.
        const auto source = files_.find(nameOf(position));
        std::string bytes = std::move(source->second);
        files_.erase(source);
        remove(target, Reason::RenamedOver);
        files_[target] = std::move(bytes);
    }
}

void RingModel::remove(const std::string &name, Reason reason) {
    const auto found = files_.find(name);
    if (found == files_.end()) {
        return;
    }
    for (const Line &line : ledger_->parse(found->second)->lines) {
        if (line.item != kUnknownItem) {
            removed_[line.item] = reason;
        }
    }
    files_.erase(found);
}

std::shared_ptr<const ParsedFile> RingModel::parsed(int position) const {
    const auto found = files_.find(nameOf(position));
    return found != files_.end() ? ledger_->parse(found->second) : ledger_->parse("");
}

std::vector<int> RingModel::range() const {
    const int length = (latest_ - oldest_ + csvNum_) % csvNum_ + 1;
    std::vector<int> positions(static_cast<size_t>(length));
    int position = latest_;
    for (int &place : positions) {
        place = position;
        position = (position - 1 + csvNum_) % csvNum_;
    }
    return positions;
}

void RingModel::summarise() {
    for (const int position : range()) {
        Summary &summary = summaries_[position];
        for (const Line &line : parsed(position)->lines) {
            if (!line.isItem) {
                continue;
            }
            ++summary.count;
            summary.timeMax = std::max(summary.timeMax, line.time);
            if (summary.timeMin == 0 || line.time < summary.timeMin) {
                summary.timeMin = line.time;
            }
        }
    }
}

void RingModel::append(const std::string &line, uint32_t time) {
    if (summaries_[latest_].count >= kItemsOfFullFile) {
        latest_ = next(latest_);
        if (oldest_ == latest_) {
            oldest_ = next(latest_);
        }
        files_[nameOf(latest_)].clear();
        summaries_[latest_] = Summary{};
        writeIndex();
    }
    Summary &summary = summaries_[latest_];
    std::string &bytes = files_[nameOf(latest_)];
    if (summary.count == 0) {
        bytes.clear();
    }
    bytes += line;
    summary.timeMin = summary.count == 0 ? time : std::min(summary.timeMin, time);
    summary.timeMax = std::max(summary.timeMax, time);
    ++summary.count;
}

void RingModel::clear() {
    latest_ = next(latest_);
    oldest_ = latest_;
    summaries_.clear();
    summaries_[latest_] = Summary{};
    writeIndex();
}

bool RingModel::refusesQueries() const {
    const uint32_t lastDay = summaries_.at(latest_).timeMax / kSecondsPerDay;
    const uint32_t firstDay = summaries_.at(oldest_).timeMin / kSecondsPerDay;
    return lastDay < firstDay;
}

View RingModel::view() const {
    View view;
    for (const int position : range()) {
        view.files.push_back(parsed(position));
        const std::vector<Line> &lines = view.files.back()->lines;
        for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
            if (line->isItem && line->isShown) {
                view.items.push_back(&*line);
            }
        }
    }
    return view;
}

}  // namespace flash
