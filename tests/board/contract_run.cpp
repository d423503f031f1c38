// SPDX-License-Identifier: Apache-2.0
// The board's kernel and glue, held to the tables that every platform of the module is held to.
#include <port/contract.h>
#include <stdio.h>
#include <tickLib.h>

#include "kernel.h"
#include "programs.h"

namespace {

/// Whoever plays has the lowest priority: it goes on when every other task waits.
void settle() {}

void makePath(char *path, size_t size, const char *relative, bool isOwn) {
    snprintf(path, size, isOwn ? "/%s" : "/yaffs/%s", relative);
}

}  // namespace

void runContract(const char *) {
    mountBlank();
    boardSetPriority(kLowestPriority);
    for (size_t i = 0; i < contract::kScenarioCount; ++i) {
        const char *const found = contract::play(contract::kScenarios[i], {tickAnnounce, settle, makePath});
        if (found != nullptr) {
            noteFailure(__FILE__, __LINE__, found);
        }
    }
    printf("%u tables\n", static_cast<unsigned>(contract::kScenarioCount));
}
