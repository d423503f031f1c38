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
static struct BoardFileCalls watched;
static int openFiles, openDirectories;
static uint32_t timeSet, ticksThen;
static const char *paths[256];

extern char boardHeap[];
char *boardHeapLimit;

static const char *inFileSystem(const char *path) {
    if (strncmp(path, "/yaffs/", 7) == 0) {
        return path + 6;
    }
    errno = ENOENT;
    return NULL;
}

void boardWatchFiles(const struct BoardFileCalls *calls) {
    static const struct BoardFileCalls none;
    watched = calls != NULL ? *calls : none;
}

int boardOpenFiles(void) { return openFiles + openDirectories; }

int _open(const char *path, int flags, int mode) {
    const char *const inside = inFileSystem(path);
    if (inside == NULL) {
        return -1;
    }
    if ((mode & FSTAT_DIR) != 0) {
        return yaffs_mkdir(inside, mode & 0777) == 0 ? DIRECTORY : -1;
    }
    if ((flags & O_TRUNC) != 0 && watched.begin != NULL) {
        watched.begin(inside);
    }
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
    if (watched.close != NULL) {
        watched.close(path);
    }
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
    if (watched.write != NULL) {
        watched.write(paths[file - CONSOLE], bytes, written);
    }
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
    if (watched.remove != NULL) {
        watched.remove(fileName);
    }
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

void boardEachFile(const char *directory, void (*each)(const char *path, void *argument), void *argument) {
    yaffs_DIR *const open = yaffs_opendir(inFileSystem(directory));
    const struct yaffs_dirent *entry;
    while (open != NULL && (entry = yaffs_readdir(open)) != NULL) {
        char path[300];
        snprintf(path, sizeof path, "%s/%s", directory, entry->d_name);
        each(path, argument);
    }
    if (open != NULL) {
        yaffs_closedir(open);
    }
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

uint32_t boardTime(void) { return timeSet + (boardTicksCome() - ticksThen) / 60; }

void boardSetTime(uint32_t seconds) {
    timeSet = seconds;
    ticksThen = boardTicksCome();
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
