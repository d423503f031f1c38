// SPDX-License-Identifier: Apache-2.0
// Newlib refuses this header without an operating system; on the device it is the platform's. The module asks
// whether a directory can be opened, and nothing more.
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
