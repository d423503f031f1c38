// SPDX-License-Identifier: Apache-2.0
#include "options/item_output.h"

#include <charconv>

#include "output/output.h"
#include "terminal/color.h"

namespace tool {
namespace {

uint64_t parseNumberOfItems(const std::string &text) {
    uint64_t number = 0;
    const char *const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number);
    if (text == "all") {
        return kAllItems;
    }
    if (error != std::errc() || end != last) {
        throw CLI::ValidationError("-n", "'" + text + "' is neither a number nor 'all'");
    }
    return number;
}

}  // namespace

CLI::Option *addNewestOption(CLI::App *command, std::optional<uint64_t> *newest, const std::string &meaning) {
    return command
        ->add_option_function<std::string>(
            "-n,--lines", [newest](const std::string &text) { *newest = parseNumberOfItems(text); }, meaning)
        ->type_name("N|all");
}

void addContextOptions(CLI::App *command, ContextSize *context) {
    constexpr size_t kMost = 10000;
    const auto add = [&](const char *names, const std::function<void(size_t)> &set, const char *meaning) {
        command
            ->add_option_function<size_t>(
                names,
                [set, names](size_t number) {
                    if (number > kMost) {
                        throw CLI::ValidationError(names, "at most 10000 items");
                    }
                    set(number);
                },
                meaning)
            ->type_name("N")
            ->needs(command->get_option("--grep"));
    };
    add(
        "-A,--after-context", [context](size_t number) { context->after = number; },
        "With --grep: N items after each match, too");
    add(
        "-B,--before-context", [context](size_t number) { context->before = number; },
        "With --grep: N items before each match, too");
    add(
        "-C,--context",
        [context](size_t number) {
            *context = {number, number};
        },
        "With --grep: both; -- stands between groups");
}

ItemStyle itemStyleOf(const OutputOptions &output, const FilterOptions &filter, const NamedLog &log) {
    const Question &question = log.question;
    const bool isTerminal = isOutputTerminal();
    ItemStyle style;
    style.form = itemFormOf(output.form);
    style.isUtc = filter.isUtc;
    style.isEscaped = output.isEscaped || isTerminal;
    style.isColored = isColored(output, isTerminal);
    style.names = &question.shownNames();
    style.pattern = question.filter.isInverted ? nullptr : question.filter.pattern;
    style.origin.log = log.name;
    if (!log.front.empty()) {
        const char *const color = kNameColors[log.place % kNameColors.size()];
        style.front = (style.isColored ? colored(log.front, color) : log.front) + " ";
    }
    return style;
}

}  // namespace tool
