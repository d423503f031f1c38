// SPDX-License-Identifier: Apache-2.0
// Somebody else deletes the mutex, the queue or the store task while the store is at work, before every call
// that names it. Nothing crashes or hangs, and a new store works.
#include <msgQLib.h>
#include <semLib.h>
#include <taskLib.h>

#include <algorithm>

#include "faults/rehearsal.h"
#include "registry/registry.h"

namespace faults {
namespace {

/// Records deletions that are not the module's.
void countBack(const std::string &kind, STATUS status) {
    if (status == OK) {
        test::platform().giveBack(kind);
    }
}

void deleteMutex() { countBack("mutex", semDelete(logSemCsvRW_ID)); }
void deleteQueue() { countBack("queue", msgQDelete(logMsgCsvStore_ID)); }
void deleteTask() { countBack("task", taskDelete(logTask_ID)); }

struct Deletion {
    std::string name;
    std::vector<std::string> calls;  ///< Those that use the stale id.
    void (*act)();
};

std::ostream &operator<<(std::ostream &out, const Deletion &deletion) { return out << deletion.name; }

class StaleIdTest : public test::ModuleTest, public ::testing::WithParamInterface<Deletion> {
protected:
    /// Runs the script with the deletion before call `number` of those that name the id; false when there are
    /// fewer.
    static bool runWithDeletion(const Workload &script, const std::string &call, int number) {
        const test::TempDir root;
        test::platform().reset();
        RealStore store(root.path());
        Handles handles;
        script.prepare(store, handles);
        int seen = 0;
        test::platform().onCall(call, [&](const std::string &) {
            if (++seen == number) {
                GetParam().act();
            }
        });
        script.run(store, handles);
        test::platform().reset();
        destroyAll(store, handles);
        expectNewStore(&store, &handles);
        test::expectNothingHeld();
        return seen >= number;
    }

    static void expectNewStore(RealStore *store, Handles *handles) {
        handles->a = store->create("a", kRingA);
        passes(*store, 2);
        addItems(*store, handles->a, "anew", 3);
        passes(*store, 2);
        store->page(handles->a, 1, 3);
        EXPECT_EQ(store->lastPage(), (std::vector<std::string>{"anew2", "anew1", "anew0"}));
        destroyAll(*store, *handles);
    }
};

struct DeletionName {
    template <class Info>
    std::string operator()(const Info &info) const {
        return info.param.name;
    }
};

TEST_P(StaleIdTest, EveryCall_IdDeletedBefore_NothingHangsAndANewStoreWorks) {
    int deletions = 0;
    for (const Workload &script : workloads()) {
        for (const std::string &call : GetParam().calls) {
            int number = 1;
            do {
                SCOPED_TRACE(script.name + ", before " + call + " number " + std::to_string(number));
                ASSERT_FALSE(HasFailure());
            } while (runWithDeletion(script, call, number++));
            deletions += number - 2;
        }
    }
    EXPECT_GT(deletions, 0);
    RecordProperty("deletions", deletions);
}

INSTANTIATE_TEST_SUITE_P(
    Ids, StaleIdTest,
    ::testing::Values(Deletion{"Mutex", {"semTake", "semGive", "semDelete"}, deleteMutex},
                      Deletion{"Queue", {"msgQSend", "msgQNumMsgs", "msgQDelete"}, deleteQueue},
                      Deletion{"Task", {"taskDelete"}, deleteTask}),
    DeletionName());

}  // namespace
}  // namespace faults
