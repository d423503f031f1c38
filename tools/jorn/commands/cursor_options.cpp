// SPDX-License-Identifier: Apache-2.0
#include "commands/cursor_options.h"

#include <CLI/Option.hpp>

#include "system/failure.h"
#include "usage/help.h"
#include "usage/option_kinds.h"

namespace tool {

void addCursorOptions(CLI::App *command, ShippingOptions *options) {
    constexpr int kMostItems = 10000000;
    constexpr int kMostRetries = 1000;
    beginGroup(command, "Only what is new");
    CLI::Option *const cursors = command
                                     ->add_option("--cursor-file", options->cursorFile,
                                                  "Send each item once; FILE records what was sent")
                                     ->type_name("FILE");
    CLI::Option *const exec =
        command->add_option("--exec", options->command, "Shell command that stores each batch from its input")
            ->type_name("COMMAND")
            ->needs(cursors);
    addNumberOption(command, "--batch", &options->batch, 1, kMostItems, "Items per batch (default: 50000)")
        ->needs(exec);
    addNumberOption(command, "--retries", &options->retries, 0, kMostRetries,
                    "Times a failed batch is sent again (default: 5)")
        ->needs(exec);
    command->add_option("--timeout", options->timeout, "Time limit of COMMAND for a batch (default: none)")
        ->type_name("TIME")
        ->needs(exec);
    command->add_option("--every", options->every, "Keep running, and look again every 5s, 2m or 1h")
        ->type_name("TIME")
        ->needs(exec);
    CLI::Option *const dry =
        command->add_flag("--dry-run", options->isDry, "Print what would be sent; send nothing")
            ->needs(cursors);
    command->add_flag("--status", options->isStatus, "Print progress of each DIR, or of all logs in FILE")
        ->needs(cursors)
        ->excludes(dry);
}

namespace {

void checkInterval(const std::string &option, const std::string &text) {
    if (!text.empty() && !parseInterval(text)) {
        refuse(option + ": '" + text + "' is not a time such as 5s, 2m or 1h, of 24 hours at most");
    }
}

}  // namespace

void checkCursorOptions(const ShippingOptions &options, const CursorSetting &setting) {
    const bool isSending = !options.isDry && !options.isStatus;
    if (isSending && options.command.empty() && !setting.hasFile) {
        refuse(
            "with --cursor-file, send items to --to FILE or --exec COMMAND: there is no way to know whether "
            "the "
            "reader of standard output has stored them");
    }
    if (!options.command.empty() && setting.hasFile) {
        refuse("items go to --to FILE or to --exec COMMAND, not to both");
    }
    if (!options.command.empty() && setting.chosen == ExportForm::Sqlite) {
        refuse("a database goes to a file; name one with --to");
    }
    if (setting.mayReplace) {
        refuse("--force: with --cursor-file, FILE must not exist yet: it may hold items that were sent");
    }
    checkInterval("--every", options.every);
    checkInterval("--timeout", options.timeout);
    if (options.isStatus && !setting.form.empty() && setting.form != "json") {
        refuse("--status is text, or JSON with -o json");
    }
}

}  // namespace tool
