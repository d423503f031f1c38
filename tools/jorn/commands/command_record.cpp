// SPDX-License-Identifier: Apache-2.0
#include <time.h>

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <filesystem>
#include <memory>

#include "commands/commands.h"
#include "log/names.h"
#include "log/store_directory.h"
#include "options/log_options.h"
#include "options/output_options.h"
#include "record/log_mode.h"
#include "record/recorder.h"
#include "record/ring_fit.h"
#include "system/child_process.h"
#include "system/failure.h"
#include "terminal/time_text.h"
#include "usage/help.h"
#include "usage/option_kinds.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {
    "Record standard input or the output of a command, one item per line",
    "jorn record [OPTION]... DIR < INPUT\n"
    "jorn record [OPTION]... DIR -- COMMAND [ARGUMENT]...\n",
    "  make 2>&1 | jorn record --files 20 build-log       into a ring of 20 files\n"
    "  jorn record --tee build-log -- make -j4            the same, also printed here\n"
    "  jorn record --times iso dpkg < /var/log/dpkg.log   lines with their own times\n"
    "  jorn export DIR | jorn record --format jsonl COPY  a copy with the same items\n",
    "Every line is stored, however fast the input comes, and everything that was read is in the "
    "files whenever the input pauses, at its end, and on SIGINT, SIGTERM and SIGHUP. The "
    "text of an item has at most 198 bytes. A missing DIR is created; only one recorder at a time "
    "may use it. A lost index is restored, and a last line that was cut off is mended.\n",
    "  0  done\n"
    "  2  usage error\n"
    "  3  the index is lost and needs jorn repair, or a line was not an item\n"
    "  4  input or output failed\n"
    "With COMMAND, its exit code, or 128 + N after signal N; 125 when the recording\n"
    "failed, 126 when COMMAND cannot be run, 127 when there is no such command.\n"};

/// The forms of times that have names.
constexpr char kTimesMeaning[] =
    "Remove times from the lines and use them: iso, syslog, rfc5424, kmsg, logcat, epoch, or a pattern as "
    "for strptime";

/// Values that are parsed once all options are known.
struct RecordWords {
    std::string level = "2";
    std::string errorLevel = "1";
    std::string slot = "0";
    std::string namesFile;
    std::string bootTime;
    bool isUtc = false;
};

bool isNumber(const std::string &text) { return text.find_first_not_of("0123456789") == std::string::npos; }

/// Reads the directory's names only when they may be needed: there may be none, or no directory yet.
Names findNames(const RecordOptions &options, const RecordWords &words) {
    if (!words.namesFile.empty()) {
        return readNames(words.namesFile);
    }
    const bool areAsked = !isNumber(words.level) || !isNumber(words.errorLevel) || !isNumber(words.slot);
    std::error_code ignored;
    if ((!areAsked && !options.isJson()) || !std::filesystem::is_directory(options.directory, ignored)) {
        return {};
    }
    try {
        return namesBeside(StoreDirectory::openForReading(options.directory)).value_or(Names{});
    } catch (const Failure &failure) {
        if (areAsked) {
            throw;
        }
        printMessage(std::string(failure.what()) + "; no names are used");
        return {};
    }
}

uint32_t parseBootTime(const std::string &text) {
    const std::optional<uint32_t> time = parseTime(text, ::time(nullptr), Bound::Since);
    if (!time) {
        refuse("--boot-time: '" + text + "' is not a time from 1970 to 2106: " + kTimeForms);
    }
    return *time;
}

void takeWords(const RecordWords &words, RecordOptions *options) {
    if (words.isUtc) {
        useUtc();
    }
    options->names = findNames(*options, words);
    options->level = namedNumber(words.level, options->names.levels, JORN_LEVEL_MAX, "level");
    options->errorLevel = namedNumber(words.errorLevel, options->names.levels, JORN_LEVEL_MAX, "level");
    options->slot = namedNumber(words.slot, options->names.slots, JORN_SLOT_MAX, "slot");
    if (!words.bootTime.empty()) {
        options->bootTime = parseBootTime(words.bootTime);
    }
}

/// Checks that depend on more than one option.
void checkTogether(const RecordOptions &options) {
    if (options.slot >= options.slots) {
        refuse("--slot " + std::to_string(options.slot) + " is not below --slots " +
               std::to_string(options.slots));
    }
    if (options.isJson() && (!options.times.empty() || options.hasPrefixes)) {
        refuse("--times and --prefix-levels are for --format lines");
    }
    if (!options.command.empty() && (options.isJson() || options.keepsGoing)) {
        refuse("--format jsonl and --keep-going are for standard input, not for a command");
    }
    if (options.bootTime && options.times != "kmsg") {
        refuse("--boot-time is for --times kmsg");
    }
}

