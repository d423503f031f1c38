// SPDX-License-Identifier: Apache-2.0
#include "fuzz/ring_input.h"

#include <string>

#include "model/ring_files.h"

namespace fuzz {
namespace {

/// A line whose numbers are often small, and whose time is at or after the former one.
std::string takeItem(ByteReader *input, uint32_t *time) {
    constexpr uint32_t kStep = 1800;
    *time += kStep * input->byte();
    const std::string level = std::to_string(input->below(8) - 2);
    const std::string slot = std::to_string(input->below(11) - 1);
    return std::to_string(*time) + "," + level + "," + slot + ",t" + std::to_string(*time) + "\n";
}

std::string takeItems(ByteReader *input) {
    uint32_t time = 86400U * static_cast<uint32_t>(ByteReader::kFirstDay + input->below(20));
    std::string lines;
    for (int32_t left = 1 + input->below(12); left > 0; --left) {
        lines += takeItem(input, &time);
    }
    return lines;
}

std::string takeIndex(ByteReader *input) {
    const int32_t oldest = input->below(96) - 2;
    const int32_t latest = input->below(96) - 2;
    return test::modelIndexText(oldest, latest);
}

std::string repeated(const std::string &text, int32_t times) {
    std::string all;
    for (; times > 0; --times) {
        all += text;
    }
    return all;
}

/// Raw bytes, the same bytes repeated so that a line gets long, an index, or items.
std::string takePiece(ByteReader *input, bool isIndex) {
    constexpr int32_t kKinds = 8;
    switch (input->below(kKinds)) {
        case 0:
            return input->bytes(input->byte());
        case 1: {
            const int32_t times = 1 + input->below(60);
            return repeated(input->bytes(1 + static_cast<size_t>(input->below(16))), times);
        }
        default:
            return isIndex ? takeIndex(input) : takeItems(input);
    }
}

}  // namespace

test::NamedFiles takeDirectory(ByteReader *input, int32_t positions) {
    test::NamedFiles files;
    while (!input->isEmpty()) {
        const int32_t file = input->below(positions + 2);
        const bool isIndex = file >= positions;
        const std::string name = !isIndex            ? test::csvName(file)
                                 : file == positions ? "index.csv"
                                                     : "index.bak";
        files[name] += takePiece(input, isIndex);
    }
    return files;
}

}  // namespace fuzz
