// SPDX-License-Identifier: Apache-2.0
#include <limits.h>
#include <memLib.h>

#include <array>
#include <atomic>

#include "port_test.h"

namespace {

using namespace port_test;

class MessageQueueTest : public PortTest {
protected:
    /// Body of a task that receives one message and records it, or "-" when it fails.
    static std::function<void()> receiver(MSG_Q_ID queue, Journal &journal, const char *name) {
        return [=, &journal] {
            char buffer[16];
            const int length = msgQReceive(queue, buffer, sizeof buffer, WAIT_FOREVER);
            if (length < 0) {
                journal.add("-");
                return;
            }
            journal.add((std::string(name) + " " + std::string(buffer, static_cast<size_t>(length))).c_str());
        };
    }

    /// Body of a task that sends one text. None of it is on the heap during the wait.
    static std::function<void()> sender(MSG_Q_ID queue, const char *text, int priority = MSG_PRI_NORMAL) {
        return [=] {
            char message[16];
            const int length = snprintf(message, sizeof message, "%s", text);
            msgQSend(queue, message, static_cast<UINT>(length), WAIT_FOREVER, priority);
        };
    }
};

Outcome create(int slots, int slotSize, int options) {
    return outcomeOf([=] {
        MSG_Q_ID id = msgQCreate(slots, slotSize, options);
        const int result = id != nullptr ? OK : ERROR;
        if (id != nullptr) {
            msgQDelete(id);
        }
        return result;
    });
}

TEST_F(MessageQueueTest, Create_LimitsOfShape_AreCheckedAtEachSide) {
    EXPECT_EQ(create(1, 0, MSG_Q_FIFO), kDone);
    EXPECT_EQ(create(1, 1, MSG_Q_PRIORITY), kDone);
    EXPECT_EQ(create(0, 1, MSG_Q_FIFO), failed(EINVAL));
    EXPECT_EQ(create(-1, 1, MSG_Q_FIFO), failed(EINVAL));
    EXPECT_EQ(create(1, -1, MSG_Q_FIFO), failed(S_msgQLib_INVALID_MSG_LENGTH));
    EXPECT_EQ(create(1, 1, 0x02), failed(S_msgQLib_INVALID_QUEUE_TYPE));
    EXPECT_EQ(create(1, 1, -1), failed(S_msgQLib_INVALID_QUEUE_TYPE));
}

TEST_F(MessageQueueTest, Create_SizeBeyondTheAddressSpace_FailsWithNotEnoughMemory) {
    if (sizeof(size_t) > 4) {
        GTEST_SKIP() << "every product of two int values fits this address space";
    }
    EXPECT_EQ(create(INT_MAX, INT_MAX, MSG_Q_FIFO), failed(S_memLib_NOT_ENOUGH_MEMORY));
    EXPECT_EQ(create(1 << 16, 1 << 16, MSG_Q_FIFO), failed(S_memLib_NOT_ENOUGH_MEMORY));
}

TEST_F(MessageQueueTest, Create_AllPlacesTaken_FailsUntilOneIsDeleted) {
    std::vector<MSG_Q_ID> all;
    for (MSG_Q_ID id = msgQCreate(1, 1, MSG_Q_FIFO); id != nullptr; id = msgQCreate(1, 1, MSG_Q_FIFO)) {
        all.push_back(id);
        ASSERT_LE(all.size(), 1024u);
    }
    EXPECT_EQ(create(1, 1, MSG_Q_FIFO), failed(S_memLib_NOT_ENOUGH_MEMORY));
    ASSERT_EQ(msgQDelete(all.back()), OK);
    all.pop_back();
    EXPECT_EQ(create(1, 1, MSG_Q_FIFO), kDone);
    for (MSG_Q_ID id : all) {
        EXPECT_EQ(msgQDelete(id), OK);
    }
}

TEST_F(MessageQueueTest, Receive_SeveralSent_ComeInTheirOrder) {
    const Queue queue(3);
    for (int round = 0; round < 4; ++round) {  // so that the ring of slots wraps at each possible place
        EXPECT_EQ(send(queue, "one", NO_WAIT), kDone);
        EXPECT_EQ(send(queue, "two", NO_WAIT), kDone);
        EXPECT_EQ(msgQNumMsgs(queue), 2);
        EXPECT_EQ(next(queue), "one");
        EXPECT_EQ(next(queue), "two");
        EXPECT_EQ(msgQNumMsgs(queue), 0);
    }
}

TEST_F(MessageQueueTest, SendNoWait_FullQueue_FailsWithUnavailable) {
    const Queue queue(2);
    EXPECT_EQ(send(queue, "one", NO_WAIT), kDone);
    EXPECT_EQ(send(queue, "two", NO_WAIT), kDone);
    EXPECT_EQ(send(queue, "three", NO_WAIT), failed(S_objLib_OBJ_UNAVAILABLE));
    EXPECT_EQ(send(queue, "urgent", NO_WAIT, MSG_PRI_URGENT), failed(S_objLib_OBJ_UNAVAILABLE));
    EXPECT_EQ(msgQNumMsgs(queue), 2);
    EXPECT_EQ(next(queue), "one");
    EXPECT_EQ(send(queue, "three", NO_WAIT), kDone);
    EXPECT_EQ(next(queue), "two");
    EXPECT_EQ(next(queue), "three");
}

TEST_F(MessageQueueTest, ReceiveNoWait_EmptyQueue_FailsWithUnavailable) {
    const Queue queue(1);
    char buffer[16];
    EXPECT_EQ(receive(queue, buffer, sizeof buffer, NO_WAIT), failed(S_objLib_OBJ_UNAVAILABLE));
}

TEST_F(MessageQueueTest, Send_UrgentMessages_GoBeforeAllOthers) {
    const Queue queue(4);
    EXPECT_EQ(send(queue, "one", NO_WAIT), kDone);
    EXPECT_EQ(send(queue, "two", NO_WAIT), kDone);
    EXPECT_EQ(send(queue, "urgent", NO_WAIT, MSG_PRI_URGENT), kDone);
    EXPECT_EQ(send(queue, "more urgent", NO_WAIT, MSG_PRI_URGENT), kDone);
    EXPECT_EQ(next(queue), "more urgent");
    EXPECT_EQ(next(queue), "urgent");
    EXPECT_EQ(next(queue), "one");
    EXPECT_EQ(next(queue), "two");
}

TEST_F(MessageQueueTest, Send_UrgentIntoEmptyQueue_IsReceived) {
    const Queue queue(1);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(send(queue, "urgent", NO_WAIT, MSG_PRI_URGENT), kDone);
        EXPECT_EQ(next(queue), "urgent");
    }
}

