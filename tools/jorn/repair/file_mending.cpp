// SPDX-License-Identifier: Apache-2.0
#include "repair/file_mending.h"

#include <errno.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "log/segment_reader.h"
#include "system/file_bytes.h"
#include "terminal/escape.h"

namespace tool {
namespace {

constexpr size_t kBlockSize = 262144;

/// Gathers small writes. What is written is on the medium only after a sync of the file.
class BlockWriter {
public:
    explicit BlockWriter(int fd) : fd_(fd) {}

    void write(std::string_view bytes) {
        pending_ += bytes;
        if (pending_.size() >= kBlockSize) {
            flush();
        }
    }

    void flush() {
        std::string_view rest = pending_;
        while (!rest.empty()) {
            const ssize_t written = ::write(fd_, rest.data(), rest.size());
            if (written < 0 && errno != EINTR) {
                throw std::system_error(errno, std::generic_category());
            }
            rest.remove_prefix(written > 0 ? static_cast<size_t>(written) : 0);
        }
        pending_.clear();
    }

private:
    const int fd_;
    std::string pending_;
};

}  // namespace

void copyMended(int from, int to) {
    BlockWriter writer(to);
    bool isOpen = false;
    forEachLineToEnd(from, 0, [&](const Line &line) {
        if (!line.isBad()) {
            writer.write(line.bytes);
            isOpen = !line.hasLineEnd();
        } else if (isOpen) {
            writer.write("\n");
            isOpen = false;
        }
    });
    writer.write(isOpen ? "\n" : "");
    writer.flush();
}

void copyPlain(int from, int to) {
    BlockWriter writer(to);
    std::vector<char> block(kBlockSize);
    size_t length = 0;
    for (uint64_t offset = 0; (length = readAt(from, offset, block.data(), block.size())) > 0;) {
        writer.write({block.data(), length});
        offset += length;
    }
    writer.flush();
}

void listCut(int from, int to) {
    BlockWriter writer(to);
    uint64_t zeros = 0;
    forEachLineToEnd(from, 0, [&](const Line &line) {
        const bool isZeros = line.kind == LineKind::Zeros;
        if (zeros > 0 && !isZeros) {
            writer.write(std::to_string(line.offset - zeros) + ": " + std::to_string(zeros) +
                         " zero bytes\n");
            zeros = 0;
        }
        zeros += isZeros ? line.bytes.size() : 0;
        if (line.kind == LineKind::Damaged) {
            const std::string_view bytes = line.bytes.substr(0, line.bytes.find('\n'));
            writer.write(std::to_string(line.offset) + ": " + escaped(bytes) + "\n");
        }
    });
    if (zeros > 0) {
        writer.write("to the end: " + std::to_string(zeros) + " zero bytes\n");
    }
    writer.flush();
}

}  // namespace tool
