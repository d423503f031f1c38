// SPDX-License-Identifier: Apache-2.0
// Where exported items go: lines of text, or a database.
#ifndef JORN_TOOLS_EXPORT_SINK_H
#define JORN_TOOLS_EXPORT_SINK_H

#include <functional>
#include <memory>
#include <string>

#include "log/item.h"
#include "log/names.h"
#include "output/item_format.h"
#include "output/output.h"

namespace tool {

/// A log whose items are exported.
struct ExportedLog {
    std::string name;                 ///< UTF-8, no other log's of the export and the same device.
    const Names *names = &noNames();  ///< Of levels and slots.
    ItemOrigin origin{};              ///< As far as each item tells it.
};

/// Takes the logs one after the other. What fails throws Failure.
class ExportSink {
public:
    virtual ~ExportSink() = default;

    /// The items that follow are those of this log, which must outlive them.
    virtual void beginLog(const ExportedLog &log) = 0;

    /// False when nobody wants any more.
    virtual bool take(const Item &item) = 0;

    /// Writes what is left when all is taken.
    virtual void finish() = 0;
};

/// Writes an item's text, line feed included. False when nobody wants any more.
using ItemWriter = std::function<bool(const Item &, Output *)>;

/// Lines into an open file, which must outlive the sink; `name` stands for it in messages.
std::unique_ptr<ExportSink> makeTextSink(int file, const std::string &name, const std::string &heading,
                                         std::function<ItemWriter(const ExportedLog &)> writerFor);

/// A database in an empty file. A log gets a table of its name, or of `table` where that is not empty:
///   id     its item's place in the export, from 1 for the oldest
///   time   seconds since 1970
///   level, slot
///   text   TEXT where it is UTF-8, else a BLOB of the bytes as they are stored
///   device, log, epoch, seq   as far as items tell their origin
/// with indexes for the questions that people ask of logs: for a span of time; for it and a level; for it, a
/// slot and perhaps a level. A view NAME_readable gives the time as text, in UTC, and names instead of
/// numbers; where there are names, a table jorn_names holds them.
std::unique_ptr<ExportSink> makeSqliteSink(const std::string &path, const std::string &name,
                                           const std::string &table);

}  // namespace tool

#endif
