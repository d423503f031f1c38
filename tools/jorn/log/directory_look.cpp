// SPDX-License-Identifier: Apache-2.0
#include "log/directory_look.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "log/aside.h"
#include "log/regular_file.h"
#include "module_limits.h"
#include "store/index_text.h"
#include "system/directory_list.h"
#include "system/failure.h"

namespace tool {
namespace {

/// A file that goes at this moment reads as empty; the next look tells the change.
IndexEntry indexEntryOf(const StoreDirectory &directory, const std::string &name) {
    IndexEntry index{lookAtEntry(directory, name), ""};
    if (!index.entry.isFile()) {
        return index;
    }
    const Descriptor file = openQuiet(directory, name, O_NOFOLLOW);
    if (!file.isOpen()) {
        if (errno == ENOENT) {
            return index;
        }
        throw systemFailure(directory.pathOf(name), errno);
    }
    std::array<char, 128> text;
    const ssize_t length = pread(file.get(), text.data(), text.size(), 0);
    if (length < 0) {
        throw systemFailure(directory.pathOf(name), errno);
    }
    index.text.assign(text.data(), static_cast<size_t>(length));
    return index;
}

/// What the text of an index begins with, if that is whole.
std::optional<jorn::WholeIndexText> wholeIndex(const std::string &text) {
    jorn::WholeIndexText whole = {};
    return jorn::judgeIndexText(text.c_str(), &whole) ? std::optional(whole) : std::nullopt;
}

/// A number and ".csv", but not one of the ring's names: "90.csv", "007.csv".
bool looksLikeDataFile(const std::string &name) {
    const size_t digits = name.find_first_not_of("0123456789");
    return digits != 0 && digits != std::string::npos &&
           name.compare(digits, std::string::npos, jorn::kDataFileEnding) == 0;
}

}  // namespace

bool operator==(const IndexEntry &a, const IndexEntry &b) { return a.entry == b.entry && a.text == b.text; }

bool operator==(const DirectoryLook &a, const DirectoryLook &b) {
    return a.files == b.files && a.index == b.index && a.backup == b.backup && a.otherNames == b.otherNames;
}

std::optional<IndexPositions> IndexEntry::positions() const {
    const std::optional<jorn::WholeIndexText> whole = wholeIndex(text);
    return whole ? std::optional(IndexPositions{whole->oldest, whole->latest}) : std::nullopt;
}

std::optional<IndexPositions> IndexEntry::usablePositions() const {
    const auto named = entry.isFile() ? positions() : std::nullopt;
    return named && isInRing(*named, jorn::kCsvNumMax) ? named : std::nullopt;
}

int64_t IndexEntry::surplus() const {
    const std::optional<jorn::WholeIndexText> whole = wholeIndex(text);
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

DirectoryLook lookAt(const StoreDirectory &directory) {
    DirectoryLook look;
    for (int position = 0; position < jorn::kSurveySize; ++position) {
        look.files[static_cast<size_t>(position)] = lookAtEntry(directory, dataFileName(position));
    }
    look.index = indexEntryOf(directory, kIndexName);
    look.backup = indexEntryOf(directory, kIndexBackupName);
    for (const std::string &name : namesIn(directory)) {
        if (looksLikeDataFile(name) && !dataFilePosition(name)) {
            look.otherNames.push_back(name);
        } else if (isAsideName(name)) {
            look.asides.push_back(name);
        }
    }
    return look;
}

}  // namespace tool
