// SPDX-License-Identifier: Apache-2.0
// The platform of the fuzzing targets: files in memory, a clock that stands still, prints that are kept, and
// tasks that move only when a target lets ticks pass. The module's objects are linked with the calls of
// memory_symbols.txt renamed to memory_<call>; all others go to the C library and the port. Nothing here is
// locked: the store task moves only while the target waits for it.
#ifndef JORN_TESTS_FUZZ_MEMORY_PLATFORM_H
#define JORN_TESTS_FUZZ_MEMORY_PLATFORM_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "model/index_model.h"

namespace fuzz {

/// What every item is stamped with.
constexpr uint32_t kNow = 1700000000;

class MemoryPlatform {
public:
    static MemoryPlatform &get();

    /// Leaves no files and no prints; times are shown in UTC, and ticks pass by hand only.
    void reset();

    /// Puts files into a directory, such as "/a".
    void put(const std::string &directory, const test::NamedFiles &files);
    test::NamedFiles filesIn(const std::string &directory) const;

    /// The messages since the last call, without prefix and line end; prints outside a message are left out.
    std::vector<std::string> takeMessages();

    /// The bytes of an open file survive the removal of its name.
    using Bytes = std::shared_ptr<std::string>;
    std::map<std::string, Bytes> &paths() { return paths_; }
    void addPrint(const std::string &text) { prints_.push_back(text); }

private:
    std::map<std::string, Bytes> paths_;
    std::vector<std::string> prints_;
};

/// One pass of the store task: 100 ticks, until it waits again.
void passOfStoreTask();

/// Destroys every object and resets the module's largest time to 0.
void destroyAll();

}  // namespace fuzz

#endif
