// SPDX-License-Identifier: Apache-2.0
// A count with its noun.
#ifndef JORN_TOOLS_COUNTED_H
#define JORN_TOOLS_COUNTED_H

#include <string>

namespace tool {

/// "1 file", "2 files".
template <class Number>
std::string counted(Number number, const char *one, const char *many) {
    return std::to_string(number) + " " + (number == 1 ? one : many);
}

}  // namespace tool

#endif
