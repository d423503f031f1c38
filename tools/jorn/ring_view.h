// SPDX-License-Identifier: Apache-2.0
// The data files of a ring, opened and put in order: what all reading starts from.
//
// Nothing in the directory is changed. The files stay open and are read up to the size that they had, so that
// a writer that appends does not disturb. One that moves on to another file may empty the oldest one;
// isCurrent() tells that, and readStable() repeats a question until it was not so. Of one file hasBegin()
// tells whether it is still the one that was opened.
#ifndef JORN_TOOLS_RING_VIEW_H
#define JORN_TOOLS_RING_VIEW_H

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include "damage.h"
#include "descriptor.h"
#include "failure.h"
#include "ring.h"
#include "ring_survey.h"
#include "store_directory.h"

namespace tool {

/// A data file of the ring.
struct RingFile {
    int number = -1;        ///< In its name.
    int position = -1;      ///< In the ring, as the store's next start would place it.
    std::string path;       ///< For messages.
    Descriptor file;        ///< Closed when it cannot be read.
    std::string begin;      ///< Its first bytes when it was opened.
    uint64_t size = 0;      ///< When it was opened.
    bool isNewest = false;  ///< The one that a writer appends to.

    /// Whether the file still begins as it did when it was opened. A writer that starts it afresh empties it
    /// first, so what was read before this holds is what was there then.
    bool hasBegin() const;
};

class RingView {
public:
    /// `ringSize` tells the ring's number of files where the directory does not tell it. Throws Failure.
    RingView(const StoreDirectory &directory, std::optional<int> ringSize);

    /// The files in the index's range that are there, the oldest first.
    const std::vector<RingFile> &files() const { return files_; }

    const StoreDirectory &directory() const { return directory_; }
    const RingSurvey &survey() const { return survey_; }
    const jorn::TidyingPlan &plan() const { return plan_; }
    int ringSize() const { return ringSize_; }

    /// Whether the store's next start would rename files.
    bool isMoved() const { return moved_ > 0; }

    /// Whether index and files are still those that were opened; false when a writer has moved on to another
    /// file meanwhile.
    bool isCurrent() const;

    /// For those who pass items on for good: leaves out the last line of the newest file while a writer is on
    /// the way to its end. An unfinished line that nobody goes on with stays; it takes a moment to tell.
    void settleEnd();

    /// What the user should know about the state of the directory, one text a line.
    const std::vector<std::string> &notes() const { return notes_; }

    /// An index that cannot be used, files that cannot be read.
    const DamageLog &damage() const { return damage_; }

private:
    void summarisePlan();
    void openFiles();
    void openFile(int number, int position);
    static void settleEndOf(RingFile *file);
    void noteState();

    const StoreDirectory &directory_;
    RingSurvey survey_;
    int ringSize_;
    jorn::TidyingPlan plan_;
    int moved_ = 0;
    int deleted_ = 0;
    std::vector<RingFile> files_;
    std::vector<std::string> notes_;
    DamageLog damage_;
};

/// Asks ask(view) over a fresh view until no writer has moved on during it. When the writer is too fast for
/// that, the answer is the last one, and the user is told.
template <class Ask>
auto readStable(const StoreDirectory &directory, std::optional<int> ringSize, const Ask &ask) {
    constexpr int kTries = 20;
    for (int tries = 1;; ++tries) {
        const RingView view(directory, ringSize);
        auto answer = ask(view);
        if (view.isCurrent()) {
            return answer;
        }
        if (tries == kTries) {
            printMessage("note: " + directory.path() +
                         ": written faster than it can be read; items may be missing here");
            return answer;
        }
    }
}

}  // namespace tool

#endif
