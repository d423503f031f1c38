// SPDX-License-Identifier: Apache-2.0
// Columns for people.
#ifndef JORN_TOOLS_TEXT_TABLE_H
#define JORN_TOOLS_TEXT_TABLE_H

#include <stddef.h>

#include <string>
#include <vector>

namespace tool {

/// Rows of as many cells each.
using TableRows = std::vector<std::vector<std::string>>;

/// A line for each row, without line feed: the first cells begin in one column, the others end in one.
std::vector<std::string> tableLines(const TableRows &rows);

}  // namespace tool

#endif
