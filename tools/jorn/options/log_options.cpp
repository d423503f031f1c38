// SPDX-License-Identifier: Apache-2.0
#include "options/log_options.h"

#include <CLI/Validators.hpp>

#include "jorn.h"

namespace tool {

void addDirectoryOption(CLI::App *command, std::string *directory) {
    refuseNumbers(command->add_option("DIR", *directory, "Directory of the log")->required());
}

void addDirectoriesOption(CLI::App *command, std::vector<std::string> *directories) {
    refuseNumbers(command->add_option("DIR", *directories, "Directories of the logs")->required());
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
    command->add_option("--files", *files, meaning)
        ->type_name("N")
        ->check(CLI::Range(JORN_CSV_NUM_MIN, JORN_CSV_NUM_MAX));
}

}  // namespace tool
