// SPDX-License-Identifier: Apache-2.0
#include "import/whole_input.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <system_error>

#include "system/failure.h"
#include "system/file_bytes.h"
#include "system/file_replacement.h"

namespace tool {
namespace {

constexpr size_t kBlockSize = 65536;

std::string temporaryPath() {
    const char *const path = getenv("TMPDIR");
    return path != nullptr && *path != '\0' ? path : "/tmp";
}

Descriptor openTemporaryDirectory() {
    Descriptor directory(open(temporaryPath().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.isOpen()) {
        throw systemFailure(temporaryPath(), errno);
    }
    return directory;
}

template <typename Take>
void forEachBlockLeft(int fd, Take take) {
    std::string block(kBlockSize, '\0');
    auto offset = static_cast<uint64_t>(lseek(fd, 0, SEEK_CUR));
    try {
        for (size_t length = 0; (length = readAt(fd, offset, block.data(), block.size())) > 0;
             offset += length) {
            take(std::string_view(block).substr(0, length));
        }
    } catch (const std::system_error &error) {
        throw systemFailure("standard input", error.code().value());
    }
}

}  // namespace

CopiedInput::CopiedInput(InputStream *input)
    : directory_(openTemporaryDirectory()), file_(directory_.get(), temporaryPath()) {
    for (InputStream::Event event = input->next(); event != InputStream::Event::End; event = input->next()) {
        if (event == InputStream::Event::Pause) {
            input->wait();
        } else {
            writeWhole(file_.descriptor(), input->block(), temporaryPath());
        }
    }
    lseek(file_.descriptor(), 0, SEEK_SET);
}

std::optional<uint64_t> linesLeft(int fd) {
    struct stat status;
    if (fstat(fd, &status) < 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    uint64_t lines = 0;
    char last = '\n';
    forEachBlockLeft(fd, [&](std::string_view block) {
        lines += static_cast<uint64_t>(std::count(block.begin(), block.end(), '\n'));
        last = block.back();
    });
    return lines + (last == '\n' ? 0 : 1);
}

uint64_t jsonItemsLeft(int fd, const JsonItems::Settings &settings) {
    uint64_t count = 0;
    JsonItems items(settings, [&count](const InputItem & /*item*/) { ++count; });
    forEachBlockLeft(fd, [&](std::string_view block) { items.feed(block); });
    items.finish();
    return count;
}

}  // namespace tool
