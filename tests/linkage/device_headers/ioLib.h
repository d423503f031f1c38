// SPDX-License-Identifier: Apache-2.0
#ifndef IOLIB_H
#define IOLIB_H

/// Asks open() for a directory.
#define FSTAT_DIR 0040000

#endif
