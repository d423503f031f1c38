// SPDX-License-Identifier: Apache-2.0
#include "options/log_options.h"

#include <CLI/Error.hpp>

#include "jorn.h"
#include "usage/option_kinds.h"
#include "usage/usage_error.h"

namespace tool {

void addDirectoryOption(CLI::App *command, std::string *directory) {
    refuseNumbers(command->add_option("DIR", *directory, "Directory of the log")->required());
}

CLI::Option *addDirectoriesOption(CLI::App *command, std::vector<std::string> *directories) {
    CLI::Option *const option =
        command->add_option("DIR", *directories, "Directories of the logs")->required();
    refuseNumbers(option);
    return option;
}

void refuseNumbers(CLI::Option *directory) {
    directory->check([](const std::string &word) {
        if (isNumericOption(word)) {
            throw CLI::ParseError(word, kUnknownOption);
        }
        return std::string();
    });
}

void addFilesOption(CLI::App *command, std::optional<int> *files, const std::string &meaning) {
    addNumberOption(command, "--files", files, JORN_CSV_NUM_MIN, JORN_CSV_NUM_MAX, meaning);
}

}  // namespace tool
