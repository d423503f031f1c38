// SPDX-License-Identifier: Apache-2.0
// The command-line tool `jorn`.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Error.hpp>
#include <CLI/Formatter.hpp>
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
#include "system/child_process.h"
#include "system/failure.h"
#include "usage/help.h"
#include "usage/usage_error.h"

namespace {

constexpr tool::HelpText kHelp = {"Record logs into rings of CSV files, and read them back",
                                  "jorn COMMAND [OPTION]... DIR\n"
                                  "jorn [OPTION]... DIR           the same as jorn show\n"
                                  "jorn help [COMMAND]\n",
                                  "  make 2>&1 | jorn record build-log          store what a program prints\n"
                                  "  jorn build-log                             read it\n"
                                  "  jorn show -S yesterday -p 0 build-log      errors since yesterday\n",
                                  "",
                                  "  0  done\n"
                                  "  1  no item matches\n"
                                  "  2  usage error\n"
                                  "  3  damage was found\n"
                                  "  4  input or output failed\n"};

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

constexpr std::array<Command, 11> kCommands = {{
    {"show", addPlain<tool::addShowCommand>},
    {"follow", addPlain<tool::addFollowCommand>},
    {"count", addPlain<tool::addCountCommand>},
    {"stats", addPlain<tool::addStatsCommand>},
    {"logs", addPlain<tool::addLogsCommand>},
    {"export", addPlain<tool::addExportCommand>},
    {"check", addPlain<tool::addCheckCommand>},
    {"repair", addPlain<tool::addRepairCommand>},
    {"clear", addPlain<tool::addClearCommand>},
    {"record", tool::addRecordCommand},
    {"serve", addPlain<tool::addServeCommand>},
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

std::string noCommand(const std::string &word) {
    std::vector<std::string> names = {"help"};
    for (const Command &command : kCommands) {
        names.emplace_back(command.name);
    }
    return tool::unknownCommand(word, names);
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
    if (words.size() == 1 || words[1] == "help") {
        return {"--help"};
    }
    if (!isCommand(words[1])) {
        tool::refuse(noCommand(words[1]));
    }
    return {words[1], "--help"};
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
    if (words.front()[0] != '-' && !isCommand(words.front())) {
        tool::printMessage(noCommand(words.front()));
        tool::printMessage("see jorn --help");
        return usageExit;
    }
    // The parser takes the last one first.
    std::vector<std::string> arguments(words.rbegin(), words.rend());
    try {
        app->parse(arguments);
    } catch (const CLI::Success &asked) {
        return answer(app, asked);
    } catch (const CLI::ParseError &error) {
        tool::printMessage(tool::problemOf(*app, error));
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
    CLI::App app;
    tool::setHelp(&app, kHelp);
    app.set_help_flag("-h,--help", "Print this help; for a command: jorn help COMMAND");
    app.set_version_flag("-V,--version", "jorn " JORN_VERSION, "Print the version");
    app.require_subcommand(1);
    std::vector<std::string> words(argv + 1, argv + argc);
    const ToRun toRun = takeCommand(&words);
    words = argumentsOf(words);
    int exitCode = tool::kExitDone;
    addCommands(&app, words.front(), &exitCode, toRun);
    tool::refuseDoubtfulValues(&app);
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
