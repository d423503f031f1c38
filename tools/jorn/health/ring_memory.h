// SPDX-License-Identifier: Apache-2.0
// The number of files that a log's ring was made with. The store keeps it nowhere, and the files show it only
// once the ring has come round; so a recorder leaves it in the directory, in the file "jorn.ring":
//
//   version:1
//   files:20
//
// It never outweighs the files: a number that is too small for them is not gone by.
#ifndef JORN_TOOLS_RING_MEMORY_H
#define JORN_TOOLS_RING_MEMORY_H

#include <optional>
#include <string>

#include "log/store_directory.h"

namespace tool {

inline constexpr char kRingMemoryName[] = "jorn.ring";

class RingMemory {
public:
    /// Reads the file; there may be none. Throws nothing: what cannot be read is a problem of its own.
    explicit RingMemory(const StoreDirectory &directory);

    /// What it says; nothing where there is none, or it is of no use.
    const std::optional<int> &files() const { return files_; }

    /// The same where the files and the index fit into such a ring.
    std::optional<int> filesFor(int smallestRing) const;

    /// Why it is not gone by, as a sentence about the file without its stop; empty where it is, or there is
    /// none.
    std::string problemFor(int smallestRing) const;

    /// Whether a size may be written in its place: it is missing, one that was written here, or damaged.
    /// Anything else that bears the name is left alone.
    bool mayBeReplaced() const { return mayBeReplaced_; }

private:
    void judge(const std::string &text);

    std::optional<int> files_;
    std::string problem_;
    bool mayBeReplaced_ = true;
};

/// The size that was asked for, else the one that is remembered, where neither a data file nor the index is
/// beyond it. Throws Failure as lookAtAll().
std::optional<int> hintedRingSize(const StoreDirectory &directory, std::optional<int> requested);

/// Writes the file, whole or not at all, unless it says so already or may not be replaced. Throws Failure.
void rememberRingSize(const StoreDirectory &directory, int files);

}  // namespace tool

#endif
