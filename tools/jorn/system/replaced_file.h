// SPDX-License-Identifier: Apache-2.0
// A file that comes into being whole or not at all.
#ifndef JORN_TOOLS_REPLACED_FILE_H
#define JORN_TOOLS_REPLACED_FILE_H

#include <string>

#include "system/descriptor.h"

namespace tool {

/// Written under another name in the same directory. commit() puts it in its place; until then what was there
/// stays, and without it nothing is left.
class ReplacedFile {
public:
    /// Throws Failure; as a usage error when there is a file already that may not be replaced.
    ReplacedFile(const std::string &path, bool mayReplace);
    ~ReplacedFile();
    ReplacedFile(const ReplacedFile &) = delete;
    ReplacedFile &operator=(const ReplacedFile &) = delete;

    int descriptor() const { return file_.get(); }

    /// Under which it is written, for those who open it themselves.
    const std::string &temporaryPath() const { return temporary_; }

    /// As the user gave it, for messages.
    const std::string &path() const { return path_; }

    /// Brings the content to the medium and gives the file its name. Throws Failure.
    void commit();

private:
    void findTarget();
    void create();
    void giveName();

    std::string path_;
    bool mayReplace_;
    std::string target_;     ///< Absolute; where a link leads to.
    unsigned mode_ = 0;      ///< Permissions that it gets.
    std::string temporary_;  ///< Empty when there is none any more.
    Descriptor file_;
};

}  // namespace tool

#endif