TEST_F(MessageQueueTest, Send_LengthAtTheLimit_IsCheckedAtEachSide) {
    const Queue queue(2, 4);
    EXPECT_EQ(send(queue, "123", NO_WAIT), kDone);
    EXPECT_EQ(send(queue, "1234", NO_WAIT), kDone);
    EXPECT_EQ(next(queue), "123");
    EXPECT_EQ(send(queue, "12345", NO_WAIT), failed(S_msgQLib_INVALID_MSG_LENGTH));
    EXPECT_EQ(send(queue, "12345", WAIT_FOREVER), failed(S_msgQLib_INVALID_MSG_LENGTH));
    EXPECT_EQ(msgQNumMsgs(queue), 1);
    EXPECT_EQ(next(queue), "1234");
}

TEST_F(MessageQueueTest, Receive_ShorterBuffer_GetsTheBeginningAndLosesTheRest) {
    const Queue queue(2);
    char buffer[] = "......";
    ASSERT_EQ(send(queue, "abcdef", NO_WAIT), kDone);
    ASSERT_EQ(send(queue, "gh", NO_WAIT), kDone);
    EXPECT_EQ(receive(queue, buffer, 3, NO_WAIT), returned(3));
    EXPECT_STREQ(buffer, "abc...");
    EXPECT_EQ(next(queue), "gh");
}

TEST_F(MessageQueueTest, Receive_WaitingWithShorterBuffer_GetsTheBeginningAndLosesTheRest) {
    const Queue queue(1);
    char buffer[] = "......";
    Outcome received = kNotReturned;
    Crew crew;
    crew.startAndSettle(kPriority, [&] { received = receive(queue, buffer, 3, WAIT_FOREVER); });
    ASSERT_EQ(send(queue, "abcdef", NO_WAIT), kDone);
    posixPortSettle();
    EXPECT_EQ(received, returned(3));
    EXPECT_STREQ(buffer, "abc...");
    EXPECT_EQ(msgQNumMsgs(queue), 0);
}

TEST_F(MessageQueueTest, Receive_BufferSizeAboveInt_FailsWithInvalidLength) {
    const Queue queue(1);
    char buffer[4];
    ASSERT_EQ(send(queue, "a", NO_WAIT), kDone);
    EXPECT_EQ(receive(queue, buffer, UINT{INT_MAX} + 1, NO_WAIT), failed(S_msgQLib_INVALID_MSG_LENGTH));
    EXPECT_EQ(msgQNumMsgs(queue), 1);
}

