/* SPDX-License-Identifier: Apache-2.0 */
/* What newlib needs of a system: files on YAFFS, the console, the clock, memory. On the device, paths of the
   file system begin with "/yaffs", but for those of YAFFS's own calls. */
#include "libc_glue.h"

#include <common.h>
#include <dirent.h>
#include <ioLib.h>
#include <reent.h>
#include <sys/time.h>
#include <sysLib.h>
#include <usrFsLib.h>
#include <yaffsfs.h>

#include "clock.h"
#include "machine.h"

/* Descriptors: the console's three, YAFFS's, and one for any directory that open() has made. */
enum { CONSOLE = 3, DIRECTORY = 1000 };

static char *heapEnd;
static void (*onFileCall)(const char *call, const char *path);
static int openFiles, openDirectories;
static uint32_t timeSet, ticksThen;
static const char *paths[256];

extern char boardHeap[], boardHeapEnd[];
char *boardHeapLimit;

static const char *inFileSystem(const char *path) {
    if (strncmp(path, "/yaffs/", 7) == 0) {
        return path + 6;
    }
    errno = ENOENT;
    return NULL;
}

static void note(const char *call, const char *path) {
    if (onFileCall != NULL) {
        onFileCall(call, path);
    }
}

void boardOnFileCall(void (*hook)(const char *, const char *)) { onFileCall = hook; }
int boardOpenFiles(void) { return openFiles + openDirectories; }

int _open(const char *path, int flags, int mode) {
    const char *const inside = inFileSystem(path);
    if (inside == NULL) {
        return -1;
    }
    if ((mode & FSTAT_DIR) != 0) {
        return yaffs_mkdir(inside, mode & 0777) == 0 ? DIRECTORY : -1;
    }
    note("open", inside);
    const int file = yaffs_open(inside, flags, mode);
    if (file < 0) {
        return -1;
    }
    paths[file] = strdup(inside);
    ++openFiles;
    return file + CONSOLE;
}

int _close(int file) {
    if (file < CONSOLE || file == DIRECTORY) {
        return 0;
    }
    --openFiles;
    const char *const path = paths[file - CONSOLE];
    const int result = yaffs_close(file - CONSOLE);
    note("close", path);
    free((void *)path);
    return result;
}

int _read(int file, char *bytes, int size) {
    return file < CONSOLE ? 0 : yaffs_read(file - CONSOLE, bytes, (unsigned)size);
}

int _write(int file, const char *bytes, int size) {
    if (file < CONSOLE) {
        boardConsole(bytes, (size_t)size);
        return size;
    }
    const int written = yaffs_write(file - CONSOLE, bytes, (unsigned)size);
    note("write", paths[file - CONSOLE]);
    return written;
}

off_t _lseek(int file, off_t offset, int whence) {
    return file < CONSOLE ? 0 : (off_t)yaffs_lseek(file - CONSOLE, offset, whence);
}

int _fstat(int file, struct stat *status) {
    memset(status, 0, sizeof *status);
    status->st_mode = file < CONSOLE ? S_IFCHR : S_IFREG;
    return 0;
}

int _isatty(int file) { return file < CONSOLE; }

int _unlink(const char *path) {
    const char *const inside = inFileSystem(path);
    return inside != NULL ? yaffs_unlink(inside) : -1;
}

STATUS rm(const char *fileName) {
    const STATUS result = _unlink(fileName) == 0 ? OK : ERROR;
    note("rm", fileName);
    return result;
}

DIR *opendir(const char *name) {
    const char *const inside = inFileSystem(name);
    DIR *const directory = inside != NULL ? (DIR *)yaffs_opendir(inside) : NULL;
    openDirectories += directory != NULL;
    return directory;
}

int closedir(DIR *directory) {
    --openDirectories;
    return yaffs_closedir((yaffs_DIR *)directory);
}

void *_sbrk(ptrdiff_t size) {
    if (heapEnd == NULL) {
        heapEnd = boardHeap;
        boardHeapLimit = boardHeapEnd;
    }
    if (heapEnd + size > boardHeapLimit) {
        errno = ENOMEM;
        return (void *)-1;
    }
    heapEnd += size;
    return heapEnd - size;
}

/* Allocations are not interrupted by another task; they may nest. */
void __malloc_lock(struct _reent *unused) {
    (void)unused;
    boardHoldTasks(1);
}
void __malloc_unlock(struct _reent *unused) {
    (void)unused;
    boardHoldTasks(-1);
}

int sysClkRateGet(void) { return 60; }

uint32_t boardTime(void) { return timeSet + (boardTickCount() - ticksThen) / 60; }

void boardSetTime(uint32_t seconds) {
    timeSet = seconds;
    ticksThen = boardTickCount();
}

int _gettimeofday(struct timeval *now, void *unused) {
    (void)unused;
    now->tv_sec = boardTime();
    now->tv_usec = 0;
    return 0;
}

void _exit(int status) { boardExit(status); }

int _kill(int unused, int signal) {
    (void)unused;
    printf("signal %d\n", signal);
    boardExit(5);
}

int _getpid(void) { return 1; }
