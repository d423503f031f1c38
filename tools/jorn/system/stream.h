// SPDX-License-Identifier: Apache-2.0
// Owner of a stream of the C library.
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

/// Reads what a descriptor stands for; null when that is closed, or with the reason in errno.
inline Stream streamFrom(const Descriptor &file) {
    return Stream(file.isOpen() ? fdopen(dup(file.get()), "r") : nullptr);
}

}  // namespace tool

#endif