TEST_F(MessageQueueTest, Send_EmptyMessage_CountsAndIsReceivedAsZeroBytes) {
    const Queue queue(1, 0);
    EXPECT_EQ(outcomeOf([&] { return msgQSend(queue, nullptr, 0, NO_WAIT, MSG_PRI_NORMAL); }), kDone);
    EXPECT_EQ(msgQNumMsgs(queue), 1);
    EXPECT_EQ(receive(queue, nullptr, 0, NO_WAIT), returned(0));
    EXPECT_EQ(msgQNumMsgs(queue), 0);
}

TEST_F(MessageQueueTest, Send_EmptyMessageToWaitingReceiver_WakesItWithZeroBytes) {
    const Queue queue(1);
    char buffer[] = "...";
    Outcome received = kNotReturned;
    Crew crew;
    crew.startAndSettle(kPriority, [&] { received = receive(queue, buffer, 3, WAIT_FOREVER); });
    EXPECT_EQ(outcomeOf([&] { return msgQSend(queue, nullptr, 0, NO_WAIT, MSG_PRI_NORMAL); }), kDone);
    posixPortSettle();
    EXPECT_EQ(received, returned(0));
    EXPECT_STREQ(buffer, "...");
}

TEST_F(MessageQueueTest, Send_BytesOfAnyValue_ArriveAsTheyAre) {
    const Queue queue(1, 256);
    std::array<char, 256> sent;
    std::array<char, 256> received{};
    for (size_t byte = 0; byte < sent.size(); ++byte) {
        sent[byte] = static_cast<char>(byte);
    }
    ASSERT_EQ(msgQSend(queue, sent.data(), sent.size(), NO_WAIT, MSG_PRI_NORMAL), OK);
    ASSERT_EQ(msgQReceive(queue, received.data(), received.size(), NO_WAIT), 256);
    EXPECT_EQ(sent, received);
}

TEST_F(MessageQueueTest, Send_WaitingReceiver_GetsItBeforeAnyoneElseCan) {
    const Queue queue(1);
    Journal journal;
    Crew crew;
    crew.startAndSettle(kPriority, receiver(queue, journal, "waiting"));
    ASSERT_EQ(send(queue, "a", NO_WAIT), kDone);
    EXPECT_EQ(msgQNumMsgs(queue), 0);
    EXPECT_EQ(next(queue), "-");
    posixPortSettle();
    EXPECT_EQ(journal.entries(), Entries{"waiting a"});
}

TEST_F(MessageQueueTest, Receive_PriorityOrder_ServesHighestThenEarliest) {
    const Queue queue(4, 16, MSG_Q_PRIORITY);
    Journal journal;
    Crew crew;
    crew.startAndSettle(150, receiver(queue, journal, "150 first"));
    crew.startAndSettle(150, receiver(queue, journal, "150 second"));
    crew.startAndSettle(50, receiver(queue, journal, "50"));
    for (const char *text : {"a", "b", "c"}) {
        ASSERT_EQ(send(queue, text, NO_WAIT), kDone);
        posixPortSettle();
    }
    EXPECT_EQ(journal.entries(), (Entries{"50 a", "150 first b", "150 second c"}));
}

TEST_F(MessageQueueTest, Receive_ArrivalOrder_ServesEarliestWhateverThePriority) {
    const Queue queue(4, 16, MSG_Q_FIFO);
    Journal journal;
    Crew crew;
    crew.startAndSettle(150, receiver(queue, journal, "150"));
    crew.startAndSettle(50, receiver(queue, journal, "50"));
    for (const char *text : {"a", "b"}) {
        ASSERT_EQ(send(queue, text, NO_WAIT), kDone);
        posixPortSettle();
    }
    EXPECT_EQ(journal.entries(), (Entries{"150 a", "50 b"}));
}

TEST_F(MessageQueueTest, Send_WaitingSenders_GetTheFreedSlotsInTheirOrder) {
    for (const int order : {MSG_Q_FIFO, MSG_Q_PRIORITY}) {
        const Queue queue(1, 16, order);
        Crew crew;
        ASSERT_EQ(send(queue, "first", NO_WAIT), kDone);
        crew.startAndSettle(150, sender(queue, "150"));
        crew.startAndSettle(50, sender(queue, "50"));
        EXPECT_EQ(msgQNumMsgs(queue), 1);
        EXPECT_EQ(next(queue), "first");
        // The slot was filled again in the same step.
        EXPECT_EQ(msgQNumMsgs(queue), 1);
        EXPECT_EQ(send(queue, "late", NO_WAIT), failed(S_objLib_OBJ_UNAVAILABLE));
        EXPECT_EQ(next(queue), order == MSG_Q_FIFO ? "150" : "50");
        EXPECT_EQ(next(queue), order == MSG_Q_FIFO ? "50" : "150");
        EXPECT_EQ(next(queue), "-");
    }
}

