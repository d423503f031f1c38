// SPDX-License-Identifier: Apache-2.0
// Every module call is stopped before each of its platform calls in turn, while another task makes every call
// that it may make at that moment. The stopped task is held in a hook of the probe, and the port's settling
// returns when the other one has finished or waits: no order is left to chance. For each pair the test checks
// who must wait, the results, and that every item is stored once, in the order required.
//
// Left out: clearing an object while its own batch or query is under way in another task. Clearing changes
// positions and summaries without the mutex on purpose (docs/architecture.md).
#include <algorithm>
#include <atomic>
#include <memory>
#include <ostream>
#include <vector>

#include "load/port_tasks.h"
#include "registry/registry.h"
#include "support/module_test.h"

namespace {

using load::TaskCall;
using ::testing::ElementsAreArray;

constexpr char kInit[] = "Log start init!";
constexpr char kCleared[] = "Log all cleared!";

/// Gives the store task the ticks of one pass, without waiting for it.
void announcePass() {
    for (int i = 0; i < JORN_STORE_TICKS; ++i) {
        tickAnnounce();
    }
}

void passOnce() {
    posixPortSettle();
    announcePass();
    posixPortSettle();
}

/// Three objects at rest, made afresh for each pair: `a`, which the stopped call works on, `b` and `doomed`,
/// which others use and destroy; and a directory for one more.
struct World {
    test::TempDir aDir, bDir, doomedDir, newDir;
    int32_t b = 0;
    int32_t doomed = 0;
    int32_t a = 0;
    /// Texts that each of them must show in the end, oldest first.
    std::vector<std::string> aTexts = {kInit};
    std::vector<std::string> bTexts = {kInit};

    World() {
        b = JORN_Create(bDir.name(), 8, 2);
        doomed = JORN_Create(doomedDir.name(), 8, 2);
        a = JORN_Create(aDir.name(), 8, 3);
        rest();
    }
    World(const World &) = delete;
    World &operator=(const World &) = delete;
    ~World() {
        test::platform().reset();
        while (jorn_obj_ptr != nullptr) {
            JORN_Destroy(jorn_obj_ptr->handle_id);
        }
    }

    /// Until everything is written and nothing is open.
    static void rest() {
        while (msgQNumMsgs(logMsgCsvStore_ID) > 0) {
            passOnce();
        }
        passOnce();
    }
};

std::vector<std::string> textsOf(int32_t handle) {
    JORN_LOG_PAGE page;
    if (JORN_GetRequireLog(handle, test::everything(), &page) != 1) {
        return {};
    }
    std::vector<std::string> texts = test::texts(page);
    std::reverse(texts.begin(), texts.end());
    return texts;
}

/// A module call that is stopped. `run` makes it in the test's own task, or lets the store task make it.
struct Stopped {
    const char *name;
    std::function<void(World &)> prepare;
    std::function<int32_t(World &)> run;
    std::function<bool(const World &, int32_t)> isRight;
    bool isLifecycle = false;  ///< Creation or destruction: two of these never run at once.
    bool isStoreTask = false;  ///< Made by the store task, which cannot be given another pass.
    bool isIdleClose = false;  ///< A pass that only closes the open file, without the mutex.
    bool clearsA = false;      ///< Nobody may read `a` meanwhile.
    bool usesB = false;        ///< Nobody may clear `b` meanwhile, and its lines may not be written yet.
    /// Items of `a` that the stopped call adds, after those that were submitted while it was stopped.
    std::vector<std::string> adds = {};
};

std::ostream &operator<<(std::ostream &out, const Stopped &stopped) { return out << stopped.name; }

void noPreparation(World &world) { static_cast<void>(world); }

bool isZero(const World &world, int32_t result) {
    static_cast<void>(world);
    return result == 0;
}

bool isOne(const World &world, int32_t result) {
    static_cast<void>(world);
    return result == 1;
}

int32_t passAsCall(World &world) {
    static_cast<void>(world);
    passOnce();
    return 0;
}

void submit(World &world, int32_t handle, const std::string &text) {
    EXPECT_EQ(JORN_AddOneLog(handle, 1, 0, text.c_str()), 0);
    (handle == world.a ? world.aTexts : world.bTexts).push_back(text);
}

int32_t firstPage(int32_t handle) {
    JORN_LOG_PAGE page;
    const int32_t number = JORN_GetRequireLog(handle, test::everything(), &page);
    EXPECT_EQ(number, 1);
    return page.itemsNum;
}

/// The ring of `a` is about to move on: its file counts as full.
void fillFile(World &world) {
    FindObj(world.a)->csv_info[0].itemCount = JORN_CSV_ITEM_MAX;
    submit(world, world.a, "rotates");
    submit(world, world.a, "follows");
}

void leaveUntidyFiles(World &world) {
    for (const char *const name : {"1.csv", "4.csv", "7.csv"}) {
        world.newDir.write(name, test::line(1700000000, 1, 0, name));
    }
    world.newDir.write("index.csv", "version:1\n4,7\n");
}

class StoppedCalls {
public:
    StoppedCalls() {
        addUse();
        addLifecycle();
        addStoreTask();
    }
    const std::vector<Stopped> &get() const { return calls_; }

private:
    Stopped &add(const char *name, std::function<void(World &)> prepare, std::function<int32_t(World &)> run,
                 std::function<bool(const World &, int32_t)> isRight = isZero) {
        calls_.push_back({name, std::move(prepare), std::move(run), std::move(isRight)});
        return calls_.back();
    }

