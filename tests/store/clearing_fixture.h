// SPDX-License-Identifier: Apache-2.0
// Shared by the tests of clearing: what is examined before and afterwards.
#ifndef JORN_TESTS_STORE_CLEARING_FIXTURE_H
#define JORN_TESTS_STORE_CLEARING_FIXTURE_H

#include <cstdint>

#include "store/store_fixture.h"

namespace test {

class ClearingTest : public StoreTest {
protected:
    static constexpr char kClearLine[] = "1700000000,3,0,Log all cleared!\n";

    void expectRange(int32_t handle, int32_t oldest, int32_t latest) {
        EXPECT_EQ(object(handle).csv_oldest, oldest);
        EXPECT_EQ(object(handle).csv_latest, latest);
    }

    /// Sets some count in every record of the object.
    static void fillRecords(int32_t handle) {
        for (int32_t i = 0; i < object(handle).csv_num; ++i) {
            info(handle, i).itemCount = 100;
            info(handle, i).levelStat[3].slotCount[7] = 100;
        }
    }

    static bool areAllRecordsZero(int32_t handle) {
        for (int32_t i = 0; i < object(handle).csv_num; ++i) {
            if (!isAllZero(info(handle, i))) {
                return false;
            }
        }
        return true;
    }
};

}  // namespace test

#endif
