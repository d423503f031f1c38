// SPDX-License-Identifier: Apache-2.0
// What bears a name in a log's directory, found without opening it.
#ifndef JORN_TOOLS_ENTRY_H
#define JORN_TOOLS_ENTRY_H

#include <array>
#include <string>

#include "log/ring_positions.h"
#include "log/store_directory.h"
#include "system/file_mark.h"

namespace tool {

/// A name in the directory that belongs to the store.
struct Entry {
    enum class Kind { Missing, File, Link, Directory, Other };

    Kind kind = Kind::Missing;
    FileMark mark;
    nlink_t names = 0;  ///< Of the file, in whatever directories; no part of what is compared.

    bool isPresent() const { return kind != Kind::Missing; }
    bool isFile() const { return kind == Kind::File; }

    /// What is wrong with the name of a file of the store that stands for something else: "is a link, ...".
    /// Empty when there is none or it is a file.
    std::string flaw() const;
};

bool operator==(const Entry &a, const Entry &b);

/// Those of the data files, by position.
using DataFileEntries = std::array<Entry, jorn::kSurveySize>;

/// A link that leads round in a circle counts as none where links were gone through: the store cannot open
/// it.
FilePresence presenceOf(const DataFileEntries &files);

/// What bears a name. Throws Failure.
Entry lookAtEntry(const StoreDirectory &directory, const std::string &name);

/// What a name leads to, as for the store, which goes through links. A link that leads round in a circle is
/// there, and is a link without a mark; one that leads nowhere is missing, as is what cannot be looked at.
Entry lookThroughLinks(const StoreDirectory &directory, const std::string &name);

}  // namespace tool

#endif
