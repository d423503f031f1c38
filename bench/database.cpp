// SPDX-License-Identifier: Apache-2.0
#include "database.h"

#include <cstdio>
#include <cstdlib>

namespace bench {
namespace {

[[noreturn]] void fail(sqlite3 *database) {
    fprintf(stderr, "SQLite: %s\n", sqlite3_errmsg(database));
    exit(EXIT_FAILURE);
}

}  // namespace

Question::Question(sqlite3 *database, const std::string &text) : database_(database) {
    if (sqlite3_prepare_v2(database, text.c_str(), -1, &statement_, nullptr) != SQLITE_OK) {
        fail(database);
    }
}

Question::~Question() { sqlite3_finalize(statement_); }

bool Question::step() {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        fail(database_);
    }
    return result == SQLITE_ROW;
}

int64_t Question::number() {
    const int64_t result = step() ? sqlite3_column_int64(statement_, 0) : -1;
    sqlite3_reset(statement_);
    return result;
}

int64_t Question::firstOfPage() {
    std::string row;
    int64_t first = -1;
    while (step()) {
        row.clear();
        for (int column = 0; column < 4; ++column) {
            row += reinterpret_cast<const char *>(sqlite3_column_text(statement_, column));
        }
        if (first < 0) {
            first = atol(reinterpret_cast<const char *>(sqlite3_column_text(statement_, 3)));
        }
    }
    sqlite3_reset(statement_);
    return first;
}

Database::Database(const std::string &path) {
    if (sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        fail(database_);
    }
    constexpr char kCache[] = "PRAGMA cache_size = -262144";  // KiB, more than the file's size
    if (sqlite3_exec(database_, kCache, nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(database_);
    }
}

Database::~Database() { sqlite3_close(database_); }

}  // namespace bench
