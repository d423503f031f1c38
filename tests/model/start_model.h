// SPDX-License-Identifier: Apache-2.0
// What a start makes of a directory: index, tidying, summaries and times.
#ifndef JORN_TESTS_MODEL_START_MODEL_H
#define JORN_TESTS_MODEL_START_MODEL_H

#include <cstdint>
#include <vector>

#include "csvfile/file_summary.h"
#include "model/index_model.h"
#include "model/query_model.h"

namespace test {

/// What a start makes of a directory, and of the object's memory.
struct ModelStart {
    int32_t oldest;
    int32_t latest;
    std::vector<JORN_CSV_INFO> summaries;
    uint32_t finalTime;
    uint32_t maxTime;
    NamedFiles files;
    bool isFileReplaced;  ///< A rename replaced a file that had not been moved yet.
};

ModelStart modelStart(const NamedFiles &files, int32_t csvNum, int32_t slotMax);

/// The ring as queries see it after that start.
ModelRing modelRingOf(const ModelStart &start, int32_t csvNum, int32_t slotMax);

}  // namespace test

#endif
