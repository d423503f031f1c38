// SPDX-License-Identifier: Apache-2.0
#include "system/directory_lock.h"

#include <stdio.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <array>
#include <fstream>
#include <sstream>
#include <string>

namespace tool {
namespace {

/// As /proc/locks has it: "08:01:1234".
std::string identityOf(const struct stat &status) {
    std::array<char, 64> text{};
    snprintf(text.data(), text.size(), "%02x:%02x:%llu", major(status.st_dev), minor(status.st_dev),
             static_cast<unsigned long long>(status.st_ino));
    return text.data();
}

}  // namespace

bool isLocked(int fd) {
    struct stat status;
    if (fstat(fd, &status) < 0) {
        return false;
    }
    const std::string wanted = identityOf(status);
    std::ifstream locks("/proc/locks");
    // "1: FLOCK  ADVISORY  WRITE 1234 08:01:5678 0 EOF"; those who wait have "->" after the number.
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number, kind, mode, access, process, file;
        words >> number >> kind >> mode >> access >> process >> file;
        if (kind == "FLOCK" && access == "WRITE" && file == wanted) {
            return true;
        }
    }
    return false;
}

}  // namespace tool
