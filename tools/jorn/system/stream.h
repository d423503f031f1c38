// SPDX-License-Identifier: Apache-2.0
// Owner of a C library stream.
#ifndef JORN_TOOLS_STREAM_H
#define JORN_TOOLS_STREAM_H

#include <stdio.h>
#include <unistd.h>

#include <memory>

#include "system/descriptor.h"

namespace tool {

struct StreamCloser {
    void operator()(FILE *stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, StreamCloser>;

/// A stream that reads from a copy of a descriptor; null when that is closed, or with the reason in errno.
inline Stream streamFrom(const Descriptor &file) {
    return Stream(file.isOpen() ? fdopen(dup(file.get()), "r") : nullptr);
}

}  // namespace tool

#endif
