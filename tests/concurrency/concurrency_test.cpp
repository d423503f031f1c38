// SPDX-License-Identifier: Apache-2.0
// Tasks that run into each other. Each forced interleaving is built from a hook on a platform call, which
// runs in the task that makes the call and so holds it at a known place, and from the port's settling, which
// returns when every other task waits. The stress tests at the end force nothing: they are for the thread
// sanitizer, and check what must hold whatever the order.
#include <msgQLib.h>
#include <posixPort.h>
#include <semLib.h>
#include <taskLib.h>
#include <tickLib.h>

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "registry/registry.h"
#include "store/store_task.h"
#include "support/module_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The work of the task that spawnTask() makes.
std::function<void()> *taskWork;

int runTaskWork() {
    (*taskWork)();
    return 0;
}

/// Runs `work` in a task of the port, whose waiting the port knows about. One at a time.
TASK_ID spawnTask(std::function<void()> *work) {
    taskWork = work;
    static char name[] = "tTest";
    return taskSpawn(name, 100, 0, 65536, reinterpret_cast<FUNCPTR>(runTaskWork), 0, 0, 0, 0, 0, 0, 0, 0, 0,
                     0);
}

class ConcurrencyTest : public test::ModuleTest {
protected:
    /// Runs `action` once, at the first call from now on that begins with `call`.
    static void onceAt(const std::string &call, std::function<void()> action) {
        auto done = std::make_shared<std::atomic<bool>>(false);
        test::platform().onCall(call, [done, action = std::move(action)](const std::string &) {
            if (!done->exchange(true)) {
                action();
            }
        });
    }

    static void announcePass() {
        for (int i = 0; i < JORN_STORE_TICKS; ++i) {
            tickAnnounce();
        }
    }
};

// While the store task is in the middle of a batch, a query in another task is started and runs until it
// waits for the mutex.
TEST_F(ConcurrencyTest, Query_DuringBatch_WaitsAndSeesTheWholeBatch) {
    const int32_t handle = createAtRest(2);
    std::atomic<int32_t> counted{-2};
    std::function<void()> query = [&] { counted = JORN_CountRequireTotalNum(handle, test::everything()); };
    std::atomic<int32_t> countedInBatch{0};
    onceAt("fwrite", [&] {
        spawnTask(&query);
        // The store task's own settling does not include itself: this returns when the query waits.
        posixPortSettle();
        countedInBatch = counted.load();
    });
    ASSERT_EQ(JORN_AddOneLog(handle, 1, 0, "a"), 0);
    ASSERT_EQ(JORN_AddOneLog(handle, 1, 0, "b"), 0);
    pass();
    EXPECT_EQ(countedInBatch, -2) << "the query did not wait for the batch";
    // The file is still open and its lines are in the stream's buffer: only what is in the file is counted.
    EXPECT_EQ(counted, 1);
    settle();
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, test::everything()), 3);
}

// While a query reads a file, the store task gets its ticks and runs until it waits for the mutex.
TEST_F(ConcurrencyTest, Batch_DuringQuery_WaitsUntilTheQueryEnds) {
    const int32_t handle = createAtRest(2);
    ASSERT_EQ(JORN_AddOneLog(handle, 1, 0, "later"), 0);
    std::vector<std::string> callsInQuery;
    onceAt("fgets", [&] {
        test::platform().clearLog();
        pass();
        callsInQuery = test::platform().calls();
    });
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, test::everything()), 1);
    EXPECT_THAT(callsInQuery, ElementsAre("msgQNumMsgs", "semTake -1"));
    settle();
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, test::everything()), 2);
}

TEST_F(ConcurrencyTest, Submission_WhileAQueryHoldsTheMutex_DoesNotWait) {
    const int32_t handle = createAtRest(2);
    int32_t submitted = -2;
    std::atomic<bool> isSubmitted{false};
    onceAt("fgets", [&] {
        std::thread producer([&] {
            submitted = JORN_AddOneLog(handle, 1, 0, "meanwhile");
            isSubmitted = true;
        });
        producer.join();
    });
    EXPECT_EQ(JORN_CountRequireTotalNum(handle, test::everything()), 1);
    EXPECT_TRUE(isSubmitted);
    EXPECT_EQ(submitted, 0);
}

