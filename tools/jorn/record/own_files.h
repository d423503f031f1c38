// SPDX-License-Identifier: Apache-2.0
// Checks what bears the names of the store's files before the store opens them for writing: it writes to
// whatever they lead to.
#ifndef JORN_TOOLS_OWN_FILES_H
#define JORN_TOOLS_OWN_FILES_H

#include <string>

#include "log/store_directory.h"

namespace tool {

/// Throws Failure where the index, its backup or a data file is a link, a directory or a device, or where a
/// data file has another hard link.
void refuseForeignFiles(const StoreDirectory &directory);

/// The same for all that the store writes when it moves on to the file at this position.
void refuseForeignFilesOfRotation(const StoreDirectory &directory, int position);

/// The name of a data file that shows that the directory is not a log's: there is no index, the file has
/// lines, and no file has an item. Empty where there is no such file.
std::string strangeDataFile(const StoreDirectory &directory);

}  // namespace tool

#endif
