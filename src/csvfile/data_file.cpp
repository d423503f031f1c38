// SPDX-License-Identifier: Apache-2.0
#include "csvfile/data_file.h"

#include "diagnostics.h"

namespace jorn {

DataPath::DataPath(const char *dirName, int32_t position) {
    sprintf(path_, "%s/%ld.csv", dirName, asLong(position));
}

}  // namespace jorn
