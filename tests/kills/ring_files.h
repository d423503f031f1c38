// SPDX-License-Identifier: Apache-2.0
// What is in a log's directory, read without the tool's code, and whether one state can have come from
// another.
#ifndef JORN_TESTS_KILLS_RING_FILES_H
#define JORN_TESTS_KILLS_RING_FILES_H

#include <optional>
#include <string>
#include <vector>

namespace test {

struct RingFile {
    int number = 0;                  ///< N of N.csv.
    std::vector<std::string> lines;  ///< Whole ones, without their ends.
    std::string piece;               ///< What follows the last end of a line.
};

struct RingFiles {
    /// The oldest first: by the numbers in their texts. Files without any are the newest.
    std::vector<RingFile> files;
    std::optional<std::string> index;
    std::optional<std::string> backup;
    std::vector<std::string> tornPieces;  ///< Contents of torn-N.txt.
    bool isSetAside = false;              ///< There is a directory aside-...
    std::vector<std::string> otherNames;  ///< Neither a name of the ring nor one of those above.

    /// A missing directory is an empty one.
    static RingFiles read(const std::string &directory);

    /// All whole lines, the oldest first.
    std::vector<std::string> lines() const;
    /// What follows the last line of the newest file; empty if it has an end.
    std::string piece() const;
    /// Whether index.csv holds a version and two positions, both lines whole.
    bool hasUsableIndex() const;
};

/// The text of the item with this number: its length varies, so that the blocks in which files are written
/// cut lines.
std::string itemText(int number);
/// Lines to be recorded.
std::string itemInput(int first, int count);
/// What the store adds to each recording.
extern const char kStartText[];

struct RingSize {
    size_t files = 4;
    size_t itemsInFile = 5000;
};

enum class Fault {
    None,
    SetAside,   ///< The ring was taken out of view as a whole.
    ItemLost,   ///< A line that was in a data file is now in none.
    LineGlued,  ///< A torn line continues with another item.
    PieceLost,  ///< The bytes of a torn line are gone.
    Order,      ///< All lines are there, but not in their order, or one is there twice.
    Foreign,    ///< A line that was never submitted, or a gap among the new ones.
    View,       ///< What the tool shows is not what the files hold.
    ExitCode,
    Unsound,  ///< `jorn check` finds damage, or names that should not be there.
};
const char *nameOf(Fault fault);

/// What a run of the recorder did to the files.
struct Verdict {
    Fault fault = Fault::None;
    std::string detail;
    size_t stored = 0;           ///< New items, the store's own included.
    size_t overwritten = 0;      ///< Items that the ring wrapped onto.
    bool hasEndedPiece = false;  ///< The torn line was given its line end.
    bool hasMovedPiece = false;  ///< The torn line was moved into a file of its own.
};

/// Compares the files before and after a run that was given the items with these texts: each line that was
/// there must still be there, followed by the first of the new ones, or all of them unless the run was
/// killed. Only whole files that the ring wrapped onto may be gone.
Verdict judgeRun(const RingFiles &before, const std::vector<std::string> &texts, const RingFiles &after,
                 bool wasKilled, const RingSize &size = {});

}  // namespace test

#endif