    void addUse() {
        add("Submission", noPreparation, [](World &world) {
            return JORN_AddOneLog(world.a, 1, 0, "stopped");
        }).adds = {"stopped"};
        add(
            "Count", noPreparation,
            [](World &world) { return JORN_CountRequireTotalNum(world.a, test::everything()); }, isOne);
        add(
            "Retrieval", noPreparation, [](World &world) { return firstPage(world.a); }, isOne);
        Stopped &clearing = add("Clearing", noPreparation, [](World &world) {
            world.aTexts.erase(world.aTexts.begin());  // queries no longer see what was there before
            return JORN_ClearAllLog(world.a, 1);
        });
        clearing.clearsA = true;
        clearing.adds = {kCleared};
    }

    void addLifecycle() {
        const auto createNew = [](World &world) { return JORN_Create(world.newDir.name(), 8, 2); };
        const auto isNewest = [](const World &world, int32_t handle) { return handle == world.a + 1; };
        const auto destroyDoomed = [](World &world) { return JORN_Destroy(world.doomed); };
        const auto leaveFileOpen = [](World &world) {
            EXPECT_EQ(JORN_AddOneLog(world.doomed, 1, 0, "last"), 0);
            passOnce();
        };
        add("Creation", noPreparation, createNew, isNewest).isLifecycle = true;
        add("CreationOverUntidyFiles", leaveUntidyFiles, createNew, isNewest).isLifecycle = true;
        add("Destruction", noPreparation, destroyDoomed).isLifecycle = true;
        const auto isLastLineKept = [](const World &world, int32_t result) {
            return result == 0 && world.doomedDir.read("0.csv").find(",1,0,last\n") != std::string::npos;
        };
        add("DestructionOfTheObjectBeingWritten", leaveFileOpen, destroyDoomed, isLastLineKept).isLifecycle =
            true;
    }

    void addStoreTask() {
        const auto forOne = [](World &world) {
            submit(world, world.a, "one");
            submit(world, world.a, "two");
        };
        const auto forTwo = [](World &world) {
            submit(world, world.a, "one");
            submit(world, world.b, "two");
        };
        const auto writeFirst = [](World &world) {
            submit(world, world.a, "written");
            passOnce();
        };
        add("Batch", forOne, passAsCall).isStoreTask = true;
        add("BatchThatRotates", fillFile, passAsCall).isStoreTask = true;
        Stopped &both = add("BatchForTwoObjects", forTwo, passAsCall);
        both.isStoreTask = true;
        both.usesB = true;
        Stopped &idle = add("IdlePass", writeFirst, passAsCall);
        idle.isStoreTask = true;
        idle.isIdleClose = true;
    }

