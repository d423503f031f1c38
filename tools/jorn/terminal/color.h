// SPDX-License-Identifier: Apache-2.0
// Terminal colours: the more urgent something is, the more it stands out.
#ifndef JORN_TOOLS_COLOR_H
#define JORN_TOOLS_COLOR_H

#include <array>
#include <string>

namespace tool {

inline constexpr char kUrgent[] = "\x1b[1;31m";         ///< Bold red.
inline constexpr char kWarning[] = "\x1b[33m";          ///< Yellow.
inline constexpr char kCommon[] = "";                   ///< Like all other text.
inline constexpr char kUnimportant[] = "\x1b[2m";       ///< Faint.
inline constexpr char kMatch[] = "\x1b[1;31m";          ///< Bold red;
inline constexpr char kUrgentMatch[] = "\x1b[1;7;31m";  ///< inverted within text that is already red.
inline constexpr char kNoColor[] = "\x1b[0m";
inline constexpr char kGood[] = "\x1b[32m";  ///< Green.

/// Of names that stand side by side: cyan, green, magenta, blue. None of them is the colour of a level.
inline constexpr std::array<const char *, 4> kNameColors = {"\x1b[36m", "\x1b[32m", "\x1b[35m", "\x1b[34m"};

/// The text in a colour.
inline std::string colored(const std::string &text, const std::string &color) {
    return color.empty() ? text : color + text + kNoColor;
}

}  // namespace tool

#endif
