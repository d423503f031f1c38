/* SPDX-License-Identifier: Apache-2.0 */
#ifndef FIRMWARE_H
#define FIRMWARE_H

#ifdef __cplusplus
extern "C" {
#endif

/* Opens the logs; call it once the file system is mounted. Returns 0, or -1 on failure. */
int firmwareStart(void);

/* Called by the application's tasks to report events; these calls never block. */
void doorMoved(int door, int isOpen);
void supplyMeasured(int supply, int millivolts);

/* Runs a line of the service console: "show doors 1", "count power", "clear doors". Returns 0, or -1 on
 * failure. */
int firmwareCommand(const char *line);

/* Closes the logs; call it before a planned power-off. */
void firmwareStop(void);

#ifdef __cplusplus
}
#endif

#endif
