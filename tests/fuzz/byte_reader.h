// SPDX-License-Identifier: Apache-2.0
// Splits a fuzzing input. An input that has run out returns zeros, so that every input means something.
#ifndef JORN_TESTS_FUZZ_BYTE_READER_H
#define JORN_TESTS_FUZZ_BYTE_READER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

class ByteReader {
public:
    ByteReader(const uint8_t *data, size_t size) : data_(data), size_(size) {}

    bool isEmpty() const { return size_ == 0; }

    uint8_t byte() {
        if (size_ == 0) {
            return 0;
        }
        --size_;
        return *data_++;
    }

    /// 0 to limit - 1.
    int32_t below(int32_t limit) { return byte() % limit; }

    bool flag() { return byte() % 2 != 0; }

    /// Any number; more often one near 0, or near the days of the items made for rings.
    int32_t number() {
        const int32_t kind = byte();
        if (kind < kSmallNumbers) {
            return kind - kSmallest;
        }
        if (kind < kSmallNumbers + kDays) {
            return kFirstDay + kind - kSmallNumbers;
        }
        uint32_t bits = 0;
        for (int i = 0; i < 4; ++i) {
            bits = bits << 8 | byte();
        }
        return static_cast<int32_t>(bits);
    }

    /// As many bytes as are left, at most `count`.
    std::string bytes(size_t count) {
        const size_t taken = std::min(count, size_);
        std::string text(reinterpret_cast<const char *>(data_), taken);
        data_ += taken;
        size_ -= taken;
        return text;
    }

    std::string rest() { return bytes(size_); }

    /// A day that number() often returns.
    static constexpr int32_t kFirstDay = 19670;

private:
    static constexpr int32_t kSmallest = 4;
    static constexpr int32_t kSmallNumbers = 110;
    static constexpr int32_t kDays = 40;

    const uint8_t *data_;
    size_t size_;
};

}  // namespace fuzz

#endif
