// SPDX-License-Identifier: Apache-2.0
// Finds a few bytes in a block, by the one of them that texts probably hold least often: one byte is found
// much faster than several.
#ifndef JORN_TOOLS_LITERAL_SEARCH_H
#define JORN_TOOLS_LITERAL_SEARCH_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>
#include <vector>

namespace tool {

class LiteralSearch {
public:
    /// `bytes` is not empty. Where the case is ignored, ASCII letters stand for both of theirs.
    LiteralSearch(std::string bytes, bool isCaseIgnored);

    /// What is asked about next is in the block that ends here.
    void enter(const char *end);

    /// The first place at or after `begin`, else the end of the block. A place that was found before is
    /// returned without another search as long as it is not before `begin`.
    const char *find(const char *begin) {
        if (next_ == nullptr || next_ < begin) {
            next_ = search(begin);
        }
        return next_;
    }

    /// Whether it is in a part of the block. Parts are asked about one after the other.
    bool isIn(std::string_view part) {
        return part.size() >= bytes_.size() &&
               find(part.data()) <= part.data() + (part.size() - bytes_.size());
    }

private:
    /// One of the bytes that the rarest one may be.
    struct Variant {
        char byte;
        const char *next;  ///< Where it is next, if that has been looked for in this block.
    };

    const char *search(const char *begin);
    const char *nextRarest(const char *begin, const char *end);
    bool isAt(const char *place) const;

    std::string bytes_;  ///< In lower case where the case is ignored.
    const bool isCaseIgnored_;
    size_t rarest_;
    std::vector<Variant> variants_;
    const char *end_ = nullptr;
    const char *next_ = nullptr;
    uint64_t strays_ = 0;  ///< How often the rarest byte was found elsewhere.
};

}  // namespace tool

#endif
