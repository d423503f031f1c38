// SPDX-License-Identifier: Apache-2.0
// Passes the items of a recording to the store, which starts once the first item's time is known.
#ifndef JORN_TOOLS_RECORDING_H
#define JORN_TOOLS_RECORDING_H

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include "import/input_item.h"
#include "log/store_directory.h"
#include "record/live_store.h"
#include "record/store_clock.h"
#include "system/failure.h"

namespace tool {

class Recording {
public:
    struct Settings {
        LiveStore::Settings store;
        int slot = 0;  ///< For items that name none.
        /// Use the times in the input. Items before the first one that has a time get that time, as does the
        /// store's own first item.
        bool hasTimes = false;
        /// What times should look like, for the message when there are none; empty where items need no time.
        std::string timeForm;
    };

    /// Starts the store, unless it has to wait for a time. Throws Failure.
    Recording(const StoreDirectory &directory, const Settings &settings);

    /// Stores an item, or holds it until a time is known. An item without a time gets that of the item before
    /// it. Once an item has failed, further ones are only counted, as they have been read.
    void take(const InputItem &item, int defaultLevel);

    /// Throws Failure if an item has failed: for a reason of LiveStore::add(), or because too many items lack
    /// a time.
    void verify() const;

    /// Drains the store; held items stay held. Throws Failure.
    void drain();

    /// After the last item: stores those that are still held and drains the store. Throws Failure.
    void finish();

    /// After a failure: stores as much as possible, as LiveStore::salvage() does. Returns how many of the
    /// items taken are not in the files.
    int64_t salvage();

    bool isStarted() const { return store_.has_value(); }

    /// Items that were taken, and files that were filled and left.
    int64_t taken() const { return taken_; }
    int64_t filesPassed() const { return store_ ? store_->filesPassed() : 0; }

private:
    struct Held {
        int level;
        int slot;
        std::string text;
    };

    void store(const InputItem &item, int defaultLevel);
    void hold(const InputItem &item, int defaultLevel);
    void start(std::optional<uint32_t> time);

    const StoreDirectory &directory_;
    const Settings settings_;
    StoreClock clock_;
    std::optional<LiveStore> store_;
    std::vector<Held> held_;
    int64_t taken_ = 0;
    std::optional<Failure> failure_;  ///< Of the first item that failed.
};

}  // namespace tool

#endif
