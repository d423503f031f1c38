// SPDX-License-Identifier: Apache-2.0
// Message queues of bounded depth and message length. vxWorks.h says what holds for every call.
#ifndef MSGQLIB_H
#define MSGQLIB_H

#include <objLib.h>
#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Designates a message queue; never dereferenced. Null is no queue.
typedef struct vxMessageQueue *MSG_Q_ID;

/// Order in which waiting tasks are served: by arrival; by priority, then arrival. Messages themselves are
/// always received in the order of sending, but for the urgent ones.
#define MSG_Q_FIFO 0x00
#define MSG_Q_PRIORITY 0x01

/// Place of a message: after all others; before all others.
#define MSG_PRI_NORMAL 0
#define MSG_PRI_URGENT 1

/// The message is longer than the queue allows, or a length is negative.
#define S_msgQLib_INVALID_MSG_LENGTH 0x410001
/// No such order of waiting.
#define S_msgQLib_INVALID_QUEUE_TYPE 0x410003

/// Makes an empty queue of `maxMsgs` (1 or more) slots for messages of 0 to `maxMsgLength` (0 or more)
/// bytes. All memory of the queue is allocated here. `options` is MSG_Q_FIFO or MSG_Q_PRIORITY.
///
/// Returns its id, or null with errno S_msgQLib_INVALID_QUEUE_TYPE, S_msgQLib_INVALID_MSG_LENGTH (negative),
/// EINVAL (maxMsgs below 1) or S_memLib_NOT_ENOUGH_MEMORY. Does not wait.
MSG_Q_ID msgQCreate(int maxMsgs, int maxMsgLength, int options);

/// Sends the `nBytes` bytes at `buffer` (not null unless nBytes is 0) as one message: to the first waiting
/// receiver, or else into a free slot, waiting up to `timeout` ticks for one. The buffer is the caller's
/// again when the call returns. `priority` MSG_PRI_URGENT puts the message before all others; any other
/// value puts it after them. A message that waited for room is placed when there is room.
///
/// Returns OK, or ERROR with errno
/// - S_objLib_OBJ_ID_ERROR: no such queue;
/// - S_msgQLib_INVALID_MSG_LENGTH: nBytes is above the queue's message length;
/// - S_objLib_OBJ_UNAVAILABLE: the queue is full, and the timeout is NO_WAIT;
/// - S_objLib_OBJ_TIMEOUT: the timeout elapsed;
/// - S_objLib_OBJ_DELETED: the queue was deleted during the wait;
/// - S_memLib_NOT_ENOUGH_MEMORY: the thread that runs the clock cannot be started.
/// In none of these cases is the message sent.
STATUS msgQSend(MSG_Q_ID msgQId, char *buffer, UINT nBytes, int timeout, int priority);

/// Receives the first message into `buffer` of `maxNBytes` bytes (not null unless that is 0), waiting up to
/// `timeout` ticks for one. What does not fit into the buffer is lost.
///
/// Returns the number of bytes put into the buffer, or ERROR with errno
/// - S_objLib_OBJ_ID_ERROR: no such queue;
/// - S_msgQLib_INVALID_MSG_LENGTH: maxNBytes is above INT_MAX;
/// - S_objLib_OBJ_UNAVAILABLE: the queue is empty, and the timeout is NO_WAIT;
/// - S_objLib_OBJ_TIMEOUT: the timeout elapsed;
/// - S_objLib_OBJ_DELETED: the queue was deleted during the wait;
/// - S_memLib_NOT_ENOUGH_MEMORY: the thread that runs the clock cannot be started.
int msgQReceive(MSG_Q_ID msgQId, char *buffer, UINT maxNBytes, int timeout);

/// Number of messages in the queue's slots, 0 to maxMsgs; those of waiting senders do not count. ERROR with
/// errno S_objLib_OBJ_ID_ERROR for no such queue. Does not wait.
int msgQNumMsgs(MSG_Q_ID msgQId);

/// Deletes a queue with the messages in it. Its id is stale from then on; every task waiting to send to it
/// or to receive from it wakes with S_objLib_OBJ_DELETED.
///
/// Returns OK, or ERROR with errno S_objLib_OBJ_ID_ERROR. Does not wait.
STATUS msgQDelete(MSG_Q_ID msgQId);

#ifdef __cplusplus
}
#endif

#endif
