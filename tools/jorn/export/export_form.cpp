// SPDX-License-Identifier: Apache-2.0
#include "export/export_form.h"

#include <array>
#include <filesystem>

#include "output/form_names.h"

namespace tool {
namespace {

constexpr std::array<FormName<ExportForm>, 5> kForms = {{{"jsonl", ExportForm::JsonLines},
                                                         {"json", ExportForm::JsonLines},
                                                         {"csv", ExportForm::Csv},
                                                         {"syslog", ExportForm::Syslog},
                                                         {"sqlite", ExportForm::Sqlite}}};

constexpr std::array<FormName<ExportForm>, 9> kEndings = {{{".jsonl", ExportForm::JsonLines},
                                                           {".ndjson", ExportForm::JsonLines},
                                                           {".json", ExportForm::JsonLines},
                                                           {".csv", ExportForm::Csv},
                                                           {".syslog", ExportForm::Syslog},
                                                           {".log", ExportForm::Syslog},
                                                           {".sqlite", ExportForm::Sqlite},
                                                           {".sqlite3", ExportForm::Sqlite},
                                                           {".db", ExportForm::Sqlite}}};

}  // namespace

std::vector<std::string> exportFormNames() { return namesOf(kForms); }

std::optional<ExportForm> exportFormOf(const std::string &name) { return formNamed(name, kForms); }

std::optional<ExportForm> exportFormOfFile(const std::string &path) {
    return formNamed(std::filesystem::path(path).extension().string(), kEndings);
}

}  // namespace tool
