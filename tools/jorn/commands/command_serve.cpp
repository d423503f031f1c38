// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <array>
#include <filesystem>
#include <memory>

#include "commands/commands.h"
#include "options/serve_options.h"
#include "system/failure.h"
#include "usage/help.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {
    "Show logs in a browser", "jorn serve [OPTION]... DIR...\n",
    "  jorn serve DIR                            a page for one log\n"
    "  jorn serve --open unit1/door unit2/gate   two logs by time, in a browser\n"
    "  jorn serve --listen 127.0.0.1:0 DIR       on any free port\n",
    "The page shows when errors occurred, and lists, filters, searches and follows the items of one log, or "
    "of several merged by time, while they are recorded. Its URL is printed on a line of its own; the server "
    "runs until SIGINT, SIGTERM or SIGHUP. DIR is not changed in any way.\n"
    "Every user of the machine can reach the port, so the URL contains a token: whoever has it can read the "
    "logs. With --token-file the token stays the same; nobody but its owner may have access to that file. "
    "Nothing leaves the machine unless --listen names an address that others can reach; it is not encrypted "
    "then.\n"
    "The page is served by the program jorn-serve; serve.md describes its interface for other programs.\n",
    "  0  stopped by a signal\n"
    "  2  usage error\n"
    "  4  the port is in use, or input or output failed\n"};

/// The server's program: beside this one, as it is built, or where it is installed.
std::string serverPath() {
    std::error_code error;
    const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::array<std::filesystem::path, 2> places = {
        own.parent_path() / "jorn-serve", own.parent_path() / ".." / "libexec" / "jorn" / "jorn-serve"};
    for (const std::filesystem::path &place : places) {
        if (access(place.c_str(), X_OK) == 0) {
            return place.lexically_normal().string();
        }
    }
    throw Failure("the server's program, jorn-serve, is not installed beside jorn");
}

/// Becomes the server.
[[noreturn]] void startServer(const ServeOptions &options) {
    const std::string path = serverPath();
    std::vector<std::string> words = wordsOf(options);
    words.insert(words.begin(), path);
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    execv(path.c_str(), arguments.data());
    throw systemFailure(path, errno);
}

}  // namespace

void addServeCommand(CLI::App *app, int * /*exitCode*/) {
    CLI::App *const command = addCommand(app, "serve", kHelp);
    const auto options = std::make_shared<ServeOptions>();
    addServeOptions(command, options.get());
    command->callback([options] { startServer(*options); });
}

}  // namespace tool
