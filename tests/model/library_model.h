// SPDX-License-Identifier: Apache-2.0
// What the C library's own calls make of a line and of an item: the tokenizer over a copy, the conversions,
// the formatted prints. The module gets the same results in faster ways of its own.
#ifndef JORN_TESTS_MODEL_LIBRARY_MODEL_H
#define JORN_TESTS_MODEL_LIBRARY_MODEL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "model/line_model.h"

namespace test {

/// The fields and the rest, as strtok_r returns them from a copy of at most `maxChars` characters.
ModelFields libraryFields(const char *line, size_t maxChars, size_t count);

/// Where strtok_r is in the line after the third field: where the text begins.
ptrdiff_t libraryTextOffset(const char *line);

/// The numbers of a line as converted by atol (atoll where long is shorter than 64 bits) and atoi.
ModelParse libraryParse(const char *line);

/// A store message made by four formatted prints and a copy byte by byte, its NUL included.
std::string libraryMessage(int32_t handle, uint32_t time, int32_t level, int32_t slot, const char *text);

}  // namespace test

#endif
