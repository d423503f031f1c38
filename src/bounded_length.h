// SPDX-License-Identifier: Apache-2.0
// The length of a text of which only so much matters.
#ifndef JORN_SRC_BOUNDED_LENGTH_H
#define JORN_SRC_BOUNDED_LENGTH_H

#include <stddef.h>
#include <string.h>

namespace jorn {

/// Bytes before a text's NUL, `most` when there is none among so many. Nothing behind them is looked at. (The
/// C library's strnlen, which not every device has.)
inline size_t boundedLength(const char *text, size_t most) {
    const void *const end = memchr(text, '\0', most);
    return end != nullptr ? static_cast<size_t>(static_cast<const char *>(end) - text) : most;
}

}  // namespace jorn

#endif
