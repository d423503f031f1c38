// SPDX-License-Identifier: Apache-2.0
// The platform that the module uses: VxWorks by its own header names, YAFFS, and one call of our own. On a
// host, a port puts headers of these names on the include path. Beyond these calls the module uses the C
// library only: stdio, string, conversion, time, calloc and free, opendir and closedir.
#ifndef JORN_SRC_PLATFORM_H
#define JORN_SRC_PLATFORM_H

#include <vxWorks.h>

#include <dirent.h>
#include <msgQLib.h>   // msgQCreate msgQSend msgQReceive msgQNumMsgs msgQDelete
#include <semLib.h>    // semMCreate semTake semGive semDelete
#include <taskLib.h>   // taskSpawn taskDelete taskDelay
#include <usrFsLib.h>  // rm
#include <usrLib.h>    // printErrno

// The C library headers that YAFFS includes come first: in C++ they may hold templates, which must not get C
// linkage.
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>

// YAFFS's header is written for C and does not mark its functions for C++.
extern "C" {
#include <yaffsfs.h>  // yaffs_rename
}

// VxWorks and YAFFS define macros of these names, which would replace std::min and the like.
#undef min
#undef max

/// Makes one directory level with permissions 0750; a missing parent is an error. Supplied by the
/// port: on VxWorks an open() with FSTAT_DIR, elsewhere a mkdir(). Returns 0, or -1 when the directory
/// cannot be made.
extern "C" int jorn_MakeDirectory(const char *name);

#endif
