// SPDX-License-Identifier: Apache-2.0
#include "system/file_replacement.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "system/failure.h"

namespace tool {
void writeWhole(int file, std::string_view bytes, const std::string &shown) {
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            throw systemFailure(shown, written == 0 ? ENOSPC : errno);
        }
    }
}

FileReplacement::FileReplacement(int directory, std::string name, const std::string &shown,
                                 std::string_view bytes)
    : name_(std::move(name)), file_(directory, shown) {
    giveAccess(file_.descriptor(), accessFor(directory, name_, shown), shown);
    writeWhole(file_.descriptor(), bytes, shown);
    file_.sync();
}

void replaceFile(int directory, const std::string &name, const std::string &shown, std::string_view bytes) {
    FileReplacement replacement(directory, name, shown, bytes);
    replacement.takePlace();
    syncNames(directory);
}

bool syncDirectory(int directory, const std::string &name) {
    // A descriptor opened with O_PATH cannot be synced.
    const Descriptor opened(openat(directory, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return opened.isOpen() && fsync(opened.get()) == 0;
}

void syncNames(int directory) { [[maybe_unused]] const bool ignored = syncDirectory(directory, "."); }

}  // namespace tool
