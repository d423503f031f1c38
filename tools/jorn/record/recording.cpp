// SPDX-License-Identifier: Apache-2.0
#include "record/recording.h"

#include "terminal/counted.h"

namespace tool {
namespace {

/// Lines that belong to one before the input's first are few. So many are none of the form.
constexpr size_t kMostHeld = 1000;

}  // namespace

Recording::Recording(const StoreDirectory &directory, const Settings &settings)
    : directory_(directory), settings_(settings) {
    if (!settings_.hasTimes) {
        start(std::nullopt);
    }
}

void Recording::take(const InputItem &item, int defaultLevel) {
    ++taken_;
    if (failure_) {
        return;
    }
    try {
        store(item, defaultLevel);
    } catch (const Failure &failure) {
        failure_ = failure;
    }
}

void Recording::verify() const {
    if (failure_) {
        throw Failure(*failure_);
    }
}

void Recording::store(const InputItem &item, int defaultLevel) {
    if (!store_) {
        hold(item, defaultLevel);
        return;
    }
    if (item.time && settings_.hasTimes) {
        clock_.set(*item.time);
    }
    store_->add(item.level.value_or(defaultLevel), item.slot.value_or(settings_.slot), item.text);
}

void Recording::hold(const InputItem &item, int defaultLevel) {
    held_.push_back({item.level.value_or(defaultLevel), item.slot.value_or(settings_.slot), item.text});
    if (item.time || held_.size() == kMostHeld) {
        start(item.time);
    }
}

void Recording::start(std::optional<uint32_t> time) {
    if (!time && !held_.empty() && !settings_.timeForm.empty()) {
        const std::string lines = held_.size() == kMostHeld
                                      ? "none of the first " + std::to_string(kMostHeld) + " lines"
                                      : "no line";
        const std::string first = held_.front().text;
        refuse(lines + " begins with a time of the form '" + settings_.timeForm +
               "', so nothing was recorded; the first is: " + first);
    }
    if (time) {
        clock_.set(*time);
    }
    store_.emplace(directory_, settings_.store);
    for (const Held &item : held_) {
        store_->add(item.level, item.slot, item.text.c_str());
    }
    held_ = {};
}

void Recording::drain() {
    if (store_) {
        store_->drain();
    }
}

void Recording::finish() {
    if (!store_) {
        start(std::nullopt);
    }
    store_->drain();
}

int64_t Recording::salvage() {
    if (!store_) {
        return taken_;
    }
    const int64_t missing = store_->salvage();
    return taken_ - (store_->submitted() - missing);
}

}  // namespace tool
