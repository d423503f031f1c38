// SPDX-License-Identifier: Apache-2.0
// Texts are untrusted: what a terminal could take for a command is shown as \xNN.
#ifndef JORN_TOOLS_ESCAPE_H
#define JORN_TOOLS_ESCAPE_H

#include <string>
#include <string_view>

#include "terminal/utf8.h"

namespace tool {

/// The text with \xNN for each byte that belongs to a control character (C0 except tabs, DEL, C1), to a line
/// separator, to a character that changes the writing direction, or to no valid UTF-8 character. All else is
/// left unchanged.
std::string escaped(std::string_view text);

}  // namespace tool

#endif
