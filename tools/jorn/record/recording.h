// SPDX-License-Identifier: Apache-2.0
// The items of a recording on their way into the store, which starts when its first item's time is known.
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
        int slot = 0;  ///< Of items that name none.
        /// Times of the input count. The items before the first one that has a time get that time, and so
        /// does the store's own first item.
        bool hasTimes = false;
        /// What times should look like, for the message where there are none; empty where items may do
        /// without.
        std::string timeForm;
    };

    /// Starts the store, unless it has to wait for a time. Throws Failure.
    Recording(const StoreDirectory &directory, const Settings &settings);

    /// Stores an item, or holds it until a time is known. One that names no time has that of the item before
    /// it. Once an item has failed, further ones are only counted: they have been read.
    void take(const InputItem &item, int defaultLevel);

    /// Throws Failure if an item has failed, as LiveStore::add() does, or because a time is missing from too
    /// many items.
    void verify() const;

    /// Gets everything that is not held into the files. Throws Failure.
    void drain();

    /// There are no more items: stores those that are still held. Throws Failure.
    void finish();

    /// After a failure: gets as much into the files as goes in, as LiveStore::salvage(). Returns how many of
    /// the items taken are not in the files.
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
    std::optional<Failure> failure_;  ///< Of an item.
};

}  // namespace tool

#endif
