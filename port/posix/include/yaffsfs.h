// SPDX-License-Identifier: Apache-2.0
#ifndef YAFFSFS_H
#define YAFFSFS_H

#ifdef __cplusplus
extern "C" {
#endif

/// Renames a file or directory in one step, replacing what has the new name.
///
/// On the device the call takes paths below the file system's mount point "/yaffs", without that prefix. So
/// when "/yaffs" followed by `oldPath` exists on the host, both paths get the prefix; otherwise both are host
/// paths as they are.
///
/// Returns 0, or -1 with the host's error number in errno (EINVAL for null, ENAMETOOLONG).
int yaffs_rename(const char *oldPath, const char *newPath);

#ifdef __cplusplus
}
#endif

#endif
