// SPDX-License-Identifier: Apache-2.0
// How many files may be open at once.
#ifndef JORN_TOOLS_OPEN_FILES_H
#define JORN_TOOLS_OPEN_FILES_H

#include <sys/resource.h>

namespace tool {

/// Raises the limit as far as this process may: each of several logs keeps the files of its ring open. Where
/// it may not, opening fails later.
inline void allowManyOpenFiles() {
    struct rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

}  // namespace tool

#endif
