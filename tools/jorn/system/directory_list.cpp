// SPDX-License-Identifier: Apache-2.0
#include "system/directory_list.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

namespace tool {
namespace {

struct DirectoryCloser {
    void operator()(DIR *directory) const { closedir(directory); }
};
using DirectoryStream = std::unique_ptr<DIR, DirectoryCloser>;

DirectoryStream openList(int directory) {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    int list = openat(directory, ".", kFlags | O_NOATIME);
    // O_NOATIME is refused for directories of other owners.
    if (list < 0 && errno == EPERM) {
        list = openat(directory, ".", kFlags);
    }
    DirectoryStream stream(list >= 0 ? fdopendir(list) : nullptr);
    if (!stream && list >= 0) {
        close(list);
    }
    return stream;
}

}  // namespace

std::optional<std::vector<std::string>> listNames(int directory) {
    const DirectoryStream stream = openList(directory);
    if (!stream) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    while (const dirent *const entry = readdir(stream.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace tool
