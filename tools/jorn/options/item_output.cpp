// SPDX-License-Identifier: Apache-2.0
#include "options/item_output.h"

#include <charconv>

#include "output/output.h"
#include "terminal/color.h"
#include "usage/help.h"
#include "usage/option_kinds.h"

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
        throw CLI::ValidationError("--lines", "'" + text + "' is not a number or all");
    }
    return number;
}

}  // namespace

CLI::Option *addNewestOption(CLI::App *command, std::optional<uint64_t> *newest, const std::string &meaning) {
    beginGroup(command, kItemsGroup);
    return command
        ->add_option_function<std::string>(
            "-n,--lines", [newest](const std::string &text) { *newest = parseNumberOfItems(text); }, meaning)
        ->type_name("N");
}

void addContextOptions(CLI::App *command, ContextSize *context) {
    constexpr int64_t kMost = 10000;
    const auto add = [&](const char *names, const std::function<void(size_t)> &set, const char *meaning) {
        command->add_option_function<size_t>(names, set, meaning)
            ->type_name("N")
            ->check(numberBetween(0, kMost))
            ->needs(command->get_option("--grep"));
    };
    beginGroup(command, kItemsGroup);
    add(
        "-A,--after-context", [context](size_t number) { context->after = number; },
        "With -g: also N items after each match");
    add(
        "-B,--before-context", [context](size_t number) { context->before = number; },
        "With -g: also N items before each match");
    add(
        "-C,--context",
        [context](size_t number) {
            *context = {number, number};
        },
        "With -g: also N items before and after each match");
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
