// SPDX-License-Identifier: Apache-2.0
// Newlib refuses this header without an operating system; on the device the platform supplies it. The module
// only checks whether a directory can be opened.
#ifndef DIRENT_H
#define DIRENT_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct directoryStream DIR;

DIR *opendir(const char *name);
int closedir(DIR *directory);

#ifdef __cplusplus
}
#endif

#endif
