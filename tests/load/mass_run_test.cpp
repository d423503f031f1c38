// SPDX-License-Identifier: Apache-2.0
// Eight producers, readers, and objects that come and go, all running freely beside the store task. Nothing
// is forced here, that is the interleaving tests' work: these are for the thread sanitizer, and show that
// every item is accounted for whatever the order. There is no probe, so no lock but the module's own and the
// port's keeps the tasks apart.
//
// Left out: clearing an object while its own batch or query may run (docs/architecture.md).
#include <gtest/gtest.h>
#include <limits.h>
#include <sysLib.h>
#include <tickLib.h>

#include <array>
#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "load/plain_store.h"
#include "registry/registry.h"

namespace {

constexpr int kProducers = 8;
constexpr int kObjects = 3;
constexpr int32_t kFiles = 12;
constexpr JORN_REQUIRE kEverything = {20, 1, -1, -1, 3, 0, -1};

/// Runs an action repeatedly in a thread of its own, up to a number of times.
class Loop {
public:
    explicit Loop(std::function<void()> action, int most = INT_MAX)
        : action_(std::move(action)), thread_([this, most] {
              for (int i = 0; i < most && !isOver_; ++i) {
                  action_();
                  std::this_thread::yield();
              }
          }) {}
    ~Loop() {
        isOver_ = true;
        thread_.join();
    }
    Loop(const Loop &) = delete;
    Loop &operator=(const Loop &) = delete;

private:
    std::function<void()> action_;
    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

/// What a producer's submissions returned, by object: the numbers of the items that were accepted, and how
/// many were not.
struct Told {
    std::array<std::vector<int>, kObjects> accepted;
    int refused = 0;
};

struct Range {
    int first;
    int end;
};

class MassRunTest : public ::testing::Test {
protected:
    void SetUp() override {
        sysClkDisable();
        jorn_SetDebugPrintLevel(0);
        for (int i = 0; i < kObjects; ++i) {
            handles_[static_cast<size_t>(i)] = JORN_Create(pathOf(i).c_str(), JORN_SLOT_MAX, kFiles);
            ASSERT_GT(handles_[static_cast<size_t>(i)], 0);
        }
        load::settle();
    }

    void TearDown() override {
        while (jorn_obj_ptr != nullptr && JORN_Destroy(jorn_obj_ptr->handle_id) == 0) {
        }
    }

    std::string pathOf(int object) const { return directory_.sub(std::to_string(object)); }

    /// Submits the items of a range of numbers, to the objects in turn, by one producer: "p<producer>
    /// <number>". One that is refused is tried again when `isPatient`.
    void produce(int producer, Range numbers, bool isPatient, Told *told) const {
        for (int number = numbers.first; number < numbers.end; ++number) {
            const auto object = static_cast<size_t>((number + producer) % kObjects);
            const std::string text = "p" + std::to_string(producer) + " " + std::to_string(number);
            bool isAccepted = false;
            do {
                isAccepted = JORN_AddOneLog(handles_[object], number % 4, producer, text.c_str()) == 0;
                if (!isAccepted) {
                    ++told->refused;
                    std::this_thread::yield();
                }
            } while (!isAccepted && isPatient);
            if (isAccepted) {
                told->accepted[object].push_back(number);
            }
        }
    }

    void produceAtOnce(Range numbers, bool isPatient, std::vector<Told> *told) const {
        std::vector<std::thread> producers;
        producers.reserve(kProducers);
        for (int i = 0; i < kProducers; ++i) {
            producers.emplace_back([this, i, numbers, isPatient, told] {
                produce(i, numbers, isPatient, &(*told)[static_cast<size_t>(i)]);
            });
        }
        for (std::thread &producer : producers) {
            producer.join();
        }
    }

    /// The numbers of each producer's items in an object's files, in the ring's order; no ring is full.
    std::vector<std::vector<int>> stored(int object, int *lines) const {
        std::vector<std::vector<int>> numbers(kProducers);
        *lines = 0;
        for (int position = 0; position < kFiles; ++position) {
            std::ifstream file(pathOf(object) + "/" + std::to_string(position) + ".csv");
            std::string line;
            while (std::getline(file, line)) {
                int producer = 0;
                int number = 0;
                if (sscanf(line.c_str(), "%*u,%*d,%*d,p%d %d", &producer, &number) == 2) {
                    numbers.at(static_cast<size_t>(producer)).push_back(number);
                }
                ++*lines;
            }
        }
        return numbers;
    }

