// SPDX-License-Identifier: Apache-2.0
// What bears the names of the store's files, looked at before the store opens them to write: it writes to
// whatever they lead to.
#ifndef JORN_TOOLS_OWN_FILES_H
#define JORN_TOOLS_OWN_FILES_H

#include <string>

#include "log/store_directory.h"

namespace tool {

/// Throws Failure where a name of the index, its backup or a data file is that of a link, a directory or a
/// device, or a data file has another name elsewhere.
void refuseForeignFiles(const StoreDirectory &directory);

/// The same for all that the store writes when it moves on to the file of a position.
void refuseForeignFilesOfRotation(const StoreDirectory &directory, int position);

/// The name of a data file that shows that the directory is no log's: there is no index, the file has lines,
/// and no file has an item. Empty where there is no such file.
std::string strangeDataFile(const StoreDirectory &directory);

}  // namespace tool

#endif
