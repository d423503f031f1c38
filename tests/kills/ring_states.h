// SPDX-License-Identifier: Apache-2.0
// States of a ring of 4 files that a run begins with, written by hand: what a recorder, or its kill, left.
#ifndef JORN_TESTS_KILLS_RING_STATES_H
#define JORN_TESTS_KILLS_RING_STATES_H

#include <functional>
#include <string>
#include <vector>

namespace test {

struct RingState {
    const char *name;
    int lastItem;  ///< Number of the newest item.
    int newItems;  ///< Given to a run, so that what the state is for happens.
    std::function<void(const std::string &directory)> make;
};

/// All of them. The times of the items are those of one a second.
const std::vector<RingState> &ringStates();

/// The state of a log that has wrapped and is whole.
const RingState &wholeRing();
/// A small version of it: 100 items per file, like a log whose files were cut.
const RingState &smallRing();
/// One whose index is empty, without a backup.
const RingState &ringWithoutIndex();

}  // namespace test

#endif
