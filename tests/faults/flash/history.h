// SPDX-License-Identifier: Apache-2.0
// What a life of the module did to its files, and what must be on the chip after a cut in it. Only calls of
// the module are examined, never its answers.
#ifndef JORN_TESTS_FAULTS_FLASH_HISTORY_H
#define JORN_TESTS_FAULTS_FLASH_HISTORY_H

#include <map>
#include <string>
#include <vector>

#include "ledger.h"
#include "volume.h"

namespace flash {

/// Why an item that was in a closed file can no longer be retrieved. There is no other reason.
enum class Reason {
    OverwrittenByWrap,      ///< its file was the oldest of a full ring, and the ring wrapped
    Cleared,                ///< it was submitted before a clearing
    RenamedOver,            ///< start-up tidying renamed another file over its file
    DeletedAsSurplus,       ///< start-up tidying deleted its file
    IndexLostStillInFiles,  ///< the index was cut while being written: outside the ring, but in a file
    IndexLostOverwritten,   ///< the same, and then tidying overwrote or deleted the file
    RunTogether,            ///< it follows a torn line without an end: they are one line now
    Count
};
constexpr size_t kReasons = static_cast<size_t>(Reason::Count);

const char *nameOf(Reason reason);

/// A call of the module, with the number of chip operations before and after it.
struct Event {
    enum Kind { OpenTruncated, OpenToAppend, Write, Close, Rename, Remove, Clear, Submit };
    Kind kind = Close;
    std::string path;
    std::string target;  ///< new name, or bytes written
    size_t begin = 0;
    size_t end = 0;
    size_t object = 0;       ///< of a clearing
    size_t itemsBefore = 0;  ///< of a clearing: items of the object submitted before it
};

using History = std::vector<Event>;

/// A file as the calls leave it: bytes that are certain to be on the chip, and those that may or may not be.
struct ShadowFile {
    std::string durable;
    std::string pending;
    std::vector<int> items;  ///< in `durable`
};

/// The files that the calls up to some moment leave, and what became of each item.
class Shadow {
public:
    /// `before`: files at the beginning, by path. `next`: by object, the ordinal of the item that must come
    /// first.
    Shadow(const Ledger &ledger, const Directory &before, std::vector<size_t> next);

    void apply(const Event &event);

    /// Takes over, from the life before, which items were submitted before a clearing.
    void inheritClearings(const Shadow &before) { cleared_ = before.cleared_; }

    const std::map<std::string, ShadowFile> &files() const { return files_; }
    /// Items submitted, those of the scene included.
    size_t submitted() const { return submitted_; }
    /// Items that have been in a closed file.
    const std::vector<int> &closed() const { return closed_; }
    /// Those of them that no file holds any more.
    const std::map<int, Reason> &removed() const { return removed_; }
    /// By object: how many of its items were submitted before its last clearing.
    size_t clearedItems(size_t object) const;
    /// What the module wrote although it was not submitted, or wrote out of order; empty when nothing.
    const std::string &fault() const { return fault_; }
    /// Items of an object that are in order so far.
    size_t next(size_t object) const { return next_[object]; }

    /// Whether files read from the chip are what this leaves, with any part of the pending bytes. Otherwise
    /// describes the difference.
    bool agrees(const Directory &chip, std::string *difference) const;

private:
    void closeFile(ShadowFile *file);
    void take(const std::string &path, ShadowFile *file);
    void forget(const std::vector<int> &items, Reason reason);
    Reason reasonToTruncate(const std::string &path, const ShadowFile &file) const;

    const Ledger *ledger_;
    std::map<std::string, ShadowFile> files_;
    size_t submitted_ = 0;
    std::vector<int> closed_;
    std::map<int, Reason> removed_;
    std::vector<size_t> next_;
    std::vector<size_t> cleared_;
    std::string fault_;
};

/// Follows a life from cut to cut.
class ShadowWalk {
public:
    ShadowWalk(const Shadow &start, const History &history) : before_(start), history_(&history) {}

    /// Advances to the moment when `operations` operations are done and the cut hits the next one.
    void advanceTo(size_t operations);

    /// What is complete at that moment.
    const Shadow &before() const { return before_; }
    /// The same with the call under way; equal when there is none.
    const Shadow &after() const { return after_.empty() ? before_ : after_.front(); }

    /// Whether the chip holds one of the states that the cut may leave.
    bool agrees(const Directory &chip, std::string *difference) const;

private:
    bool isInFlight(size_t operations) const;

    Shadow before_;
    std::vector<Shadow> after_;  ///< one or none
    const History *history_;
    size_t nextEvent_ = 0;
};

}  // namespace flash

#endif
