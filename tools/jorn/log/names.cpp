// SPDX-License-Identifier: Apache-2.0
#include "log/names.h"

#include <errno.h>
#include <ini.h>
#include <stdio.h>

#include <algorithm>

#include "jorn.h"
#include "log/regular_file.h"
#include "system/failure.h"
#include "system/stream.h"
#include "terminal/escape.h"
#include "terminal/number_text.h"

namespace tool {
namespace {

constexpr char kFileName[] = "jorn.names";

constexpr size_t kMostBytes = size_t{1} << 20;  ///< Well beyond any file of names.

/// What the library's callbacks fill.
struct Reading {
    Names names;
    std::string problem;  ///< Of the first line that is wrong.
};

/// Text that options read as a number or as another option is not a name.
bool isName(const std::string &text) {
    const std::string notFirst = "0123456789-";
    return !text.empty() && notFirst.find(text[0]) == std::string::npos &&
           text.find_first_of(" \t,") == std::string::npos && text.find("..") == std::string::npos &&
           escaped(text) == text;
}

/// Empty when the entry is accepted.
std::string addEntry(NameTable *table, const std::string &key, const std::string &name, int32_t limit) {
    const std::optional<int32_t> number = numberBelow(key, limit);
    if (!number) {
        return "'" + key + "' is not a number from 0 to " + std::to_string(limit - 1);
    }
    if (!isName(name)) {
        return "'" + name +
               "' is not a name: a word without blanks or commas that does not begin with a digit or '-'";
    }
    return table->add(*number, name) ? "" : "number or name is given twice: " + key + " = " + name;
}

/// The library's callback: 0 for a line that is wrong.
int takeEntry(void *user, const char *section, const char *key, const char *value) {
    auto *const reading = static_cast<Reading *>(user);
    std::string problem;
    if (std::string(section) == "levels") {
        problem = addEntry(&reading->names.levels, key, value, JORN_LEVEL_MAX);
    } else if (std::string(section) == "slots") {
        problem = addEntry(&reading->names.slots, key, value, JORN_SLOT_MAX);
    } else {
        problem = "section [" + std::string(section) + "] is neither [levels] nor [slots]";
    }
    if (reading->problem.empty()) {
        reading->problem = problem;
    }
    return problem.empty() ? 1 : 0;
}

/// All bytes of a file, which may be a pipe.
std::string readAll(FILE *file, const std::string &path) {
    std::string bytes(kMostBytes + 1, '\0');
    bytes.resize(fread(bytes.data(), 1, bytes.size(), file));
    if (ferror(file) != 0) {
        throw systemFailure(path, errno);
    }
    if (bytes.size() > kMostBytes) {
        refuse(path + ": is longer than 1 MiB, and not a names file");
    }
    return bytes;
}

Names parseNames(FILE *file, const std::string &path) {
    std::string bytes = readAll(file, path);
    if (bytes.empty()) {
        return {};
    }
    const Stream lines(fmemopen(bytes.data(), bytes.size(), "r"));
    if (!lines) {
        throw systemFailure(path, errno);
    }
    Reading reading;
    const int line = ini_parse_file(lines.get(), takeEntry, &reading);
    if (line != 0) {
        const std::string problem =
            reading.problem.empty() ? "neither [section] nor NUMBER = NAME" : reading.problem;
        refuse(path + ":" + std::to_string(line) + ": " + escaped(problem));
    }
    return reading.names;
}

}  // namespace

bool NameTable::add(int32_t number, const std::string &name) {
    return !numberOf(name) && names_.emplace(number, name).second;
}

const std::string *NameTable::nameOf(int32_t number) const {
    const auto found = names_.find(number);
    return found == names_.end() ? nullptr : &found->second;
}

std::optional<int32_t> NameTable::numberOf(const std::string &name) const {
    const auto found =
        std::find_if(names_.begin(), names_.end(), [&](const auto &entry) { return entry.second == name; });
    return found == names_.end() ? std::nullopt : std::optional(found->first);
}

const Names &noNames() {
    static const Names none;
    return none;
}

int32_t namedNumber(const std::string &text, const NameTable &names, int32_t limit, const std::string &what) {
    if (const auto named = names.numberOf(text)) {
        return *named;
    }
    const std::optional<int32_t> value = numberBelow(text, limit);
    if (!value) {
        refuse(what + " '" + text + "' is neither a number from 0 to " + std::to_string(limit - 1) +
               " nor a known name");
    }
    return *value;
}

Names readNames(const std::string &path) {
    const Stream file(fopen(path.c_str(), "re"));
    if (!file) {
        throw systemFailure(path, errno);
    }
    return parseNames(file.get(), path);
}

std::optional<Names> namesBeside(const StoreDirectory &directory) {
    const Descriptor names = openRegular(directory, kFileName);
    if (!names.isOpen()) {
        return std::nullopt;
    }
    const Stream file = streamFrom(names);
    if (!file) {
        throw systemFailure(directory.pathOf(kFileName), errno);
    }
    return parseNames(file.get(), directory.pathOf(kFileName));
}

}  // namespace tool
