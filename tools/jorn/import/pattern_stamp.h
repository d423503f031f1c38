// SPDX-License-Identifier: Apache-2.0
// Reads the times at the beginning of lines by a pattern of strptime().
#ifndef JORN_TOOLS_PATTERN_STAMP_H
#define JORN_TOOLS_PATTERN_STAMP_H

#include <time.h>

#include <functional>
#include <memory>
#include <string>

#include "import/line_head.h"

namespace tool {

/// What the pattern leaves out is completed: without a year, the newest one not in the future; without a
/// date, today or yesterday. A fraction of a second after the time is ignored. Throws Failure, as a usage
/// error, for a pattern that strptime() cannot read.
std::unique_ptr<LineHeadReader> makePatternReader(const std::string &pattern, std::function<time_t()> now);

}  // namespace tool

#endif
