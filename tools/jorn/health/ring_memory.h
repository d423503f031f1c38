// SPDX-License-Identifier: Apache-2.0
// The size of a log's ring, in files. The store does not keep it, and the files show it only once the ring
// has wrapped; so a recorder writes it to the file "jorn.ring" in the directory:
//
//   version:1
//   files:20
//
// The files take precedence: a number that is too small for them is ignored.
#ifndef JORN_TOOLS_RING_MEMORY_H
#define JORN_TOOLS_RING_MEMORY_H

#include <optional>
#include <string>

#include "log/store_directory.h"

namespace tool {

inline constexpr char kRingMemoryName[] = "jorn.ring";

class RingMemory {
public:
    /// Reads the file, if there is one. Does not throw: a file that cannot be read is reported by
    /// problemFor().
    explicit RingMemory(const StoreDirectory &directory);

    /// The size in the file; nothing when there is no file, or it cannot be used.
    const std::optional<int> &files() const { return files_; }

    /// The same if the files and the index fit a ring of that size, else nothing.
    std::optional<int> filesFor(int smallestRing) const;

    /// Why the file is ignored, as a predicate for its name ("is damaged"); empty when it is used, or does
    /// not exist.
    std::string problemFor(int smallestRing) const;

    /// Whether a new size may replace the file: it is missing, damaged, or was written by rememberRingSize().
    /// Anything else of that name is left unchanged.
    bool mayBeReplaced() const { return mayBeReplaced_; }

private:
    void judge(const std::string &text);

    std::optional<int> files_;
    std::string problem_;
    bool mayBeReplaced_ = true;
};

/// The requested size, else the remembered one if neither a data file nor the index exceeds it. Throws
/// Failure, as lookAtAll() does.
std::optional<int> hintedRingSize(const StoreDirectory &directory, std::optional<int> requested);

/// Writes the file, whole or not at all, unless it holds that size already or may not be replaced. Throws
/// Failure.
void rememberRingSize(const StoreDirectory &directory, int files);

}  // namespace tool

#endif
