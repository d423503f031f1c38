// SPDX-License-Identifier: Apache-2.0
// The data files of a ring, opened and put in order: where all reading starts.
//
// Nothing in the directory is changed. Index and files were the same before and after the files were opened,
// so the view shows a single moment. The files stay open and are read up to the size that they had, so a
// writer that appends does no harm. A writer that moves on empties the oldest file and writes new items to
// it, in the same inode: readers call isStill() after each part, before they use anything of it.
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
    FileMark mark;          ///< As it was when it was opened.
    std::string begin;      ///< Its first bytes at that time,
    std::string end;        ///< and its last ones.
    uint64_t size = 0;      ///< How far it is read.
    bool isNewest = false;  ///< The one that a writer appends to.
    bool isToOpen = false;  ///< It has not been opened yet.

    /// Whether the file still holds what it did when it was opened. A writer that restarts it empties it
    /// first, so what was read before this returns true is what was there then.
    bool isStill() const;
};

/// Opens the data file of the number that `file` has, in view or not, and keeps what isStill() asks for.
/// False when what bears the name cannot be read, which is told to `damage`.
bool openRingFile(const StoreDirectory &directory, RingFile *file, DamageLog *damage);

/// When the files of a view are opened. The newest one is opened at once in any case.
enum class Opening { AtOnce, WhenRead };

class RingView {
public:
    /// `ringSize` is the ring's number of files, for a directory that does not show it. Reopens the ring
    /// while a writer moves on meanwhile; throws Failure also when that never ends.
    RingView(const StoreDirectory &directory, std::optional<int> ringSize, Opening opening = Opening::AtOnce);

    /// The same in one try: nothing when a writer has moved on meanwhile.
    static std::optional<RingView> openOnce(const StoreDirectory &directory, std::optional<int> ringSize,
                                            Opening opening = Opening::AtOnce);

    /// The files in the index's range that exist, the oldest first. In a view with Opening::WhenRead they are
    /// closed until file() is called for them.
    const std::vector<RingFile> &files() const { return files_; }

    /// One of them, opened now if it is still to be opened. What is then found wrong with it is added to
    /// `damage`.
    const RingFile &file(size_t index, DamageLog *damage) const;

    const StoreDirectory &directory() const { return directory_; }
    const RingLook &look() const { return look_; }
    const IndexLook &index() const { return look_.index(); }
    const jorn::TidyingPlan &plan() const { return plan_; }
    int ringSize() const { return ringSize_; }

    /// Whether the store's next start would rename files.
    bool isMoved() const { return moved_ > 0; }

    /// Whether index and files are still as they were when they were opened, except that the newest file may
    /// have grown; false when a writer has moved on to another file meanwhile.
    bool isCurrent() const;

    /// For callers that pass items on for good: leaves out the last line of the newest file while a writer is
    /// still writing it. An unfinished line that nobody continues stays; telling them apart takes a moment.
    void settleEnd();

    /// What the user should know about the state of the directory, one text per line.
    const std::vector<std::string> &notes() const { return notes_; }

    /// An unusable index and unreadable files.
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
    mutable std::vector<RingFile> files_;  ///< Opening a file when it is read changes it here.
    std::vector<std::string> notes_;
    DamageLog damage_;
};

}  // namespace tool

#endif
