// SPDX-License-Identifier: Apache-2.0
// A slow model of reading the index: the two scanning formats character by character, the choice between
// index and backup, and what is said and renamed.
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

/// Takes an index apart as the two scanning formats do, from `*place` on, which it moves behind what it took.
/// The first line: whether it says version 1.
bool modelTakeVersion(const std::string &bytes, size_t *place, ModelIndex *fields);
/// The second line: how many positions it gives, of `most`; -1 when they are refused.
int32_t modelTakePositions(const std::string &bytes, size_t *place, int most, ModelIndex *fields);

/// What reading the index gives.
struct ModelIndexRead {
    int32_t result;
    ModelIndex fields;
    NamedFiles files;
    std::vector<std::string> messages;
};

/// Reads the index of a directory into fields that hold something already.
ModelIndexRead modelReadIndex(const NamedFiles &files, const ModelIndex &before, const std::string &dirName);

/// The bytes of an index.
std::string modelIndexText(int64_t oldest, int64_t latest);

}  // namespace test

#endif
