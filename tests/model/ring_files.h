// SPDX-License-Identifier: Apache-2.0
// Data files as tests name and hold them.
#ifndef JORN_TESTS_MODEL_RING_FILES_H
#define JORN_TESTS_MODEL_RING_FILES_H

#include <map>
#include <string>

namespace test {

/// Data files by position, with their bytes.
using DataFiles = std::map<int, std::string>;

inline std::string csvName(int position) { return std::to_string(position) + ".csv"; }

}  // namespace test

#endif
