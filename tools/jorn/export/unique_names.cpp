// SPDX-License-Identifier: Apache-2.0
#include "export/unique_names.h"

#include <algorithm>

namespace tool {
namespace {

/// To a database, only ASCII letters have case.
std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

}  // namespace

std::string UniqueNames::add(const std::string &name) {
    std::string unique = name;
    for (int number = 2; !taken_.insert(lowerCase(unique)).second; ++number) {
        unique = name + "_" + std::to_string(number);
    }
    return unique;
}

}  // namespace tool
