// SPDX-License-Identifier: Apache-2.0
// What the tests of the store share: two objects at rest, items of known bytes, and the store task's own
// calls of one pass.
#ifndef JORN_TESTS_STORE_STORE_FIXTURE_H
#define JORN_TESTS_STORE_STORE_FIXTURE_H

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "registry/registry.h"
#include "support/file_mutex.h"
#include "support/module_test.h"

namespace test {

/// Names the rows of a table of test parameters by their `name`.
struct RowName {
    template <class Info>
    std::string operator()(const Info &info) const {
        return info.param.name;
    }
};

/// The calls of a pass, put together from its parts.
using Calls = std::vector<std::string>;

inline Calls operator+(Calls first, const Calls &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// What a rewrite of a two-digit index does when index.csv is there and index.bak is not.
inline Calls indexRewrite() {
    return {"fopen index.csv r",
            "fclose",
            "fopen index.bak r",
            "yaffs_rename index.csv index.bak",
            "fopen index.csv w",
            "fwrite 14x1",
            "fclose",
            "rm index.bak"};
}

/// A hook that acts at its first call only, so that its own calls do not start it again.
inline probe::Probe::Hook once(std::function<void()> action) {
    // Shared, because the probe calls copies of a hook.
    const auto isDone = std::make_shared<bool>(false);
    return [action = std::move(action), isDone](const std::string &) {
        if (!*isDone) {
            *isDone = true;
            action();
        }
    };
}

inline bool isAllZero(const JORN_CSV_INFO &info) {
    const JORN_CSV_INFO zero = {};
    return memcmp(&info, &zero, sizeof zero) == 0;
}

class StoreTest : public ModuleTest {
protected:
    /// The first line of every new object's first file.
    static constexpr char kInitLine[] = "1700000000,3,0,Log start init!\n";

    /// The line of an item given to add().
    static constexpr char kItemLine[] = "1700000000,1,5,door open\n";

    /// An object on the second directory, at rest.
    int32_t createSecondAtRest(int32_t csvNum) {
        jorn_SetDebugPrintLevel(0);
        const int32_t handle = JORN_Create(secondDir_.name(), 8, csvNum);
        EXPECT_GT(handle, 0);
        settle();
        jorn_SetDebugPrintLevel(1);
        platform().clearLog();
        return handle;
    }

    static JORN_OBJ &object(int32_t handle) {
        JORN_OBJ *const found = FindObj(handle);
        EXPECT_NE(found, nullptr);
        return *found;
    }

    static JORN_CSV_INFO &info(int32_t handle, int32_t position) { return object(handle).csv_info[position]; }

    static void setRange(int32_t handle, int32_t oldest, int32_t latest) {
        object(handle).csv_oldest = oldest;
        object(handle).csv_latest = latest;
    }

    /// Submits the item of kItemLine.
    static void add(int32_t handle) { EXPECT_EQ(JORN_AddOneLog(handle, 1, 5, "door open"), 0); }

    /// Stores that item and leaves its file open.
    static void storeOne(int32_t handle) {
        add(handle);
        pass();
    }

    /// Queues a message as a submission builds it: handle, comma, rest, NUL.
    static void sendRest(int32_t handle, const std::string &rest) {
        sendRaw(std::to_string(handle) + "," + rest + '\0');
    }

    /// What the store task calls in one pass.
    static Calls callsOfPass() {
        platform().clearLog();
        pass();
        return platform().calls();
    }

    /// What one pass does to files.
    static Calls fileCallsOfPass() {
        platform().clearLog();
        pass();
        return platform().calls({"fopen", "fclose", "fwrite", "rm", "yaffs_rename"});
    }

    TempDir secondDir_;
};

}  // namespace test

#endif
