// SPDX-License-Identifier: Apache-2.0
// A temporary directory of symbolic links, which shows files under other names and leaves them alone.
#ifndef JORN_TOOLS_LINK_DIRECTORY_H
#define JORN_TOOLS_LINK_DIRECTORY_H

#include <string>
#include <vector>

#include "system/descriptor.h"

namespace tool {

/// Removed, links and all, when it goes out of scope.
class LinkDirectory {
public:
    /// Throws Failure, as does add().
    LinkDirectory();
    ~LinkDirectory();
    LinkDirectory(const LinkDirectory &) = delete;
    LinkDirectory &operator=(const LinkDirectory &) = delete;

    void add(const std::string &name, const std::string &target);

    /// A name of at most 24 characters.
    const std::string &shortName() const { return shortName_; }

private:
    std::string path_;
    Descriptor directory_;
    std::string shortName_;
    std::vector<std::string> names_;
};

}  // namespace tool

#endif
