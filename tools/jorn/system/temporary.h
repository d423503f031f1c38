// SPDX-License-Identifier: Apache-2.0
// Files and directories that are being written and do not have their final name yet. A temporary file has no
// name at all where the file system supports that. Elsewhere, and for directories, a leftover is recognised
// by the form of its name, and a lock, which ends with its process, shows whether it is still in use.
#ifndef JORN_TOOLS_TEMPORARY_H
#define JORN_TOOLS_TEMPORARY_H

#include <string>
#include <vector>

#include "system/descriptor.h"

namespace tool {

/// A file that is removed again unless it gets its final name. Everything here throws Failure with `shown`,
/// the path that the user knows.
class TemporaryFile {
public:
    enum class Naming {
        WhenNeeded,  ///< Nameless for as long as the file system allows it.
        AtOnce,      ///< With a temporary name from the start, for callers that open it by path.
    };

    /// First removes what others have left in the directory, whose descriptor must stay open. Then makes an
    /// empty file that only its owner may read.
    TemporaryFile(int directory, std::string shown, Naming naming = Naming::WhenNeeded);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;

    int descriptor() const { return file_.get(); }

    /// Its name in the directory; empty when it has none.
    const std::string &temporaryName() const { return name_; }

    /// Syncs the content to the medium.
    void sync() const;

    /// Takes the name in one step, replacing any file that bears it.
    void replace(const std::string &name);

    /// Takes the name; false if something already bears it.
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

/// A new locked directory that is removed again, with the files in it, unless keep() is called.
class TemporaryDirectory {
public:
    /// In the directory `parent`, whose descriptor must stay open. First removes what others have left there.
    /// Throws Failure.
    TemporaryDirectory(int parent, const std::string &shown);
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;

    int descriptor() const { return directory_.get(); }

    /// Its name in the parent directory.
    const std::string &name() const { return name_; }

    /// Takes another name there, which no command will take for a leftover. Throws Failure.
    void rename(const std::string &name);

    /// It is where it belongs: it will not be removed any more.
    void keep() { isKept_ = true; }

private:
    bool create(const std::string &name);

    const int parent_;
    std::string name_;
    bool isKept_ = false;
    Descriptor directory_;
};

/// Whether a name has the form that temporary files and directories get here.
bool isTemporaryName(const std::string &name);
bool isTemporaryDirectoryName(const std::string &name);

/// Temporary files and directories whose process has ended, sorted, except those that cannot be opened.
/// Changes nothing and needs no write permission.
std::vector<std::string> abandonedNames(int directory);

/// Removes them, as far as permissions allow.
void removeAbandoned(int directory);

}  // namespace tool

#endif
