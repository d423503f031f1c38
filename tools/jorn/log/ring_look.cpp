// SPDX-License-Identifier: Apache-2.0
#include "log/ring_look.h"

#include <fcntl.h>
#include <unistd.h>

#include "log/regular_file.h"

namespace tool {
namespace {

void requireOpened(const IndexEntry &index) {
    if (index.unreadable && !index.opened) {
        throw Failure(*index.unreadable);
    }
}

/// The backup was opened only if the store would read it.
void requireOpened(const IndexLook &look) {
    requireOpened(look.index);
    requireOpened(look.backup);
}

bool isReadableFile(const StoreDirectory &directory, const std::string &name, const Entry &entry) {
    return entry.isFile() && faccessat(directory.descriptor(), name.c_str(), R_OK, AT_EACCESS) == 0;
}

void requireReadable(const StoreDirectory &directory, const std::string &name, const Entry &entry) {
    if (entry.isPresent() && !isReadableFile(directory, name, entry)) {
        openRegular(directory, name);  // Throws, saying what is wrong.
    }
}

void requireReadable(const StoreDirectory &directory, const IndexLook &look) {
    requireOpened(look);
    requireReadable(directory, look.index.target.isPresent() ? kIndexName : kIndexBackupName,
                    look.used().target);
}

}  // namespace

RingLook::RingLook(const StoreDirectory &directory) : look_(lookAt(directory, Extent::Ring)) {
    requireOpened(look_);
}

RingLook RingLook::ofReadable(const StoreDirectory &directory) {
    RingLook look(directory);
    requireReadable(directory, look.index());
    for (size_t number = 0; number < look.look_.files.size(); ++number) {
        requireReadable(directory, dataFileName(static_cast<int>(number)), look.look_.files[number].target);
    }
    return look;
}

std::optional<IndexPositions> readIndex(const StoreDirectory &directory) {
    const IndexLook look = lookAtIndex(directory, Extent::Ring);
    requireReadable(directory, look);
    return look.positions();
}

}  // namespace tool
