// SPDX-License-Identifier: Apache-2.0
// What bears a name in a log's directory, found without opening it.
#ifndef JORN_TOOLS_ENTRY_H
#define JORN_TOOLS_ENTRY_H

#include <stdint.h>

#include <array>
#include <string>

#include "log/ring_positions.h"
#include "log/store_directory.h"
#include "system/file_mark.h"

namespace tool {

/// What bears a name, or what the name leads to.
struct Entry {
    enum class Kind { Missing, File, Link, Directory, Other };

    Kind kind = Kind::Missing;
    FileMark mark;
    nlink_t names = 0;       ///< Of the file, in whatever directories; no part of what is compared.
    uint64_t allocated = 0;  ///< Bytes, as the file system counts; no part of what is compared.
    int error = 0;           ///< Why it cannot be looked at, as errno; 0 where it is just not there.

    bool isPresent() const { return kind != Kind::Missing; }
    bool isFile() const { return kind == Kind::File; }

    /// What is wrong with the name of a file of the store that stands for something else: "is a link, ...".
    /// Empty when there is none or it is a file.
    std::string flaw() const;
};

bool operator==(const Entry &a, const Entry &b);

/// A name in the directory that belongs to the store.
struct NamedEntry {
    /// What bears the name: for those who judge the directory, or write to it.
    Entry itself;

    /// What the name leads to, as for the store and all readers, which go through links: the same where it is
    /// no link. A link that leads round in a circle is there, and is a link without a mark; one that leads
    /// nowhere is missing.
    Entry target;
};

/// Which of the two counts.
using Sight = Entry NamedEntry::*;

/// Those of the data files, by position.
using DataFileEntries = std::array<NamedEntry, jorn::kSurveySize>;

/// A link that leads round in a circle counts as no target: the store cannot open it.
FilePresence presenceOf(const DataFileEntries &files, Sight sight);

/// Opens nothing.
NamedEntry lookAtName(const StoreDirectory &directory, const std::string &name);

/// What bears a name. Throws Failure.
Entry lookAtEntry(const StoreDirectory &directory, const std::string &name);

/// Of an open file; missing where the system does not tell.
Entry lookAtOpened(const Descriptor &file);

}  // namespace tool

#endif
