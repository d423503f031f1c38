// SPDX-License-Identifier: Apache-2.0
// Reading from a place in an open file, whatever the descriptor's own position is.
#ifndef JORN_TOOLS_FILE_BYTES_H
#define JORN_TOOLS_FILE_BYTES_H

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace tool {

/// Reads until `length` bytes are there or the file ends. Gives the number of bytes that were read. Throws
/// std::system_error.
size_t readAt(int fd, uint64_t offset, char *bytes, size_t length);

/// The same without throwing: `error` gets the number of an error, which ends the reading, and stays as it
/// was where there is none.
size_t readAt(int fd, uint64_t offset, char *bytes, size_t length, int *error);

/// The bytes at a place, fewer than `most` where the file ends or cannot be read.
std::string bytesAt(int fd, uint64_t offset, size_t most);

}  // namespace tool

#endif
