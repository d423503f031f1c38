// SPDX-License-Identifier: Apache-2.0
#include "system/file_bytes.h"

#include <errno.h>
#include <unistd.h>

#include <system_error>

namespace tool {

size_t readAt(int fd, uint64_t offset, char *bytes, size_t length, int *error) {
    size_t done = 0;
    while (done < length) {
        const ssize_t got = pread(fd, bytes + done, length - done, static_cast<off_t>(offset + done));
        if (got == 0) {
            break;
        }
        if (got > 0) {
            done += static_cast<size_t>(got);
        } else if (errno != EINTR) {
            *error = errno;
            break;
        }
    }
    return done;
}

size_t readAt(int fd, uint64_t offset, char *bytes, size_t length) {
    int error = 0;
    const size_t done = readAt(fd, offset, bytes, length, &error);
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
    return done;
}

std::string bytesAt(int fd, uint64_t offset, size_t most) {
    std::string bytes(most, '\0');
    int ignored = 0;
    bytes.resize(readAt(fd, offset, bytes.data(), most, &ignored));
    return bytes;
}

}  // namespace tool
