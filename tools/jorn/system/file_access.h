// SPDX-License-Identifier: Apache-2.0
// Owner, group and permissions of what is written in another's place: whoever runs the tool, the log stays
// its owner's.
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

/// That of what was looked at. No file of a log needs the bits beyond read, write and execute.
FileAccess accessOf(const struct stat &status);

/// What a file must have that is to bear the name: as the regular file that it replaces, else as befits a
/// file of the directory. Throws Failure with `shown`.
FileAccess accessFor(int directory, const std::string &name, const std::string &shown);

/// Gives an open file or directory its access. Another owner can be given by the superuser only, and a group
/// by its members; whoever else writes a file keeps it. Throws Failure with `shown`.
void giveAccess(int file, const FileAccess &access, const std::string &shown);

}  // namespace tool

#endif
