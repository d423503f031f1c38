// SPDX-License-Identifier: Apache-2.0
#include "cursor/log_stamp.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <optional>

namespace tool {
namespace {

std::string timeText(const timespec &time) {
    return std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
}

std::string textOf(const struct stat &status) {
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) + ":" +
           std::to_string(status.st_size) + ":" + timeText(status.st_mtim) + ":" + timeText(status.st_ctim);
}

std::optional<struct stat> statusOf(const StoreDirectory &directory, const std::string &name) {
    struct stat status;
    return fstatat(directory.descriptor(), name.c_str(), &status, 0) == 0 ? std::optional(status)
                                                                          : std::nullopt;
}

/// "3 INDEX FILE".
std::string stampNow(const StoreDirectory &directory, int newest, const struct stat &file) {
    const auto index = statusOf(directory, kIndexName);
    return index ? std::to_string(newest) + " " + textOf(*index) + " " + textOf(file) : "";
}

}  // namespace

std::string stampOf(const StoreDirectory &directory, int newest, uint64_t size) {
    const auto file = statusOf(directory, dataFileName(newest));
    return file && static_cast<uint64_t>(file->st_size) == size ? stampNow(directory, newest, *file) : "";
}

bool isStamped(const StoreDirectory &directory, const std::string &stamp) {
    if (stamp.empty()) {
        return false;
    }
    const int newest = atoi(stamp.c_str());
    const auto file = statusOf(directory, dataFileName(newest));
    return file && stampNow(directory, newest, *file) == stamp;
}

}  // namespace tool
