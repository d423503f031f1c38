// SPDX-License-Identifier: Apache-2.0
#include "options/output_options.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <CLI/Option.hpp>
#include <sstream>

#include "output/output.h"
#include "usage/help.h"
#include "usage/option_kinds.h"

namespace tool {
namespace {

bool isInstalled(const std::string &program) {
    const char *const path = getenv("PATH");
    std::istringstream directories(path != nullptr ? path : "");
    for (std::string directory; std::getline(directories, directory, ':');) {
        if (access(directory.append("/").append(program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

/// Whether the terminal can do more than print lines.
bool isTerminalAble() {
    const char *const term = getenv("TERM");
    return term != nullptr && *term != '\0' && strcmp(term, "dumb") != 0;
}

}  // namespace

void addFormOption(CLI::App *command, OutputOptions *options, const std::vector<std::string> &forms) {
    options->form = forms.front();
    beginGroup(command, kFormGroup);
    addChoiceOption(command, "-o,--output", &options->form, forms, "")->type_name("FORM");
}

void addTerminalOptions(CLI::App *command, OutputOptions *options) {
    beginGroup(command, kFormGroup);
    CLI::Option *const color =
        addChoiceOption(command, "--color", &options->color, {"auto", "always", "never"}, "Colours")
            ->type_name("WHEN");
    command
        ->add_flag_callback(
            "--no-color", [options] { options->color = "never"; }, "The same as --color never")
        ->excludes(color);
    command->add_flag("--no-pager", options->isPagerOff, "Do not start a pager on a terminal");
}

void addItemOutputOptions(CLI::App *command, OutputOptions *options) {
    addTerminalOptions(command, options);
    command->add_flag("--escape", options->isEscaped, "Print control characters as \\xNN to files as well");
}

bool isColored(const OutputOptions &options, bool isTerminal) {
    if (options.color != "auto") {
        return options.color == "always";
    }
    const char *const noColor = getenv("NO_COLOR");
    const bool isRefused = noColor != nullptr && *noColor != '\0';
    return isTerminal && isTerminalAble() && !isRefused;
}

std::string pagerCommand(const OutputOptions &options) {
    if (options.isPagerOff || !isOutputTerminal() || !isTerminalAble()) {
        return "";
    }
    for (const char *const name : {"JORN_PAGER", "PAGER"}) {
        if (const char *const pager = getenv(name)) {
            return strcmp(pager, "cat") == 0 ? "" : pager;
        }
    }
    return isInstalled("less") ? std::string("less -") + kLessOptions : "";
}

}  // namespace tool
