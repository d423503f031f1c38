// SPDX-License-Identifier: Apache-2.0
// A file that is created whole or not at all.
#ifndef JORN_TOOLS_REPLACED_FILE_H
#define JORN_TOOLS_REPLACED_FILE_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "system/descriptor.h"
#include "system/temporary.h"

namespace tool {

/// Written next to its target. commit() puts it in place; until then any existing file stays, and without
/// commit() nothing is left over.
class ReplacedFile {
public:
    /// What becomes of a file that is there already.
    enum class Existing {
        Replaced,
        Kept,        ///< A usage error, which names --force.
        KeptAlways,  ///< A usage error.
    };

    /// Throws Failure.
    ReplacedFile(const std::string &path, Existing existing,
                 TemporaryFile::Naming naming = TemporaryFile::Naming::WhenNeeded);

    int descriptor() const { return file_->descriptor(); }

    /// The path it is written under, for callers that open it themselves; only with Naming::AtOnce.
    std::string temporaryPath() const;

    /// As the user gave it, for messages.
    const std::string &path() const { return path_; }

    /// Syncs the content to the medium and gives the file its name. False, with the reason in errno, when the
    /// name may be lost in a power cut: the directory could not be synced, as not every file system can.
    /// Throws Failure.
    [[nodiscard]] bool commit();

private:
    void findTarget();
    [[noreturn]] void refuseExisting() const;

    std::string path_;
    Existing existing_;
    std::string target_;    ///< Absolute, with links resolved.
    mode_t mode_ = 0;       ///< Permissions that the file gets.
    Descriptor directory_;  ///< That of the target.
    std::optional<TemporaryFile> file_;
};

}  // namespace tool

#endif
