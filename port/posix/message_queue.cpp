// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <limits.h>
#include <memLib.h>
#include <msgQLib.h>
#include <posixPort.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "pool.h"
#include "waiting.h"

namespace port {

namespace {

/// A ring of slots, in one block: first the lengths of all slots, then their bytes. Senders wait only while
/// all slots are in use, receivers only while none is, so never both.
struct MessageQueue {
    size_t slots = 0;
    size_t slotSize = 0;
    size_t first = 0;  ///< slot of the first message
    size_t count = 0;
    UINT *lengths = nullptr;
    char *bytes = nullptr;
    WaitQueue senders;
    WaitQueue receivers;
};

Pool<MessageQueue, uintptr_t, 3> queues;

uintptr_t numberOf(MSG_Q_ID id) { return reinterpret_cast<uintptr_t>(id); }

MessageQueue *find(MSG_Q_ID id) { return queues.find(numberOf(id)); }

/// An empty message may come with a null pointer, which memcpy must not get.
void copyBytes(char *destination, const char *source, UINT bytes) {
    if (bytes > 0) {
        memcpy(destination, source, bytes);
    }
}

/// The slot `distance` slots after the first message; the distance is at most the number of slots. (A
/// division would take longer than copying a message.)
size_t slotAfterFirst(const MessageQueue &queue, size_t distance) {
    const size_t slot = queue.first + distance;
    return slot < queue.slots ? slot : slot - queue.slots;
}

/// Asks the processor to fetch the cache line of an address for writing.
void fetchForWriting(const char *address) {
#if defined(__x86_64__)
    // In assembly: without a compiler flag for this instruction the built-in fetches for reading, and the
    // line is fetched a second time when it is written. It is not part of the 64-bit baseline, but 64-bit
    // processors without it treat it as a no-op, all but the first 64-bit Pentium 4.
    asm volatile("prefetchw %0" ::"m"(*address));
#else
    __builtin_prefetch(address, 1);
#endif
}

/// Fetches a slot for writing, as far as a message of `bytes` bytes fills it: the core that last received
/// from a free slot still owns its cache lines. A slot in use is not changed.
///
/// Measured gain, sender and receiver on two cores at 2.6 GHz: sending a message of 30 bytes takes 65 cycles
/// instead of 80 in bursts of 400 and 119 instead of 132 in bursts of 10, one of 230 bytes 134 instead of
/// 145. With a fetch for reading, it would take 155, 185 and 230.
void prefetchSlot(const MessageQueue &queue, size_t slot, UINT bytes) {
    constexpr UINT kCacheLine = 64;
    const char *const start = queue.bytes + slot * queue.slotSize;
    for (UINT i = 0; i < bytes; i += kCacheLine) {
        fetchForWriting(start + i);
    }
    fetchForWriting(start + bytes);
}

/// Puts a message into a free slot, and prepares the next slot for another message of the same length.
void put(MessageQueue &queue, const char *message, UINT bytes, bool urgent) {
    const size_t slot = slotAfterFirst(queue, urgent ? queue.slots - 1 : queue.count);
    if (urgent) {
        queue.first = slot;
    }
    ++queue.count;
    queue.lengths[slot] = bytes;
    copyBytes(queue.bytes + slot * queue.slotSize, message, bytes);
    prefetchSlot(queue, slotAfterFirst(queue, queue.count), bytes);
}

/// Moves the first message into a buffer and returns how many bytes of it fitted.
UINT get(MessageQueue &queue, char *buffer, UINT size) {
    const UINT bytes = std::min(queue.lengths[queue.first], size);
    copyBytes(buffer, queue.bytes + queue.first * queue.slotSize, bytes);
    queue.first = slotAfterFirst(queue, 1);
    --queue.count;
    return bytes;
}

/// Hands a message to a waiting receiver.
void handOver(Task &receiver, const char *message, UINT bytes) {
    receiver.bytes = std::min(receiver.bytes, bytes);
    copyBytes(receiver.incoming, message, receiver.bytes);
    wake(receiver, 0);
}

/// Fills the slot that became free with the message of the first waiting sender.
void admitSender(MessageQueue &queue) {
    if (Task *const sender = queue.senders.first()) {
        put(queue, sender->outgoing, sender->bytes, sender->urgent);
        wake(*sender, 0);
    }
}

int checkShape(int maxMsgs, int maxMsgLength, int options) {
    if (options != MSG_Q_FIFO && options != MSG_Q_PRIORITY) {
        return S_msgQLib_INVALID_QUEUE_TYPE;
    }
    if (maxMsgLength < 0) {
        return S_msgQLib_INVALID_MSG_LENGTH;
    }
    return maxMsgs < 1 ? EINVAL : 0;
}

/// Allocates all memory that a queue ever needs; false when there is not enough.
bool allocateSlots(MessageQueue &queue) {
    const size_t slotCost = sizeof(UINT) + queue.slotSize;
    if (queue.slots > PTRDIFF_MAX / slotCost) {
        return false;
    }
    queue.lengths = static_cast<UINT *>(malloc(queue.slots * slotCost));
    if (queue.lengths == nullptr) {
        return false;
    }
    queue.bytes = reinterpret_cast<char *>(queue.lengths + queue.slots);
    return true;
}

int create(int maxMsgs, int maxMsgLength, int options, MSG_Q_ID *id) {
    const int refusal = checkShape(maxMsgs, maxMsgLength, options);
    if (refusal != 0) {
        return refusal;
    }
    MessageQueue queue;
    queue.slots = static_cast<size_t>(maxMsgs);
    queue.slotSize = static_cast<size_t>(maxMsgLength);
    queue.senders = queue.receivers = WaitQueue(options == MSG_Q_PRIORITY);
    if (!allocateSlots(queue)) {
        return S_memLib_NOT_ENOUGH_MEMORY;
    }
    const Lock lock;
    uintptr_t number = 0;
    MessageQueue *const place = queues.take(&number);
    if (place == nullptr) {
        free(queue.lengths);
        return S_memLib_NOT_ENOUGH_MEMORY;
    }
    *place = queue;
    *id = reinterpret_cast<MSG_Q_ID>(number);  // NOLINT(performance-no-int-to-ptr): never dereferenced
    return 0;
}

int send(MSG_Q_ID id, const char *message, UINT bytes, int timeout, bool urgent) {
    const Lock lock;
    MessageQueue *const queue = find(id);
    if (queue == nullptr) {
        return S_objLib_OBJ_ID_ERROR;
    }
    if (bytes > queue->slotSize) {
        return S_msgQLib_INVALID_MSG_LENGTH;
    }
    if (Task *const receiver = queue->receivers.first()) {
        handOver(*receiver, message, bytes);
        return 0;
    }
    if (queue->count < queue->slots) {
        put(*queue, message, bytes, urgent);
        return 0;
    }
    if (timeout == NO_WAIT) {
        return S_objLib_OBJ_UNAVAILABLE;
    }
    Task &me = self();
    me.outgoing = message;
    me.bytes = bytes;
    me.urgent = urgent;
    return wait(me, &queue->senders, timeout);
}

int receive(MSG_Q_ID id, char *buffer, UINT size, int timeout, UINT *received) {
    const Lock lock;
    MessageQueue *const queue = find(id);
    if (queue == nullptr) {
        return S_objLib_OBJ_ID_ERROR;
    }
    if (size > INT_MAX) {
        return S_msgQLib_INVALID_MSG_LENGTH;
    }
    if (queue->count > 0) {
        *received = get(*queue, buffer, size);
        admitSender(*queue);
        return 0;
    }
    if (timeout == NO_WAIT) {
        return S_objLib_OBJ_UNAVAILABLE;
    }
    Task &me = self();
    me.incoming = buffer;
    me.bytes = size;
    const int outcome = wait(me, &queue->receivers, timeout);
    *received = me.bytes;
    return outcome;
}

int remove(MSG_Q_ID id) {
    const Lock lock;
    MessageQueue *const queue = find(id);
    if (queue == nullptr) {
        return S_objLib_OBJ_ID_ERROR;
    }
    wakeAll(queue->senders, S_objLib_OBJ_DELETED);
    wakeAll(queue->receivers, S_objLib_OBJ_DELETED);
    free(queue->lengths);
    queues.release(numberOf(id));
    return 0;
}

}  // namespace

}  // namespace port

extern "C" {

MSG_Q_ID msgQCreate(int maxMsgs, int maxMsgLength, int options) {
    MSG_Q_ID id = nullptr;
    port::conclude(port::create(maxMsgs, maxMsgLength, options, &id));
    return id;
}

STATUS msgQSend(MSG_Q_ID msgQId, char *buffer, UINT nBytes, int timeout, int priority) {
    return port::conclude(port::send(msgQId, buffer, nBytes, timeout, priority == MSG_PRI_URGENT));
}

int msgQReceive(MSG_Q_ID msgQId, char *buffer, UINT maxNBytes, int timeout) {
    UINT received = 0;
    const int outcome = port::receive(msgQId, buffer, maxNBytes, timeout, &received);
    return port::conclude(outcome) == OK ? static_cast<int>(received) : ERROR;
}

int msgQNumMsgs(MSG_Q_ID msgQId) {
    const port::Lock lock;
    const port::MessageQueue *const queue = port::find(msgQId);
    return queue != nullptr ? static_cast<int>(queue->count) : port::conclude(S_objLib_OBJ_ID_ERROR);
}

STATUS msgQDelete(MSG_Q_ID msgQId) { return port::conclude(port::remove(msgQId)); }

}  // extern "C"