TEST_F(MessageQueueTest, Send_UrgentThatWaited_GoesBeforeAllOthers) {
    const Queue queue(2);
    Crew crew;
    ASSERT_EQ(send(queue, "one", NO_WAIT), kDone);
    ASSERT_EQ(send(queue, "two", NO_WAIT), kDone);
    crew.startAndSettle(kPriority, sender(queue, "urgent", MSG_PRI_URGENT));
    EXPECT_EQ(next(queue), "one");
    EXPECT_EQ(next(queue), "urgent");
    EXPECT_EQ(next(queue), "two");
}

TEST_F(MessageQueueTest, Receive_Timeout_EndsWithItsLastTickAndNotBefore) {
    const Queue queue(1);
    Outcome received = kNotReturned;
    char buffer[16];
    Crew crew;
    crew.startAndSettle(kPriority, [&] { received = receive(queue, buffer, sizeof buffer, 2); });
    tick();
    EXPECT_EQ(received, kNotReturned);
    tick();
    EXPECT_EQ(received, failed(S_objLib_OBJ_TIMEOUT));
    // Nobody waits any more: the next message stays in the queue.
    ASSERT_EQ(send(queue, "a", NO_WAIT), kDone);
    EXPECT_EQ(next(queue), "a");
}

TEST_F(MessageQueueTest, Receive_SentOneTickBeforeTimeout_Succeeds) {
    const Queue queue(1);
    Outcome received = kNotReturned;
    char buffer[16];
    Crew crew;
    crew.startAndSettle(kPriority, [&] { received = receive(queue, buffer, sizeof buffer, 2); });
    tick();
    ASSERT_EQ(send(queue, "a", NO_WAIT), kDone);
    tick();
    EXPECT_EQ(received, returned(1));
}

TEST_F(MessageQueueTest, Send_Timeout_EndsWithItsLastTickAndSendsNothing) {
    const Queue queue(1);
    Outcome sent = kNotReturned;
    char message[] = "late";
    Crew crew;
    ASSERT_EQ(send(queue, "first", NO_WAIT), kDone);
    crew.startAndSettle(
        kPriority, [&] { sent = outcomeOf([&] { return msgQSend(queue, message, 4, 2, MSG_PRI_NORMAL); }); });
    tick();
    EXPECT_EQ(sent, kNotReturned);
    tick();
    EXPECT_EQ(sent, failed(S_objLib_OBJ_TIMEOUT));
    EXPECT_EQ(next(queue), "first");
    EXPECT_EQ(next(queue), "-");
}

TEST_F(MessageQueueTest, Send_ReceivedOneTickBeforeTimeout_Succeeds) {
    const Queue queue(1);
    Outcome sent = kNotReturned;
    char message[] = "second";
    Crew crew;
    ASSERT_EQ(send(queue, "first", NO_WAIT), kDone);
    crew.startAndSettle(
        kPriority, [&] { sent = outcomeOf([&] { return msgQSend(queue, message, 6, 2, MSG_PRI_NORMAL); }); });
    tick();
    EXPECT_EQ(next(queue), "first");
    tick();
    EXPECT_EQ(sent, kDone);
    EXPECT_EQ(next(queue), "second");
}

TEST_F(MessageQueueTest, Delete_UnderReceivers_AllWakeWithDeleted) {
    const Queue queue(1);
    std::array<Outcome, 2> received = {kNotReturned, kNotReturned};
    Crew crew;
    for (Outcome &each : received) {
        crew.startAndSettle(kPriority, [&] {
            char buffer[16];
            each = receive(queue, buffer, sizeof buffer, WAIT_FOREVER);
        });
    }
    ASSERT_EQ(msgQDelete(queue), OK);
    posixPortSettle();
    EXPECT_EQ(received[0], failed(S_objLib_OBJ_DELETED));
    EXPECT_EQ(received[1], failed(S_objLib_OBJ_DELETED));
}

TEST_F(MessageQueueTest, Delete_UnderSenders_AllWakeWithDeleted) {
    const Queue queue(1);
    std::array<Outcome, 2> sent = {kNotReturned, kNotReturned};
    char message[] = "a";
    Crew crew;
    ASSERT_EQ(send(queue, "first", NO_WAIT), kDone);
    for (Outcome &each : sent) {
        crew.startAndSettle(kPriority, [&] {
            each = outcomeOf([&] { return msgQSend(queue, message, 1, WAIT_FOREVER, MSG_PRI_NORMAL); });
        });
    }
    ASSERT_EQ(msgQDelete(queue), OK);
    posixPortSettle();
    EXPECT_EQ(sent[0], failed(S_objLib_OBJ_DELETED));
    EXPECT_EQ(sent[1], failed(S_objLib_OBJ_DELETED));
}

