// SPDX-License-Identifier: Apache-2.0
// Standard output of the reading commands.
#ifndef JORN_TOOLS_OUTPUT_H
#define JORN_TOOLS_OUTPUT_H

#include <string>

namespace tool {

/// Whether standard output is a terminal.
bool isOutputTerminal();

/// Writes everything to standard output. A reader that has closed its pipe wants no more, and that is no
/// error; any other failure throws Failure.
void writeOutput(const std::string &text);

}  // namespace tool

#endif
