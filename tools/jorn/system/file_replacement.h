// SPDX-License-Identifier: Apache-2.0
// A file of a log's directory that is written anew, whole or not at all.
#ifndef JORN_TOOLS_FILE_REPLACEMENT_H
#define JORN_TOOLS_FILE_REPLACEMENT_H

#include <string>
#include <string_view>

#include "system/file_access.h"
#include "system/temporary.h"

namespace tool {

/// Writes all of it. Throws Failure with `shown`.
void writeWhole(int file, std::string_view bytes, const std::string &shown);

/// New content for a name, written and synced, that takes its place in one step or is gone again. What needs
/// room or rights has been done when it is constructed.
class FileReplacement {
public:
    /// The descriptor of the directory must stay open. `shown` is the path of the file that the user knows.
    /// Throws Failure.
    FileReplacement(int directory, std::string name, const std::string &shown, std::string_view bytes);

    /// The change is on the medium after the next sync of the directory. Throws Failure.
    void takePlace() { file_.replace(name_); }

private:
    std::string name_;
    TemporaryFile file_;
};

/// Replaces a file of the directory, or makes it, and syncs both: after a cut the name stands for the former
/// content or for the new one, whole. Throws Failure; then the former content is still there.
void replaceFile(int directory, const std::string &name, const std::string &shown, std::string_view bytes);

/// Brings changes of names in a directory to the medium. `name` is that of the directory as seen from
/// `directory`. False with the reason in errno.
bool syncDirectory(int directory, const std::string &name);

/// The same for a file system that may be unable to: the content is there already, so a failure is ignored.
void syncNames(int directory);

}  // namespace tool

#endif
