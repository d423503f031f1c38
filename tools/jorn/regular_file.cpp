// SPDX-License-Identifier: Apache-2.0
#include "regular_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "failure.h"

namespace tool {

Descriptor openRegular(const StoreDirectory &directory, const std::string &name) {
    // Not to wait for a writer, should a pipe bear that name.
    Descriptor file(openat(directory.descriptor(), name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
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
