// SPDX-License-Identifier: Apache-2.0
// Where the module's messages go, which it prints on standard output.
#ifndef JORN_TOOLS_MODULE_CONSOLE_H
#define JORN_TOOLS_MODULE_CONSOLE_H

#include "system/descriptor.h"

namespace tool {

/// Turns standard output away from the user's: to standard error where messages are wanted, else to nowhere.
/// What goes wrong the tool says in its own words.
class ModuleConsole {
public:
    explicit ModuleConsole(bool isWanted);

    /// The user's standard output.
    int output() const { return output_.get(); }

private:
    Descriptor output_;
};

}  // namespace tool

#endif
