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
#include <array>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "options/log_options.h"
#include "system/child_process.h"
#include "system/failure.h"
#include "terminal/likeness.h"

namespace {

/// The command that was given, for the hint to its help.
std::string chosenCommand(const CLI::App &app) {
    const auto commands = app.get_subcommands();
    return commands.empty() ? "jorn" : "jorn " + commands.front()->get_name();
}

/// What `jorn record` is to run, if anything.
using ToRun = std::optional<std::vector<std::string>>;

struct Command {
    const char *name;
    void (*add)(CLI::App *app, int *exitCode, const ToRun &toRun);
};

/// For the commands that run nothing.
template <void (*kAdd)(CLI::App *, int *)>
void addPlain(CLI::App *app, int *exitCode, const ToRun & /*toRun*/) {
    kAdd(app, exitCode);
}

constexpr std::array<Command, 9> kCommands = {{
    {"show", addPlain<tool::addShowCommand>},
    {"follow", addPlain<tool::addFollowCommand>},
    {"count", addPlain<tool::addCountCommand>},
    {"stats", addPlain<tool::addStatsCommand>},
    {"export", addPlain<tool::addExportCommand>},
    {"check", addPlain<tool::addCheckCommand>},
    {"repair", addPlain<tool::addRepairCommand>},
    {"clear", addPlain<tool::addClearCommand>},
    {"record", tool::addRecordCommand},
}};

bool isCommand(const std::string &word) {
    return std::any_of(kCommands.begin(), kCommands.end(),
                       [&](const Command &command) { return word == command.name; });
}

/// Options take a good part of the time that a command needs, so that just those of the chosen one are made.
/// Help is of all.
void addCommands(CLI::App *app, const std::string &chosen, int *exitCode, const ToRun &toRun) {
    for (const Command &command : kCommands) {
        if (chosen == command.name || !isCommand(chosen)) {
            command.add(app, exitCode, toRun);
        }
    }
}

/// "; did you mean WORD?" where one of the words is alike enough.
std::string guess(const std::string &word, const std::vector<std::string> &words) {
    const std::string likely = tool::likeliest(word, words);
    return likely.empty() ? "" : "; did you mean " + likely + "?";
}

std::string unknownCommand(const std::string &word) {
    std::vector<std::string> names = {"help"};
    for (const Command &command : kCommands) {
        names.emplace_back(command.name);
    }
    return "unknown command: " + word + guess(word, names);
}

/// The long names of all options that the command line could have had.
std::vector<std::string> longOptions(const std::vector<const CLI::App *> &apps) {
    std::vector<std::string> names;
    for (const CLI::App *const app : apps) {
        for (const CLI::Option *const option : app->get_options()) {
            for (const std::string &name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

/// `word` as it was given, perhaps with a value after "=".
std::string unknownOption(const CLI::App &app, const std::string &word) {
    std::vector<const CLI::App *> apps = {&app};
    for (const CLI::App *const command : app.get_subcommands()) {
        apps.push_back(command);
    }
    std::string likely;
    if (tool::isNumericOption(word) && apps.back()->get_option_no_throw("-n") != nullptr) {
        likely = "; did you mean -n " + word.substr(1) + "?";
    } else if (word.compare(0, 2, "--") == 0) {
        likely = guess(word.substr(0, word.find('=')), longOptions(apps));
    }
    return "unknown option: " + word + likely;
}

/// Whether a first word that is no command is the directory of the default command, or an option of it.
bool isForShow(const std::string &word) {
    const bool isOfApp = word == "-h" || word == "--help" || word == "-V" || word == "--version";
    std::error_code ignored;
    return !isOfApp && !isCommand(word) && !word.empty() &&
           (word[0] == '-' || word.find('/') != std::string::npos ||
            std::filesystem::is_directory(word, ignored));
}

/// Takes the command that `jorn record` is to run, all that follows "--", off the words.
ToRun takeCommand(std::vector<std::string> *words) {
    const auto mark = std::find(words->begin(), words->end(), "--");
    if (words->empty() || words->front() != "record" || mark == words->end()) {
        return std::nullopt;
    }
    std::vector<std::string> command(mark + 1, words->end());
    words->erase(mark, words->end());
    return command;
}

/// `jorn help COMMAND` is `jorn COMMAND --help`.
std::vector<std::string> helpWords(const std::vector<std::string> &words) {
    if (words.size() > 1 && !isCommand(words[1])) {
        tool::refuse(unknownCommand(words[1]));
    }
    std::vector<std::string> arguments(words.begin() + 1, words.end());
    arguments.emplace_back("--help");
    return arguments;
}

/// The words with the command in front, where there is one; never none.
std::vector<std::string> argumentsOf(std::vector<std::string> words) {
    if (words.empty()) {
        words = {"--help"};
    } else if (words.front() == "help") {
        words = helpWords(words);
    } else if (isForShow(words.front())) {
        words.insert(words.begin(), "show");
    }
    return words;
}

/// An unset variable in a script must not silently drop a filter or change the target. Only a pattern may be
/// empty: every text matches it.
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

/// What is wrong with the command line. The parser takes the word after an unknown option for DIR, so it
/// complains of surplus or missing words that are not at fault.
std::string problemOf(const CLI::App &app, const CLI::ParseError &error) {
    const std::vector<std::string> left = app.remaining(true);
    const auto option = std::find_if(
        left.begin(), left.end(), [](const std::string &word) { return word.size() > 1 && word[0] == '-'; });
    const int code = error.get_exit_code();
    if (code == static_cast<int>(tool::kUnknownOption)) {
        return unknownOption(app, error.what());
    }
    const bool isOfWords = code == static_cast<int>(CLI::ExitCodes::ExtrasError) ||
                           code == static_cast<int>(CLI::ExitCodes::RequiredError);
    return isOfWords && option != left.end() ? unknownOption(app, *option) : error.what();
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

/// Runs the command that was chosen. Returns `exitCode` as the command left it, or `usageExit` if the words
/// cannot be parsed.
int parseAndRun(CLI::App *app, const int *exitCode, int usageExit, const std::vector<std::string> &words) {
    // The parser takes the last one first.
    std::vector<std::string> arguments(words.rbegin(), words.rend());
    try {
        app->parse(arguments);
    } catch (const CLI::Success &asked) {
        return answer(app, asked);
    } catch (const CLI::ParseError &error) {
        const bool isUnknown = app->get_subcommands().empty() && words.front()[0] != '-';
        tool::printMessage(isUnknown ? unknownCommand(words.front()) : problemOf(*app, error));
        tool::printMessage("see " + chosenCommand(*app) + " --help");
        return usageExit;
    }
    return *exitCode;
}

/// The descriptor of a closed standard stream would be given to the next file that is opened, and a log's
/// file would be read or written as that stream. Occupied here, it makes reading and writing fail instead.
void occupyStandardDescriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const bool isClosed = fcntl(fd, F_GETFD) < 0 && errno == EBADF;
        if (isClosed && open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY) != fd) {
            _exit(tool::kExitInputOutput);
        }
    }
}

int run(int argc, char **argv) {
    // A closed pipe is handled where it is written to.
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
    const ToRun toRun = takeCommand(&words);
    words = argumentsOf(words);
    int exitCode = tool::kExitDone;
    addCommands(&app, words.front(), &exitCode, toRun);
    refuseEmptyValues(&app);
    return parseAndRun(&app, &exitCode, toRun ? tool::kExitOfRunner : tool::kExitUsage, words);
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
