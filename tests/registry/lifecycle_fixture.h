// SPDX-License-Identifier: Apache-2.0
// Shared by the tests of creation and destruction: objects in directories below the test's own.
#ifndef JORN_TESTS_REGISTRY_LIFECYCLE_FIXTURE_H
#define JORN_TESTS_REGISTRY_LIFECYCLE_FIXTURE_H

#include <string>

#include "registry/lifecycle.h"
#include "support/module_test.h"

namespace test {

class LifecycleTest : public ModuleTest {
protected:
    /// The first item of an object.
    static constexpr char kInitLine[] = "1700000000,3,0,Log start init!\n";

    /// The index of a ring of one file with one item: whole, so that creation changes nothing in it.
    static constexpr char kWholeIndex[] = "version:1\n0,0\n";

    std::string path(const std::string &name) const { return dir_.path() + "/" + name; }

    int32_t create(const std::string &name, int32_t csvNum = 2, int32_t slotMax = 8) const {
        return JORN_Create(path(name).c_str(), slotMax, csvNum);
    }

    /// An object whose first item is on the medium, with no file open and an empty log.
    int32_t createSettled(const std::string &name, int32_t csvNum = 2) const {
        jorn_SetDebugPrintLevel(0);
        const int32_t handle = create(name, csvNum);
        EXPECT_GT(handle, 0);
        settle();
        jorn_SetDebugPrintLevel(1);
        platform().clearLog();
        return handle;
    }

    /// Puts a ring of one file into a directory below the test's.
    void makeRing(const std::string &name, const std::string &bytes) const {
        dir_.block(name);
        dir_.write(name + "/index.csv", kWholeIndex);
        dir_.write(name + "/0.csv", bytes);
    }
};

}  // namespace test

#endif
