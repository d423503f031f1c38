// SPDX-License-Identifier: Apache-2.0
#include "query/literal_search.h"

#include <string.h>

#include <algorithm>
#include <utility>

namespace tool {
namespace {

bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isLower(char c) { return c >= 'a' && c <= 'z'; }
char lowered(char c) { return isUpper(c) ? static_cast<char>(c - 'A' + 'a') : c; }
char raised(char c) { return isLower(c) ? static_cast<char>(c - 'a' + 'A') : c; }

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char c) { return lowered(c); });
    return text;
}

/// The place of the byte of a word that texts probably hold least often.
size_t rarestIn(const std::string &word) {
    // Letters by how often they are in texts; what is not among them, but for digits and blanks, is rarer.
    constexpr std::string_view kCommon = " e0123456789taoinsrhdlucmfygpwbvk,.";
    size_t rarest = 0;
    for (size_t i = 1; i < word.size(); ++i) {
        // Nothing found is the highest place.
        rarest = kCommon.find(word[i]) > kCommon.find(word[rarest]) ? i : rarest;
    }
    return rarest;
}

/// The place of a byte, else the end.
const char *placeOf(char byte, const char *begin, const char *end) {
    const void *const found = begin < end ? memchr(begin, byte, static_cast<size_t>(end - begin)) : nullptr;
    return found != nullptr ? static_cast<const char *>(found) : end;
}

}  // namespace

LiteralSearch::LiteralSearch(std::string bytes, bool isCaseIgnored)
    : bytes_(isCaseIgnored ? lowered(std::move(bytes)) : std::move(bytes)),
      isCaseIgnored_(isCaseIgnored),
      rarest_(rarestIn(bytes_)) {
    const char byte = bytes_[rarest_];
    variants_.push_back({byte, nullptr});
    if (isCaseIgnored && isLower(byte)) {
        variants_.push_back({raised(byte), nullptr});
    }
}

void LiteralSearch::enter(const char *end) {
    end_ = end;
    next_ = nullptr;
    for (Variant &variant : variants_) {
        variant.next = nullptr;
    }
}

const char *LiteralSearch::search(const char *begin) {
    constexpr uint64_t kMostStrays = 1000;
    if (static_cast<size_t>(end_ - begin) < bytes_.size()) {
        return end_;
    }
    const char *const lastEnd = end_ - bytes_.size() + 1;
    while (isCaseIgnored_ || strays_ < kMostStrays) {
        const char *const place = nextRarest(begin + rarest_, lastEnd + rarest_) - rarest_;
        if (place == lastEnd) {
            return end_;
        }
        if (isAt(place)) {
            return place;
        }
        ++strays_;
        begin = place + 1;
    }
    const void *const found = memmem(begin, static_cast<size_t>(end_ - begin), bytes_.data(), bytes_.size());
    return found != nullptr ? static_cast<const char *>(found) : end_;
}

/// Where the rarest byte is, else the end.
const char *LiteralSearch::nextRarest(const char *begin, const char *end) {
    const char *first = end;
    for (Variant &variant : variants_) {
        if (variant.next == nullptr || variant.next < begin) {
            variant.next = placeOf(variant.byte, begin, end);
        }
        first = std::min(first, variant.next);
    }
    return first;
}

bool LiteralSearch::isAt(const char *place) const {
    if (!isCaseIgnored_) {
        return memcmp(place, bytes_.data(), bytes_.size()) == 0;
    }
    return std::equal(bytes_.begin(), bytes_.end(), place,
                      [](char own, char other) { return own == lowered(other); });
}

}  // namespace tool