    std::vector<Stopped> calls_;
};

/// The name of a platform call; its other details may differ from run to run.
std::string word(const std::string &call) { return call.substr(0, call.find(' ')); }

/// Where a call is stopped.
struct Stop {
    size_t index;      ///< Number of the platform call, from 0.
    std::string call;  ///< The platform call that comes next.
    bool holdsMutex;
    bool hasTakenMutex;  ///< It has taken the mutex, and may have released it.
};

/// A call of another task.
struct Other {
    const char *name;
    bool needsMutex;
    bool waitsForIdleClose;
    std::function<bool(const Stopped &)> isAllowed;
    std::function<int32_t(World &)> run;
    std::function<int32_t(const World &, const Stopped &, const Stop &)> expected;
    std::function<void(World &)> leaves = noPreparation;  ///< What it changes in the end.
    bool disturbs = false;                                ///< Changes what others see.
    bool isRepeatable = true;                             ///< May be made by two tasks at once.
    bool isBatch = false;                                 ///< Lets the store task work.
};

std::vector<Other> otherCalls() {
    const auto always = [](const Stopped &) { return true; };
    const auto zero = [](const World &, const Stopped &, const Stop &) { return 0; };
    const auto one = [](const World &, const Stopped &, const Stop &) { return 1; };
    // An item becomes visible once its file is closed: by the idle pass, or by a batch that goes on to
    // another object.
    const auto itemsOfA = [](const World &, const Stopped &stopped, const Stop &stop) {
        const bool isClosed =
            stopped.isIdleClose ? word(stop.call) == "taskDelay" : stopped.usesB && stop.hasTakenMutex;
        return isClosed ? 2 : 1;
    };
    const auto noLifecycle = [](const Stopped &stopped) { return !stopped.isLifecycle; };
    std::vector<Other> calls;
    calls.push_back({"submission to the same object", false, false, always,
                     [](World &world) { return JORN_AddOneLog(world.a, 1, 0, "other"); }, zero,
                     [](World &world) { world.aTexts.emplace_back("other"); }});
    calls.push_back({"submission to another object", false, false, always,
                     [](World &world) { return JORN_AddOneLog(world.b, 1, 0, "other"); }, zero,
                     [](World &world) { world.bTexts.emplace_back("other"); }});
    calls.push_back({"time queries", false, false, always,
                     [](World &world) {
                         uint32_t time = 0;
                         return JORN_GetMaxCsvTime(&time) + JORN_GetFinalCsvTime(world.a, &time);
                     },
                     zero});
    calls.push_back({"count of another object", true, false, always,
                     [](World &world) { return JORN_CountRequireTotalNum(world.b, test::everything()); },
                     one});
    calls.push_back({"retrieval from the same object", true, false,
                     [](const Stopped &stopped) { return !stopped.clearsA; },
                     [](World &world) { return firstPage(world.a); }, itemsOfA});
    calls.push_back({"clearing of another object", true, false,
                     [](const Stopped &stopped) { return !stopped.usesB; },
                     [](World &world) { return JORN_ClearAllLog(world.b, 1); }, zero,
                     [](World &world) { world.bTexts = {kCleared}; }});
    calls.back().disturbs = true;
    calls.push_back({"creation of another object", true, false, noLifecycle,
                     [](World &world) { return JORN_Create(world.newDir.name(), 8, 2); },
                     [](const World &world, const Stopped &, const Stop &) { return world.a + 1; }});
    calls.back().disturbs = true;
    calls.push_back({"destruction of another object", true, true, noLifecycle,
                     [](World &world) { return JORN_Destroy(world.doomed); }, zero});
    calls.back().isRepeatable = false;
    calls.push_back({"a batch for another object", true, false,
                     [](const Stopped &stopped) { return !stopped.isStoreTask; },
                     [](World &world) {
                         EXPECT_EQ(JORN_AddOneLog(world.b, 1, 0, "batch"), 0);
                         announcePass();
                         posixPortSettle();
                         return 0;
                     },
                     zero, [](World &world) { world.bTexts.emplace_back("batch"); }});
    calls.back().disturbs = true;
    calls.back().isBatch = true;
    return calls;
}

bool mustWait(const Other &other, const Stopped &stopped, const Stop &stop) {
    return (other.needsMutex && stop.holdsMutex) ||
           (other.waitsForIdleClose && stopped.isIdleClose && stop.call == "fclose");
}

/// Whether a platform call touches what the mutex guards.
bool touchesFiles(const std::string &call) {
    const std::vector<std::string> names = {"fopen",  "fgets", "fwrite",      "fscanf",
                                            "fclose", "rm",    "yaffs_rename"};
    return std::find(names.begin(), names.end(), word(call)) != names.end();
}

/// Runs the stopped call once and returns its stops.
std::vector<Stop> stopsOf(const Stopped &stopped) {
    World world;
    stopped.prepare(world);
    test::platform().clearLog();
    stopped.run(world);
    std::vector<Stop> stops;
    int taken = 0;
    int given = 0;
    for (const std::string &call : test::platform().calls()) {
        stops.push_back({stops.size(), call, taken > given, taken > 0});
        taken += word(call) == "semTake" ? 1 : 0;
        given += word(call) == "semGive" ? 1 : 0;
    }
    return stops;
}

/// The stops that are tried: for a run of similar calls, such as the survey's 90 look-ups, the first and the
/// last.
std::vector<Stop> chosenStopsOf(const Stopped &stopped) {
    const std::vector<Stop> all = stopsOf(stopped);
    std::vector<Stop> chosen;
    for (size_t i = 0; i < all.size(); ++i) {
        const bool isInsideARun = i > 0 && i + 1 < all.size() && word(all[i - 1].call) == word(all[i].call) &&
                                  word(all[i + 1].call) == word(all[i].call);
        if (!isInsideARun) {
            chosen.push_back(all[i]);
        }
    }
    return chosen;
}

class InterleavingTest : public test::ModuleTest, public ::testing::WithParamInterface<Stopped> {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        jorn_SetDebugPrintLevel(0);
    }

