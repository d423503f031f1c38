// SPDX-License-Identifier: Apache-2.0
// A slow model of reading the index: the two scanning formats character by character, the choice between
// index and backup, and what is printed and renamed.
#ifndef JORN_TESTS_MODEL_INDEX_MODEL_H
#define JORN_TESTS_MODEL_INDEX_MODEL_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace test {

/// Everything in a directory: bytes by name.
using NamedFiles = std::map<std::string, std::string>;

/// The index fields of an object.
struct ModelIndex {
    int32_t version;
    int32_t oldest;
    int32_t latest;
};

/// Scans an index as the two scanning formats do, from `*place` on, which it moves to after what it took. The
/// first line: returns whether it names version 1.
bool modelTakeVersion(const std::string &bytes, size_t *place, ModelIndex *fields);
/// The second line: returns how many of `most` positions it holds; -1 when they are refused.
int32_t modelTakePositions(const std::string &bytes, size_t *place, int most, ModelIndex *fields);

/// The result of reading the index.
struct ModelIndexRead {
    int32_t result;
    ModelIndex fields;
    NamedFiles files;
    std::vector<std::string> messages;
};

/// Reads the index of a directory into fields that already have values.
ModelIndexRead modelReadIndex(const NamedFiles &files, const ModelIndex &before, const std::string &dirName);

/// The bytes of an index.
std::string modelIndexText(int64_t oldest, int64_t latest);

}  // namespace test

#endif
