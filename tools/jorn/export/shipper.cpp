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
    batch_ = {};
    try {
        shipLogs();
    } catch (...) {
        if (underWay_) {
            // What left before the failure may well arrive.
            awaitArrival();
            cursors_.write();
        }
        throw;
    }
    awaitArrival();
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
    batch_.isLogBegun = false;
    try {
        shipAll(log);
        problems_.erase(log.place);
    } catch (const LogProblem &problem) {
        reportProblem(log, problem);
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
    awaitArrival();
    return true;
}

bool Shipper::isUnchanged(const ShippedLog &log, const LogCursor &kept) const {
    try {
        return !kept.stamp.empty() && kept.directory == log.place &&
               isStamped(StoreDirectory::openForReading(log.directory), kept.stamp);
    } catch (const Failure &) {
        return false;  // Reported when it is read.
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
    reportNotes(*pulled);
    if (!pull.isOvertaken()) {
        return PullEnd::Whole;
    }
    return pull.hasMoved() ? PullEnd::OvertakenLater : PullEnd::OvertakenAtOnce;
}

/// False when a signal has kept the batch from being sent.
bool Shipper::take(PulledLog *pulled, const ShippedLog &log, const Item &item) {
    if (!batch_.sink) {
        batch_.sink = target_.begin();
    }
    if (!std::exchange(batch_.isLogBegun, true)) {
        batch_.names.push_back(pulled->question.shownNames());
        batch_.sink->beginLog({log.log, &batch_.names.back(), {log.device, log.log, pulled->pull.epoch()}});
    }
    batch_.sink->take(item);
    if (++batch_.items < terms_.batch.value_or(UINT64_MAX)) {
        return true;
    }
    add(pulled->pull, log);
    const bool isSent = send();
    // The next batch is read as if this one had arrived, and dropped if it has not.
    pulled->pull.markArrived();
    return isSent;
}

/// The batch reaches as far as the pull has got.
void Shipper::add(const LogPull &pull, const ShippedLog &log) {
    batch_.reached.push_back({pull.reached(), pull.hasMoved()});
    batch_.reached.back().cursor.directory = log.place;
}

/// False when a signal has come: the one under way is the last.
bool Shipper::send() {
    awaitArrival();
    Batch batch = std::exchange(batch_, {});
    if (signals_.hasCome()) {
        return false;
    }
    if (!batch.sink) {
        keepArrived(&batch.reached);
        return true;
    }
    batch.sink->finish();
    for (const auto &[cursor, hasMoved] : batch.reached) {
        if (hasMoved) {
            cursors_.keep(attempted(cursors_.cursorOf(cursor.device, cursor.log), cursor));
        }
    }
    cursors_.write();
    target_.send();
    underWay_ = Sent{batch.items, std::move(batch.reached)};
    return true;
}

/// Waits for the batch that is under way, if there is one.
void Shipper::awaitArrival() {
    if (std::optional<Sent> sent = std::exchange(underWay_, std::nullopt)) {
        target_.awaitArrival();
        round_.items += sent->items;
        keepArrived(&sent->reached);
    }
}

void Shipper::keepArrived(std::vector<LogProgress> *reached) {
    const int64_t now = time(nullptr);
    for (auto &[cursor, hasMoved] : *reached) {
        const LogCursor kept = cursors_.cursorOf(cursor.device, cursor.log);
        cursor.time = cursor.shipped > kept.shipped ? now : kept.time;
        cursors_.keep(arrived(cursor));
    }
}

void Shipper::reportNotes(const PulledLog &pulled) {
    const LogPull &pull = pulled.pull;
    for (const std::vector<std::string> &texts :
         {pulled.question.notes, pull.notes(), pull.damage().texts()}) {
        for (const std::string &text : texts) {
            reportOnce(text);
        }
    }
    round_.hasDamage = round_.hasDamage || !pull.damage().isEmpty();
}

/// Again, when it was readable meanwhile or the reason is another.
void Shipper::reportProblem(const ShippedLog &log, const LogProblem &problem) {
    round_.add(problem);
    const std::string text = problem.what();
    if (std::exchange(problems_[log.place], text) != text) {
        terms_.report(text);
    }
}

/// Rounds follow each other for days; what is the same in each of them is reported in the first.
void Shipper::reportOnce(const std::string &text) {
    constexpr size_t kMost = 10000;
    if (reported_.size() == kMost) {
        reported_.clear();
    }
    if (reported_.insert(text).second) {
        terms_.report(text);
    }
}

}  // namespace tool