void expectIdErrors(MSG_Q_ID id) {
    char buffer[16] = "a";
    EXPECT_EQ(send(id, "a", WAIT_FOREVER), failed(S_objLib_OBJ_ID_ERROR)) << id;
    EXPECT_EQ(receive(id, buffer, sizeof buffer, WAIT_FOREVER), failed(S_objLib_OBJ_ID_ERROR)) << id;
    EXPECT_EQ(outcomeOf([=] { return msgQNumMsgs(id); }), failed(S_objLib_OBJ_ID_ERROR)) << id;
    EXPECT_EQ(outcomeOf([=] { return msgQDelete(id); }), failed(S_objLib_OBJ_ID_ERROR)) << id;
}

TEST_F(MessageQueueTest, EveryCall_DeletedQueue_FailsWithIdError) {
    const Queue queue(1);
    ASSERT_EQ(send(queue, "a", NO_WAIT), kDone);
    ASSERT_EQ(msgQDelete(queue), OK);
    expectIdErrors(queue);
}

TEST_F(MessageQueueTest, EveryCall_GarbageId_FailsWithIdError) {
    const Queue queue(1);
    const Mutex mutex;
    int local = 0;
    const auto valid = reinterpret_cast<uintptr_t>(static_cast<MSG_Q_ID>(queue));
    for (const uintptr_t garbage :
         {uintptr_t{0}, uintptr_t{3}, uintptr_t{0xfff}, UINTPTR_MAX, UINTPTR_MAX / 2, valid + 1, valid - 1,
          valid + 4, valid + 0x1000, reinterpret_cast<uintptr_t>(&local),
          reinterpret_cast<uintptr_t>(static_cast<SEM_ID>(mutex))}) {
        expectIdErrors(reinterpret_cast<MSG_Q_ID>(garbage));  // NOLINT(performance-no-int-to-ptr): an id
    }
}

TEST_F(MessageQueueTest, EveryCall_StaleIdWhosePlaceWasTakenAgain_FailsWithIdError) {
    MSG_Q_ID stale = msgQCreate(1, 16, MSG_Q_FIFO);
    ASSERT_EQ(msgQDelete(stale), OK);
    std::vector<MSG_Q_ID> all;
    for (MSG_Q_ID id = msgQCreate(1, 16, MSG_Q_FIFO); id != nullptr; id = msgQCreate(1, 16, MSG_Q_FIFO)) {
        ASSERT_NE(id, stale);
        all.push_back(id);
    }
    expectIdErrors(stale);
    for (MSG_Q_ID id : all) {
        EXPECT_EQ(msgQNumMsgs(id), 0);
        ASSERT_EQ(msgQDelete(id), OK);
    }
}

TEST_F(MessageQueueTest, Send_ManySendersAndReceivers_EveryMessageArrivesOnce) {
    constexpr size_t kSenders = 3;
    constexpr int kReceivers = 2;
    constexpr size_t kMessages = 1000;
    const Queue queue(2, sizeof(size_t));
    std::array<std::atomic<int>, kSenders * kMessages> arrivals{};
    std::atomic<int> disorder{0};
    {
        Crew crew;
        for (int each = 0; each < kReceivers; ++each) {
            crew.start(kPriority, [&] {
                std::array<size_t, kSenders> expected{};  // at least, from each sender
                for (;;) {
                    size_t number = 0;
                    msgQReceive(queue, reinterpret_cast<char *>(&number), sizeof number, WAIT_FOREVER);
                    ++arrivals[number];
                    size_t &least = expected[number / kMessages];
                    disorder += number < least;
                    least = number + 1;
                }
            });
        }
        for (size_t each = 0; each < kSenders; ++each) {
            crew.start(kPriority, [&, each] {
                for (size_t message = 0; message < kMessages; ++message) {
                    size_t number = each * kMessages + message;
                    msgQSend(queue, reinterpret_cast<char *>(&number), sizeof number, WAIT_FOREVER,
                             MSG_PRI_NORMAL);
                }
            });
        }
        posixPortSettle();
    }
    for (const std::atomic<int> &arrived : arrivals) {
        ASSERT_EQ(arrived, 1);
    }
    EXPECT_EQ(disorder, 0);
}

}  // namespace
