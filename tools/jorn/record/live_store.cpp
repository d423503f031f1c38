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

/// Has the store's own first item written, so that everything from here on is the input's.
void LiveStore::startChecking(const DirectoryLook &former) {
    posixPortSettle();
    for (int passes = 0; waitingItems() > 0 && passes < jorn::kQueueMessages; ++passes) {
        runStoreTask();
    }
    if (waitingItems() > 0) {
        throw Failure(directory_.path() + ": the store task is not running");
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
    // If it is the only item in its file, the file was begun anew, whatever it held before.
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

/// Records a failure: once the store has failed, it must not move on to another file.
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

/// Runs a pass once the waiting items fill the file, so that no pass runs on into the next file without
/// leaveFile().
void LiveStore::fillFile() {
    const int64_t room = jorn::kCsvItemMax - itemCount(currentPosition());
    if (room > 0 && waitingItems() >= room) {
        pass();
    }
}

/// Runs a pass with items waiting. The store silently drops an item when it cannot open a file for it; the
/// summaries reveal that.
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

/// Called before the store moves on to the next file, which it empties: the items there may be dropped only
/// for a full file, never for one that a failing medium has left short. The store has closed the full file.
void LiveStore::leaveFile(int32_t position) {
    if (!check_.verify()) {
        throw writeFailure(directory_, dataFileName(position));
    }
    refuseForeignFilesOfRotation(directory_, wantedPosition());
}

/// Whether items may be written where the store would put them now. An item after a torn line would run
/// together with it.
bool LiveStore::mayPass() const {
    const bool staysInFile = wantedPosition() == currentPosition();
    return !check_.isShort() && (staysInFile || !hasFailed_);
}

/// Records what a pass has stored, all of it in one file: a pass ends when its file is full. Returns the
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

/// Ignores failures: the one that led to salvaging is the one reported.
void LiveStore::salvagePass() {
    try {
        attempt([this] { waitingItems() > 0 ? pass() : drain(); });
    } catch (const Failure &) {
    }
}

int64_t LiveStore::salvage() {
    // Each pass stores the waiting items or drops at least one.
    for (int passes = 0; waitingItems() > 0 && mayPass() && passes < jorn::kQueueMessages; ++passes) {
        salvagePass();
    }
    if (waitingItems() == 0) {
        salvagePass();
    }
    // If items still wait, this checks the file that was filled before them.
    [[maybe_unused]] const bool ignored = check_.verify();
    return submitted_ - check_.confirmed();
}

}  // namespace tool
