// SPDX-License-Identifier: Apache-2.0
// What is being written and has not got its own name yet. A temporary file has no name at all where the file
// system can do without. Elsewhere, and for directories, the names that are given here tell a leftover from
// anything else, and a lock, which ends with its process, tells whether anybody is still at it.
#ifndef JORN_TOOLS_TEMPORARY_H
#define JORN_TOOLS_TEMPORARY_H

#include <string>
#include <vector>

#include "system/descriptor.h"

namespace tool {

/// A file that goes away again unless it gets a name of its own. Everything here throws Failure with `shown`,
/// the path that the user knows.
class TemporaryFile {
public:
    enum class Naming {
        WhenNeeded,  ///< Without a name as long as the file system allows it.
        AtOnce,      ///< With a temporary name from the beginning, for those who open it by a path.
    };

    /// Makes an empty file that only its owner may read, and first removes what others have left in the
    /// directory, whose descriptor must stay open.
    TemporaryFile(int directory, std::string shown, Naming naming = Naming::WhenNeeded);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;

    int descriptor() const { return file_.get(); }

    /// In the directory; empty when it has none.
    const std::string &temporaryName() const { return name_; }

    /// Brings the content to the medium.
    void sync() const;

    /// Gets the name in one step, in place of whatever file bears it.
    void replace(const std::string &name);

    /// Gets the name unless something bears it already: then false.
    bool takeFreeName(const std::string &name);

private:
    bool createNameless();
    void createNamed();
    void linkTemporaryName();
    bool link(const std::string &name) const;
    bool moveToFreeName(const std::string &name);
    [[noreturn]] void fail(int error) const;

    const int directory_;
    const std::string shown_;
    std::string name_;
    Descriptor file_;
};

/// A new locked directory that goes away again, with the files in it, unless it gets a name of its own.
class TemporaryDirectory {
public:
    /// In the directory `parent`, whose descriptor must stay open. First removes what others have left there.
    /// Throws Failure.
    TemporaryDirectory(int parent, const std::string &shown);
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;

    int descriptor() const { return directory_.get(); }

    /// In the parent directory.
    const std::string &name() const { return name_; }

    /// Takes another name there, which no command will take for a leftover. Throws Failure.
    void rename(const std::string &name);

    /// It is where it belongs: from now on it stays.
    void keep() { isKept_ = true; }

private:
    bool create(const std::string &name);

    const int parent_;
    std::string name_;
    bool isKept_ = false;
    Descriptor directory_;
};

/// Whether a name is of the form that temporary files and directories get here.
bool isTemporaryName(const std::string &name);
bool isTemporaryDirectoryName(const std::string &name);

/// Temporary files and directories whose process has ended, sorted; those that cannot be opened are not among
/// them. Changes nothing, and needs no right to do so.
std::vector<std::string> abandonedNames(int directory);

/// Removes these, as far as it is permitted.
void removeAbandoned(int directory);

}  // namespace tool

#endif
