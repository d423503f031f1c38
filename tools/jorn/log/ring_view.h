// SPDX-License-Identifier: Apache-2.0
// The data files of a ring, opened and put in order: what all reading starts from.
//
// Nothing in the directory is changed. Index and files were the same before and after the files were opened,
// so that the view is of one moment. The files stay open and are read up to the size that they had, so that a
// writer that appends does not disturb. One that moves on empties the oldest file and writes new items there,
// in the same inode: who reads asks isStill() after each part, before anything is taken of it.
#ifndef JORN_TOOLS_RING_VIEW_H
#define JORN_TOOLS_RING_VIEW_H

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include "log/damage.h"
#include "log/ring_look.h"
#include "log/store_directory.h"
#include "ring.h"
#include "system/descriptor.h"
#include "system/file_mark.h"

namespace tool {

/// A data file of the ring.
struct RingFile {
    int number = -1;        ///< In its name.
    int position = -1;      ///< In the ring, as the store's next start would place it.
    std::string path;       ///< For messages.
    Descriptor file;        ///< Closed when it cannot be read.
    FileMark mark;          ///< When it was opened.
    std::string begin;      ///< Its first bytes then,
    std::string end;        ///< and its last ones.
    uint64_t size = 0;      ///< Up to which it is read.
    bool isNewest = false;  ///< The one that a writer appends to.
    bool isToOpen = false;  ///< It has not been opened yet.

    /// Whether the file still holds what it did when it was opened. A writer that starts it afresh empties it
    /// first, so what was read before this holds is what was there then.
    bool isStill() const;
};

/// Opens the data file of the number that `file` has, in view or not, and keeps what isStill() asks for.
/// False when what bears the name cannot be read, which is told to `damage`.
bool openRingFile(const StoreDirectory &directory, RingFile *file, DamageLog *damage);

/// When the files of a view are opened. The newest one is opened at once in any case.
enum class Opening { AtOnce, WhenRead };

class RingView {
public:
    /// `ringSize` tells the ring's number of files where the directory does not tell it. Opens the ring anew
    /// while a writer moves on during it; throws Failure when that never ends, too.
    RingView(const StoreDirectory &directory, std::optional<int> ringSize, Opening opening = Opening::AtOnce);

    /// The same in one try: nothing when a writer has moved on during it.
    static std::optional<RingView> openOnce(const StoreDirectory &directory, std::optional<int> ringSize,
                                            Opening opening = Opening::AtOnce);

    /// The files in the index's range that are there, the oldest first. Of a view that opens them when they
    /// are read, they are closed until file() was asked for them.
    const std::vector<RingFile> &files() const { return files_; }

    /// One of them, which is opened if it is to be opened now. What is wrong with it then is told to
    /// `damage`.
    const RingFile &file(size_t index, DamageLog *damage) const;

    const StoreDirectory &directory() const { return directory_; }
    const RingLook &look() const { return look_; }
    const IndexLook &index() const { return look_.index(); }
    const jorn::TidyingPlan &plan() const { return plan_; }
    int ringSize() const { return ringSize_; }

    /// Whether the store's next start would rename files.
    bool isMoved() const { return moved_ > 0; }

    /// Whether index and files are still as they were when they were opened, save that the newest file grew;
    /// false when a writer has moved on to another file meanwhile.
    bool isCurrent() const;

    /// For those who pass items on for good: leaves out the last line of the newest file while a writer is on
    /// the way to its end. An unfinished line that nobody goes on with stays; it takes a moment to tell.
    void settleEnd();

    /// What the user should know about the state of the directory, one text a line.
    const std::vector<std::string> &notes() const { return notes_; }

    /// An index that cannot be used, files that cannot be read.
    const DamageLog &damage() const { return damage_; }

private:
    RingView(const StoreDirectory &directory, std::optional<int> ringSize, Opening opening, RingLook look);
    static RingView openStill(const StoreDirectory &directory, std::optional<int> ringSize, Opening opening);
    void summarisePlan();
    void placeFiles(Opening opening);
    void openFileLate(RingFile *file, DamageLog *damage) const;
    static void settleEndOf(RingFile *file);
    void noteState();

    const StoreDirectory &directory_;
    RingLook look_;
    int ringSize_;
    jorn::TidyingPlan plan_;
    int moved_ = 0;
    int deleted_ = 0;
    mutable std::vector<RingFile> files_;  ///< Those that are opened when they are read change by that.
    std::vector<std::string> notes_;
    DamageLog damage_;
};

}  // namespace tool

#endif
