// SPDX-License-Identifier: Apache-2.0
// Reads at an offset in an open file, independent of the descriptor's own position.
#ifndef JORN_TOOLS_FILE_BYTES_H
#define JORN_TOOLS_FILE_BYTES_H

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace tool {

/// Reads until it has `length` bytes or the file ends. Returns the number of bytes read. Throws
/// std::system_error.
size_t readAt(int fd, uint64_t offset, char *bytes, size_t length);

/// The same without throwing: an error ends the reading and its number is stored in `error`, which stays
/// unchanged when there is none.
size_t readAt(int fd, uint64_t offset, char *bytes, size_t length, int *error);

/// The bytes at an offset, fewer than `most` where the file ends or cannot be read.
std::string bytesAt(int fd, uint64_t offset, size_t most);

}  // namespace tool

#endif
