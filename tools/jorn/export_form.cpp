// SPDX-License-Identifier: Apache-2.0
#include "export_form.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace tool {
namespace {

struct FormName {
    const char *name;
    ExportForm form;
};

constexpr std::array<FormName, 4> kForms = {{{"jsonl", ExportForm::JsonLines},
                                             {"csv", ExportForm::Csv},
                                             {"syslog", ExportForm::Syslog},
                                             {"sqlite", ExportForm::Sqlite}}};

constexpr std::array<FormName, 9> kEndings = {{{".jsonl", ExportForm::JsonLines},
                                               {".ndjson", ExportForm::JsonLines},
                                               {".json", ExportForm::JsonLines},
                                               {".csv", ExportForm::Csv},
                                               {".syslog", ExportForm::Syslog},
                                               {".log", ExportForm::Syslog},
                                               {".sqlite", ExportForm::Sqlite},
                                               {".sqlite3", ExportForm::Sqlite},
                                               {".db", ExportForm::Sqlite}}};

template <size_t kSize>
std::optional<ExportForm> find(const std::array<FormName, kSize> &forms, const std::string &name) {
    const auto *const found =
        std::find_if(forms.begin(), forms.end(), [&](const FormName &each) { return name == each.name; });
    return found == forms.end() ? std::nullopt : std::optional(found->form);
}

}  // namespace

std::vector<std::string> exportFormNames() {
    std::vector<std::string> names;
    names.reserve(kForms.size());
    for (const FormName &each : kForms) {
        names.emplace_back(each.name);
    }
    return names;
}

std::optional<ExportForm> exportFormOf(const std::string &name) { return find(kForms, name); }

std::optional<ExportForm> exportFormOfFile(const std::string &path) {
    return find(kEndings, std::filesystem::path(path).extension().string());
}

}  // namespace tool
