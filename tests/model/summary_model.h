// SPDX-License-Identifier: Apache-2.0
// The summary of a data file by its two rules: one for reading a file, one for appending to it.
#ifndef JORN_TESTS_MODEL_SUMMARY_MODEL_H
#define JORN_TESTS_MODEL_SUMMARY_MODEL_H

#include <cstdint>

#include "csvfile/file_summary.h"
#include "model/query_model.h"

namespace test {

/// The change that one item makes when it is read: a smallest time of 0 counts as none.
void modelRead(const ModelItem &item, int32_t slotMax, JORN_CSV_INFO *info);

/// The change that one appended item makes.
void modelAppend(const ModelItem &item, int32_t slotMax, JORN_CSV_INFO *info);

/// The matches of a file that is not read: levels and slots beyond the object's own mean "below the debug
/// level" and "any slot", and days are ignored.
int32_t modelCounted(const JORN_CSV_INFO &info, int32_t slotMax, const JORN_REQUIRE &require);

}  // namespace test

#endif