// The idle pass has taken the stream out of the shared variable and is about to close it when its object
// is destroyed: the destruction has to wait until the last lines are on the medium, so that a creation on the
// same directory finds them.
TEST_F(ConcurrencyTest, Destroy_WhileTheIdlePassCloses_WaitsUntilTheFileIsClosed) {
    test::TempDir other;
    ASSERT_GT(JORN_Create(other.name(), 1, 2), 0);
    const int32_t handle = createAtRest(2);
    ASSERT_EQ(JORN_AddOneLog(handle, 1, 0, "a"), 0);
    pass();
    test::platform().clearLog();
    std::atomic<int32_t> destroyed{-2};
    std::function<void()> destroy = [&] { destroyed = JORN_Destroy(handle); };
    onceAt("fclose", [&] {
        spawnTask(&destroy);
        posixPortSettle();  // by now the destruction sleeps for a tick
        EXPECT_EQ(destroyed, -2);
        EXPECT_THAT(test::platform().calls({"free"}), IsEmpty());
    });
    pass();
    EXPECT_EQ(dir_.read("0.csv"), "1700000000,3,0,Log start init!\n1700000000,1,0,a\n");
    tickAnnounce();
    posixPortSettle();
    EXPECT_EQ(destroyed, 0);
    EXPECT_THAT(test::platform().calls({"fclose", "free"}),
                ElementsAre("fclose", "free info[2]", "free object"));
}

// A destruction has taken the stream and is about to close it when the idle pass comes.
TEST_F(ConcurrencyTest, IdlePass_WhileDestroyCloses_ClosesNothing) {
    test::TempDir other;
    ASSERT_GT(JORN_Create(other.name(), 1, 2), 0);
    const int32_t handle = JORN_Create(dir_.name(), 1, 2);
    pass();
    test::platform().clearLog();
    onceAt("fclose", [] { pass(); });
    EXPECT_EQ(JORN_Destroy(handle), 0);
    EXPECT_EQ(test::platform().calls({"fclose"}).size(), 1U);
    EXPECT_EQ(dir_.read("0.csv"), "1700000000,3,0,Log start init!\n");
}

// A batch is under way, its file open, when its object is destroyed: the destruction has to wait.
TEST_F(ConcurrencyTest, Destroy_DuringBatch_WaitsForItAndLosesNoLine) {
    test::TempDir other;
    ASSERT_GT(JORN_Create(other.name(), 1, 2), 0);
    const int32_t handle = createAtRest(2);
    std::atomic<int32_t> destroyed{-2};
    std::function<void()> destroy = [&] { destroyed = JORN_Destroy(handle); };
    onceAt("fwrite", [&] {
        spawnTask(&destroy);
        posixPortSettle();
        EXPECT_EQ(destroyed, -2);
    });
    ASSERT_EQ(JORN_AddOneLog(handle, 1, 0, "a"), 0);
    pass();
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(dir_.read("0.csv"), "1700000000,3,0,Log start init!\n1700000000,1,0,a\n");
}

/// Releases a thread that stands still.
int goOnPipe[2];

void standStill(int /*signal*/) {
    char byte = 0;
    while (read(goOnPipe[0], &byte, 1) < 0 && errno == EINTR) {
    }
}

void takeSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    ASSERT_EQ(pthread_sigmask(SIG_UNBLOCK, &signals, nullptr), 0);
}

/// A walk in a thread of its own, held inside the list by a cycle of two objects, which it can leave only
/// when the cycle is opened.
class HeldWalk {
public:
    /// Puts the cycle in place of the list and returns when the walk is in it.
    void begin() {
        first_->next = second_.get();
        second_->next = first_.get();
        __atomic_store_n(&jorn_obj_ptr, first_.get(), __ATOMIC_SEQ_CST);
        walker_ = std::thread([] {
            takeSignal();  // a thread started by a task of the port blocks them
            EXPECT_EQ(FindObj(103), nullptr);
        });
        while (!jorn::isWalkUnderWay()) {
            std::this_thread::yield();
        }
    }

    /// Makes the walking thread stand still where it is, like a suspended task; until then, it loops.
    void suspend() {
        ASSERT_EQ(pipe(goOnPipe), 0);
        struct sigaction action = {};
        action.sa_handler = standStill;
        ASSERT_EQ(sigaction(SIGUSR1, &action, &formerAction_), 0);
        ASSERT_EQ(pthread_kill(walker_.native_handle(), SIGUSR1), 0);
        isSuspended_ = true;
    }

    void release() {
        __atomic_store_n(&jorn_obj_ptr, nullptr, __ATOMIC_SEQ_CST);
        __atomic_store_n(&second_->next, nullptr, __ATOMIC_SEQ_CST);
    }

    void join() {
        if (isSuspended_) {
            ASSERT_EQ(write(goOnPipe[1], "", 1), 1);
        }
        walker_.join();
        if (isSuspended_) {
            sigaction(SIGUSR1, &formerAction_, nullptr);
            close(goOnPipe[0]);
            close(goOnPipe[1]);
        }
    }

private:
    test::HandMadeObject first_{"/a", 2, 8, 101};
    test::HandMadeObject second_{"/b", 2, 8, 102};
    std::thread walker_;
    struct sigaction formerAction_ = {};
    bool isSuspended_ = false;
};

