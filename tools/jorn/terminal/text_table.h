// SPDX-License-Identifier: Apache-2.0
// Tables with aligned columns.
#ifndef JORN_TOOLS_TEXT_TABLE_H
#define JORN_TOOLS_TEXT_TABLE_H

#include <stddef.h>

#include <string>
#include <vector>

namespace tool {

/// Rows with the same number of cells each.
using TableRows = std::vector<std::vector<std::string>>;

/// One line per row, without a line feed: the first column is aligned left, the others right.
std::vector<std::string> tableLines(const TableRows &rows);

}  // namespace tool

#endif
