// SPDX-License-Identifier: Apache-2.0
// Sees that what the store says it has written is in the file. The store ignores the results of its
// writes, so a full disk shows in the file alone.
#ifndef JORN_TOOLS_STORED_CHECK_H
#define JORN_TOOLS_STORED_CHECK_H

#include <stdint.h>
#include <sys/types.h>

#include <string>

#include "log/store_directory.h"
#include "system/failure.h"

namespace tool {

/// Follows the file that is being written. Every item is one line that ends with a line feed, so the
/// items that arrived are the line feeds behind the part that was there before.
class StoredCheck {
public:
    explicit StoredCheck(const StoreDirectory &directory) : directory_(directory) {}

    /// Goes on with another file, of which all up to `offset` was there before.
    void begin(int position, off_t offset);

    /// Takes note of items that the store has written to the file.
    void expect(int64_t items) { expected_ += items; }

    /// Compares with the file, which the store has closed; tells whether every item is there. Those that
    /// are there are confirmed.
    [[nodiscard]] bool verify();

    /// A verification has found that an item is not in the file. It stays so until the next begin().
    bool isShort() const { return isShort_; }

    /// Items that were found in the files since the beginning.
    int64_t confirmed() const { return confirmed_; }

private:
    int64_t countNewItems();

    const StoreDirectory &directory_;
    int position_ = 0;
    off_t offset_ = 0;
    int64_t expected_ = 0;
    bool isShort_ = false;
    int64_t confirmed_ = 0;
};

/// The failure of a file of the store that does not take what is written to it, with the reason where one
/// can be found: the store itself does not keep it.
Failure writeFailure(const StoreDirectory &directory, const std::string &fileName);

}  // namespace tool

#endif
