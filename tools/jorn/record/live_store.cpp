// SPDX-License-Identifier: Apache-2.0
#include "record/live_store.h"

#include <posixPort.h>
#include <sysLib.h>
#include <tickLib.h>

#include "csvfile/file_summary.h"
#include "log/ring_look.h"
#include "platform.h"
#include "record/own_files.h"
#include "registry/registry.h"
#include "system/failure.h"

namespace tool {
namespace {

int waitingItems() { return msgQNumMsgs(logMsgCsvStore_ID); }

/// Exactly one pass of the store task.
void runStoreTask() {
    for (int tick = 0; tick < jorn::kStoreTicks; ++tick) {
        tickAnnounce();
    }
    posixPortSettle();
}

}  // namespace

LiveStore::LiveStore(const StoreDirectory &directory, const Settings &settings)
    : directory_(directory), check_(directory), medium_(directory, settings.syncs) {
    const DirectoryLook former = lookAtAll(directory_);
    create(settings);
    try {
        startChecking(former);
    } catch (...) {
        JORN_Destroy(handle_);
        throw;
    }
}

LiveStore::~LiveStore() { JORN_Destroy(handle_); }

void LiveStore::create(const Settings &settings) {
    sysClkDisable();
    jorn_SetDebugPrintLevel(settings.printLevel);
    handle_ = JORN_Create(directory_.shortName().c_str(), settings.slots, settings.files);
    if (handle_ < 0) {
        throw Failure(directory_.path() + ": the store cannot be started");
    }
    object_ = FindObj(handle_);
}

/// Lets the store's own first item be written, so that everything from here on is the input's.
void LiveStore::startChecking(const DirectoryLook &former) {
    posixPortSettle();
    for (int passes = 0; waitingItems() > 0 && passes < jorn::kQueueMessages; ++passes) {
        runStoreTask();
    }
    if (waitingItems() > 0) {
        throw Failure(directory_.path() + ": the store task does not run");
    }
    runStoreTask();
    if (!isFirstItemStored(former)) {
        throw writeFailure(directory_, dataFileName(wantedPosition()));
    }
    checkIndex();
    const int32_t position = currentPosition();
    medium_.syncStart(position);
    check_.begin(position, lookAtEntry(directory_, dataFileName(position)).mark.size);
}

bool LiveStore::isFirstItemStored(const DirectoryLook &former) const {
    const int32_t position = currentPosition();
    const Entry &before = former.files[static_cast<size_t>(position)].itself;
    if (lookAtEntry(directory_, dataFileName(position)) == before) {
        return false;
    }
    // As the only item of its file it began that afresh, whatever was there.
    StoredCheck check(directory_);
    check.begin(position, itemCount(position) > 1 ? before.mark.size : 0);
    check.expect(1);
    return itemCount(position) > 0 && check.verify();
}

int32_t LiveStore::currentPosition() const { return jorn::ringOf(*object_).position(object_->csv_latest); }

/// The position that the store's next item goes to.
int32_t LiveStore::wantedPosition() const {
    const int32_t position = currentPosition();
    return itemCount(position) < jorn::kCsvItemMax ? position : jorn::ringOf(*object_).successor(position);
}

int64_t LiveStore::itemCount(int32_t position) const { return object_->csv_info[position].itemCount; }

/// Takes note of a failure: after one of the store, nothing may take it to another file.
template <typename Step>
void LiveStore::attempt(Step step) {
    try {
        step();
    } catch (const Failure &) {
        hasFailed_ = true;
        throw;
    }
}

void LiveStore::add(int level, int slot, const char *text) {
    ++submitted_;
    attempt([&] {
        fillFile();
        if (waitingItems() >= jorn::kQueueMessages) {
            pass();
        }
        if (JORN_AddOneLog(handle_, level, slot, text) != 0) {
            throw Failure(directory_.path() + ": the store refused an item");
        }
    });
}

/// A pass when the items that wait fill the file, so that none ever goes on into the next one without a look
/// at that.
void LiveStore::fillFile() {
    const int64_t room = jorn::kCsvItemMax - itemCount(currentPosition());
    if (room > 0 && waitingItems() >= room) {
        pass();
    }
}

/// A pass with items waiting. The store gives up an item when it cannot open a file for it, and tells
/// nobody; the summaries tell.
void LiveStore::pass() {
    const int waiting = waitingItems();
    const int32_t position = currentPosition();
    const int64_t count = itemCount(position);
    if (!mayPass()) {
        throw writeFailure(directory_, dataFileName(position));
    }
    if (wantedPosition() != position) {
        leaveFile(position);
    }
    runStoreTask();
    const int64_t stored = follow(position, count);
    if (stored == 0 || stored != waiting - waitingItems()) {
        throw writeFailure(directory_, dataFileName(wantedPosition()));
    }
}

/// Before the store goes on into the next file, which empties it: the items in there are given up for a full
/// file only, never for one that a failing medium has left short. The store has closed the full one.
void LiveStore::leaveFile(int32_t position) {
    if (!check_.verify()) {
        throw writeFailure(directory_, dataFileName(position));
    }
    refuseForeignFilesOfRotation(directory_, wantedPosition());
}

/// Whether items may go where the store would write them now. What follows a torn line would be glued to it.
bool LiveStore::mayPass() const {
    const bool staysInFile = wantedPosition() == currentPosition();
    return !check_.isShort() && (staysInFile || !hasFailed_);
}

/// Takes note of what a pass has stored, which is all for one file: passes end with the file. Returns the
/// number of items.
int64_t LiveStore::follow(int32_t formerPosition, int64_t formerCount) {
    const int32_t position = currentPosition();
    if (position == formerPosition) {
        const int64_t stored = itemCount(position) - formerCount;
        check_.expect(stored);
        return stored;
    }
    ++filesPassed_;
    const int64_t stored = itemCount(position);
    check_.begin(position, 0);
    check_.expect(stored);
    checkIndex();
    medium_.syncRotation(formerPosition);
    return stored;
}

void LiveStore::drain() {
    attempt([this] {
        while (waitingItems() > 0) {
            pass();
        }
        runStoreTask();
        if (!check_.verify()) {
            throw writeFailure(directory_, dataFileName(currentPosition()));
        }
        syncNewItems();
    });
}

void LiveStore::syncNewItems() {
    if (check_.confirmed() > synced_) {
        medium_.syncItems(currentPosition());
        synced_ = check_.confirmed();
    }
}

void LiveStore::checkIndex() const {
    const auto index = readIndex(directory_);
    if (!index || !(*index == IndexPositions{object_->csv_oldest, object_->csv_latest})) {
        throw writeFailure(directory_, kIndexName);
    }
}

/// Failures count nothing here: the one that led to salvaging has been reported.
void LiveStore::salvagePass() {
    try {
        attempt([this] { waitingItems() > 0 ? pass() : drain(); });
    } catch (const Failure &) {
    }
}

int64_t LiveStore::salvage() {
    // Each pass stores what waits or gives up one item at least.
    for (int passes = 0; waitingItems() > 0 && mayPass() && passes < jorn::kQueueMessages; ++passes) {
        salvagePass();
    }
    if (waitingItems() == 0) {
        salvagePass();
    }
    // Where items still wait, of the file that was filled before them.
    [[maybe_unused]] const bool ignored = check_.verify();
    return submitted_ - check_.confirmed();
}

}  // namespace tool
