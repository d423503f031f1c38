// SPDX-License-Identifier: Apache-2.0
// The forms of an export.
#ifndef JORN_TOOLS_EXPORT_FORM_H
#define JORN_TOOLS_EXPORT_FORM_H

#include <optional>
#include <string>
#include <vector>

namespace tool {

enum class ExportForm { JsonLines, Csv, Syslog, Sqlite };

/// Their names on the command line.
std::vector<std::string> exportFormNames();
std::optional<ExportForm> exportFormOf(const std::string &name);

/// The form that a file's extension stands for; nothing for an unknown one.
std::optional<ExportForm> exportFormOfFile(const std::string &path);

}  // namespace tool

#endif
