// SPDX-License-Identifier: Apache-2.0
// Commands of the tool, run in this process over a directory of its own.
#ifndef JORN_TESTS_FUZZ_TOOL_PROCESS_H
#define JORN_TESTS_FUZZ_TOOL_PROCESS_H

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "model/index_model.h"

namespace fuzz {

/// The directory of this process, removed at its end.
class Directory {
public:
    Directory();
    ~Directory();
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    const std::string &path() const { return path_; }

    /// Leaves these files in it and no others.
    void fill(const test::NamedFiles &files) const;

    test::NamedFiles files() const;

    /// When each file and the directory itself were changed, as text.
    std::map<std::string, std::string> times() const;

private:
    std::string path_;
};

struct Run {
    int exitCode;
    std::string output;
};

/// Runs a command. Nothing waits there, and nothing is written to a medium.
Run run(const std::vector<std::string> &arguments);

/// The same with standard output looking like a terminal.
Run runOnTerminal(const std::vector<std::string> &arguments);

}  // namespace fuzz

#endif
