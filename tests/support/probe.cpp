// SPDX-License-Identifier: Apache-2.0
#include "support/probe.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace probe {
namespace {

bool beginsWith(const std::string &text, const std::string &start) {
    return text.compare(0, start.size(), start) == 0;
}

bool isPrefix(const std::string &piece) {
    return beginsWith(piece, "[") && piece.find("]line") != piece.npos;
}

}  // namespace

Probe &Probe::get() {
    static Probe probe;
    return probe;
}

void Probe::reset() {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    calls_.clear();
    pieces_.clear();
    failures_.clear();
    hooks_.clear();
    time_ = 1700000000;
    room_ = kUnlimited;
}

void Probe::setTime(uint32_t seconds) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    time_ = seconds;
}

uint32_t Probe::now() const {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    return time_;
}

void Probe::fail(const std::string &call, int count, int skip, Way way) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    failures_.push_back({call, skip, count, way});
}

void Probe::heal() {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    failures_.clear();
}

void Probe::limitRoom(int64_t bytes) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    room_ = bytes;
}

bool Probe::hasRoom() const {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    return room_ > 0;
}

size_t Probe::takeRoom(size_t bytes) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    if (room_ == kUnlimited) {
        return bytes;
    }
    const size_t taken = std::min(bytes, static_cast<size_t>(std::max<int64_t>(room_, 0)));
    room_ -= static_cast<int64_t>(taken);
    return taken;
}

void Probe::giveRoom(const char *path) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    std::error_code isMissing;
    const auto bytes = std::filesystem::file_size(path, isMissing);
    if (room_ != kUnlimited && !isMissing) {
        room_ += static_cast<int64_t>(bytes);
    }
}

void Probe::onCall(const std::string &call, Hook hook) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    hooks_.emplace_back(call, std::move(hook));
}

std::vector<std::string> Probe::calls() const {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    return calls_;
}

std::vector<std::string> Probe::calls(const std::vector<std::string> &names) const {
    std::vector<std::string> chosen;
    for (const std::string &call : calls()) {
        for (const std::string &name : names) {
            if (beginsWith(call, name)) {
                chosen.push_back(call);
                break;
            }
        }
    }
    return chosen;
}

std::vector<std::string> Probe::pieces() const {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    return pieces_;
}

std::vector<std::string> Probe::messages() const {
    const std::vector<std::string> all = pieces();
    std::vector<std::string> texts;
    for (size_t i = 0; i < all.size(); ++i) {
        const bool isMessage = isPrefix(all[i]) && i + 2 < all.size() && all[i + 2] == "\r\n";
        if (isMessage) {
            texts.push_back(all[i + 1]);
            i += 2;
        } else {
            texts.push_back(kBare + all[i]);
        }
    }
    return texts;
}

void Probe::clearLog() {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    calls_.clear();
    pieces_.clear();
}

int Probe::liveBlocks() const {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    return static_cast<int>(blocks_.size());
}

void Probe::addPiece(const std::string &piece) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    pieces_.push_back(piece);
}

void Probe::addBlock(const void *block, const std::string &name) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    blocks_[block] = name;
}

std::string Probe::removeBlock(const void *block) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    const auto found = blocks_.find(block);
    if (found == blocks_.end()) {
        return block == nullptr ? "null" : "unknown";
    }
    std::string name = found->second;
    blocks_.erase(found);
    return name;
}

std::map<std::string, int> Probe::held() const {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    return held_;
}

void Probe::hold(const std::string &kind, int change) {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    if ((held_[kind] += change) == 0) {
        held_.erase(kind);
    }
}

bool Probe::isPrintFailing() {
    const std::lock_guard<std::recursive_mutex> lock(lock_);
    return consumeFailure("printf").has_value();
}

std::optional<Way> Probe::consumeFailure(const std::string &call) {
    for (Failure &failure : failures_) {
        if (!beginsWith(call, failure.call) || failure.count == 0) {
            continue;
        }
        if (failure.skip > 0) {
            --failure.skip;
            continue;
        }
        --failure.count;
        return failure.way;
    }
    return std::nullopt;
}

bool Probe::enter(const std::string &call) { return !fault(call); }

/// Logs a call and runs its hooks. Returns how the call has to fail, if it has to.
std::optional<Way> Probe::fault(const std::string &call) {
    std::vector<Hook> due;
    std::optional<Way> way;
    {
        const std::lock_guard<std::recursive_mutex> lock(lock_);
        calls_.push_back(call);
        for (const auto &[start, hook] : hooks_) {
            if (beginsWith(call, start)) {
                due.push_back(hook);
            }
        }
        way = consumeFailure(call);
    }
    for (const Hook &hook : due) {
        hook(call);
    }
    return way;
}

}  // namespace probe
