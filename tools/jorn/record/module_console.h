// SPDX-License-Identifier: Apache-2.0
// Redirects the messages that the module prints on standard output.
#ifndef JORN_TOOLS_MODULE_CONSOLE_H
#define JORN_TOOLS_MODULE_CONSOLE_H

#include "system/descriptor.h"

namespace tool {

/// Redirects standard output to standard error if the messages are wanted, else to /dev/null. The tool
/// reports errors in its own words.
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
