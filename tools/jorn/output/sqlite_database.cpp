// SPDX-License-Identifier: Apache-2.0
#include "output/sqlite_database.h"

#include "system/failure.h"

namespace tool {
namespace {

std::string quoted(const std::string &text, char quote) {
    std::string result(1, quote);
    for (const char c : text) {
        result.append(c == quote ? 2 : 1, c);
    }
    return result + quote;
}

}  // namespace

SqliteDatabase::SqliteDatabase(const std::string &path, std::string name) : name_(std::move(name)) {
    sqlite3 *opened = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
    database_.reset(opened);
    require(result);
    // The file gets its name only when it is complete and synced: until then there is nothing to roll back
    // to.
    execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE");
}

void SqliteDatabase::require(int result) const {
    if (result != SQLITE_OK && result != SQLITE_DONE) {
        throw Failure(name_ + ": " +
                      (database_ != nullptr ? sqlite3_errmsg(database_.get()) : sqlite3_errstr(result)));
    }
}

void SqliteDatabase::execute(const std::string &sql) {
    require(sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr));
}

SqliteStatement SqliteDatabase::prepare(const std::string &sql) {
    sqlite3_stmt *statement = nullptr;
    require(sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &statement, nullptr));
    return SqliteStatement(this, statement);
}

void SqliteDatabase::close() {
    require(sqlite3_close(database_.get()));
    // It is closed already, so the owner must not close it again.
    [[maybe_unused]] sqlite3 *const gone = database_.release();
}

void SqliteStatement::bind(int column, int64_t number) {
    database_->require(sqlite3_bind_int64(statement_.get(), column, number));
}

void SqliteStatement::bindText(int column, std::string_view text) {
    database_->require(
        sqlite3_bind_text64(statement_.get(), column, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void SqliteStatement::bindBytes(int column, std::string_view bytes) {
    database_->require(
        sqlite3_bind_blob64(statement_.get(), column, bytes.data(), bytes.size(), SQLITE_STATIC));
}

void SqliteStatement::run() {
    const int result = sqlite3_step(statement_.get());
    sqlite3_reset(statement_.get());
    database_->require(result);
}

std::string sqlName(const std::string &name) { return quoted(name, '"'); }

std::string sqlText(const std::string &text) { return quoted(text, '\''); }

}  // namespace tool
