// SPDX-License-Identifier: Apache-2.0
// Submissions that are all about to send: each order of the sends is forced.
#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/module_test.h"

namespace {

/// Lets threads reach a point in any order and leave it in the order of their ranks.
class Turnstile {
public:
    explicit Turnstile(int threads) : threads_(threads) {}

    /// Waits until all threads are here and those of lower rank have left.
    void enter(int rank) {
        ++arrived_;
        while (arrived_ < threads_ || turn_ != rank) {
            std::this_thread::yield();
        }
    }
    void leave() { ++turn_; }

private:
    int threads_;
    std::atomic<int> arrived_{0};
    std::atomic<int> turn_{0};
};

using InterleavedSendTest = test::ModuleTest;

// All producers are stopped before their send, each with its item formatted; they continue in each possible
// order.
TEST_F(InterleavedSendTest, Submissions_AllBeforeTheirSend_AreStoredInTheOrderOfTheSends) {
    const int32_t handle = createAtRest(2);
    std::vector<int> ranks = {0, 1, 2, 3};
    std::vector<std::string> expected = {"Log start init!"};
    do {
        std::vector<std::string> inOrder(ranks.size());
        Turnstile turnstile(static_cast<int>(ranks.size()));
        test::platform().reset();
        for (size_t i = 0; i < ranks.size(); ++i) {
            inOrder[static_cast<size_t>(ranks[i])] = "producer " + std::to_string(i);
        }
        test::platform().onCall("msgQSend", [&](const std::string &call) {
            const size_t digit = call.find_last_of("0123456789");
            turnstile.enter(ranks[static_cast<size_t>(call[digit] - '0')]);
        });
        std::vector<std::thread> producers;
        for (size_t i = 0; i < ranks.size(); ++i) {
            producers.emplace_back([&turnstile, handle, i] {
                const std::string text = "producer " + std::to_string(i);
                EXPECT_EQ(JORN_AddOneLog(handle, 1, 0, text.c_str()), 0);
                turnstile.leave();
            });
        }
        for (std::thread &producer : producers) {
            producer.join();
        }
        expected.insert(expected.end(), inOrder.begin(), inOrder.end());
    } while (std::next_permutation(ranks.begin(), ranks.end()));
    settle();
    std::vector<std::string> stored;
    const std::string bytes = dir_.read("0.csv");
    for (size_t begin = 0; begin < bytes.size(); begin = bytes.find('\n', begin) + 1) {
        const size_t end = bytes.find('\n', begin);
        stored.push_back(bytes.substr(bytes.rfind(',', end) + 1, end - bytes.rfind(',', end) - 1));
    }
    EXPECT_EQ(stored, expected);
}

}  // namespace
