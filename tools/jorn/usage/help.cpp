// SPDX-License-Identifier: Apache-2.0
#include "usage/help.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Option.hpp>
#include <algorithm>
#include <memory>
#include <sstream>
#include <vector>

namespace tool {
namespace {

constexpr size_t kWidth = 80;

/// Where the meaning of an option begins, and that of a command.
constexpr size_t kOptionColumn = 28;
constexpr size_t kCommandColumn = 12;

/// The words in lines of at most `kWidth`, from a column on. The first line lacks what stands before it.
std::string filled(const std::string &text, size_t column) {
    std::istringstream words(text);
    std::string out;
    size_t used = column;
    for (std::string word; words >> word;) {
        const bool isFirst = used == column;
        if (!isFirst && used + 1 + word.size() > kWidth) {
            out += "\n" + std::string(column, ' ') + word;
            used = column + word.size();
            continue;
        }
        out += (isFirst ? "" : " ") + word;
        used += (isFirst ? 0 : 1) + word.size();
    }
    return out + "\n";
}

/// A name and, from a column on, its meaning: on the same line if there is room.
std::string entry(const std::string &name, const std::string &meaning, size_t column) {
    const bool fits = name.size() + 2 <= column;
    return name + (fits ? std::string(column - name.size(), ' ') : "\n" + std::string(column, ' ')) +
           filled(meaning, column);
}

/// "  -S, --since TIME"; an option without a short name leaves room for one.
std::string optionHead(const CLI::Option &option) {
    std::string head;
    for (const std::string &name : option.get_snames()) {
        head += (head.empty() ? "  -" : ", -") + name;
    }
    for (const std::string &name : option.get_lnames()) {
        head += (head.empty() ? "      --" : ", --") + name;
    }
    return option.get_type_size() == 0 ? head : head + " " + option.get_type_name();
}

class HelpFormatter : public CLI::FormatterBase {
public:
    explicit HelpFormatter(const HelpText &text) : text_(text) {}

    std::string make_help(const CLI::App *app, std::string /*name*/,
                          CLI::AppFormatMode /*mode*/) const override {
        return usage() + "\n" + text_.brief + ".\n" + titled("Examples", text_.examples) + commands(*app) +
               options(*app) + apart(text_.notes) + apart(text_.sharedNotes) +
               titled("Exit codes", text_.exitCodes);
    }

private:
    static std::string apart(const std::string &notes) {
        std::istringstream paragraphs(notes);
        std::string out;
        for (std::string paragraph; std::getline(paragraphs, paragraph);) {
            out += (out.empty() ? "\n" : "") + filled(paragraph, 0);
        }
        return out;
    }

    static std::string titled(const std::string &title, const std::string &lines) {
        return lines.empty() ? "" : "\n" + title + ":\n" + lines;
    }

    std::string usage() const {
        std::istringstream lines(text_.usage);
        std::string out;
        for (std::string line; std::getline(lines, line);) {
            out += (out.empty() ? "Usage: " : "       ") + line + "\n";
        }
        return out;
    }

    static std::string commands(const CLI::App &app) {
        std::string lines;
        for (const CLI::App *const command : app.get_subcommands([](const CLI::App *) { return true; })) {
            lines += entry("  " + command->get_name(), command->get_description(), kCommandColumn);
        }
        return titled("Commands", lines);
    }

    /// The groups in the order in which they were begun, what every command has at the end.
    static std::string options(const CLI::App &app) {
        std::vector<std::string> groups = app.get_groups();
        std::stable_partition(groups.begin(), groups.end(),
                              [](const std::string &group) { return group != kOtherGroup; });
        std::string out;
        for (const std::string &group : groups) {
            std::vector<const CLI::Option *> options = app.get_options([&](const CLI::Option *option) {
                return option->get_group() == group && option->nonpositional();
            });
            std::stable_partition(options.begin(), options.end(),
                                  [&](const CLI::Option *option) { return option != app.get_help_ptr(); });
            out += titled(group, entries(options));
        }
        return out;
    }

    static std::string entries(const std::vector<const CLI::Option *> &options) {
        std::string lines;
        for (const CLI::Option *const option : options) {
            lines += entry(optionHead(*option), option->get_description(), kOptionColumn);
        }
        return lines;
    }

    HelpText text_;
};

}  // namespace

void setHelp(CLI::App *app, const HelpText &text) { app->formatter(std::make_shared<HelpFormatter>(text)); }

CLI::App *addCommand(CLI::App *app, const std::string &name, const HelpText &text) {
    CLI::App *const command = app->add_subcommand(name, text.brief);
    setHelp(command, text);
    command->set_help_flag("-h,--help", "Print this help")->group(kOtherGroup);
    return command;
}

void beginGroup(CLI::App *command, const std::string &title) { command->option_defaults()->group(title); }

}  // namespace tool
