// SPDX-License-Identifier: Apache-2.0
// Detects lines that ran together: one that was cut off, and the next one written right after it.
#ifndef JORN_TOOLS_RUN_TOGETHER_H
#define JORN_TOOLS_RUN_TOGETHER_H

#include <string_view>

namespace tool {

/// Whether a line holds, other than at its start, what the store's lines begin with: a time of 9 or 10
/// digits, level and slot. As texts may hold such bytes too, that time must be later than the line's own, or
/// what follows must be the item that the store adds at each start.
bool looksRunTogether(std::string_view line);

}  // namespace tool

#endif
