// SPDX-License-Identifier: Apache-2.0
#ifndef MSGQLIB_H
#define MSGQLIB_H

#include <vxWorks.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct deviceMessageQueue *MSG_Q_ID;

#define MSG_Q_PRIORITY 0x01
#define MSG_PRI_NORMAL 0

MSG_Q_ID msgQCreate(int maxMsgs, int maxMsgLength, int options);
STATUS msgQSend(MSG_Q_ID msgQId, char *buffer, UINT nBytes, int timeout, int priority);
int msgQReceive(MSG_Q_ID msgQId, char *buffer, UINT maxNBytes, int timeout);
int msgQNumMsgs(MSG_Q_ID msgQId);
STATUS msgQDelete(MSG_Q_ID msgQId);

#ifdef __cplusplus
}
#endif

#endif
