// SPDX-License-Identifier: Apache-2.0
#include "log/regular_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "system/failure.h"

namespace tool {

Descriptor openQuiet(const StoreDirectory &directory, const std::string &name, int flags) {
    // So as not to wait for a writer if the name is that of a pipe.
    const int quiet = flags | O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    Descriptor file(openat(directory.descriptor(), name.c_str(), quiet | O_NOATIME));
    // O_NOATIME is refused for files of other owners.
    if (!file.isOpen() && errno == EPERM) {
        file = Descriptor(openat(directory.descriptor(), name.c_str(), quiet));
    }
    return file;
}

Descriptor openRegular(const StoreDirectory &directory, const std::string &name) {
    Descriptor file = openQuiet(directory, name);
    if (!file.isOpen()) {
        if (errno == ENOENT) {
            return file;
        }
        throw systemFailure(directory.pathOf(name), errno);
    }
    struct stat status;
    if (fstat(file.get(), &status) < 0) {
        throw systemFailure(directory.pathOf(name), errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(directory.pathOf(name) + ": not a regular file");
    }
    return file;
}

}  // namespace tool
