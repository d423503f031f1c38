// SPDX-License-Identifier: Apache-2.0
#include "query/link_directory.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>

#include "log/store_directory.h"
#include "system/failure.h"

namespace tool {

LinkDirectory::LinkDirectory() {
    std::error_code error;
    path_ = (std::filesystem::temp_directory_path(error) / "jorn-XXXXXX").string();
    if (error) {
        throw systemFailure("temporary directory", error.value());
    }
    if (mkdtemp(path_.data()) == nullptr) {
        throw systemFailure(path_, errno);
    }
    directory_ = Descriptor(open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory_.isOpen()) {
        const int reason = errno;
        rmdir(path_.c_str());
        throw systemFailure(path_, reason);
    }
    shortName_ = descriptorName(directory_.get());
}

LinkDirectory::~LinkDirectory() {
    for (const std::string &name : names_) {
        unlinkat(directory_.get(), name.c_str(), 0);
    }
    rmdir(path_.c_str());
}

void LinkDirectory::add(const std::string &name, const std::string &target) {
    if (symlinkat(target.c_str(), directory_.get(), name.c_str()) < 0) {
        throw systemFailure(path_ + "/" + name, errno);
    }
    names_.push_back(name);
}

}  // namespace tool
