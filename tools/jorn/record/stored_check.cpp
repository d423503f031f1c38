// SPDX-License-Identifier: Apache-2.0
#include "record/stored_check.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "system/failure.h"

namespace tool {
namespace {

off_t fileSize(const StoreDirectory &directory, const std::string &name) {
    struct stat status;
    return fstatat(directory.descriptor(), name.c_str(), &status, 0) == 0 ? status.st_size : 0;
}

/// Writes to an unnamed file, which leaves nothing behind, at the offset where the file in question ends.
/// Returns the error number, 0 when there is no error now.
int probeWrite(const StoreDirectory &directory, off_t offset) {
    const Descriptor probe(openat(directory.descriptor(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
    if (!probe.isOpen()) {
        return errno == EOPNOTSUPP ? 0 : errno;
    }
    const std::vector<char> block(65536, '\n');
    size_t done = 0;
    while (done < block.size()) {
        // A short write hides its reason; the next write returns it.
        const ssize_t written =
            pwrite(probe.get(), block.data() + done, block.size() - done, offset + static_cast<off_t>(done));
        if (written < 0) {
            return errno;
        }
        done += static_cast<size_t>(written);
    }
    return 0;
}

/// Error number of an attempt to write to the file now, 0 when there is none.
int reasonOf(const StoreDirectory &directory, const std::string &name) {
    constexpr int kFlags = O_WRONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC;
    const Descriptor file(openat(directory.descriptor(), name.c_str(), kFlags));
    return file.isOpen() || errno == ENOENT ? probeWrite(directory, fileSize(directory, name)) : errno;
}

}  // namespace

void StoredCheck::begin(int position, off_t offset) {
    position_ = position;
    offset_ = offset;
    expected_ = 0;
    isShort_ = false;
}

/// Counts the line feeds after the offset, and moves the offset to the end of what can be read.
int64_t StoredCheck::countNewItems() {
    const std::string name = dataFileName(position_);
    const Descriptor file(openat(directory_.descriptor(), name.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        return 0;
    }
    std::array<char, 65536> block;
    int64_t lineFeeds = 0;
    for (;;) {
        const ssize_t length = pread(file.get(), block.data(), block.size(), offset_);
        if (length <= 0) {
            return lineFeeds;
        }
        lineFeeds += std::count(block.begin(), block.begin() + length, '\n');
        offset_ += length;
    }
}

bool StoredCheck::verify() {
    if (expected_ > 0) {
        const int64_t expected = std::exchange(expected_, 0);
        const int64_t found = std::min(countNewItems(), expected);
        confirmed_ += found;
        isShort_ = isShort_ || found < expected;
    }
    return !isShort_;
}

Failure writeFailure(const StoreDirectory &directory, const std::string &fileName) {
    try {
        directory.requireWritable();
    } catch (const Failure &failure) {
        return failure;
    }
    const int error = reasonOf(directory, fileName);
    const std::string message = directory.pathOf(fileName) + ": cannot be written";
    return Failure(error == 0 ? message : message + ": " + strerror(error));
}

}  // namespace tool
