// SPDX-License-Identifier: Apache-2.0
// The command-line tool `jorn`.
#include <signal.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Error.hpp>
#include <CLI/Formatter.hpp>
#include <exception>
#include <string>

#include "commands.h"
#include "failure.h"

namespace {

/// The name of the command that was given, for advice.
std::string chosenCommand(const CLI::App &app) {
    const auto commands = app.get_subcommands();
    return commands.empty() ? "jorn" : "jorn " + commands.front()->get_name();
}

int parseAndRun(CLI::App *app, int argc, char **argv) {
    try {
        app->parse(argc, argv);
    } catch (const CLI::Success &asked) {
        return app->exit(asked);  // --help or --version
    } catch (const CLI::ParseError &error) {
        const bool isUnknown = app->get_subcommands().empty() && argc > 1 && argv[1][0] != '-';
        tool::printMessage(isUnknown ? "unknown command: " + std::string(argv[1]) : error.what());
        tool::printMessage("see " + chosenCommand(*app) + " --help");
        return tool::kExitUsage;
    }
    return tool::kExitDone;
}

int run(int argc, char **argv) {
    // A closed pipe is met where it is written to.
    signal(SIGPIPE, SIG_IGN);
    CLI::App app("Records logs into rings of CSV files, and reads them back page by page.", "jorn");
    app.set_version_flag("--version", "jorn " JORN_VERSION);
    app.require_subcommand(1);
    app.footer(
        "See jorn COMMAND --help for the options of a command, with examples.\n"
        "Exit codes: 0 done, 2 usage, 4 input or output failed.");
    tool::addRecordCommand(&app);
    tool::addShowCommand(&app);
    tool::addCountCommand(&app);
    return parseAndRun(&app, argc, argv);
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const tool::Failure &failure) {
        tool::printMessage(failure.what());
        return failure.exitCode();
    } catch (const std::exception &error) {
        tool::printMessage(error.what());
        return tool::kExitInputOutput;
    }
}
