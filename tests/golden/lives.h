// SPDX-License-Identifier: Apache-2.0
// The lives whose every byte is kept in expected/, as plain calls: golden_test.cpp leads them on a host of
// any width, the emulated board over its own file system. Plain C++ without library.
#ifndef JORN_TESTS_GOLDEN_LIVES_H
#define JORN_TESTS_GOLDEN_LIVES_H

#include <stdint.h>

namespace golden {

/// What differs from place to place.
struct Place {
    void (*setTime)(uint32_t seconds);
    /// Returns when everything submitted is in closed files.
    void (*settle)();
    /// The absolute path of what lies in the directory that the lives take place in.
    const char *(*path)(const char *relative);
    /// Takes the next part of the pages' text.
    void (*show)(const char *text);
};

constexpr uint32_t kEndOf31Bits = 0x7ffffffe;
constexpr uint32_t kEndOf32Bits = 0xfffffffe;
/// In the first file of a ring of two, before the object is made: two items short of full.
constexpr int kPreparedLines = 4998;

/// An object in "first" with an item of every level and slot, a second apart across 2^31, then hours apart.
int32_t createFirst(const Place &place);
/// An object in "last" with items of the last two seconds that 32 bits can tell.
int32_t createLast(const Place &place);
/// All pages of some queries of both.
void showAllPages(const Place &place, int32_t first, int32_t last);
/// Makes the first object again, and shows all pages of the first query.
int32_t recreateFirst(const Place &place);
void showFirstQuery(const Place &place, int32_t first);
/// A ring in "ring" goes on to its second file.
int32_t createAndRotate(const Place &place);
/// The same, cleared.
void clearRing(const Place &place, int32_t handle);
/// A smaller ring in "gaps" over the files 0, 3, 5, 6 and 7.
int32_t createOverGaps(const Place &place);
/// Calls that print at each level, on an object made in an empty directory. Returns whether all gave what
/// they must.
bool liveAloud(const Place &place, const char *directory, int32_t printLevel);

}  // namespace golden

#endif
