// SPDX-License-Identifier: Apache-2.0
// Opening files of a log's directory, where anything may bear their names.
#ifndef JORN_TOOLS_REGULAR_FILE_H
#define JORN_TOOLS_REGULAR_FILE_H

#include <string>

#include "log/store_directory.h"
#include "system/descriptor.h"

namespace tool {

/// Opens what bears the name to read from: without waiting, and without a change of its access time where the
/// system allows that. Closed, with the reason in errno, when it cannot be opened.
Descriptor openQuiet(const StoreDirectory &directory, const std::string &name, int flags = 0);

/// Opens a regular file of the directory to read from, without ever waiting; closed when there is none.
/// Throws Failure when the name is that of something else, or the file may not be read.
Descriptor openRegular(const StoreDirectory &directory, const std::string &name);

}  // namespace tool

#endif
