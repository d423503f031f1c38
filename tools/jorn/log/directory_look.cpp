// SPDX-License-Identifier: Apache-2.0
#include "log/directory_look.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "log/aside.h"
#include "log/regular_file.h"
#include "module_limits.h"
#include "store/index_text.h"
#include "system/directory_list.h"
#include "system/stream.h"

namespace tool {
namespace {

/// As the store reads it; a missing second number is 0.
std::optional<IndexPositions> scanIndex(const Descriptor &file) {
    const Stream index = streamFrom(file);
    int32_t version = 0;
    IndexPositions positions;
    const bool isUsable =
        index && jorn::scanIndexText(index.get(), &version, &positions.oldest, &positions.latest) > 0;
    return isUsable ? std::optional(positions) : std::nullopt;
}

void readIndexText(const std::string &path, IndexEntry *index) {
    std::array<char, 128> text;
    const ssize_t length = pread(index->opened->get(), text.data(), text.size(), 0);
    if (length < 0) {
        index->unreadable = systemFailure(path, errno);
        return;
    }
    index->text.assign(text.data(), static_cast<size_t>(length));
    index->scanned = scanIndex(*index->opened);
}

/// What was opened counts, even if the name has come to refer to another file since it was looked at. A file
/// that is removed at this moment reads as empty; the next look shows the change.
void openIndex(const StoreDirectory &directory, const std::string &name, IndexEntry *index) {
    try {
        Descriptor file = openRegular(directory, name);
        if (!file.isOpen()) {
            return;
        }
        index->target = lookAtOpened(file);
        index->entry = index->entry.kind == Entry::Kind::Link ? index->entry : index->target;
        index->opened = std::make_shared<const Descriptor>(std::move(file));
    } catch (const Failure &failure) {
        index->unreadable = failure;
        return;
    }
    readIndexText(directory.pathOf(name), index);
}

IndexEntry lookAtIndexFile(const StoreDirectory &directory, const std::string &name, bool isWanted) {
    NamedEntry named = lookAtName(directory, name);
    IndexEntry index;
    index.entry = named.itself;
    index.target = named.target;
    // A missing index may have appeared since, as the store writes a new file each time.
    if (isWanted && (index.target.isFile() || !index.target.isPresent())) {
        openIndex(directory, name, &index);
    }
    return index;
}

/// The beginning of an index text, if it is whole; nothing for an index that is a link.
std::optional<jorn::WholeIndexText> wholeIndex(const IndexEntry &index) {
    jorn::WholeIndexText whole = {};
    const bool isWhole = index.entry.isFile() && jorn::judgeIndexText(index.text.c_str(), &whole);
    return isWhole ? std::optional(whole) : std::nullopt;
}

/// A number and ".csv", but not a name that a ring uses: "90.csv", "007.csv".
bool looksLikeDataFile(const std::string &name) {
    const size_t digits = name.find_first_not_of("0123456789");
    return digits != 0 && digits != std::string::npos &&
           name.compare(digits, std::string::npos, jorn::kDataFileEnding) == 0;
}

void requireSeen(const StoreDirectory &directory, const std::string &name, const Entry &entry) {
    if (entry.error != 0) {
        throw systemFailure(directory.pathOf(name), entry.error);
    }
}

void requireRead(const StoreDirectory &directory, const std::string &name, const IndexEntry &index) {
    requireSeen(directory, name, index.entry);
    if (index.entry.isFile() && index.unreadable) {
        throw Failure(*index.unreadable);
    }
}

}  // namespace

bool operator==(const IndexEntry &a, const IndexEntry &b) { return a.entry == b.entry && a.text == b.text; }

bool IndexLook::isStill(const StoreDirectory &directory) const {
    const Entry now = lookAtName(directory, kIndexName).target;
    return now == index.target &&
           (now.isPresent() || lookAtName(directory, kIndexBackupName).target == backup.target);
}

bool IndexLook::isSameAs(const IndexLook &other) const {
    return index.target == other.index.target && used().target == other.used().target;
}

std::optional<IndexPositions> IndexEntry::positions() const {
    const std::optional<jorn::WholeIndexText> whole = wholeIndex(*this);
    return whole ? std::optional(IndexPositions{whole->oldest, whole->latest}) : std::nullopt;
}

std::optional<IndexPositions> IndexEntry::usablePositions() const {
    const auto named = positions();
    return named && isInRing(*named, jorn::kCsvNumMax) ? named : std::nullopt;
}

int64_t IndexEntry::surplus() const {
    const std::optional<jorn::WholeIndexText> whole = wholeIndex(*this);
    return whole ? entry.mark.size - whole->length : 0;
}

Descriptor openQuietly(const StoreDirectory &directory, const std::string &name) {
    Descriptor file = openQuiet(directory, name, O_NOFOLLOW);
    if (!file.isOpen()) {
        throw systemFailure(directory.pathOf(name), errno);
    }
    return file;
}

std::vector<std::string> namesIn(const StoreDirectory &directory) {
    const auto names = listNames(directory.descriptor());
    if (!names) {
        throw systemFailure(directory.path(), errno);
    }
    return *names;
}

IndexLook lookAtIndex(const StoreDirectory &directory, Extent extent) {
    IndexLook look;
    look.index = lookAtIndexFile(directory, kIndexName, true);
    look.backup =
        lookAtIndexFile(directory, kIndexBackupName, extent == Extent::All || !look.index.target.isPresent());
    return look;
}

DataFileEntries lookAtDataFiles(const StoreDirectory &directory) {
    DataFileEntries files;
    for (size_t position = 0; position < files.size(); ++position) {
        files[position] = lookAtName(directory, dataFileName(static_cast<int>(position)));
    }
    return files;
}

DirectoryLook lookAt(const StoreDirectory &directory, Extent extent) {
    DirectoryLook look{lookAtIndex(directory, extent), lookAtDataFiles(directory), {}, {}};
    if (extent == Extent::Ring) {
        return look;
    }
    for (const std::string &name : namesIn(directory)) {
        if (looksLikeDataFile(name) && !dataFilePosition(name)) {
            look.otherNames.push_back(name);
        } else if (isAsideName(name)) {
            look.asides.push_back(name);
        }
    }
    return look;
}

DirectoryLook lookAtAll(const StoreDirectory &directory) {
    DirectoryLook look = lookAt(directory, Extent::All);
    for (size_t position = 0; position < look.files.size(); ++position) {
        requireSeen(directory, dataFileName(static_cast<int>(position)), look.files[position].itself);
    }
    requireRead(directory, kIndexName, look.index);
    requireRead(directory, kIndexBackupName, look.backup);
    return look;
}

}  // namespace tool
