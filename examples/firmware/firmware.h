/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_H
#define FIRMWARE_H

#ifdef __cplusplus
extern "C" {
#endif

/* Opens the logs, when the file system is mounted. Returns 0, or -1. */
int firmwareStart(void);

/* What the application's tasks report. They never wait. */
void doorMoved(int door, int isOpen);
void supplyMeasured(int supply, int millivolts);

/* A line of the service console: "show doors 1", "count power", "clear doors". Returns 0, or -1. */
int firmwareCommand(const char *line);

/* Before the power is switched off as planned. */
void firmwareStop(void);

#ifdef __cplusplus
}
#endif

#endif
