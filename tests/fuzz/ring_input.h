// SPDX-License-Identifier: Apache-2.0
// A directory from a fuzzing input: index, backup and data files with bytes of any kind, well-formed items
// more often than chance would give them.
#ifndef JORN_TESTS_FUZZ_RING_INPUT_H
#define JORN_TESTS_FUZZ_RING_INPUT_H

#include "fuzz/byte_reader.h"
#include "model/index_model.h"

namespace fuzz {

/// Takes pieces of files until the input ends. Each is appended to a file: to index.csv, index.bak, or a data
/// file below `positions`, at most 90.
test::NamedFiles takeDirectory(ByteReader *input, int32_t positions);

}  // namespace fuzz

#endif
