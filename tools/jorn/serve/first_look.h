// SPDX-License-Identifier: Apache-2.0
// Holds back whoever asks about logs until all of them have been read once: what is half read would look like
// all.
#ifndef JORN_TOOLS_FIRST_LOOK_H
#define JORN_TOOLS_FIRST_LOOK_H

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace tool {

/// Safe to use from any thread.
class FirstLook {
public:
    /// Nobody waits longer.
    explicit FirstLook(std::chrono::milliseconds longest = std::chrono::seconds(10)) : longest_(longest) {}

    /// All has been read.
    void end() { become(State::Ended); }

    /// It will not be read: nobody waits any more. Has no effect once all has been read.
    void giveUp() { become(State::GivenUp); }

    /// Waits until all has been read; false when that takes too long, or will not happen.
    bool wait() const {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, longest_, [this] { return state_ != State::UnderWay; });
        return state_ == State::Ended;
    }

private:
    enum class State { UnderWay, Ended, GivenUp };

    void become(State state) {
        const std::lock_guard lock(mutex_);
        state_ = state_ == State::UnderWay ? state : state_;
        changed_.notify_all();
    }

    const std::chrono::milliseconds longest_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    State state_ = State::UnderWay;
};

}  // namespace tool

#endif
