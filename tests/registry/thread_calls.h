// SPDX-License-Identifier: Apache-2.0
// The platform calls of the test's own thread. The probe's log mixes them with those of the store task, which
// runs at the same time; in each thread, their order is the same in every run.
#ifndef JORN_TESTS_REGISTRY_THREAD_CALLS_H
#define JORN_TESTS_REGISTRY_THREAD_CALLS_H

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/module_test.h"

namespace test {

/// Collects the calls that the constructing thread makes, up to the next reset of the probe.
class CallsOfThisThread {
public:
    CallsOfThisThread() : calls_(std::make_shared<std::vector<std::string>>()) {
        platform().onCall("", [calls = calls_, thread = std::this_thread::get_id()](const std::string &call) {
            if (std::this_thread::get_id() == thread) {
                calls->push_back(call);
            }
        });
    }

    const std::vector<std::string> &get() const { return *calls_; }

private:
    std::shared_ptr<std::vector<std::string>> calls_;
};

/// Runs `action` before the first of this thread's calls from now on whose log entry begins with `call`.
/// What `action` itself calls, and what the store task calls meanwhile, does not run it again.
inline void onceBefore(const std::string &call, std::function<void()> action) {
    auto isDone = std::make_shared<bool>(false);
    platform().onCall(
        call, [isDone, action = std::move(action), thread = std::this_thread::get_id()](const std::string &) {
            if (std::this_thread::get_id() == thread && !*isDone) {
                *isDone = true;
                action();
            }
        });
}

/// A list of texts made of several.
inline std::vector<std::string> joined(const std::vector<std::vector<std::string>> &parts) {
    std::vector<std::string> all;
    for (const auto &part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

}  // namespace test

#endif