// A walk is under way while an object is being destroyed: nothing is freed before it ends.
TEST_F(ConcurrencyTest, Destroy_WalkUnderWay_FreesOnlyWhenTheWalkHasEnded) {
    const int32_t handle = createAtRest(2);
    HeldWalk walk;
    onceAt("semTake", [&] { walk.begin(); });
    int yields = 0;
    test::platform().onCall("taskDelay 0", [&](const std::string &) {
        EXPECT_TRUE(jorn::isWalkUnderWay() || yields >= 3);
        if (++yields == 3) {
            walk.release();
        }
    });
    bool wasWalkOverAtFree = false;
    onceAt("free", [&] { wasWalkOverAtFree = !jorn::isWalkUnderWay(); });
    EXPECT_EQ(JORN_Destroy(handle), 0);
    walk.join();
    EXPECT_GE(yields, 3);
    EXPECT_TRUE(wasWalkOverAtFree);
}

/// Gives the store task its ticks until it is stopped.
class Ticker {
public:
    Ticker() : thread_([this] { run(); }) {}
    ~Ticker() {
        isOver_ = true;
        thread_.join();
    }
    Ticker(const Ticker &) = delete;
    Ticker &operator=(const Ticker &) = delete;

private:
    void run() {
        while (!isOver_) {
            tickAnnounce();
            std::this_thread::yield();
        }
    }

    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

// A task of lower priority continues only while the destruction sleeps, which it does after many yields.
TEST_F(ConcurrencyTest, Destroy_WalkThatYieldingDoesNotEnd_SleepsAfterTenThousandYields) {
    const int32_t handle = createAtRest(2);
    HeldWalk walk;
    std::optional<Ticker> ticker;
    int yields = 0;
    int yieldsAtSleep = -1;
    onceAt("semTake", [&] { walk.begin(); });
    test::platform().onCall("taskDelay 0", [&](const std::string &) { ++yields; });
    test::platform().onCall("taskDelay 1", [&](const std::string &call) {
        if (call == "taskDelay 1" && yieldsAtSleep < 0) {
            yieldsAtSleep = yields;
            walk.release();
            ticker.emplace();
        }
    });
    EXPECT_EQ(JORN_Destroy(handle), 0);
    walk.join();
    EXPECT_EQ(yieldsAtSleep, 10000);
}

constexpr char kStillWaiting[] = "Destroy still waits for another task, suspended or deleted in a call?";

/// Lets ticks pass one by one, so that a task that sleeps for one tick sleeps again before the next.
void sleepThrough(int ticks) {
    for (int i = 0; i < ticks; ++i) {
        tickAnnounce();
        posixPortSettle();
    }
}

// A task is suspended in the middle of a walk.
TEST_F(ConcurrencyTest, Destroy_WalkThatDoesNotEnd_SaysOnceAfterAThousandTicksThatItWaits) {
    const int32_t handle = createAtRest(2);
    test::platform().clearLog();
    HeldWalk walk;
    onceAt("semTake", [&] {
        walk.begin();
        walk.suspend();
    });
    std::atomic<int32_t> destroyed{-2};
    std::function<void()> destroy = [&] { destroyed = JORN_Destroy(handle); };
    spawnTask(&destroy);
    posixPortSettle();  // by now the destruction sleeps for its first tick
    sleepThrough(999);
    EXPECT_THAT(test::platform().messages(), IsEmpty());
    sleepThrough(1);
    EXPECT_THAT(test::platform().messages(), ElementsAre(kStillWaiting));
    sleepThrough(1);
    EXPECT_EQ(destroyed, -2);
    EXPECT_THAT(test::platform().calls({"free"}), IsEmpty());
    walk.release();
    walk.join();
    sleepThrough(1);
    EXPECT_EQ(destroyed, 0);
    EXPECT_THAT(test::platform().messages(), ElementsAre(kStillWaiting));
}

/// An object whose file the store task is about to close in an idle pass.
class ConcurrencyIdleCloseTest : public ConcurrencyTest {
protected:
    void SetUp() override {
        ConcurrencyTest::SetUp();
        ASSERT_GT(JORN_Create(other_.name(), 1, 2), 0);
        handle_ = createAtRest(2);
        ASSERT_EQ(JORN_AddOneLog(handle_, 1, 0, "a"), 0);
        pass();
        test::platform().clearLog();
    }

    /// Stops the store task in the middle of its idle close, and releases it after `whileWaiting`.
    void destroyDuringIdleClose(const std::function<void()> &whileWaiting) {
        std::function<void()> destroy = [&] { destroyed_ = JORN_Destroy(handle_); };
        onceAt("fclose", [&] {
            spawnTask(&destroy);
            posixPortSettle();  // by now the destruction sleeps for its first tick
            whileWaiting();
            EXPECT_EQ(destroyed_, -2);
        });
        pass();
        sleepThrough(1);
        EXPECT_EQ(destroyed_, 0);
    }

