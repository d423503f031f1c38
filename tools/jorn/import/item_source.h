// SPDX-License-Identifier: Apache-2.0
// Makes items from a stream of bytes, whatever its format.
#ifndef JORN_TOOLS_ITEM_SOURCE_H
#define JORN_TOOLS_ITEM_SOURCE_H

#include <stdint.h>

#include <string_view>

namespace tool {

class ItemSource {
public:
    virtual ~ItemSource() = default;

    /// Takes the next bytes, in pieces of any size, and passes on the items that end in them.
    virtual void feed(std::string_view block) = 0;

    /// Ends a last line that has no line feed.
    virtual void finish() = 0;

    /// Number of lines that have ended, and of those among them that were not passed on in full.
    virtual uint64_t lines() const = 0;
    virtual uint64_t cutLines() const = 0;
};

}  // namespace tool

#endif
