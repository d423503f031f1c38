// SPDX-License-Identifier: Apache-2.0
// Opens files in a log's directory, where anything may bear their names.
#ifndef JORN_TOOLS_REGULAR_FILE_H
#define JORN_TOOLS_REGULAR_FILE_H

#include <string>

#include "log/store_directory.h"
#include "system/descriptor.h"

namespace tool {

/// Opens what bears the name for reading, without waiting, and without changing its access time where the
/// system allows that. Closed, with the reason in errno, when it cannot be opened.
Descriptor openQuiet(const StoreDirectory &directory, const std::string &name, int flags = 0);

/// Opens a regular file in the directory for reading, without ever waiting; closed when there is none. Throws
/// Failure when the name refers to something else, or the file may not be read.
Descriptor openRegular(const StoreDirectory &directory, const std::string &name);

}  // namespace tool

#endif