    /// Checks that what was accepted is on the medium exactly once, each producer's items in their order, and
    /// nothing else except the item of the creation.
    void expectAllStored(const std::vector<Told> &told) const {
        for (int object = 0; object < kObjects; ++object) {
            int lines = 0;
            const std::vector<std::vector<int>> numbers = stored(object, &lines);
            size_t accepted = 0;
            for (size_t i = 0; i < kProducers; ++i) {
                const std::vector<int> &expected = told[i].accepted[static_cast<size_t>(object)];
                EXPECT_EQ(numbers[i], expected) << "producer " << i << ", object " << object;
                accepted += expected.size();
            }
            EXPECT_EQ(lines, static_cast<int>(accepted) + 1) << "object " << object;
            EXPECT_EQ(JORN_CountRequireTotalNum(handles_[static_cast<size_t>(object)], kEverything), lines);
        }
    }

    load::Directory directory_;
    std::array<int32_t, kObjects> handles_{};
};

// Queries run while items come in and the ring moves from file to file: a count never decreases, and a page
// is the newest items, all of the same object.
void query(int32_t handle, int32_t *last) {
    const int32_t count = JORN_CountRequireTotalNum(handle, kEverything);
    EXPECT_GE(count, *last);
    *last = count;
    JORN_LOG_PAGE page;
    EXPECT_EQ(JORN_GetRequireLog(handle, kEverything, &page), 1);
    EXPECT_GE(page.itemsNum, 1);
    uint32_t time = 0;
    EXPECT_EQ(JORN_GetFinalCsvTime(handle, &time), 0);
    EXPECT_EQ(JORN_GetMaxCsvTime(&time), 0);
}

TEST_F(MassRunTest, ProducersReadersAndOtherObjects_RunFreely_EveryItemIsStoredOnce) {
    constexpr int kItems = 500 * JORN_LOAD_ROUNDS;
    // Two readers of higher priority than the store task can keep handing the mutex to each other for as long
    // as they run.
    constexpr int kQueries = 100 * JORN_LOAD_ROUNDS;
    std::array<int32_t, kObjects> counts{};
    std::vector<Told> told(kProducers);
    std::atomic<int> lives{0};
    {
        const Loop ticker([] { tickAnnounce(); });
        const Loop firstReader([&] { query(handles_[0], &counts[0]); }, kQueries);
        const Loop secondReader([&] { query(handles_[1], &counts[1]); }, kQueries);
        const Loop others([&] {
            const int32_t handle = JORN_Create(directory_.sub("other").c_str(), 1, 2);
            EXPECT_GT(handle, kObjects);
            EXPECT_EQ(JORN_AddOneLog(handle, 4, 0, "level too large"), -1);
            EXPECT_EQ(JORN_Destroy(handle), 0);
            ++lives;
        });
        produceAtOnce({0, kItems}, true, &told);
    }
    load::settle();
    EXPECT_GT(lives, 0);
    expectAllStored(told);
    for (const Told &one : told) {
        EXPECT_EQ(one.accepted[0].size() + one.accepted[1].size() + one.accepted[2].size(),
                  static_cast<size_t>(kItems));
    }
}

// Producers that do not wait for room: what is refused is lost, and its caller knows.
TEST_F(MassRunTest, ImpatientProducers_StoreTaskRuns_AcceptedPlusRefusedIsAllAndOnlyAcceptedIsStored) {
    constexpr int kItems = 500 * JORN_LOAD_ROUNDS;
    constexpr int kItemsBefore = 100;
    const int errnoCallsBefore = load::errnoCalls();
    std::vector<Told> told(kProducers);
    produceAtOnce({0, kItemsBefore}, false, &told);  // more than the queue holds, before the first tick
    {
        const Loop ticker([] { tickAnnounce(); });
        produceAtOnce({kItemsBefore, kItems}, false, &told);
    }
    load::settle();
    int refused = 0;
    for (const Told &one : told) {
        const size_t accepted = one.accepted[0].size() + one.accepted[1].size() + one.accepted[2].size();
        EXPECT_EQ(accepted + static_cast<size_t>(one.refused), static_cast<size_t>(kItems));
        refused += one.refused;
    }
    EXPECT_EQ(load::errnoCalls() - errnoCallsBefore, refused);
    EXPECT_GE(refused, kProducers * kItemsBefore - JORN_QUEUE_MAX);
    EXPECT_EQ(load::lastErrno(), 0x3D0002);
    printf("%d of %d refused\n", refused, kProducers * kItems);
    expectAllStored(told);
}

}  // namespace
