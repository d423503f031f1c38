// SPDX-License-Identifier: Apache-2.0
// The kernel's message queues.
#include <msgQLib.h>
#include <stdlib.h>
#include <string.h>

#include "kernel_parts.h"

namespace kernel {

namespace {

struct Queue {
    int generation, slots, slotSize, head, count;
    char *memory;  // for each slot its length, then its bytes
    Line senders, receivers;
    char *slot(int place) const {
        return memory + static_cast<size_t>(place % slots) * (sizeof(UINT) + static_cast<size_t>(slotSize));
    }
};

Queue queues[kObjects];

Queue *queueOf(MSG_Q_ID id) { return objectOf(queues, reinterpret_cast<intptr_t>(id)); }

/// Copies a message into the queue.
void store(Queue *queue, const Message &message) {
    if (message.isUrgent) {
        queue->head = (queue->head + queue->slots - 1) % queue->slots;
    }
    char *const slot = queue->slot(queue->head + (message.isUrgent ? 0 : queue->count));
    memcpy(slot, &message.size, sizeof message.size);
    memcpy(slot + sizeof message.size, message.bytes, message.size);
    ++queue->count;
}

/// Hands a message to a receiver that waits for one.
void deliver(Task *receiver, const char *bytes, UINT size) {
    receiver->message.size = size < receiver->message.size ? size : receiver->message.size;
    memcpy(receiver->message.bytes, bytes, receiver->message.size);
}

}  // namespace

}  // namespace kernel

using namespace kernel;

MSG_Q_ID msgQCreate(int maxMsgs, int maxMsgLength, int options) {
    int error = 0;
    if (options != MSG_Q_FIFO && options != MSG_Q_PRIORITY) {
        error = S_msgQLib_INVALID_QUEUE_TYPE;
    } else if (maxMsgLength < 0) {
        error = S_msgQLib_INVALID_MSG_LENGTH;
    } else if (maxMsgs < 1) {
        error = EINVAL;
    }
    char *const memory =
        error != 0 ? nullptr
                   : static_cast<char *>(malloc(static_cast<size_t>(maxMsgs) *
                                                (sizeof(UINT) + static_cast<size_t>(maxMsgLength))));
    const Section section;
    Queue *const queue = memory != nullptr ? freeOf(queues) : nullptr;
    if (queue == nullptr) {
        errno = error != 0 ? error : S_memLib_NOT_ENOUGH_MEMORY;
        free(memory);
        return nullptr;
    }
    queue->slots = maxMsgs;
    queue->slotSize = maxMsgLength;
    queue->memory = memory;
    queue->senders.isByPriority = queue->receivers.isByPriority = options == MSG_Q_PRIORITY;
    return reinterpret_cast<MSG_Q_ID>(idOf(queues, queue));
}

STATUS msgQSend(MSG_Q_ID msgQId, char *buffer, UINT nBytes, int timeout, int priority) {
    const Section section;
    Queue *const queue = queueOf(msgQId);
    if (queue == nullptr) {
        return ERROR;
    }
    if (nBytes > static_cast<UINT>(queue->slotSize)) {
        return failWith(S_msgQLib_INVALID_MSG_LENGTH);
    }
    if (queue->receivers.first != nullptr) {
        deliver(queue->receivers.first, buffer, nBytes);
        wake(queue->receivers.first, 0);
        return OK;
    }
    const Message message = {buffer, nBytes, priority == MSG_PRI_URGENT};
    if (queue->count < queue->slots) {
        store(queue, message);
        return OK;
    }
    if (timeout == NO_WAIT) {
        return failWith(S_objLib_OBJ_UNAVAILABLE);
    }
    current->message = message;
    return waitIn(&queue->senders, timeout);
}

int msgQReceive(MSG_Q_ID msgQId, char *buffer, UINT maxNBytes, int timeout) {
    const Section section;
    Queue *const queue = queueOf(msgQId);
    if (queue == nullptr) {
        return ERROR;
    }
    if (static_cast<int>(maxNBytes) < 0) {
        return failWith(S_msgQLib_INVALID_MSG_LENGTH);
    }
    current->message = {buffer, maxNBytes, false};
    if (queue->count == 0) {
        if (timeout == NO_WAIT) {
            return failWith(S_objLib_OBJ_UNAVAILABLE);
        }
        return waitIn(&queue->receivers, timeout) == OK ? static_cast<int>(current->message.size) : ERROR;
    }
    const char *const slot = queue->slot(queue->head);
    UINT size;
    memcpy(&size, slot, sizeof size);
    deliver(current, slot + sizeof size, size);
    queue->head = (queue->head + 1) % queue->slots;
    --queue->count;
    if (queue->senders.first != nullptr) {
        store(queue, queue->senders.first->message);
        wake(queue->senders.first, 0);
    }
    return static_cast<int>(current->message.size);
}

int msgQNumMsgs(MSG_Q_ID msgQId) {
    const Section section;
    const Queue *const queue = queueOf(msgQId);
    return queue != nullptr ? queue->count : ERROR;
}

STATUS msgQDelete(MSG_Q_ID msgQId) {
    char *memory;
    {
        const Section section;
        Queue *const queue = queueOf(msgQId);
        if (queue == nullptr) {
            return ERROR;
        }
        memory = queue->memory;
        wakeAll(&queue->senders, S_objLib_OBJ_DELETED);
        wakeAll(&queue->receivers, S_objLib_OBJ_DELETED);
        ++queue->generation;
    }
    free(memory);
    return OK;
}
