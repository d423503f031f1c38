// SPDX-License-Identifier: Apache-2.0
// Owner, group and permissions of a file that is written in place of another: whoever runs the tool, the log
// keeps its owner.
#ifndef JORN_TOOLS_FILE_ACCESS_H
#define JORN_TOOLS_FILE_ACCESS_H

#include <sys/stat.h>
#include <sys/types.h>

#include <string>

namespace tool {

/// Whose a file is, and who may do what with it.
struct FileAccess {
    uid_t owner = 0;
    gid_t group = 0;
    mode_t mode = 0;
};

/// The access in a file status. Files of a log need no bits beyond read, write and execute.
FileAccess accessOf(const struct stat &status);

/// The access for a file that is to bear the name: that of the regular file it replaces, else what suits a
/// file of the directory. Throws Failure with `shown`.
FileAccess accessFor(int directory, const std::string &name, const std::string &shown);

/// Sets the access of an open file or directory. Only the superuser can set another owner, and only its
/// members a group; for anyone else the file stays the writer's own. Throws Failure with `shown`.
void giveAccess(int file, const FileAccess &access, const std::string &shown);

}  // namespace tool

#endif
