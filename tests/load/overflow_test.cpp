// SPDX-License-Identifier: Apache-2.0
// More items than the queue holds, from several producers at once, while the store task is held: what the
// queue accepts is stored, and each refused item is reported to its caller.
#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "support/module_test.h"

namespace {

using ::testing::UnorderedElementsAreArray;

constexpr int kProducers = 8;
constexpr int kItems = 150;

/// What one producer's submissions returned.
struct Told {
    std::vector<std::string> accepted;
    std::vector<std::string> refused;
};

void produce(int32_t handle, int producer, Told *told) {
    for (int i = 0; i < kItems; ++i) {
        const std::string text = "p" + std::to_string(producer) + " item " + std::to_string(i);
        const int32_t result = JORN_AddOneLog(handle, 1, producer, text.c_str());
        EXPECT_TRUE(result == 0 || result == -1) << result;
        (result == 0 ? told->accepted : told->refused).push_back(text);
    }
}

std::vector<Told> produceAtOnce(int32_t handle) {
    std::vector<Told> told(kProducers);
    std::vector<std::thread> producers;
    producers.reserve(kProducers);
    for (int i = 0; i < kProducers; ++i) {
        producers.emplace_back(produce, handle, i, &told[static_cast<size_t>(i)]);
    }
    for (std::thread &producer : producers) {
        producer.join();
    }
    return told;
}

std::vector<std::string> all(const std::vector<Told> &told, std::vector<std::string> Told::*list) {
    std::vector<std::string> joined;
    for (const Told &one : told) {
        joined.insert(joined.end(), (one.*list).begin(), (one.*list).end());
    }
    return joined;
}

class OverflowTest : public test::ModuleTest {
protected:
    /// The items of one producer in a data file, in the file's order.
    std::vector<std::string> stored(int producer) const {
        const std::string begin = "1700000000,1," + std::to_string(producer) + ",p";
        std::vector<std::string> texts;
        const std::string bytes = dir_.read("0.csv");
        for (size_t at = bytes.find(begin); at != std::string::npos; at = bytes.find(begin, at + 1)) {
            const size_t text = at + begin.size() - 1;
            texts.push_back(bytes.substr(text, bytes.find('\n', text) - text));
        }
        return texts;
    }
};

TEST_F(OverflowTest, Submissions_StoreTaskHeld_ExactlyTheQueueIsAcceptedAndStored) {
    const int32_t handle = createAtRest(2);
    const std::vector<Told> told = produceAtOnce(handle);
    EXPECT_EQ(all(told, &Told::accepted).size(), static_cast<size_t>(JORN_QUEUE_MAX));
    EXPECT_EQ(all(told, &Told::refused).size(), static_cast<size_t>(kProducers * kItems - JORN_QUEUE_MAX));
    settle();
    for (int i = 0; i < kProducers; ++i) {
        EXPECT_EQ(stored(i), told[static_cast<size_t>(i)].accepted) << "producer " << i;
    }
    const std::string bytes = dir_.read("0.csv");
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '\n'), JORN_QUEUE_MAX + 1) << "more than was accepted";
}

// Pieces of messages of several tasks may be interleaved; each piece is whole.
TEST_F(OverflowTest, RefusedItems_EachIsReportedOnceWithItsMessage) {
    const int32_t handle = createAtRest(2);
    const std::vector<Told> told = produceAtOnce(handle);
    std::vector<std::string> expected;
    for (size_t i = 0; i < told.size(); ++i) {
        for (const std::string &text : told[i].refused) {
            expected.push_back("Msg send error = 0x3D0002, " + std::to_string(handle) + ",1700000000,1," +
                               std::to_string(i) + "," + text + "\n");
        }
    }
    std::vector<std::string> messages;
    int errnoLines = 0;
    for (const std::string &piece : test::platform().pieces()) {
        errnoLines += piece == "errno 0x3D0002\r\n" ? 1 : 0;
        if (piece.rfind("Msg send error", 0) == 0) {
            messages.push_back(piece);
        }
    }
    EXPECT_THAT(messages, UnorderedElementsAreArray(expected));
    EXPECT_EQ(errnoLines, kProducers * kItems - JORN_QUEUE_MAX);
    EXPECT_EQ(test::platform().calls({"printErrno 3997698"}).size(), expected.size());
}

TEST_F(OverflowTest, RefusedItems_PrintLevelZero_OnlyErrnoIsPrinted) {
    const int32_t handle = createAtRest(2);
    jorn_SetDebugPrintLevel(0);
    const std::vector<Told> told = produceAtOnce(handle);
    const std::vector<std::string> expected(all(told, &Told::refused).size(), "errno 0x3D0002\r\n");
    EXPECT_EQ(test::platform().pieces(), expected);
}

// One slot is left, and all producers are stopped before their send.
TEST_F(OverflowTest, Submissions_OneSlotLeftAndAllBeforeTheirSend_ExactlyOneIsAccepted) {
    const int32_t handle = createAtRest(2);
    for (int i = 0; i < JORN_QUEUE_MAX - 1; ++i) {
        ASSERT_EQ(JORN_AddOneLog(handle, 1, 0, "fills"), 0);
    }
    std::atomic<int> arrived{0};
    test::platform().onCall("msgQSend", [&](const std::string &) {
        ++arrived;
        while (arrived < kProducers) {
            std::this_thread::yield();
        }
    });
    std::atomic<int> accepted{0};
    std::vector<std::thread> producers;
    producers.reserve(kProducers);
    for (int i = 0; i < kProducers; ++i) {
        producers.emplace_back([&] { accepted += JORN_AddOneLog(handle, 1, 0, "last") == 0 ? 1 : 0; });
    }
    for (std::thread &producer : producers) {
        producer.join();
    }
    EXPECT_EQ(accepted, 1);
    settle();
    const std::string bytes = dir_.read("0.csv");
    const std::string end = "1700000000,1,0,fills\n1700000000,1,0,last\n";
    EXPECT_EQ(bytes.substr(bytes.size() - end.size()), end);
}

// The queue fills, is emptied, and fills again: nothing of a refused round comes back.
TEST_F(OverflowTest, Submissions_AfterThePassThatEmptiesTheQueue_AreAcceptedAgain) {
    const int32_t handle = createAtRest(2);
    std::vector<Told> rounds;
    for (int round = 0; round < 3; ++round) {
        const std::vector<Told> told = produceAtOnce(handle);
        EXPECT_EQ(all(told, &Told::accepted).size(), static_cast<size_t>(JORN_QUEUE_MAX)) << round;
        rounds.insert(rounds.end(), told.begin(), told.end());
        pass();
    }
    settle();
    for (int i = 0; i < kProducers; ++i) {
        std::vector<std::string> expected;
        for (size_t at = static_cast<size_t>(i); at < rounds.size(); at += kProducers) {
            expected.insert(expected.end(), rounds[at].accepted.begin(), rounds[at].accepted.end());
        }
        EXPECT_EQ(stored(i), expected) << "producer " << i;
    }
}

}  // namespace
