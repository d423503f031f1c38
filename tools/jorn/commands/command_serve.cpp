// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <array>
#include <filesystem>
#include <memory>

#include "commands/commands.h"
#include "commands/serve_options.h"
#include "system/failure.h"

namespace tool {
namespace {

constexpr char kBrief[] = "Show logs in a browser";

constexpr char kDetails[] =
    "Serves a page that shows where in time the errors are, and lists, filters, searches and follows the\n"
    "items of one log or of several together, while they are recorded. It prints the page's URL on a line\n"
    "of its own and runs until SIGINT, SIGTERM or SIGHUP comes. DIR is not changed in any way.\n"
    "Every user of the machine reaches the port, so that the URL holds a token: whoever has it may read\n"
    "the logs. With --token-file the token, and so the URL, stays the same; the file must be one that only\n"
    "its owner may read. Nothing leaves the machine unless --listen names an address that others reach;\n"
    "nothing is encrypted then.\n"
    "Several logs are shown by time, each under the name of its directory. Behind the page is an interface\n"
    "for other programs: see serve.md.\n\n"
    "Examples:\n"
    "  jorn serve DIR                          a page on one log\n"
    "  jorn serve --open unit1/door unit2/gate two logs by time, in a new tab of the browser\n"
    "  jorn serve --listen 127.0.0.1:0 DIR     at any port that is free\n"
    "  curl -H \"Authorization: Bearer $(cat FILE)\" http://127.0.0.1:8642/api/items   with --token-file "
    "FILE\n"
    "Exit codes: 0 stopped; 2 usage; 4 the port is taken, or input or output failed.";

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
    CLI::App *const command = app->add_subcommand("serve", kBrief);
    const auto options = std::make_shared<ServeOptions>();
    addServeOptions(command, options.get());
    command->footer(kDetails);
    command->callback([options] { startServer(*options); });
}

}  // namespace tool
