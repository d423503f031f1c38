// SPDX-License-Identifier: Apache-2.0
#include "merge/merged_lines.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "merge/next_log.h"
#include "query/item_query.h"

namespace tool {
namespace {

/// How many of the newest matches of all logs each log has.
struct Shares {
    std::vector<uint64_t> matches;
    bool hasOlder = false;
};

/// Takes as many matches, the oldest ones, off the shares.
void takeOldest(const std::vector<MergedLog> &logs, const std::vector<ItemFilter> &filters,
                const std::vector<ScanStart> &starts, uint64_t surplus, Shares *shares) {
    std::vector<std::unique_ptr<ItemScanner>> scanners;
    std::vector<const Item *> heads;
    for (size_t log = 0; log < logs.size(); ++log) {
        scanners.push_back(std::make_unique<ItemScanner>(*logs[log].view, filters[log], Order::OldestFirst,
                                                         logs[log].damage, starts[log]));
        heads.push_back(shares->matches[log] > 0 ? scanners[log]->next() : nullptr);
    }
    for (; surplus > 0; --surplus) {
        const size_t log = nextLog(logs.size(), [&](size_t each) { return heads[each]; });
        if (log == kNoLog) {
            return;
        }
        --shares->matches[log];
        heads[log] = shares->matches[log] > 0 ? scanners[log]->next() : nullptr;
    }
}

/// Of each log the newest matches are merged, as many as are wanted of all.
Shares sharesOfNewest(const std::vector<MergedLog> &logs, uint64_t most, bool isOlderAsked) {
    Shares shares;
    std::vector<ItemFilter> filters;
    std::vector<ScanStart> starts;
    for (const MergedLog &log : logs) {
        filters.push_back(*log.filter);
        filters.back().isMarking = false;
        const NewestStart found =
            startOfNewest(*log.view, filters.back(), {most, 0, isOlderAsked}, log.damage);
        shares.matches.push_back(found.matches);
        shares.hasOlder = shares.hasOlder || found.hasOlder;
        starts.push_back(found.start);
    }
    const uint64_t total = std::accumulate(shares.matches.begin(), shares.matches.end(), uint64_t{0});
    if (total > most) {
        shares.hasOlder = true;
        takeOldest(logs, filters, starts, total - most, &shares);
    }
    return shares;
}

}  // namespace

MergedLines::MergedLines(std::vector<MergedLog> logs, const MergeWish &wish)
    : logs_(std::move(logs)),
      hasContext_(wish.context.isAny()),
      isReversed_(wish.isNewestFirst),
      hasShown_(logs_.size()) {
    if (logs_.size() == 1 && isReversed_) {
        begin({{Order::NewestFirst, wish.newest, wish.context, {}}});
        return;
    }
    std::vector<LinesWish> wishes = startOldestFirst(wish);
    begin(wishes);
    if (!isReversed_) {
        return;
    }
    // A clock that ran back shows only from the oldest item on who comes after whom.
    isReversed_ = false;
    while (next()) {
        if (runs_.empty() || runs_.back().log != log_) {
            runs_.push_back({log_, 0});
        }
        ++runs_.back().items;
    }
    isReversed_ = true;
    for (LinesWish &each : wishes) {
        each.order = Order::NewestFirst;
    }
    begin(wishes);
}

/// What to show of each log, the oldest first.
std::vector<LinesWish> MergedLines::startOldestFirst(const MergeWish &wish) {
    std::vector<LinesWish> wishes(logs_.size());
    for (LinesWish &each : wishes) {
        each.context = wish.context;
    }
    if (wish.newest == UINT64_MAX) {
        return wishes;
    }
    // A log alone shows all that is newer than where it starts, items that are stored meanwhile included.
    const bool isAlone = logs_.size() == 1;
    const Shares shares =
        isAlone ? Shares{{wish.newest}} : sharesOfNewest(logs_, wish.newest, wish.isOlderAsked);
    hasOlder_ = shares.hasOlder;
    for (size_t log = 0; log < logs_.size(); ++log) {
        if (shares.matches[log] == 0) {
            wishes[log].most = 0;
            continue;
        }
        const MergedLog &own = logs_[log];
        const NewestStart found = startOfNewest(
            *own.view, *own.filter, {shares.matches[log], wish.context.before, isAlone && wish.isOlderAsked},
            own.damage);
        hasOlder_ = hasOlder_ || found.hasOlder;
        wishes[log].start = found.start;
    }
    return wishes;
}

void MergedLines::begin(const std::vector<LinesWish> &wishes) {
    lines_.clear();
    for (size_t log = 0; log < logs_.size(); ++log) {
        const MergedLog &own = logs_[log];
        lines_.push_back(std::make_unique<LogLines>(*own.view, *own.filter, wishes[log], own.damage));
    }
    hasBegun_ = false;
    shown_ = 0;
    hasShown_.assign(logs_.size(), false);
}

void MergedLines::setWatch(const std::function<void()> &watch) {
    for (const std::unique_ptr<LogLines> &lines : lines_) {
        lines->setWatch([watch](uint64_t) { watch(); });
    }
}

bool MergedLines::next() {
    if (!hasBegun_) {
        hasBegun_ = true;
        std::for_each(lines_.begin(), lines_.end(), [](const auto &lines) { lines->advance(); });
    } else {
        hasShown_[log_] = true;
        lines_[log_]->advance();
    }
    log_ = chooseNext();
    shown_ += log_ != kNoLog ? 1 : 0;
    return log_ != kNoLog;
}

size_t MergedLines::chooseNext() {
    if (isReversed_ && lines_.size() > 1) {
        return chooseByRuns();
    }
    return nextLog(lines_.size(), [this](size_t log) { return lines_[log]->head(); });
}

/// What a writer has removed since the runs were found is passed over.
size_t MergedLines::chooseByRuns() {
    while (!runs_.empty() && (runs_.back().items == 0 || lines_[runs_.back().log]->head() == nullptr)) {
        runs_.pop_back();
    }
    if (runs_.empty()) {
        return kNoLog;
    }
    --runs_.back().items;
    return runs_.back().log;
}

bool MergedLines::isApart() const {
    return hasContext_ && shown_ > 1 && (lines_[log_]->isApart() || !hasShown_[log_]);
}

std::vector<MergedItem> mergeNewest(std::vector<std::vector<Item>> newestOfEach, size_t most) {
    size_t surplus = 0;
    for (std::vector<Item> &items : newestOfEach) {
        items.resize(std::min(items.size(), most));
        surplus += items.size();
    }
    surplus -= std::min(surplus, most);
    const auto headOf = [&](size_t log) {
        return newestOfEach[log].empty() ? nullptr : &newestOfEach[log].back();
    };
    std::vector<MergedItem> merged;
    for (size_t log = 0; (log = nextLog(newestOfEach.size(), headOf)) != kNoLog;) {
        if (surplus > 0) {
            --surplus;
        } else {
            merged.push_back({log, std::move(newestOfEach[log].back())});
        }
        newestOfEach[log].pop_back();
    }
    return merged;
}

}  // namespace tool
