// SPDX-License-Identifier: Apache-2.0
#include "serve/served_logs.h"

#include <exception>
#include <utility>

#include "health/diagnosis.h"
#include "health/ring_memory.h"
#include "log/store_directory.h"

namespace tool {
namespace {

std::shared_ptr<const LogHealth> healthOf(const ServedLog &log) {
    auto health = std::make_shared<LogHealth>();
    health->isChecked = true;
    try {
        const StoreDirectory directory = StoreDirectory::openForReading(log.path);
        const Diagnosis diagnosis =
            diagnose(directory, {hintedRingSize(directory, log.ringSize), std::nullopt});
        health->findings = findingsOf(diagnosis);
    } catch (const std::exception &failure) {
        health->failure = failure.what();
    }
    return health;
}

bool isSame(const Finding &a, const Finding &b) {
    return a.code == b.code && a.file == b.file && a.offset == b.offset && a.what == b.what;
}

bool isSame(const LogHealth &a, const LogHealth &b) {
    return a.isChecked == b.isChecked && a.failure == b.failure &&
           std::equal(a.findings.begin(), a.findings.end(), b.findings.begin(), b.findings.end(),
                      [](const Finding &x, const Finding &y) { return isSame(x, y); });
}

}  // namespace

ServedLogs::ServedLogs(std::vector<ServedLog> logs) {
    auto first = std::make_shared<Snapshot>();
    for (ServedLog &log : logs) {
        indexes_.emplace_back(std::move(log));
        first->logs.push_back(indexes_.back().view());
        first->health.push_back(std::make_shared<const LogHealth>());
    }
    now_ = std::move(first);
}

std::shared_ptr<const Snapshot> ServedLogs::now() const {
    const std::lock_guard lock(mutex_);
    return now_;
}

template <class Change>
void ServedLogs::publish(const Change &change) {
    const std::lock_guard lock(mutex_);
    auto next = std::make_shared<Snapshot>(*now_);
    ++next->revision;
    change(next.get());
    now_ = std::move(next);
    changed_.notify_all();
}

bool ServedLogs::refresh(size_t log) {
    const std::lock_guard lock(looking_);
    const LogIndex::Look look = indexes_[log].refresh();
    if (look == LogIndex::Look::Changed) {
        publish([&](Snapshot *next) { next->logs[log] = indexes_[log].view(); });
    }
    return look != LogIndex::Look::Pending;
}

bool ServedLogs::refreshAll() {
    bool isAll = true;
    for (size_t log = 0; log < indexes_.size(); ++log) {
        isAll = refresh(log) && isAll;
    }
    return isAll;
}

void ServedLogs::check(size_t log) {
    const std::shared_ptr<const Snapshot> before = now();
    const std::shared_ptr<const LogHealth> health = healthOf(*before->logs[log]->log);
    if (!isSame(*before->health[log], *health)) {
        publish([&](Snapshot *next) { next->health[log] = health; });
    }
}

std::shared_ptr<const Snapshot> ServedLogs::waitForOther(uint64_t revision,
                                                         std::chrono::milliseconds longest) const {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, longest, [&] { return isStopped_ || now_->revision != revision; });
    return now_;
}

void ServedLogs::stop() {
    const std::lock_guard lock(mutex_);
    isStopped_ = true;
    changed_.notify_all();
}

bool ServedLogs::isStopped() const {
    const std::lock_guard lock(mutex_);
    return isStopped_;
}

}  // namespace tool
