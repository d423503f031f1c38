// SPDX-License-Identifier: Apache-2.0
// Colours of a terminal: the more urgent something is, the more it strikes the eye.
#ifndef JORN_TOOLS_COLOR_H
#define JORN_TOOLS_COLOR_H

#include <string>

namespace tool {

inline constexpr char kUrgent[] = "\x1b[1;31m";    ///< Bold red.
inline constexpr char kWarning[] = "\x1b[33m";     ///< Yellow.
inline constexpr char kCommon[] = "";              ///< As all other text.
inline constexpr char kUnimportant[] = "\x1b[2m";  ///< Faint.
inline constexpr char kGood[] = "\x1b[32m";        ///< Green.

/// The text in a colour.
inline std::string colored(const std::string &text, const std::string &color) {
    return color.empty() ? text : color + text + "\x1b[0m";
}

}  // namespace tool

#endif
