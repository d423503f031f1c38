// SPDX-License-Identifier: Apache-2.0
#ifndef JORN_TESTS_CSVFILE_EVERY_TEXT_H
#define JORN_TESTS_CSVFILE_EVERY_TEXT_H

#include <cstddef>
#include <string>
#include <vector>

namespace test {

/// All texts of a given number of characters of an alphabet, one after the other.
class EveryText {
public:
    EveryText(const char *alphabet, size_t size, size_t length)
        : alphabet_(alphabet), size_(size), places_(length), text_(length, alphabet[0]) {}

    const std::string &text() const { return text_; }

    /// Makes the next text; false after the last.
    bool next() {
        for (size_t i = 0; i < places_.size(); ++i) {
            places_[i] = places_[i] + 1 < size_ ? places_[i] + 1 : 0;
            text_[i] = alphabet_[places_[i]];
            if (places_[i] != 0) {
                return true;
            }
        }
        return false;
    }

private:
    const char *alphabet_;
    size_t size_;
    std::vector<size_t> places_;
    std::string text_;
};

}  // namespace test

#endif
