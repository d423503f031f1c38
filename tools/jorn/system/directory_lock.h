// SPDX-License-Identifier: Apache-2.0
// Whether somebody holds a lock, without taking it for even a moment: that would keep a recorder out.
#ifndef JORN_TOOLS_DIRECTORY_LOCK_H
#define JORN_TOOLS_DIRECTORY_LOCK_H

namespace tool {

/// Whether any process holds the exclusive lock of an open file or directory, by /proc/locks. False where
/// that does not show it, as of another machine's processes.
bool isLocked(int fd);

}  // namespace tool

#endif
