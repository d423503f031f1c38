// SPDX-License-Identifier: Apache-2.0
#include "record/torn_line.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <system_error>
#include <utility>

#include "log/regular_file.h"
#include "log/segment_reader.h"
#include "system/failure.h"
#include "system/file_access.h"
#include "system/file_bytes.h"
#include "system/file_replacement.h"
#include "system/temporary.h"
#include "terminal/counted.h"

namespace tool {
namespace {

constexpr size_t kBlockSize = 65536;

/// The last line of a file, from after the last line feed to the file's end.
struct LastLine {
    int64_t begin = 0;
    int64_t endOfItems = 0;  ///< Where the last piece that is a whole item ends; `begin` if there is none.
    int64_t end = 0;

    bool isEmpty() const { return begin == end; }
    bool isWhole() const { return endOfItems == end; }
    bool holdsItem() const { return endOfItems > begin; }
    int64_t tornBytes() const { return end - endOfItems; }
};

int64_t beginOfLastLine(int fd, int64_t end) {
    while (end > 0) {
        const auto length = static_cast<size_t>(std::min<int64_t>(end, kBlockSize));
        const int64_t begin = end - static_cast<int64_t>(length);
        std::string block(length, '\0');
        block.resize(readAt(fd, static_cast<uint64_t>(begin), block.data(), length));
        const size_t feed = block.rfind('\n');
        if (feed != std::string::npos) {
            return begin + static_cast<int64_t>(feed) + 1;
        }
        end = begin;
    }
    return 0;
}

/// Reads in pieces, as the store does, and judges them as a check of the log does.
LastLine findLastLine(int fd, int64_t size) {
    LastLine last;
    last.begin = beginOfLastLine(fd, size);
    last.endOfItems = last.begin;
    last.end = size;
    forEachLineToEnd(fd, static_cast<uint64_t>(last.begin), [&last](const Line &line) {
        if (line.isItem() && hasWholeNumbers(line.bytes)) {
            last.endOfItems = static_cast<int64_t>(line.end());
        }
    });
    return last;
}

/// A file whose last line is to be ended.
class TornFile {
public:
    TornFile(const StoreDirectory &directory, std::string name)
        : directory_(directory), name_(std::move(name)), shown_(directory.pathOf(name_)) {}

    std::string endLastLine() {
        // The store never gets to open a link, or anything but a file.
        file_ = openQuiet(directory_, name_, O_NOFOLLOW);
        if (!file_.isOpen() || fstat(file_.get(), &status_) < 0 || !S_ISREG(status_.st_mode)) {
            return "";
        }
        const LastLine line = findLastLine(file_.get(), status_.st_size);
        if (line.isEmpty()) {
            return "";
        }
        openToWrite();
        std::string done = line.isWhole() ? shown_ + ": the last line had no line end; it has one now"
                                          : takeTornBytesOut(line);
        if (line.holdsItem()) {
            addLineFeed(line.endOfItems);
        }
        sync();
        return done;
    }

private:
    /// Opens the very file that was read, whatever its name refers to by now.
    void openToWrite() {
        writer_ = Descriptor(open(descriptorName(file_.get()).c_str(), O_WRONLY | O_CLOEXEC));
        if (!writer_.isOpen()) {
            throw systemFailure(shown_, errno);
        }
    }

    std::string takeTornBytesOut(const LastLine &line) const {
        const std::string kept = keepTornBytes(line.endOfItems);
        if (ftruncate(writer_.get(), line.endOfItems) < 0) {
            const int reason = errno;
            unlinkat(directory_.descriptor(), kept.c_str(), 0);
            throw systemFailure(shown_, reason);
        }
        return shown_ + ": the last line was cut off; its " + counted(line.tornBytes(), "byte", "bytes") +
               " are kept in " + directory_.pathOf(kept);
    }

    /// Returns the name of the file that holds the bytes now.
    std::string keepTornBytes(int64_t begin) const {
        int number = 0;
        while (isTaken(tornName(number))) {
            ++number;
        }
        const std::string shown = directory_.pathOf(tornName(number));
        TemporaryFile kept(directory_.descriptor(), shown);
        copyFrom(begin, kept.descriptor(), shown);
        giveAccess(kept.descriptor(), accessOf(status_), shown);
        kept.sync();
        while (!kept.takeFreeName(tornName(number))) {
            ++number;
        }
        syncNames(directory_.descriptor());
        return tornName(number);
    }

    static std::string tornName(int number) { return "torn-" + std::to_string(number) + ".txt"; }

    bool isTaken(const std::string &name) const {
        return faccessat(directory_.descriptor(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    }

    void copyFrom(int64_t offset, int to, const std::string &shown) const {
        std::string block(kBlockSize, '\0');
        size_t length = 0;
        while ((length = readAt(file_.get(), static_cast<uint64_t>(offset), block.data(), block.size())) >
               0) {
            writeWhole(to, std::string_view(block).substr(0, length), shown);
            offset += static_cast<int64_t>(length);
        }
    }

    void addLineFeed(int64_t offset) const {
        if (pwrite(writer_.get(), "\n", 1, offset) != 1) {
            throw systemFailure(shown_, errno);
        }
    }

    void sync() const {
        if (fsync(writer_.get()) < 0) {
            throw systemFailure(shown_, errno);
        }
    }

    const StoreDirectory &directory_;
    const std::string name_;
    const std::string shown_;
    struct stat status_ = {};
    Descriptor file_;
    Descriptor writer_;
};

}  // namespace

std::string endTornLine(const StoreDirectory &directory, int position) {
    const std::string name = dataFileName(position);
    try {
        return TornFile(directory, name).endLastLine();
    } catch (const std::system_error &error) {
        throw systemFailure(directory.pathOf(name), error.code().value());
    }
}

}  // namespace tool
