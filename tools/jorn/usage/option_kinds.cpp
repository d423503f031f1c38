// SPDX-License-Identifier: Apache-2.0
#include "usage/option_kinds.h"

#include <algorithm>
#include <charconv>

namespace tool {
namespace {

/// "a, b or c"
std::string listed(const std::vector<std::string> &words) {
    std::string text;
    for (size_t i = 0; i < words.size(); ++i) {
        const bool isLast = i + 1 == words.size();
        text += (i == 0 ? "" : isLast ? " or " : ", ") + words[i];
    }
    return text;
}

}  // namespace

ValueCheck numberBetween(int64_t least, int64_t most) {
    return [least, most](const std::string &text) {
        int64_t number = 0;
        const char *const last = text.data() + text.size();
        const auto [end, error] = std::from_chars(text.data(), last, number);
        const bool isGood = error == std::errc() && end == last && number >= least && number <= most;
        return isGood ? std::string()
                      : "'" + text + "' is not a number from " + std::to_string(least) + " to " +
                            std::to_string(most);
    };
}

CLI::Option *addChoiceOption(CLI::App *command, const std::string &names, std::string *value,
                             const std::vector<std::string> &choices, const std::string &meaning) {
    std::vector<std::string> shown = choices;
    std::replace(shown.begin(), shown.end(), *value, *value + " (default)");
    const auto check = [choices](const std::string &word) {
        const bool isChoice = std::find(choices.begin(), choices.end(), word) != choices.end();
        return isChoice ? std::string() : "'" + word + "' is unknown; use " + listed(choices);
    };
    return command->add_option(names, *value, meaning + (meaning.empty() ? "" : ": ") + listed(shown))
        ->check(check);
}

}  // namespace tool
