/* SPDX-License-Identifier: Apache-2.0 */
/* What tests see of the files that the module uses, and of its memory. */
#ifndef JORN_TESTS_BOARD_LIBC_GLUE_H
#define JORN_TESTS_BOARD_LIBC_GLUE_H

#ifdef __cplusplus
extern "C" {
#endif

/** What is done with a file. `begin` is called before a file is made or emptied, the others after it is done.
 */
struct BoardFileCalls {
    void (*begin)(const char *path);
    void (*write)(const char *path, const char *bytes, int size);
    void (*close)(const char *path);
    void (*remove)(const char *path);
};
/** Has calls seen from now on, any of which may be null; null for none. */
void boardWatchFiles(const struct BoardFileCalls *calls);
/** Files and directories that are open. */
int boardOpenFiles(void);

/** Calls a function with the path of each file in a directory. */
void boardEachFile(const char *directory, void (*each)(const char *path, void *argument), void *argument);

/** Where the heap ends: of the board, and for now. */
extern char boardHeapEnd[];
extern char *boardHeapLimit;

/** From the first `change` of 1 to its -1 no other task runs. */
void boardHoldTasks(int change);

#ifdef __cplusplus
}
#endif

#endif
