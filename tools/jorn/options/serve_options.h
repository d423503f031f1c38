// SPDX-License-Identifier: Apache-2.0
// The options of `jorn serve`. The server is a program of its own, so that no other command has to load what
// only it needs; jorn starts it with the same words.
#ifndef JORN_TOOLS_SERVE_OPTIONS_H
#define JORN_TOOLS_SERVE_OPTIONS_H

#include <CLI/App.hpp>
#include <optional>
#include <string>
#include <vector>

namespace tool {

struct ServeOptions {
    std::vector<std::string> directories;
    std::optional<int> files;
    std::string listen;
    std::string tokenFile;
    std::string namesFile;
    bool isOpened = false;
    bool isUtc = false;
    bool isPolling = false;
};

/// `options` must outlive the parsing.
void addServeOptions(CLI::App *command, ServeOptions *options);

/// The command line that gives these options.
std::vector<std::string> wordsOf(const ServeOptions &options);

}  // namespace tool

#endif
