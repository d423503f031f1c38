// SPDX-License-Identifier: Apache-2.0
#include "system/closed_directory.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

namespace tool {
namespace {

/// Where the last name of a path begins.
size_t lastName(const std::string &path) {
    const size_t end = path.find_last_not_of('/');
    const size_t slash = end == std::string::npos ? end : path.find_last_of('/', end);
    return slash == std::string::npos ? 0 : slash + 1;
}

std::string withoutSlashes(const std::string &directory) {
    const size_t end = directory.find_last_not_of('/');
    return end == std::string::npos ? directory.substr(0, 1) : directory.substr(0, end + 1);
}

std::string parentOf(const std::string &path) {
    const std::string parent = withoutSlashes(path.substr(0, lastName(path)));
    return parent.empty() ? "." : parent;
}

/// The first directory on the way to a path that the user may not search; empty when there is none.
std::string obstacleTo(const std::string &path) {
    const size_t end = lastName(path);
    for (size_t slash = path.find('/'); slash < end; slash = path.find('/', slash + 1)) {
        std::string directory = slash == 0 ? "/" : path.substr(0, slash);
        if (faccessat(AT_FDCWD, directory.c_str(), X_OK, AT_EACCESS) < 0 && errno == EACCES) {
            return directory;
        }
    }
    return "";
}

}  // namespace

Failure openFailure(const std::string &path, int error) {
    const std::string obstacle = error == EACCES ? obstacleTo(path) : "";
    return systemFailure(obstacle.empty() ? path : path + ": cannot be reached through " + obstacle, error);
}

Failure makeFailure(const std::string &path, int error) {
    if (error == ENOENT && !path.empty()) {
        return Failure(path + ": cannot be created: the directory " + parentOf(path) +
                       " is missing; --parents creates it");
    }
    const bool isOfParent = (error == EACCES && obstacleTo(path).empty()) || error == EROFS;
    return isOfParent ? systemFailure(path + ": cannot be created in " + parentOf(path), error)
                      : openFailure(path, error);
}

}  // namespace tool
