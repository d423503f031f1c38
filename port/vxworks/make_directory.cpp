// SPDX-License-Identifier: Apache-2.0
// The one platform call of the module that is not a VxWorks or YAFFS call.
#include <vxWorks.h>

#include <fcntl.h>
#include <ioLib.h>
#include <sys/stat.h>

extern "C" int jorn_MakeDirectory(const char *name);

/// Makes one directory level with permissions 0750; on VxWorks a directory is made by opening it for
/// creation. Returns 0, or -1 with errno set by open().
///
/// The descriptor stays open on purpose (docs/decisions/0007): making a directory is this one call and
/// nothing after it. Each directory that is made costs one descriptor until the next restart; an existing
/// directory is never opened here, so that is once for each directory of a medium.
extern "C" int jorn_MakeDirectory(const char *name) {
    return open(name, O_CREAT | O_RDWR, FSTAT_DIR | 0750) == ERROR ? -1 : 0;
}
