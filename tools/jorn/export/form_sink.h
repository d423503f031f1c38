// SPDX-License-Identifier: Apache-2.0
// The sink of each form of an export.
#ifndef JORN_TOOLS_FORM_SINK_H
#define JORN_TOOLS_FORM_SINK_H

#include <memory>
#include <string>

#include "export/export_form.h"
#include "export/export_sink.h"
#include "output/syslog_format.h"

namespace tool {

/// How items are written, whichever log they belong to.
struct FormTerms {
    ExportForm form = ExportForm::JsonLines;
    bool isUtc = false;
    SyslogStyle syslog{};  ///< For syslog: what is the same for all logs. Without a host, the device is used.
    std::string table{};   ///< For a database: the table of its one log; empty for the log's name.
    ItemOrigin columns{};  ///< For CSV: each part that is not empty has a column.
};

/// Writes items to an open file, which must outlive the sink; messages call it `name`. Not for a database.
std::unique_ptr<ExportSink> makeLineSink(const FormTerms &terms, int file, const std::string &name);

}  // namespace tool

#endif
