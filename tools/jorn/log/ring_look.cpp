// SPDX-License-Identifier: Apache-2.0
#include "log/ring_look.h"

#include <errno.h>
#include <sys/stat.h>

#include "log/regular_file.h"

namespace tool {
namespace {

constexpr std::array<const char *, 2> kIndexNames = {kIndexName, kIndexBackupName};

struct Named {
    bool isThere = false;
    bool isRegular = false;
    FileMark mark;
};

/// What a name leads to. A link that leads round in a circle is there, and is no file.
Named look(const StoreDirectory &directory, const std::string &name) {
    struct stat status;
    if (fstatat(directory.descriptor(), name.c_str(), &status, 0) < 0) {
        return {errno == ELOOP, false, {}};
    }
    return {true, S_ISREG(status.st_mode), markOf(status)};
}

}  // namespace

IndexLook::IndexLook(const StoreDirectory &directory) {
    for (size_t i = 0; i < kIndexNames.size(); ++i) {
        const Named named = look(directory, kIndexNames[i]);
        marks_[i] = named.mark;
        if (named.isRegular || !named.isThere) {
            opened_ = std::make_shared<Descriptor>(openRegular(directory, kIndexNames[i]));
        }
        const bool isOpen = opened_ != nullptr && opened_->isOpen();
        if (isOpen) {
            marks_[i] = markOf(opened_->get());
            positions_ = readIndex(*opened_);
        }
        if (named.isThere || isOpen) {
            return;
        }
    }
}

IndexLook::Marks IndexLook::marksIn(const StoreDirectory &directory) {
    Marks marks{};
    for (size_t i = 0; i < kIndexNames.size(); ++i) {
        const Named named = look(directory, kIndexNames[i]);
        marks[i] = named.mark;
        if (named.isThere) {
            break;
        }
    }
    return marks;
}

bool IndexLook::isStill(const StoreDirectory &directory) const { return marksIn(directory) == marks_; }

DataFileMarks dataFileMarks(const StoreDirectory &directory) {
    DataFileMarks marks;
    for (size_t number = 0; number < marks.size(); ++number) {
        marks[number] = look(directory, dataFileName(static_cast<int>(number))).mark;
    }
    return marks;
}

RingLook::RingLook(const StoreDirectory &directory) : index(directory), files(dataFileMarks(directory)) {
    survey.index = index.positions();
    for (size_t number = 0; number < files.size(); ++number) {
        survey.isPresent[number] = !(files[number] == FileMark{});
    }
}

}  // namespace tool
