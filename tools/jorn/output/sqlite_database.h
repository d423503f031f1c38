// SPDX-License-Identifier: Apache-2.0
// A new database, written once from start to end.
#ifndef JORN_TOOLS_SQLITE_DATABASE_H
#define JORN_TOOLS_SQLITE_DATABASE_H

#include <sqlite3.h>
#include <stdint.h>

#include <memory>
#include <string>
#include <string_view>

namespace tool {

class SqliteStatement;

/// Failures throw Failure with the name that stands for the database in messages. Nothing protects it against
/// a crash: it is meant for a file that nobody can see before it is complete.
class SqliteDatabase {
public:
    SqliteDatabase(const std::string &path, std::string name);

    void execute(const std::string &sql);
    SqliteStatement prepare(const std::string &sql);

    /// Closes it, so that all of it is in the file.
    void close();

private:
    friend class SqliteStatement;
    struct Closer {
        void operator()(sqlite3 *database) const { sqlite3_close(database); }
    };

    void require(int result) const;

    std::string name_;
    std::unique_ptr<sqlite3, Closer> database_;
};

/// A prepared statement that returns no rows. The database must outlive it.
class SqliteStatement {
public:
    /// Columns are counted from 1. A text must be UTF-8; it is not copied, and must live until run().
    void bind(int column, int64_t number);
    void bindText(int column, std::string_view text);
    void bindBytes(int column, std::string_view bytes);
    void run();

private:
    friend class SqliteDatabase;
    struct Finalizer {
        void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
    };

    SqliteStatement(const SqliteDatabase *database, sqlite3_stmt *statement)
        : database_(database), statement_(statement) {}

    const SqliteDatabase *database_;
    std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

/// A name or a text as written in a statement: in quotes, with its own quotes doubled.
std::string sqlName(const std::string &name);
std::string sqlText(const std::string &text);

}  // namespace tool

#endif
