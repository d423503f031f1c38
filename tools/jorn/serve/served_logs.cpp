// SPDX-License-Identifier: Apache-2.0
#include "serve/served_logs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "health/diagnosis.h"
#include "health/ring_memory.h"
#include "log/directory_look.h"
#include "log/store_directory.h"
#include "system/failure.h"

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

/// In the order of their names; none where the directory cannot be read.
DirectoryState stateOf(const ServedLog &log) {
    DirectoryState state;
    try {
        const StoreDirectory directory = StoreDirectory::openForReading(log.path);
        for (const std::string &name : namesIn(directory)) {
            struct stat status;
            if (fstatat(directory.descriptor(), name.c_str(), &status, 0) == 0) {
                state.emplace_back(name, status.st_dev, status.st_ino, status.st_size, status.st_ctim.tv_sec,
                                   status.st_ctim.tv_nsec);
            }
        }
    } catch (const Failure &) {
        return {};
    }
    std::sort(state.begin(), state.end());
    return state;
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
    checked_.resize(indexes_.size());
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

bool ServedLogs::refresh(size_t log, LogIndex::Trust trust) {
    const std::lock_guard lock(looking_);
    const LogIndex::Look look = indexes_[log].refresh(trust);
    if (look == LogIndex::Look::Changed) {
        publish([&](Snapshot *next) { next->logs[log] = indexes_[log].view(); });
    }
    return look != LogIndex::Look::Pending;
}

bool ServedLogs::refreshAll(LogIndex::Trust trust) {
    bool isAll = true;
    for (size_t log = 0; log < indexes_.size(); ++log) {
        isAll = refresh(log, trust) && isAll;
    }
    return isAll;
}

void ServedLogs::lookAgain(uint64_t revision) {
    constexpr useconds_t kPauseMicroseconds = 2000;
    usleep(kPauseMicroseconds);
    if (refreshAll() && now()->revision == revision) {
        refreshAll(LogIndex::Trust::Nothing);
    }
}

void ServedLogs::check(size_t log) {
    const std::lock_guard lock(checking_);
    const std::shared_ptr<const Snapshot> before = now();
    const DirectoryState state = stateOf(*before->logs[log]->log);
    if (checked_[log].view == before->logs[log] && checked_[log].files == state) {
        return;
    }
    checked_[log] = {
        state, before->logs[log]};  // Before the check: what changes meanwhile is looked at by the next one.
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
