// SPDX-License-Identifier: Apache-2.0
// Checks that what the store claims to have written is in the file. The store ignores the results of its
// writes, so a full disk shows only in the file.
#ifndef JORN_TOOLS_STORED_CHECK_H
#define JORN_TOOLS_STORED_CHECK_H

#include <stdint.h>
#include <sys/types.h>

#include <string>

#include "log/store_directory.h"
#include "system/failure.h"

namespace tool {

/// Follows the file that is being written. Every item is one line that ends with a line feed, so the
/// items that arrived are the line feeds after the part that was there before.
class StoredCheck {
public:
    explicit StoredCheck(const StoreDirectory &directory) : directory_(directory) {}

    /// Switches to another file, whose first `offset` bytes were there before.
    void begin(int position, off_t offset);

    /// Adds to the number of items that the store claims to have written to the file.
    void expect(int64_t items) { expected_ += items; }

    /// Compares with the file, which the store has closed. Returns whether every item is there; those that
    /// are count as confirmed.
    [[nodiscard]] bool verify();

    /// Whether a verification has found an item missing from the file. Stays so until the next begin().
    bool isShort() const { return isShort_; }

    /// Number of items found in the files so far.
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

/// The failure to write to a file of the store, with the reason where one can be found: the store itself
/// does not keep it.
Failure writeFailure(const StoreDirectory &directory, const std::string &fileName);

}  // namespace tool

#endif
