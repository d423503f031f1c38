// SPDX-License-Identifier: Apache-2.0
#include <strings.h>

#include <optional>
#include <vector>

#include "export/export_sink.h"
#include "export/unique_names.h"
#include "module_limits.h"
#include "output/sqlite_database.h"
#include "terminal/escape.h"

namespace tool {
namespace {

/// "JORN", by which file(1) and others can recognise such a database.
constexpr int kApplicationId = 0x4a4f524e;

/// Version of the tables and columns: raised when a reader of an older one could not read the new one.
constexpr int kSchemaVersion = 1;

/// Rows per transaction.
constexpr int kBatch = 10000;

constexpr char kNamesTable[] = "jorn_names";

/// The database reserves names that begin with this prefix.
std::string allowedName(const std::string &log) {
    constexpr char kReserved[] = "sqlite_";
    return strncasecmp(log.c_str(), kReserved, sizeof kReserved - 1) == 0 ? "log_" + log : log;
}

class SqliteSink : public ExportSink {
public:
    SqliteSink(const std::string &path, const std::string &name, std::string table)
        : database_(path, name), table_(std::move(table)) {
        taken_.add(kNamesTable);
        database_.execute("PRAGMA application_id = " + std::to_string(kApplicationId) +
                          "; PRAGMA user_version = " + std::to_string(kSchemaVersion) + "; BEGIN");
    }

    void beginLog(const ExportedLog &log) override;
    bool take(const Item &item) override;
    void finish() override;

private:
    std::string originColumns(const std::string &ofNames, const std::string &ofNumbers) const;
    std::string originValues() const;
    void keepNames(const std::string &table, const char *kind, const NameTable &names, int32_t limit);
    void finishLog(const std::string &table);
    std::string valueOf(const std::string &table, const char *kind, const NameTable &names) const;

    SqliteDatabase database_;
    const std::string table_;  ///< Empty where each table has its log's name.
    std::optional<SqliteStatement> insert_;
    UniqueNames taken_;
    ItemOrigin origin_;  ///< Of the current log; all logs have the same parts of it.
    std::vector<std::pair<std::string, const Names *>> tables_;
    bool hasNamesTable_ = false;
    int64_t id_ = 0;
    int inBatch_ = 0;
};

void SqliteSink::beginLog(const ExportedLog &log) {
    const std::string table = taken_.add(allowedName(table_.empty() ? log.name : table_));
    origin_ = log.origin;
    tables_.emplace_back(table, log.names);
    database_.execute("CREATE TABLE " + sqlName(table) +
                      " (id INTEGER PRIMARY KEY, time INTEGER NOT NULL, level INTEGER NOT NULL, slot INTEGER "
                      "NOT NULL, text TEXT NOT NULL" +
                      originColumns(" TEXT NOT NULL", " INTEGER NOT NULL") + ")");
    keepNames(table, "level", log.names->levels, jorn::kLevelMax);
    keepNames(table, "slot", log.names->slots, jorn::kSlotMax);
    insert_ =
        database_.prepare("INSERT INTO " + sqlName(table) + " VALUES (?, ?, ?, ?, ?" + originValues() + ")");
    id_ = 0;
}

/// ", device, log, epoch, seq" as far as items show them, each followed by the text given for its kind.
std::string SqliteSink::originColumns(const std::string &ofNames, const std::string &ofNumbers) const {
    return (origin_.device.empty() ? "" : ", device" + ofNames) +
           (origin_.log.empty() ? "" : ", log" + ofNames) +
           (origin_.isNumbered() ? ", epoch" + ofNumbers + ", seq" + ofNumbers : "");
}

/// The values for these columns: only seq differs from item to item.
std::string SqliteSink::originValues() const {
    return (origin_.device.empty() ? "" : ", " + sqlText(origin_.device)) +
           (origin_.log.empty() ? "" : ", " + sqlText(origin_.log)) +
           (origin_.isNumbered() ? ", " + std::to_string(origin_.epoch) + ", ?" : "");
}

void SqliteSink::keepNames(const std::string &table, const char *kind, const NameTable &names,
                           int32_t limit) {
    if (!names.isEmpty() && !hasNamesTable_) {
        database_.execute(
            "CREATE TABLE " + sqlName(kNamesTable) +
            " (log TEXT, kind TEXT CHECK (kind IN ('level', 'slot')), number INTEGER, name TEXT NOT "
            "NULL, PRIMARY KEY (log, kind, number)) WITHOUT ROWID");
        hasNamesTable_ = true;
    }
    for (int32_t number = 0; number < limit; ++number) {
        if (const std::string *const name = names.nameOf(number)) {
            database_.execute("INSERT INTO " + sqlName(kNamesTable) + " VALUES (" + sqlText(table) + ", " +
                              sqlText(kind) + ", " + std::to_string(number) + ", " + sqlText(*name) + ")");
        }
    }
}

bool SqliteSink::take(const Item &item) {
    insert_->bind(1, ++id_);
    insert_->bind(2, item.seconds);
    insert_->bind(3, item.level);
    insert_->bind(4, item.slot);
    if (isUtf8(item.text)) {
        insert_->bindText(5, item.text);
    } else {
        insert_->bindBytes(5, item.text);
    }
    if (origin_.isNumbered()) {
        insert_->bind(6, static_cast<int64_t>(item.seq));
    }
    insert_->run();
    if (++inBatch_ == kBatch) {
        database_.execute("COMMIT; BEGIN");
        inBatch_ = 0;
    }
    return true;
}

/// All tables have their names before indexes and views are named after them.
void SqliteSink::finish() {
    insert_.reset();
    for (const auto &[table, names] : tables_) {
        finishLog(table);
        database_.execute("CREATE VIEW " + sqlName(taken_.add(table + "_readable")) +
                          " AS SELECT id, strftime('%Y-%m-%dT%H:%M:%SZ', time, 'unixepoch') AS time, " +
                          valueOf(table, "level", names->levels) + " AS level, " +
                          valueOf(table, "slot", names->slots) + " AS slot, text" + originColumns("", "") +
                          " FROM " + sqlName(table));
    }
    database_.execute("COMMIT");
    database_.close();
}

/// The indexes come after the rows, which makes both faster.
void SqliteSink::finishLog(const std::string &table) {
    const auto index = [&](const char *suffix, const char *columns) {
        database_.execute("CREATE INDEX " + sqlName(taken_.add(table + suffix)) + " ON " + sqlName(table) +
                          " (" + columns + ")");
    };
    index("_by_time", "time");
    index("_by_level", "level, time");
    index("_by_slot", "slot, level, time");
}

std::string SqliteSink::valueOf(const std::string &table, const char *kind, const NameTable &names) const {
    if (names.isEmpty()) {
        return kind;
    }
    return "coalesce((SELECT name FROM " + sqlName(kNamesTable) + " WHERE log = " + sqlText(table) +
           " AND kind = " + sqlText(kind) + " AND number = " + kind + "), " + kind + ")";
}

}  // namespace

std::unique_ptr<ExportSink> makeSqliteSink(const std::string &path, const std::string &name,
                                           const std::string &table) {
    return std::make_unique<SqliteSink>(path, name, table);
}

}  // namespace tool
