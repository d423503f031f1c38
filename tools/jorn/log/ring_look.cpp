// SPDX-License-Identifier: Apache-2.0
#include "log/ring_look.h"

#include <fcntl.h>
#include <unistd.h>

#include "log/regular_file.h"

namespace tool {
namespace {

constexpr std::array<const char *, 2> kIndexNames = {kIndexName, kIndexBackupName};

bool isReadableFile(const StoreDirectory &directory, const std::string &name, const Entry &entry) {
    return entry.isFile() && faccessat(directory.descriptor(), name.c_str(), R_OK, AT_EACCESS) == 0;
}

void requireReadable(const StoreDirectory &directory, const std::string &name, const Entry &entry) {
    if (entry.isPresent() && !isReadableFile(directory, name, entry)) {
        openRegular(directory, name);  // Throws, and says why it is none.
    }
}

}  // namespace

IndexLook::IndexLook(const StoreDirectory &directory) {
    for (size_t i = 0; i < kIndexNames.size(); ++i) {
        Entry &entry = entries_[i] = lookThroughLinks(directory, kIndexNames[i]);
        if (entry.isFile() || !entry.isPresent()) {
            opened_ = std::make_shared<Descriptor>(openRegular(directory, kIndexNames[i]));
        }
        const bool isOpen = opened_ != nullptr && opened_->isOpen();
        if (isOpen) {
            entry.kind = Entry::Kind::File;
            entry.mark = markOf(opened_->get());
            positions_ = readIndex(*opened_);
        }
        if (entry.isPresent()) {
            return;
        }
    }
}

IndexLook::Entries IndexLook::entriesIn(const StoreDirectory &directory) {
    Entries entries;
    for (size_t i = 0; i < kIndexNames.size(); ++i) {
        entries[i] = lookThroughLinks(directory, kIndexNames[i]);
        if (entries[i].isPresent()) {
            break;
        }
    }
    return entries;
}

bool IndexLook::isStill(const StoreDirectory &directory) const { return entriesIn(directory) == entries_; }

DataFileEntries lookAtDataFiles(const StoreDirectory &directory) {
    DataFileEntries entries;
    for (size_t number = 0; number < entries.size(); ++number) {
        entries[number] = lookThroughLinks(directory, dataFileName(static_cast<int>(number)));
    }
    return entries;
}

RingLook::RingLook(const StoreDirectory &directory) : index(directory), files(lookAtDataFiles(directory)) {}

RingLook RingLook::ofReadable(const StoreDirectory &directory) {
    RingLook look(directory);
    for (size_t i = 0; i < kIndexNames.size(); ++i) {
        requireReadable(directory, kIndexNames[i], look.index.entries()[i]);
    }
    for (size_t number = 0; number < look.files.size(); ++number) {
        requireReadable(directory, dataFileName(static_cast<int>(number)), look.files[number]);
    }
    return look;
}

}  // namespace tool
