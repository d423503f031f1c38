// SPDX-License-Identifier: Apache-2.0
// What users are told about the pull of a log, and the wording of it.
#ifndef JORN_TOOLS_PULL_NOTES_H
#define JORN_TOOLS_PULL_NOTES_H

#include <stdint.h>

#include <string>
#include <vector>

#include "cursor/known_file.h"
#include "log/damage.h"
#include "log/ring_view.h"

namespace tool {

class PullNotes {
public:
    /// Begins with what was found when the view was opened.
    explicit PullNotes(const RingView &view);

    /// Items of a known file have gone that were sent in a transfer whose outcome is unknown.
    void addGone(const KnownFile &known);
    /// The same for items of a file whose lines were damaged.
    void addDamaged(const RingFile &file, uint64_t items);
    /// So many items at the end of a file may be new or not.
    void addDoubtful(const RingFile &file, uint64_t items);
    /// The writer came round; at least so many items have gone.
    void addGap(uint64_t least);
    void addGoneUnread();
    void addOtherLog();

    /// Of the file with this number; `waiting` names what waits for it.
    void addUnreadable(int number, const char *waiting);

    /// Drops notes, not damage, until there are as many as before.
    void dropAfter(size_t count) { texts_.resize(count); }

    /// Worth knowing; none of it is damage.
    const std::vector<std::string> &texts() const { return texts_; }
    const DamageLog &damage() const { return damage_; }
    DamageLog *damage() { return &damage_; }

private:
    void add(const std::string &text);

    const StoreDirectory &directory_;
    std::vector<std::string> texts_;
    DamageLog damage_;
};

}  // namespace tool

#endif
