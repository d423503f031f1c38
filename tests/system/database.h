// SPDX-License-Identifier: Apache-2.0
// Looks into a database that the tool has written.
#ifndef JORN_TESTS_SYSTEM_DATABASE_H
#define JORN_TESTS_SYSTEM_DATABASE_H

#include <string>
#include <vector>

namespace test {

/// The rows that a query returns, values separated by "|"; "NULL" for none.
std::vector<std::string> rowsOf(const std::string &file, const std::string &sql);

}  // namespace test

#endif
