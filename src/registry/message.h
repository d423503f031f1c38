// SPDX-License-Identifier: Apache-2.0
// The store message: the text of one item on its way through the queue, built and split.
//
//   message  handle "," line NUL         at most 246 bytes; the NUL is sent too
//   handle   signed decimal handle id
//   line     as in csvfile/line.h
#ifndef JORN_SRC_REGISTRY_MESSAGE_H
#define JORN_SRC_REGISTRY_MESSAGE_H

#include <stddef.h>
#include <stdint.h>

#include "csvfile/line.h"
#include "module_limits.h"

namespace jorn {

/// Writes the message of an item into a buffer of kMessageSize bytes. Returns its size, the NUL included.
inline size_t buildMessage(char *message, int32_t handle, uint32_t time, int32_t level, int32_t slot,
                           const char *text) {
    char *const line = appendSignedField(message, handle);
    return static_cast<size_t>(appendLine(line, time, level, slot, text) - message);
}

/// Size of a buffer that receives a message. The queue fills at most kMessageSize bytes; the two after them
/// stay NUL, so that an unterminated field, and the empty rest after it, still end inside the buffer.
constexpr size_t kMessageBufferSize = kMessageSize + 2;

/// Takes the handle off the front of a message in such a buffer. Returns what follows its field, or null when
/// there is no field. The comma after the field becomes a NUL, which may later be what follows the field of a
/// shorter message.
inline const char *takeHandle(char *message, int32_t *handle) {
    // A fast path for the first nine objects.
    if (message[0] >= '0' && message[0] <= '9' && message[1] == ',') {
        *handle = message[0] - '0';
        message[1] = '\0';
        return message + 2;
    }
    LineSplitter splitter(message, kMessageSize);
    if (!splitter.takeInt(handle)) {
        return nullptr;
    }
    char *const rest = message + (splitter.restBegin() - message);
    if (rest[-1] != ',') {
        return rest + 1;  // after the NUL that ends the field
    }
    rest[-1] = '\0';
    return rest;
}

}  // namespace jorn

#endif