    test::TempDir other_;
    int32_t handle_ = 0;
    std::atomic<int32_t> destroyed_{-2};
};

TEST_F(ConcurrencyIdleCloseTest, Destroy_CloseThatDoesNotEnd_SaysOnceAfterAThousandTicksThatItWaits) {
    destroyDuringIdleClose([] {
        sleepThrough(999);
        EXPECT_THAT(test::platform().messages(), IsEmpty());
        sleepThrough(1);
        EXPECT_THAT(test::platform().messages(), ElementsAre(kStillWaiting));
        sleepThrough(1);
        EXPECT_THAT(test::platform().messages(), ElementsAre(kStillWaiting));
        sleepThrough(2000);
    });
    EXPECT_THAT(test::platform().messages(), ElementsAre(kStillWaiting));
}

TEST_F(ConcurrencyIdleCloseTest, Destroy_CloseThatEndsWithinAThousandTicks_SaysNothing) {
    destroyDuringIdleClose([] { sleepThrough(999); });
    EXPECT_THAT(test::platform().messages(), IsEmpty());
}

TEST_F(ConcurrencyIdleCloseTest, Destroy_CloseThatDoesNotEndAtPrintLevelZero_SaysNothing) {
    jorn_SetDebugPrintLevel(0);
    destroyDuringIdleClose([] { sleepThrough(1001); });
    EXPECT_THAT(test::platform().messages(), IsEmpty());
}

/// Submits `count` items "<name><number>", each until the queue takes it.
void produce(int32_t handle, const std::string &name, int count) {
    for (int i = 0; i < count; ++i) {
        const std::string text = name + std::to_string(i);
        while (JORN_AddOneLog(handle, 1, 0, text.c_str()) != 0) {
            std::this_thread::yield();
        }
    }
}

/// The numbers after `name` in the lines of a file, in their order.
std::vector<int> numbersOf(const std::string &name, const std::string &bytes) {
    std::vector<int> numbers;
    for (size_t at = bytes.find("," + name); at != bytes.npos; at = bytes.find("," + name, at + 1)) {
        numbers.push_back(std::stoi(bytes.substr(at + 1 + name.size())));
    }
    return numbers;
}

// Four producers and a store task: what was accepted is stored, once, each producer's items in order.
TEST_F(ConcurrencyTest, ManyProducers_AcceptedItems_AreStoredOnceAndInOrder) {
    const int32_t handle = createAtRest(2);
    jorn_SetDebugPrintLevel(0);
    constexpr int kItems = 900;
    const std::vector<std::string> names = {"a", "b", "c", "d"};
    {
        const Ticker ticker;
        std::vector<std::thread> producers;
        producers.reserve(names.size());
        for (const std::string &name : names) {
            producers.emplace_back([&name, handle] { produce(handle, name, kItems); });
        }
        for (std::thread &producer : producers) {
            producer.join();
        }
    }
    settle();
    const std::string bytes = dir_.read("0.csv");
    for (const std::string &name : names) {
        const std::vector<int> numbers = numbersOf(name, bytes);
        ASSERT_EQ(numbers.size(), static_cast<size_t>(kItems)) << name;
        for (int i = 0; i < kItems; ++i) {
            ASSERT_EQ(numbers[static_cast<size_t>(i)], i) << name;
        }
    }
}

// Objects come and go while a producer and a reader use another one. Every walk by these passes the objects
// that are being destroyed.
TEST_F(ConcurrencyTest, OtherObjects_CreatedAndDestroyed_DisturbNeitherProducerNorReader) {
    const int32_t handle = createAtRest(2);
    jorn_SetDebugPrintLevel(0);
    constexpr int kItems = 1500;
    constexpr int kObjects = 60;
    test::TempDir other;
    {
        const Ticker ticker;
        std::atomic<bool> isProduced{false};
        std::thread producer([&] {
            produce(handle, "x", kItems);
            isProduced = true;
        });
        std::thread reader([&] {
            JORN_LOG_PAGE page;
            while (!isProduced) {
                EXPECT_GE(JORN_CountRequireTotalNum(handle, test::everything()), 0);
                EXPECT_GT(JORN_GetRequireLog(handle, test::everything(), &page), 0);
            }
        });
        for (int i = 0; i < kObjects || !isProduced; ++i) {
            const int32_t another = JORN_Create(other.name(), 1, 2);
            ASSERT_GT(another, handle);
            ASSERT_EQ(JORN_Destroy(another), 0);
        }
        producer.join();
        reader.join();
    }
    settle();
    EXPECT_EQ(numbersOf("x", dir_.read("0.csv")).size(), static_cast<size_t>(kItems));
}

}  // namespace
