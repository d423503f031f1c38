// SPDX-License-Identifier: Apache-2.0
// Failures to reach or make a directory, with the name of the one that is closed to the user.
#ifndef JORN_TOOLS_CLOSED_DIRECTORY_H
#define JORN_TOOLS_CLOSED_DIRECTORY_H

#include <string>

#include "system/failure.h"

namespace tool {

/// The failure to open a directory: names one on the way to it that cannot be passed.
Failure openFailure(const std::string &path, int error);

/// The failure to make a directory: names its parent, or one on the way to that which cannot be passed.
Failure makeFailure(const std::string &path, int error);

}  // namespace tool

#endif
