// SPDX-License-Identifier: Apache-2.0
#include "doors.hpp"

#include <stdio.h>
#include <jorn.hpp>

#include <atomic>

namespace doors {
namespace {

enum class Severity : uint8_t { Alarm, Fault, Event, Trace };

constexpr int32_t kDoors = 3;
constexpr int32_t kFiles = 10;  // the newest 45,000 to 50,000 items
constexpr int kHot = 90;

jorn::Log doorLog;   // initialised statically: no code runs at start-up
JORN_LOG_PAGE room;  // 5,124 bytes: too much for the stack of a console task
std::atomic<uint32_t> lostItems;

/// A log that is full or failed to open must not stop the device.
void note(bool isSubmitted) {
    if (!isSubmitted) {
        lostItems.fetch_add(1, std::memory_order_relaxed);
    }
}

void show(const jorn::Query &wanted) {
    for (const jorn::Page page : doorLog.pages(wanted, room)) {
        printf("page %d\n", static_cast<int>(page.number()));
        for (const JORN_LOG_DISP &item : page) {
            printf("%s door %s: %s", item.timeStr, item.slotStr, item.logStr);
        }
    }
    printf("%d items\n", static_cast<int>(doorLog.count(wanted).value_or(0)));
}

}  // namespace

bool start(const char *directory) {
    doorLog = jorn::Log::open(directory, kDoors, kFiles);
    return doorLog.isOpen();  // on failure the reason is on the console
}

void moved(Door door, bool isOpen) { note(doorLog.log(Severity::Event, door, isOpen ? "open" : "closed")); }

void motorIsHot(Door door, int celsius) {
    note(doorLog.logf(celsius > kHot ? Severity::Alarm : Severity::Fault, door, "motor at %d C", celsius));
}

void showDoor(Door door) { show(jorn::Query().slot(door)); }

void showFaults(int32_t firstDay, int32_t lastDay) {
    show(jorn::Query().levelsUpTo(Severity::Fault).days(firstDay, lastDay));
}

// Only for an idle log: see jorn::Log::clear().
bool clear() { return doorLog.clear(); }

uint32_t lost() { return lostItems; }

void stop() { doorLog.close(); }

}  // namespace doors
