// SPDX-License-Identifier: Apache-2.0
// The command-line tool `jorn`.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Error.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Option.hpp>
#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "system/child_process.h"
#include "system/failure.h"

namespace {

/// The name of the command that was given, for advice.
std::string chosenCommand(const CLI::App &app) {
    const auto commands = app.get_subcommands();
    return commands.empty() ? "jorn" : "jorn " + commands.front()->get_name();
}

/// Whether a first word that is no command is the directory of the default command, or an option of it.
bool isForShow(const CLI::App &app, const std::string &word) {
    const bool isOfApp = word == "-h" || word == "--help" || word == "-V" || word == "--version";
    const auto commands =
        app.get_subcommands([&](const CLI::App *command) { return command->get_name() == word; });
    std::error_code ignored;
    return !isOfApp && commands.empty() && !word.empty() &&
           (word[0] == '-' || word.find('/') != std::string::npos ||
            std::filesystem::is_directory(word, ignored));
}

bool isCommand(const CLI::App &app, const std::string &word) {
    return !app.get_subcommands([&](const CLI::App *command) { return command->get_name() == word; }).empty();
}

/// Takes the command that `jorn record` is to run, all that follows "--", off the words.
std::optional<std::vector<std::string>> takeCommand(std::vector<std::string> *words) {
    const auto mark = std::find(words->begin(), words->end(), "--");
    if (words->empty() || words->front() != "record" || mark == words->end()) {
        return std::nullopt;
    }
    std::vector<std::string> command(mark + 1, words->end());
    words->erase(mark, words->end());
    return command;
}

/// `jorn help COMMAND` is `jorn COMMAND --help`.
std::vector<std::string> helpWords(const CLI::App &app, const std::vector<std::string> &words) {
    if (words.size() > 1 && !isCommand(app, words[1])) {
        tool::refuse("unknown command: " + words[1]);
    }
    std::vector<std::string> arguments(words.begin() + 1, words.end());
    arguments.emplace_back("--help");
    return arguments;
}

/// The arguments in the order in which the parser takes them: the last one first.
std::vector<std::string> argumentsOf(const CLI::App &app, std::vector<std::string> words) {
    if (words.empty()) {
        words = {"--help"};
    } else if (words.front() == "help") {
        words = helpWords(app, words);
    } else if (isForShow(app, words.front())) {
        words.insert(words.begin(), "show");
    }
    std::reverse(words.begin(), words.end());
    return words;
}

/// A variable of a script that is not set must not lift a limit, or lead elsewhere, without a word. Only a
/// pattern may be empty, which every text has.
void refuseEmptyValues(CLI::App *app) {
    const auto isGiven = [](const std::string &value) {
        return std::string(value.empty() ? "the value is empty" : "");
    };
    for (CLI::App *const command : app->get_subcommands([](const CLI::App *) { return true; })) {
        for (CLI::Option *const option :
             command->get_options([](const CLI::Option *each) { return !each->check_lname("grep"); })) {
            option->check(isGiven);
        }
    }
}

/// What is wrong with the command line. The word behind an option that is not known is taken for DIR, so that
/// words are left over, or missing, that are not at fault.
std::string problemOf(const CLI::App &app, const CLI::ParseError &error) {
    const std::vector<std::string> left = app.remaining(true);
    const auto option = std::find_if(
        left.begin(), left.end(), [](const std::string &word) { return word.size() > 1 && word[0] == '-'; });
    const int code = error.get_exit_code();
    const bool isOfWords = code == static_cast<int>(CLI::ExitCodes::ExtrasError) ||
                           code == static_cast<int>(CLI::ExitCodes::RequiredError);
    return isOfWords && option != left.end() ? "unknown option: " + *option : error.what();
}

/// Prints what --help or --version asked for.
int answer(CLI::App *app, const CLI::Success &asked) {
    errno = 0;
    const int exitCode = app->exit(asked);
    if (!std::cout.flush() && errno != EPIPE) {
        throw tool::systemFailure("standard output", errno);
    }
    return exitCode;
}

/// Runs the command that was chosen. Gives `exitCode` as the command left it, or `usageExit` for what cannot
/// be parsed.
int parseAndRun(CLI::App *app, const int *exitCode, int usageExit, const std::vector<std::string> &words) {
    try {
        app->parse(argumentsOf(*app, words));
    } catch (const CLI::Success &asked) {
        return answer(app, asked);
    } catch (const CLI::ParseError &error) {
        const bool isUnknown = app->get_subcommands().empty() && !words.empty() && words.front()[0] != '-';
        tool::printMessage(isUnknown ? "unknown command: " + words.front() : problemOf(*app, error));
        tool::printMessage("see " + chosenCommand(*app) + " --help");
        return usageExit;
    }
    return *exitCode;
}

/// Standard input and outputs that are closed would be the next files that are opened, and a log's files be
/// read and written in their place. Instead, reading and writing them fails.
void occupyStandardDescriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const bool isClosed = fcntl(fd, F_GETFD) < 0 && errno == EBADF;
        if (isClosed && open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY) != fd) {
            _exit(tool::kExitInputOutput);
        }
    }
}

int run(int argc, char **argv) {
    // A closed pipe is met where it is written to.
    signal(SIGPIPE, SIG_IGN);
    CLI::App app("Records logs into rings of CSV files, and reads them back.", "jorn");
    app.set_version_flag("-V,--version", "jorn " JORN_VERSION);
    app.require_subcommand(1);
    app.footer(
        "jorn DIR is short for jorn show DIR. jorn help COMMAND, or jorn COMMAND --help, has the options of "
        "a\n"
        "command, with examples.\n"
        "Exit codes: 0 done, 1 no match where that was asked, 2 usage, 3 damage was found, 4 input or\n"
        "output failed.");
    std::vector<std::string> words(argv + 1, argv + argc);
    const std::optional<std::vector<std::string>> command = takeCommand(&words);
    int exitCode = tool::kExitDone;
    tool::addShowCommand(&app, &exitCode);
    tool::addFollowCommand(&app, &exitCode);
    tool::addCountCommand(&app, &exitCode);
    tool::addStatsCommand(&app, &exitCode);
    tool::addExportCommand(&app, &exitCode);
    tool::addCheckCommand(&app, &exitCode);
    tool::addRepairCommand(&app, &exitCode);
    tool::addClearCommand(&app, &exitCode);
    tool::addRecordCommand(&app, &exitCode, command);
    refuseEmptyValues(&app);
    return parseAndRun(&app, &exitCode, command ? tool::kExitOfRunner : tool::kExitUsage, words);
}

}  // namespace

int main(int argc, char **argv) {
    occupyStandardDescriptors();
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
