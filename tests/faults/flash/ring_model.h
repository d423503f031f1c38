// SPDX-License-Identifier: Apache-2.0
// One object of the store's model over a directory of the chip: each item is stored and its file closed at
// once, and what tidying removes is reported item by item.
#ifndef JORN_TESTS_FAULTS_FLASH_RING_MODEL_H
#define JORN_TESTS_FAULTS_FLASH_RING_MODEL_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "history.h"
#include "ledger.h"
#include "model/store_model.h"
#include "volume.h"

namespace flash {

/// Visible items, newest first, and what keeps their bytes alive.
struct View {
    std::vector<std::shared_ptr<const ParsedFile>> files;
    std::vector<const Line *> items;
};

class RingModel {
public:
    RingModel(const Ledger &ledger, int csvNum) : ledger_(&ledger), csvNum_(csvNum) {}

    /// A creation over these files.
    void start(const Directory &files);

    /// An item is submitted, stored, and its file closed.
    void append(uint32_t time, int level, const std::string &text);

    /// The object is cleared.
    void clear();

    /// The files as they are now.
    Directory files() const;

    /// The items of the ring's range.
    View view() const;
    /// Whether queries refuse to answer although there are items: the newest file is still empty and the
    /// oldest one is not, so that their days contradict each other. The next item ends that.
    bool refusesQueries() const;

    /// At the last start, whether the index existed but could not be used.
    bool wasIndexLost() const { return wasIndexLost_; }
    /// At the last start, the items that tidying removed from the files.
    const std::map<int, Reason> &removed() const { return removed_; }

private:
    const Ledger *ledger_;
    int csvNum_;
    test::StoreModel store_;
    int32_t handle_ = 0;
    bool wasIndexLost_ = false;
    std::map<int, Reason> removed_;
};

}  // namespace flash

#endif
