// SPDX-License-Identifier: Apache-2.0
#include "failure.h"

#include <stdio.h>
#include <string.h>

namespace tool {

Failure systemFailure(const std::string &name, int error) { return Failure(name + ": " + strerror(error)); }

void printMessage(const char *message) noexcept { fprintf(stderr, "jorn: %s\n", message); }

}  // namespace tool
