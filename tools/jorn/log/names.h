// SPDX-License-Identifier: Apache-2.0
// Names of levels and slots, from a configuration file:
//
//   ; of the door unit
//   [levels]
//   0 = error
//   1 = warning
//   [slots]
//   5 = door
//
// A name is a word: no blank, comma or control character, no "..", and it does not begin with a digit or "-".
#ifndef JORN_TOOLS_NAMES_H
#define JORN_TOOLS_NAMES_H

#include <stdint.h>

#include <map>
#include <optional>
#include <string>

#include "log/store_directory.h"

namespace tool {

/// Numbers and their names, one to one.
class NameTable {
public:
    /// False when the number or the name is there already.
    bool add(int32_t number, const std::string &name);

    /// Null when the number has no name.
    const std::string *nameOf(int32_t number) const;

    std::optional<int32_t> numberOf(const std::string &name) const;
    bool isEmpty() const { return names_.empty(); }

private:
    std::map<int32_t, std::string> names_;
};

struct Names {
    NameTable levels;
    NameTable slots;
};

/// For logs without names, or where numbers are wanted.
const Names &noNames();

/// The number that a text means: a number below `limit`, or the one that has this name. Throws Failure, as a
/// usage error, naming `what` is wrong.
int32_t namedNumber(const std::string &text, const NameTable &names, int32_t limit, const std::string &what);

/// Reads a file of names, at most 1 MiB. Throws Failure with the line and what is wrong with it, as a usage
/// error.
Names readNames(const std::string &path);

/// Reads "jorn.names" in a log's directory; nothing when there is none. Throws like readNames().
std::optional<Names> namesBeside(const StoreDirectory &directory);

}  // namespace tool

#endif
