// SPDX-License-Identifier: Apache-2.0
#include "created_ring.h"

#include <jorn.h>

#include <cstdio>
#include <cstdlib>

namespace bench {

Ring::Ring(const std::string &directory, int32_t files)
    : handle_(JORN_Create(directory.c_str(), JORN_SLOT_MAX, files)) {
    if (handle_ < 1) {
        fprintf(stderr, "%s: no log can be created there (31 characters at most)\n", directory.c_str());
        exit(EXIT_FAILURE);
    }
}

Ring::~Ring() { JORN_Destroy(handle_); }

}  // namespace bench
