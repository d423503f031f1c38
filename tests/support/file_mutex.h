// SPDX-License-Identifier: Apache-2.0
// The mutex that guards everything done to a log's files.
#ifndef JORN_TESTS_SUPPORT_FILE_MUTEX_H
#define JORN_TESTS_SUPPORT_FILE_MUTEX_H

#include <semLib.h>

#include <thread>

#include "registry/registry.h"

namespace test {

/// Whether a task that holds nothing could take the file mutex now.
inline bool isMutexFree() {
    bool isFree = false;
    std::thread other([&isFree] {
        isFree = semTake(logSemCsvRW_ID, NO_WAIT) == OK;
        if (isFree) {
            semGive(logSemCsvRW_ID);
        }
    });
    other.join();
    return isFree;
}

}  // namespace test

#endif
