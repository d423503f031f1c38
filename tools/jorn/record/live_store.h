// SPDX-License-Identifier: Apache-2.0
// The store, started on one directory, with its clock driven by hand: a pass of the store task runs when the
// queue is full or the input pauses, so no item is ever lost to a full queue.
#ifndef JORN_TOOLS_LIVE_STORE_H
#define JORN_TOOLS_LIVE_STORE_H

#include <stdint.h>

#include "log/directory_look.h"
#include "log/store_directory.h"
#include "record/medium_sync.h"
#include "record/stored_check.h"
#include "registry/log_object.h"

namespace tool {

/// One at a time in a process. Signals that the caller wants blocked must be blocked beforehand: the store
/// task inherits the mask.
class LiveStore {
public:
    struct Settings {
        int slots = 0;
        int files = 0;
        int printLevel = 0;  ///< For the module's messages.
        bool syncs = false;  ///< What is written is synced to the medium.
    };

    /// Creates the object, which changes the directory as any start of the store does. Throws Failure.
    LiveStore(const StoreDirectory &directory, const Settings &settings);
    ~LiveStore();
    LiveStore(const LiveStore &) = delete;
    LiveStore &operator=(const LiveStore &) = delete;

    /// Submits an item, first running a pass if the queue is full. Throws Failure when the item is refused,
    /// or when an earlier item turns out not to be in its file.
    void add(int level, int slot, const char *text);

    /// Returns when every item is in its file, the file is closed and, where wanted, synced to the medium.
    /// Throws Failure when an item is not.
    void drain();

    /// Stores as many items as possible, whatever fails: after a failure of the store only in the current
    /// file, and only if that file is not known to lack an item. Returns how many of the submitted items are
    /// not in the files.
    int64_t salvage();

    /// Items that were submitted, and files that were filled and left.
    int64_t submitted() const { return submitted_; }
    int64_t filesPassed() const { return filesPassed_; }

private:
    void create(const Settings &settings);
    void startChecking(const DirectoryLook &former);
    bool isFirstItemStored(const DirectoryLook &former) const;
    template <typename Step>
    void attempt(Step step);
    void pass();
    void leaveFile(int32_t position);
    bool mayPass() const;
    void fillFile();
    int64_t follow(int32_t formerPosition, int64_t formerCount);
    void syncNewItems();
    void salvagePass();
    void checkIndex() const;
    int32_t currentPosition() const;
    int32_t wantedPosition() const;
    int64_t itemCount(int32_t position) const;

    const StoreDirectory &directory_;
    int32_t handle_ = -1;
    const JORN_OBJ *object_ = nullptr;
    StoredCheck check_;
    const MediumSync medium_;
    int64_t synced_ = 0;      ///< Items confirmed when the current file was last synced.
    bool hasFailed_ = false;  ///< Whether the store, as opposed to its input, has failed.
    int64_t submitted_ = 0;
    int64_t filesPassed_ = 0;
};

}  // namespace tool

#endif
