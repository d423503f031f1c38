// SPDX-License-Identifier: Apache-2.0
// A file that comes into being whole or not at all.
#ifndef JORN_TOOLS_REPLACED_FILE_H
#define JORN_TOOLS_REPLACED_FILE_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "system/descriptor.h"
#include "system/temporary.h"

namespace tool {

/// Written beside its place. commit() puts it there; until then what was there stays, and without it nothing
/// is left.
class ReplacedFile {
public:
    /// Throws Failure; as a usage error when there is a file already that may not be replaced.
    ReplacedFile(const std::string &path, bool mayReplace,
                 TemporaryFile::Naming naming = TemporaryFile::Naming::WhenNeeded);

    int descriptor() const { return file_->descriptor(); }

    /// Under which it is written, for those who open it themselves; only of Naming::AtOnce.
    std::string temporaryPath() const;

    /// As the user gave it, for messages.
    const std::string &path() const { return path_; }

    /// Brings the content to the medium and gives the file its name. Throws Failure.
    void commit();

private:
    void findTarget();

    std::string path_;
    bool mayReplace_;
    std::string target_;    ///< Absolute; where a link leads to.
    mode_t mode_ = 0;       ///< Permissions that it gets.
    Descriptor directory_;  ///< That of the target.
    std::optional<TemporaryFile> file_;
};

}  // namespace tool

#endif