void addRingOptions(CLI::App *command, RecordOptions *options) {
    addDirectoryOption(command, &options->directory);
    beginGroup(command, "The log");
    addFilesOption(command, &options->files, "Files in the ring, 2 to 90 (default: as before, else 10)");
    command->add_flag("--shrink", options->mayShrink, "Let a smaller --files delete the oldest files");
    addNumberOption(command, "--slots", &options->slots, 1, JORN_SLOT_MAX, "Slots, 1 to 8 (default: 8)");
    command->add_flag("--parents", options->makesParents, "Create the directories above DIR as well");
    command
        ->add_option_function<std::string>(
            "--mode", [options](const std::string &text) { options->mode = parseLogMode(text); },
            "Permissions of DIR and, without x, of its files, such as 0755")
        ->type_name("MODE");
    command->add_flag("--force", options->isForced,
                      "Move files with the names of data files aside if DIR is not a log");
    addChoiceOption(command, "--if-unclear", &options->ifUnclear, {"refuse", "aside"},
                    "If the order of the files is lost")
        ->type_name("WHAT");
}

void addItemOptions(CLI::App *command, RecordOptions *options, RecordWords *words) {
    beginGroup(command, "Levels and slots");
    command
        ->add_option("-l,--level", words->level,
                     "0 error, 1 warning, 2 information (default), 3 debug, or a name")
        ->type_name("LEVEL");
    command->add_option("--stderr-level", words->errorLevel, "Level of COMMAND's standard error (default: 1)")
        ->type_name("LEVEL");
    command->add_flag(
        "--prefix-levels", options->hasPrefixes,
        "Remove severities, <0> to <7>, from the lines and use them: <3> and more severe are level "
        "0, <4> is 1, <5> and <6> are 2, <7> is 3");
    command->add_option("-s,--slot", words->slot, "0 to 7 (default: 0), or a name")->type_name("SLOT");
    command->add_option("--names", words->namesFile, "Names of levels and slots (default: DIR/jorn.names)")
        ->type_name("FILE");
}

void addFormOptions(CLI::App *command, RecordOptions *options, RecordWords *words) {
    beginGroup(command, "Times and form of the input");
    command->add_option("--times", options->times, kTimesMeaning)->type_name("STAMP");
    command
        ->add_option("--boot-time", words->bootTime,
                     "kmsg: when the kernel started (default: this one's start)")
        ->type_name("TIME");
    command->add_flag("--utc", words->isUtc, "Read times without a zone as UTC, not local time");
    addChoiceOption(command, "--format", &options->format, {"lines", "jsonl"}, "Form of the input")
        ->type_name("FORM");
    command->add_flag("--split", options->maySplit, "Continue a long line in further items");
}

void addReadingOptions(CLI::App *command, RecordOptions *options) {
    beginGroup(command, "Recording");
    command->add_flag("--tee", options->tees, "Copy what is read to standard output and error");
    command->add_flag("-k,--keep-going", options->keepsGoing,
                      "At the end of input, wait for more, until a signal");
    command->add_flag("--sync", options->syncs, "Sync items to the medium whenever the input pauses");
}

/// Options for what is printed besides the items.
void addReportOptions(CLI::App *command, RecordOptions *options, OutputOptions *output) {
    beginGroup(command, "Report");
    command->add_flag("--stats", options->hasStats, "At the end, print lines, items, bytes and rate");
    addChoiceOption(command, "-o,--output", &output->form, {"text", "json"}, "Form of --stats")
        ->type_name("FORM");
    addNumberOption(command, "--debug", &options->printLevel, 0, 8,
                    "How much the store itself prints, 0 to 8");
}

int run(const RecordWords &words, RecordOptions *options) {
    takeWords(words, options);
    checkTogether(*options);
    return record(*options);
}

/// Runs with exit codes that distinguish failures of the recording from those of the command.
int runCommand(const std::vector<std::string> &command, const RecordWords &words, RecordOptions *options) {
    options->command = command;
    try {
        if (command.empty()) {
            refuse("a command is missing after --");
        }
        return run(words, options);
    } catch (const Failure &failure) {
        const bool isOfCommand = failure.exitCode() == kExitNotRun || failure.exitCode() == kExitNotFound;
        throw Failure(failure.what(), isOfCommand ? failure.exitCode() : kExitOfRunner);
    }
}

}  // namespace

void addRecordCommand(CLI::App *app, int *exitCode, const std::optional<std::vector<std::string>> &words) {
    CLI::App *const command = addCommand(app, "record", kHelp);
    const auto options = std::make_shared<RecordOptions>();
    const auto texts = std::make_shared<RecordWords>();
    const auto output = std::make_shared<OutputOptions>();
    addRingOptions(command, options.get());
    addItemOptions(command, options.get(), texts.get());
    addFormOptions(command, options.get(), texts.get());
    addReadingOptions(command, options.get());
    addReportOptions(command, options.get(), output.get());
    command->callback([=] {
        options->isStatsJson = output->form == "json";
        *exitCode = words ? runCommand(*words, *texts, options.get()) : run(*texts, options.get());
    });
}

}  // namespace tool
