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

/// Adds the options that say how times, levels and slots are written, to the group of the others about the
/// output.
void addNotationOptions(CLI::App *command, FilterOptions *options);

/// For each name that the options use and a log does not have, the reason to refuse it.
using UnknownNames = std::set<std::string>;

/// Opens a directory and reads the names. With --utc, makes UTC the local time of the process first. Relative
/// times are counted from `now`. With `unknown`, names that are not known here match nothing and are added to
/// it; else they are refused. Throws Failure.
Question openQuestion(const FilterOptions &options, const std::string &directory, time_t now,
                      UnknownNames *unknown = nullptr);

/// The same, and throws Failure when the directory holds no log.
Question openLogQuestion(const FilterOptions &options, const std::string &directory, time_t now,
                         UnknownNames *unknown = nullptr);

/// Refuses what openQuestion() would refuse, while the directory does not exist yet. Returns the latest time
/// that items may have. Throws Failure.
uint32_t checkFilter(const FilterOptions &options, time_t now, UnknownNames *unknown = nullptr);

/// Exit code 1 is for scripts that asked whether there is a match: with --grep or --quiet.
inline bool isMatchAsked(const FilterOptions &options) {
    return options.isQuiet || !options.patterns.empty();
}

/// The notes in a command's help that are the same for all.
inline constexpr char kFilterNotes[] =
    "TIME is a day (2026-11-21, 11-21, \"Nov 21\", yesterday, today, tomorrow), with or without a time of "
    "day (06:47 or 06:47:08) after it; a time of day alone, which is today's; now, -2h, +1h, \"2 days ago\", "
    "\"1 month ago\"; or @SECONDS since 1970. It is local time, unless --utc is given or UTC, Z or +01:00 "
    "follows it.\n"
    "LEVEL is 0 (error), 1 (warning), 2 (information) or 3 (debug), SLOT is 0 to 7; either may be a name "
    "from --names FILE or DIR/jorn.names.\n"
    "REGEX is a regular expression in RE2 syntax.\n";

}  // namespace tool

#endif
