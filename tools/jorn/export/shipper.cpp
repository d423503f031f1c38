// SPDX-License-Identifier: Apache-2.0
#include "export/shipper.h"

#include <time.h>

#include <algorithm>
#include <utility>

#include "cursor/log_stamp.h"
#include "system/failure.h"

namespace tool {
namespace {

/// Now, in microseconds since 1970: no other epoch is likely to have begun then.
uint64_t freshEpoch() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

}  // namespace

ShippingRound Shipper::run() {
    round_ = {};
    dropBatch();
    try {
        shipLogs();
    } catch (...) {
        if (underWay_) {
            // What left before the failure may well arrive.
            settle();
            cursors_.write();
        }
        throw;
    }
    settle();
    if (cursors_.isChanged()) {
        cursors_.write();
    }
    return round_;
}

void Shipper::shipLogs() {
    for (auto log = terms_.logs.begin(); log != terms_.logs.end() && !signals_.hasCome(); ++log) {
        shipLog(*log);
    }
    send();
}

/// A log that cannot be read keeps no other one from being shipped.
void Shipper::shipLog(const ShippedLog &log) {
    isLogBegun_ = false;
    try {
        shipAll(log);
        problems_.erase(log.place);
    } catch (const LogProblem &problem) {
        tellProblem(log, problem);
    }
}

/// Throws LogProblem when there may be more that cannot be read now.
void Shipper::shipAll(const ShippedLog &log) {
    for (int pulls = 0; pulls < kMostPulls; ++pulls) {
        const LogCursor kept = cursors_.cursorOf(log.device, log.log);
        if (signals_.hasCome() || isUnchanged(log, kept)) {
            return;
        }
        const PullEnd end = shipOnce(log, kept);
        if (end == PullEnd::Whole) {
            return;
        }
        if (end == PullEnd::OvertakenLater && !goOnAfterPart()) {
            break;
        }
    }
    if (!signals_.hasCome()) {
        throw overtaken(log);
    }
}

/// Sends what was read of a log, since numbers go on from what has arrived. False when that cannot be done
/// now: of a single batch, the rest is for the next time.
bool Shipper::goOnAfterPart() {
    if (!terms_.batch || !send()) {
        return false;
    }
    settle();
    return true;
}

bool Shipper::isUnchanged(const ShippedLog &log, const LogCursor &kept) const {
    try {
        return !kept.stamp.empty() && kept.directory == log.place &&
               isStamped(StoreDirectory::openForReading(log.directory), kept.stamp);
    } catch (const Failure &) {
        return false;  // Told when it is read.
    }
}

/// Looking takes longer than an item does.
bool Shipper::isStopped() {
    constexpr uint64_t kItemsOfALook = 512;
    return ++looks_ % kItemsOfALook == 0 && signals_.hasCome();
}

Shipper::PullEnd Shipper::shipOnce(const ShippedLog &log, const LogCursor &kept) {
    const std::unique_ptr<PulledLog> pulled = pullLog(terms_.open, log, kept, freshEpoch());
    LogPull &pull = pulled->pull;
    pull.run(pulled->question.filter,
             [&](const Item &item) { return take(pulled.get(), log, item) && !isStopped(); });
    if (pull.hasMoved() || (kept.hasBegun() && pull.reached().stamp != kept.stamp)) {
        add(pull, log);
    }
    tellAbout(*pulled);
    if (!pull.isOvertaken()) {
        return PullEnd::Whole;
    }
    return pull.hasMoved() ? PullEnd::OvertakenLater : PullEnd::OvertakenAtOnce;
}

/// False when a signal has kept the batch from being sent.
bool Shipper::take(PulledLog *pulled, const ShippedLog &log, const Item &item) {
    if (!sink_) {
        sink_ = target_.begin();
        isLogBegun_ = false;
    }
    if (!std::exchange(isLogBegun_, true)) {
        names_.push_back(pulled->question.shownNames());
        sink_->beginLog({log.log, &names_.back(), {log.device, log.log, pulled->pull.epoch()}});
    }
    sink_->take(item);
    if (++items_ < terms_.batch.value_or(UINT64_MAX)) {
        return true;
    }
    add(pulled->pull, log);
    const bool isSent = send();
    // The next batch is read as if this one had arrived, and dropped if it has not.
    pulled->pull.settle();
    return isSent;
}

/// The batch reaches as far as the pull has got.
void Shipper::add(const LogPull &pull, const ShippedLog &log) {
    reached_.push_back({pull.reached(), pull.hasMoved()});
    reached_.back().cursor.directory = log.place;
}

/// False when a signal has come: the one under way is the last.
bool Shipper::send() {
    settle();
    if (signals_.hasCome()) {
        dropBatch();
        return false;
    }
    if (!sink_) {
        keepArrived(&reached_);
        reached_.clear();
        return true;
    }
    sink_->finish();
    for (const auto &[cursor, hasMoved] : reached_) {
        if (hasMoved) {
            cursors_.keep(attempted(cursors_.cursorOf(cursor.device, cursor.log), cursor));
        }
    }
    cursors_.write();
    target_.send();
    underWay_ = Sent{items_, std::move(reached_)};
    dropBatch();
    return true;
}

/// Waits for the batch that is under way, if there is one.
void Shipper::settle() {
    if (std::optional<Sent> sent = std::exchange(underWay_, std::nullopt)) {
        target_.settle();
        round_.items += sent->items;
        keepArrived(&sent->reached);
    }
}

void Shipper::dropBatch() {
    sink_.reset();
    names_.clear();
    items_ = 0;
    reached_.clear();
}

void Shipper::keepArrived(std::vector<Reached> *reached) {
    const int64_t now = time(nullptr);
    for (auto &[cursor, hasMoved] : *reached) {
        const LogCursor kept = cursors_.cursorOf(cursor.device, cursor.log);
        cursor.time = cursor.shipped > kept.shipped ? now : kept.time;
        cursors_.keep(arrived(cursor));
    }
}

void Shipper::tellAbout(const PulledLog &pulled) {
    const LogPull &pull = pulled.pull;
    for (const std::vector<std::string> &texts :
         {pulled.question.notes, pull.notes(), pull.damage().texts()}) {
        for (const std::string &text : texts) {
            tellOnce(text);
        }
    }
    round_.hasDamage = round_.hasDamage || !pull.damage().isEmpty();
}

/// Again, when it was readable meanwhile or the reason is another.
void Shipper::tellProblem(const ShippedLog &log, const LogProblem &problem) {
    round_.add(problem);
    const std::string text = problem.what();
    if (std::exchange(problems_[log.place], text) != text) {
        terms_.tell(text);
    }
}

/// Rounds follow each other for days; what is the same in each of them is told at the first.
void Shipper::tellOnce(const std::string &text) {
    constexpr size_t kMost = 10000;
    if (told_.size() == kMost) {
        told_.clear();
    }
    if (told_.insert(text).second) {
        terms_.tell(text);
    }
}

}  // namespace tool
