// SPDX-License-Identifier: Apache-2.0
// A file in a log's directory that is rewritten whole or not at all.
#ifndef JORN_TOOLS_FILE_REPLACEMENT_H
#define JORN_TOOLS_FILE_REPLACEMENT_H

#include <string>
#include <string_view>

#include "system/file_access.h"
#include "system/temporary.h"

namespace tool {

/// Writes all of it. Throws Failure with `shown`.
void writeWhole(int file, std::string_view bytes, const std::string &shown);

/// New content for a name, written and synced, that takes its place in one step or is removed again.
/// Everything that needs space or permissions has been done when it is constructed.
class FileReplacement {
public:
    /// The descriptor of the directory must stay open. `shown` is the path of the file as the user knows it.
    /// Throws Failure.
    FileReplacement(int directory, std::string name, const std::string &shown, std::string_view bytes);

    /// The change is on the medium after the next sync of the directory. Throws Failure.
    void takePlace() { file_.replace(name_); }

private:
    std::string name_;
    TemporaryFile file_;
};

/// Replaces or creates a file in the directory and syncs both: after a power cut the name refers to the old
/// content or to the new, whole. Throws Failure; then the old content is still there.
void replaceFile(int directory, const std::string &name, const std::string &shown, std::string_view bytes);

/// Syncs changed names in a directory to the medium. `name` is that directory's, relative to `directory`.
/// False with the reason in errno.
bool syncDirectory(int directory, const std::string &name);

/// The same for `directory` itself. The content is already on the medium, so a failure is ignored: not every
/// file system can do this.
void syncNames(int directory);

}  // namespace tool

#endif
