// SPDX-License-Identifier: Apache-2.0
#include "database.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace test {
namespace {

std::string valueAt(sqlite3_stmt *row, int column) {
    const void *const bytes = sqlite3_column_blob(row, column);
    const auto size = static_cast<size_t>(sqlite3_column_bytes(row, column));
    if (sqlite3_column_type(row, column) == SQLITE_NULL) {
        return "NULL";
    }
    return bytes == nullptr ? "" : std::string(static_cast<const char *>(bytes), size);
}

}  // namespace

std::vector<std::string> rowsOf(const std::string &file, const std::string &sql) {
    sqlite3 *database = nullptr;
    EXPECT_EQ(sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK) << file;
    sqlite3_stmt *statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database);
    std::vector<std::string> rows;
    while (statement != nullptr && sqlite3_step(statement) == SQLITE_ROW) {
        std::string row;
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            row += (column == 0 ? "" : "|") + valueAt(statement, column);
        }
        rows.push_back(row);
    }
    EXPECT_EQ(sqlite3_finalize(statement), SQLITE_OK) << sqlite3_errmsg(database);
    sqlite3_close(database);
    return rows;
}

}  // namespace test
