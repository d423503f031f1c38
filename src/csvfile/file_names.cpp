// SPDX-License-Identifier: Apache-2.0
#include "csvfile/file_names.h"

#include <stdio.h>

namespace jorn {

DataPath::DataPath(const char *dirName, int32_t position) {
    sprintf(path_, "%s/%ld.csv", dirName, static_cast<long>(position));
}

IndexPath::IndexPath(const char *dirName, const char *fileName) {
    sprintf(path_, "%s/%s", dirName, fileName);
}

}  // namespace jorn
