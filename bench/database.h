// SPDX-License-Identifier: Apache-2.0
// The same items in SQLite, queried through its library.
#ifndef JORN_BENCH_DATABASE_H
#define JORN_BENCH_DATABASE_H

#include <sqlite3.h>

#include <cstdint>
#include <string>

namespace bench {

/// A prepared statement. Ends the process with SQLite's message when anything fails.
class Question {
public:
    Question(sqlite3 *database, const std::string &text);
    ~Question();
    Question(const Question &) = delete;
    Question &operator=(const Question &) = delete;

    /// The number in the first column of the only row.
    int64_t number();
    /// Copies the fields of all rows out, as a page does; returns the number that the first row's text begins
    /// with, -1 without a row.
    int64_t firstOfPage();

private:
    bool step();

    sqlite3 *database_;
    sqlite3_stmt *statement_ = nullptr;
};

/// A database file, opened read-only, all of it in its cache.
class Database {
public:
    explicit Database(const std::string &path);
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    sqlite3 *get() const { return database_; }

private:
    sqlite3 *database_ = nullptr;
};

}  // namespace bench

#endif
