// SPDX-License-Identifier: Apache-2.0
// Makes items of a stream of bytes, whatever its form is.
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

    /// Lines that have ended, and those of them of which not all is in items.
    virtual uint64_t lines() const = 0;
    virtual uint64_t cutLines() const = 0;
};

}  // namespace tool

#endif
