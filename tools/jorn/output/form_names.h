// SPDX-License-Identifier: Apache-2.0
// The forms of an output and their names on the command line.
#ifndef JORN_TOOLS_FORM_NAMES_H
#define JORN_TOOLS_FORM_NAMES_H

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <vector>

namespace tool {

template <class Form>
struct FormName {
    const char *name;
    Form form;
};

template <class Form, size_t kSize>
std::vector<std::string> namesOf(const std::array<FormName<Form>, kSize> &forms) {
    std::vector<std::string> names;
    names.reserve(kSize);
    for (const FormName<Form> &each : forms) {
        names.emplace_back(each.name);
    }
    return names;
}

template <class Form, size_t kSize>
std::optional<Form> formNamed(const std::string &name, const std::array<FormName<Form>, kSize> &forms) {
    const auto *const found = std::find_if(forms.begin(), forms.end(),
                                           [&](const FormName<Form> &each) { return name == each.name; });
    return found == forms.end() ? std::nullopt : std::optional(found->form);
}

}  // namespace tool

#endif