    /// Runs the stopped call; before the platform call of `stop`, all others are made, each in a task of its
    /// own, and get as far as they can.
    static void meet(const Stop &stop, const std::vector<Other> &others) {
        const Stopped &stopped = GetParam();
        World world;
        stopped.prepare(world);
        const auto calls = std::make_shared<std::list<TaskCall>>();
        for (const Other &other : others) {
            calls->emplace_back(other.name, [&world, &other] { return other.run(world); });
        }
        bool wasStopped = false;
        stopBefore(stop.index, [&](const std::string &call) {
            wasStopped = true;
            EXPECT_EQ(word(call), word(stop.call));
            for (TaskCall &other : *calls) {
                other.spawn();
                posixPortSettle();
            }
            checkWaiting(stop, others, *calls);
        });
        const int32_t result = stopped.run(world);
        load::finish(*calls);
        EXPECT_TRUE(wasStopped);
        EXPECT_TRUE(stopped.isRight(world, result)) << result;
        checkOutcome(&world, stop, others, *calls);
    }

private:
    /// Runs `action` in the task that makes the platform call number `index` from now on.
    static void stopBefore(size_t index, const std::function<void(const std::string &)> &action) {
        auto next = std::make_shared<std::atomic<size_t>>(0);
        test::platform().onCall("", [next, index, action](const std::string &call) {
            if (next->fetch_add(1) == index) {
                action(call);
            }
        });
    }

    static void checkWaiting(const Stop &stop, const std::vector<Other> &others,
                             const std::list<TaskCall> &calls) {
        auto call = calls.begin();
        for (const Other &other : others) {
            // The task that gives the store task its ticks does not wait itself: the queue shows whether the
            // store task does.
            const bool isWaiting = other.isBatch ? msgQNumMsgs(logMsgCsvStore_ID) > 0 : !call->isDone();
            EXPECT_EQ(isWaiting, mustWait(other, GetParam(), stop)) << other.name;
            ++call;
        }
    }

    static void checkOutcome(World *world, const Stop &stop, const std::vector<Other> &others,
                             const std::list<TaskCall> &calls) {
        auto call = calls.begin();
        for (const Other &other : others) {
            EXPECT_EQ(call->result(), other.expected(*world, GetParam(), stop)) << other.name;
            other.leaves(*world);
            ++call;
        }
        const std::vector<std::string> &added = GetParam().adds;
        world->aTexts.insert(world->aTexts.end(), added.begin(), added.end());
        World::rest();
        EXPECT_THAT(textsOf(world->a), ElementsAreArray(world->aTexts));
        EXPECT_THAT(textsOf(world->b), ElementsAreArray(world->bTexts));
    }
};

TEST_P(InterleavingTest, AnyAllowedCall_AtEachStop_WaitsOnlyAsItMustAndLosesNothing) {
    const std::vector<Stop> stops = chosenStopsOf(GetParam());
    const std::vector<Other> others = otherCalls();
    ASSERT_GE(stops.size(), 2U);
    int pairs = 0;
    for (const Stop &stop : stops) {
        for (const Other &other : others) {
            if (other.isAllowed(GetParam())) {
                SCOPED_TRACE("before call " + std::to_string(stop.index) + ", " + stop.call + ": " +
                             other.name);
                meet(stop, {other});
                ++pairs;
            }
        }
        ASSERT_FALSE(HasFailure());
    }
    printf("%zu stops, %d pairs\n", stops.size(), pairs);
}

// Many calls are made at once at each stop; the waiting ones continue one by one.
TEST_P(InterleavingTest, ManyCalls_AtEachStop_AllEndWithTheirResults) {
    std::vector<Other> crowd;
    for (const Other &other : otherCalls()) {
        if (!other.disturbs && other.isAllowed(GetParam())) {
            crowd.insert(crowd.end(), other.isRepeatable ? 2 : 1, other);
        }
    }
    for (const Stop &stop : chosenStopsOf(GetParam())) {
        SCOPED_TRACE("before call " + std::to_string(stop.index) + ", " + stop.call);
        meet(stop, crowd);
        ASSERT_FALSE(HasFailure());
    }
}

// The basis of every forced wait above: whatever uses a file does so with the mutex held. Only a pass without
// messages closes without it.
TEST_P(InterleavingTest, EveryFileCall_IsMadeWithTheMutexHeld) {
    for (const Stop &stop : stopsOf(GetParam())) {
        const bool isIdleClose = GetParam().isIdleClose && stop.call == "fclose";
        EXPECT_TRUE(stop.holdsMutex || isIdleClose || !touchesFiles(stop.call)) << stop.call;
    }
}

INSTANTIATE_TEST_SUITE_P(Calls, InterleavingTest, ::testing::ValuesIn(StoppedCalls().get()),
                         [](const auto &call) { return std::string(call.param.name); });

}  // namespace
