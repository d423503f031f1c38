// SPDX-License-Identifier: Apache-2.0
#include "options/serve_options.h"

#include <CLI/Option.hpp>
#include <utility>

#include "options/log_options.h"
#include "usage/help.h"

namespace tool {

void addServeOptions(CLI::App *command, ServeOptions *options) {
    addDirectoriesOption(command, &options->directories);
    beginGroup(command, "The page");
    command
        ->add_option("--listen", options->listen,
                     "Listen on ADDRESS:PORT; port 0 stands for any free one (default: "
                     "127.0.0.1:8642, or the next free port)")
        ->type_name("ADDRESS");
    command
        ->add_option("--token-file", options->tokenFile,
                     "File whose first line is the token (default: a new token each time)")
        ->type_name("FILE");
    command->add_flag("--open", options->isOpened, "Open the page in the browser");
    command->add_flag("--utc", options->isUtc, "Read and print times in UTC instead of local time");
    command->add_option("--names", options->namesFile, "Names of levels and slots (default: DIR/jorn.names)")
        ->type_name("FILE");
    beginGroup(command, kOtherGroup);
    command->add_flag("--poll", options->isPolling,
                      "Look for new items twice a second instead of waiting for events");
    addFilesOption(command, &options->files,
                   "Files in the ring, 2 to 90 (default: the fewest that DIR needs)");
}

std::vector<std::string> wordsOf(const ServeOptions &options) {
    std::vector<std::string> words;
    const auto add = [&words](const std::string &name, const std::string &value) {
        if (!value.empty()) {
            words.push_back(name + "=" + value);
        }
    };
    add("--listen", options.listen);
    add("--token-file", options.tokenFile);
    add("--names", options.namesFile);
    add("--files", options.files ? std::to_string(*options.files) : "");
    for (const auto &[isGiven, name] :
         {std::pair(options.isOpened, "--open"), {options.isUtc, "--utc"}, {options.isPolling, "--poll"}}) {
        if (isGiven) {
            words.emplace_back(name);
        }
    }
    words.emplace_back("--");
    words.insert(words.end(), options.directories.begin(), options.directories.end());
    return words;
}

}  // namespace tool
