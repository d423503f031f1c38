// SPDX-License-Identifier: Apache-2.0
// What a name in a log's directory refers to, found without opening it.
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
    nlink_t names = 0;       ///< How many names the file has, in any directory; not compared.
    uint64_t allocated = 0;  ///< Bytes, as the file system counts; not compared.
    int error = 0;           ///< Why it cannot be looked at, as errno; 0 where it is merely missing.

    bool isPresent() const { return kind != Kind::Missing; }
    bool isFile() const { return kind == Kind::File; }

    /// What is wrong where a name of the store's files belongs to something else: "is a link, ...". Empty
    /// when it is missing or a file.
    std::string flaw() const;
};

bool operator==(const Entry &a, const Entry &b);

/// A name in the directory that belongs to the store.
struct NamedEntry {
    /// What bears the name: for code that judges the directory or writes to it.
    Entry itself;

    /// What the name leads to, for code that follows links as the store does: the same if it is not a link. A
    /// link in a loop counts as present, and as a link without a mark; one that leads nowhere is missing.
    Entry target;
};

/// Which of the two to use.
using Sight = Entry NamedEntry::*;

/// Those of the data files, by position.
using DataFileEntries = std::array<NamedEntry, jorn::kSurveySize>;

/// A link in a loop counts as no target: the store cannot open it.
FilePresence presenceOf(const DataFileEntries &files, Sight sight);

/// Opens nothing.
NamedEntry lookAtName(const StoreDirectory &directory, const std::string &name);

/// What bears a name. Throws Failure.
Entry lookAtEntry(const StoreDirectory &directory, const std::string &name);

/// Of an open file; missing where its status cannot be read.
Entry lookAtOpened(const Descriptor &file);

}  // namespace tool

#endif
