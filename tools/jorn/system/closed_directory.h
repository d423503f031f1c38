// SPDX-License-Identifier: Apache-2.0
// Failures to reach or make a directory, naming the one that denies access to the user.
#ifndef JORN_TOOLS_CLOSED_DIRECTORY_H
#define JORN_TOOLS_CLOSED_DIRECTORY_H

#include <string>

#include "system/failure.h"

namespace tool {

/// The failure to open a directory: names a directory on the way to it that may not be searched.
Failure openFailure(const std::string &path, int error);

/// The failure to make a directory: names its parent, or a directory on the way that may not be searched.
Failure makeFailure(const std::string &path, int error);

}  // namespace tool

#endif
