// SPDX-License-Identifier: Apache-2.0
// Records two items through the header for C++ and finds them again: doors DIR.
#include <string.h>
#include <time.h>
#include <jorn.hpp>

namespace {

enum class Door { kBack = 5 };

// The store writes by its own clock, so this queries until the items are there, for half a minute at most.
bool waitForItems(const jorn::Log &log, const jorn::Query &wanted, int32_t number) {
    const struct timespec pause = {0, 10 * 1000 * 1000};
    for (int turns = 0; turns < 3000; ++turns) {
        if (log.count(wanted) == number) {
            return true;
        }
        nanosleep(&pause, nullptr);
    }
    return false;
}

}  // namespace

int main(int argc, char **argv) {
    const jorn::Log log = jorn::Log::open(argc == 2 ? argv[1] : "", 8, 2);
    const jorn::Query back = jorn::Query().level(1).slot(Door::kBack);
    JORN_LOG_PAGE room;
    if (!log.log(1, Door::kBack, "door open") || !log.logf(1, Door::kBack, "door %s", "shut")) {
        return 1;
    }
    if (!waitForItems(log, back, 2) || log.page(back, 1, room) != 1) {
        return 2;
    }
    return strcmp(room.disp[0].logStr, "door shut\n") == 0 && strcmp(room.disp[1].logStr, "door open\n") == 0
               ? 0
               : 3;
}
