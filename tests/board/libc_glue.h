/* SPDX-License-Identifier: Apache-2.0 */
/* What tests see of the files that the module uses, and of its memory. */
#ifndef JORN_TESTS_BOARD_LIBC_GLUE_H
#define JORN_TESTS_BOARD_LIBC_GLUE_H

#ifdef __cplusplus
extern "C" {
#endif

/** Calls a function at each open (before), write, close and rm (after) of a file; null for none. */
void boardOnFileCall(void (*hook)(const char *call, const char *path));
/** Files and directories that are open. */
int boardOpenFiles(void);

/** Where the heap ends; a test may lower it. */
extern char *boardHeapLimit;

/** From the first `change` of 1 to its -1 no other task runs. */
void boardHoldTasks(int change);

#ifdef __cplusplus
}
#endif

#endif
