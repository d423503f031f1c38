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
    std::string name;                 ///< UTF-8; unique among the export's logs of the same device.
    const Names *names = &noNames();  ///< Of levels and slots.
    ItemOrigin origin{};              ///< What each item shows of it.
};

/// Takes the logs one after another. Throws Failure on any error.
class ExportSink {
public:
    virtual ~ExportSink() = default;

    /// The items that follow belong to this log, which must outlive them.
    virtual void beginLog(const ExportedLog &log) = 0;

    /// False when no more are wanted.
    virtual bool take(const Item &item) = 0;

    /// Writes what is left after the last item.
    virtual void finish() = 0;
};

/// Writes an item's text, line feed included. False when no more are wanted.
using ItemWriter = std::function<bool(const Item &, Output *)>;

/// Writes lines to an open file, which must outlive the sink; messages call it `name`.
std::unique_ptr<ExportSink> makeTextSink(int file, const std::string &name, const std::string &heading,
                                         std::function<ItemWriter(const ExportedLog &)> writerFor);

/// Writes a database to an empty file. A log's table has the log's name, or `table` if that is not empty:
///   id     the item's place in the export, from 1 for the oldest
///   time   seconds since 1970
///   level, slot
///   text   TEXT where it is UTF-8, else a BLOB of the bytes as they are stored
///   device, log, epoch, seq   as far as items show their origin
/// with indexes for common questions: by time span; by time span and level; by time span, slot and perhaps
/// level. A view NAME_readable shows the time as text, in UTC, and names instead of numbers; if there are
/// names, a table jorn_names holds them.
std::unique_ptr<ExportSink> makeSqliteSink(const std::string &path, const std::string &name,
                                           const std::string &table);

}  // namespace tool

#endif
