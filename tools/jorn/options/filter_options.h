// SPDX-License-Identifier: Apache-2.0
// The options of all reading commands: which directory, which items, which form of output. A command adds
// them with addFilterOptions(), and gets their meaning from openQuestion() once the command line is read.
#ifndef JORN_TOOLS_FILTER_OPTIONS_H
#define JORN_TOOLS_FILTER_OPTIONS_H

#include <CLI/App.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "query/question.h"

namespace tool {

/// As given on the command line.
struct FilterOptions {
    std::vector<std::string> directories;
    std::optional<int> files;
    std::string since;
    std::string until;
    std::string priority;
    std::vector<std::string> levels;
    std::vector<std::string> slots;
    std::vector<std::string> patterns;
    bool isCaseIgnored = false;
    bool isInverted = false;
    std::string namesFile;
    bool isNumbers = false;
    bool isUtc = false;
    bool isQuiet = false;
};

/// Adds the options to a command that reads logs. `options` must outlive the parsing.
void addFilterOptions(CLI::App *command, FilterOptions *options);

/// The same without DIR and --quiet, for commands that give them another meaning.
void addQuestionOptions(CLI::App *command, FilterOptions *options);

/// Of a command that reads one log at a time. Throws Failure where there are more.
const std::string &onlyDirectory(const FilterOptions &options);

/// Names that the options use and a log has not: for each the reason to refuse it.
using UnknownNames = std::set<std::string>;

/// Opens a directory and reads the names. With --utc, makes UTC the local time of the process first. Relative
/// times are counted from `now`. With `unknown`, names that are not known here match nothing and are added to
/// it; else they are refused. Throws Failure.
Question openQuestion(const FilterOptions &options, const std::string &directory, time_t now,
                      UnknownNames *unknown = nullptr);

/// The same of a directory that is to be a log.
Question openLogQuestion(const FilterOptions &options, const std::string &directory, time_t now,
                         UnknownNames *unknown = nullptr);

/// Refuses what openQuestion() would refuse, where there is no directory yet. Gives the last time that items
/// may have. Throws Failure.
uint32_t checkFilter(const FilterOptions &options, time_t now, UnknownNames *unknown = nullptr);

/// Exit code 1 is for scripts that asked whether there is a match: with --grep or --quiet.
inline bool isMatchAsked(const FilterOptions &options) {
    return options.isQuiet || !options.patterns.empty();
}

/// The part of a command's help that is the same for all.
extern const char *const kFilterHelp;

}  // namespace tool

#endif
