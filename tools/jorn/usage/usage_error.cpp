// SPDX-License-Identifier: Apache-2.0
#include "usage/usage_error.h"

#include <CLI/Option.hpp>
#include <algorithm>

#include "terminal/likeness.h"

namespace tool {
namespace {

/// "; did you mean WORD?" where one of the words is alike enough.
std::string guess(const std::string &word, const std::vector<std::string> &words) {
    const std::string likely = likeliest(word, words);
    return likely.empty() ? "" : "; did you mean " + likely + "?";
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

/// The words of the parser's message: some errors name one or two options there, and nowhere else.
std::vector<std::string> wordsOf(const CLI::ParseError &error) {
    std::istringstream text(error.what());
    std::vector<std::string> words;
    for (std::string word; text >> word;) {
        words.push_back(word);
    }
    return words;
}

/// `word` as it was given, perhaps with a value after "=".
std::string unknownOption(const CLI::App &app, const std::string &word) {
    std::vector<const CLI::App *> apps = {&app};
    for (const CLI::App *const command : app.get_subcommands()) {
        apps.push_back(command);
    }
    if (word.compare(0, 2, "-=") == 0) {  // What is left of a short option that takes no value.
        return "unexpected value: " + word.substr(1);
    }
    std::string likely;
    if (isNumericOption(word) && apps.back()->get_option_no_throw("-n") != nullptr) {
        likely = "; did you mean -n " + word.substr(1) + "?";
    } else if (word.compare(0, 2, "--") == 0) {
        likely = guess(word.substr(0, word.find('=')), longOptions(apps));
    }
    return "unknown option: " + word + likely;
}

std::string surplus(const std::vector<std::string> &left) {
    std::string text = left.size() > 1 ? "unexpected arguments:" : "unexpected argument:";
    for (const std::string &word : left) {
        text += " " + word;
    }
    return text;
}

/// An option that lacks its value, came too often, or is a flag with a value.
std::string wrongNumberOfValues(const CLI::ParseError &error) {
    const std::string text = error.what();
    std::string name = wordsOf(error).at(0);
    if (text.find("flag override") != std::string::npos) {
        return (name.size() > 1 ? "--" : "-") + name + " takes no value";
    }
    name.pop_back();  // A colon.
    const bool isMissing = text.find(" missing") != std::string::npos;
    return name + (isMissing ? ": the value is missing" : " is given more than once");
}

}  // namespace

std::string unknownCommand(const std::string &word, const std::vector<std::string> &commands) {
    return "unknown command: " + word + guess(word, commands);
}

std::string problemOf(const CLI::App &app, const CLI::ParseError &error) {
    const std::vector<std::string> left = app.remaining(true);
    const auto option = std::find_if(
        left.begin(), left.end(), [](const std::string &word) { return word.size() > 1 && word[0] == '-'; });
    const std::vector<std::string> words = wordsOf(error);
    switch (static_cast<CLI::ExitCodes>(error.get_exit_code())) {
        case kUnknownOption:
            return unknownOption(app, error.what());
        // The parser takes the word after an unknown option for DIR, so it complains of surplus or missing
        // words that are not at fault.
        case CLI::ExitCodes::ExtrasError:
            return option != left.end() ? unknownOption(app, *option) : surplus(left);
        case CLI::ExitCodes::RequiredError:
            return option != left.end() ? unknownOption(app, *option) : "missing argument: " + words.front();
        case CLI::ExitCodes::RequiresError:
            return words.front() + " needs " + words.back();
        case CLI::ExitCodes::ExcludesError:
            return words.front() + " and " + words.back() + " cannot be used together";
        case CLI::ExitCodes::ArgumentMismatch:
            return wrongNumberOfValues(error);
        default:
            return error.what();
    }
}

void refuseDoubtfulValues(CLI::App *app) {
    const auto isGiven = [](const std::string &value) {
        return std::string(value.empty() ? "the value is empty" : "");
    };
    for (CLI::App *const command : app->get_subcommands([](const CLI::App *) { return true; })) {
        for (CLI::Option *const option : command->get_options()) {
            if (option->get_expected_max() == 0) {
                option->disable_flag_override();
            } else if (!option->check_lname("grep")) {
                option->check(isGiven);
            }
        }
    }
}

}  // namespace tool
