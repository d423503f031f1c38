// SPDX-License-Identifier: Apache-2.0
#include "system/failure.h"

#include <stdio.h>
#include <string.h>

#include "terminal/escape.h"

namespace tool {

Failure systemFailure(const std::string &name, int error) { return Failure(name + ": " + strerror(error)); }

void refuse(const std::string &message) { throw Failure(message, kExitUsage); }

void printMessage(const std::string &message) { fprintf(stderr, "jorn: %s\n", escaped(message).c_str()); }

}  // namespace tool
