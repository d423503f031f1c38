// SPDX-License-Identifier: Apache-2.0
// The names in a directory.
#ifndef JORN_TOOLS_DIRECTORY_LIST_H
#define JORN_TOOLS_DIRECTORY_LIST_H

#include <optional>
#include <string>
#include <vector>

namespace tool {

/// All names except "." and "..", sorted; the directory's access time stays unchanged where the system allows
/// that. Nothing, with the reason in errno, when they cannot be read. The descriptor may be one opened with
/// O_PATH.
std::optional<std::vector<std::string>> listNames(int directory);

}  // namespace tool

#endif
