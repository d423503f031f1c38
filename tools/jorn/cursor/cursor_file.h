// SPDX-License-Identifier: Apache-2.0
// The file that holds the cursors of many logs. One process at a time holds it. It is written whole or not at
// all, and its contents are on the medium when a write is done.
#ifndef JORN_TOOLS_CURSOR_FILE_H
#define JORN_TOOLS_CURSOR_FILE_H

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cursor/numbering.h"
#include "system/descriptor.h"
#include "system/temporary.h"

namespace tool {

/// The cursors of logs, one for each device and log.
class CursorSet {
public:
    CursorSet() = default;
    explicit CursorSet(const std::vector<LogCursor> &cursors);

    /// What is kept of a log; it has no epochs when that is nothing.
    LogCursor of(const std::string &device, const std::string &log) const;

    /// Replaces what is kept of its log.
    void keep(const LogCursor &cursor);

    /// In the order in which they were kept first.
    const std::vector<LogCursor> &all() const & { return cursors_; }
    const std::vector<LogCursor> &all() const && = delete;  // They are gone with the set.

private:
    std::vector<LogCursor> cursors_;
    std::map<std::pair<std::string, std::string>, size_t> places_;  ///< Of the cursors, by device and log.
};

/// The cursors in a file, for callers that only read; none if there is no file. Throws Failure.
CursorSet readCursors(const std::string &path);

class CursorFile {
public:
    /// Creates the file if it is missing, and locks it. Throws Failure, also when another process holds it.
    explicit CursorFile(const std::string &path);

    /// What is kept of a log; it has no epochs when that is nothing.
    LogCursor cursorOf(const std::string &device, const std::string &log) const {
        return cursors_.of(device, log);
    }

    /// Replaces what is kept of its log. It is on the medium only after write().
    void keep(const LogCursor &cursor);

    /// Whether something is kept that has not been written yet.
    bool isChanged() const { return isChanged_; }

    /// Throws Failure. The file is then as it was; or it has the new cursors, but they may not be on the
    /// medium; or it is no longer held, and nothing was written.
    void write();

    /// Whether the name still refers to the file that this object has locked: somebody may have moved,
    /// removed or replaced it, and another process may use what is there now.
    bool isHeld() const;

private:
    void open();
    void refuseLink() const;
    bool lockNamed();
    void lock(int file) const;

    const std::string path_;  ///< As the user gave it.
    std::string name_;        ///< In its directory, after links.
    Descriptor directory_;
    Descriptor locked_;                    ///< The file as it was found,
    std::unique_ptr<TemporaryFile> file_;  ///< or as it was last written: whoever locks that has the file.
    CursorSet cursors_;
    bool isChanged_ = false;
};

}  // namespace tool

#endif
