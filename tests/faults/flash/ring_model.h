// SPDX-License-Identifier: Apache-2.0
// What a directory's files mean, by the format's documentation and not by the module's code: which index
// counts, what start-up tidying makes of the files, which items are in sight, and where the next one goes.
#ifndef JORN_TESTS_FAULTS_FLASH_RING_MODEL_H
#define JORN_TESTS_FAULTS_FLASH_RING_MODEL_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "history.h"
#include "ledger.h"
#include "volume.h"

namespace flash {

/// Items in sight, newest first, and what keeps their bytes alive.
struct View {
    std::vector<std::shared_ptr<const ParsedFile>> files;
    std::vector<const Line *> items;
};

class RingModel {
public:
    RingModel(const Ledger &ledger, int csvNum) : ledger_(&ledger), csvNum_(csvNum) {}

    /// A creation over these files.
    void start(const Directory &files);

    /// An item is stored, and its file closed later.
    void append(const std::string &line, uint32_t time);

    /// The object is cleared.
    void clear();

    /// The files as they are now.
    const Directory &files() const { return files_; }

    /// The items of the ring's range.
    View view() const;
    /// Whether queries refuse to answer although there are items: the newest file holds nothing yet and the
    /// oldest one does, so that their days contradict each other. The next item ends that.
    bool refusesQueries() const;

    /// Of the last start: the index was there and could not be used.
    bool wasIndexLost() const { return wasIndexLost_; }
    /// Of the last start: items that tidying removed from the files.
    const std::map<int, Reason> &removed() const { return removed_; }

private:
    struct Summary {
        size_t count = 0;
        uint32_t timeMin = 0;
        uint32_t timeMax = 0;
    };

    void readIndex();
    void writeIndex();
    void tidy();
    void carryOut(const std::map<int, int> &targets, int newest);
    void remove(const std::string &name, Reason reason);
    void summarise();
    std::shared_ptr<const ParsedFile> parsed(int position) const;
    int next(int position) const { return (position + 1) % csvNum_; }
    /// Positions of the valid range, newest first.
    std::vector<int> range() const;

    const Ledger *ledger_;
    int csvNum_;
    Directory files_;
    int oldest_ = 0;
    int latest_ = 0;
    std::map<int, Summary> summaries_;
    bool wasIndexLost_ = false;
    std::map<int, Reason> removed_;
};

}  // namespace flash

#endif
