// SPDX-License-Identifier: Apache-2.0
#include <time.h>

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
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

namespace tool {
namespace {

constexpr char kBrief[] = "Store standard input, or what a command prints, one line an item";

constexpr char kDetails[] =
    "Every line is stored, however fast the input: the reading waits for the store. Whenever the\n"
    "input pauses, everything read so far is in the files. The recording ends at the end of input,\n"
    "and on SIGINT, SIGTERM or SIGHUP; a second signal ends it at once. The store adds an item of\n"
    "its own at the start, \"Log start init!\", of the debug level 3.\n"
    "A line ends with LF or CR LF; any other carriage return, and a NUL, becomes a blank. A text\n"
    "keeps 198 bytes of a line; a prefix is not among them. A line of UTF-8 is cut between\n"
    "characters. A missing DIR is created; one recorder at a time has it.\n"
    "An index that was lost, as by a power cut, or that the files contradict is found again from the\n"
    "files, and nothing else is changed. Where the files do not show the order, nothing is recorded,\n"
    "unless --if-unclear aside is given, which services should do. A last line that was cut off gets\n"
    "its end where it is a whole item without it; else it moves to DIR/torn-N.txt.\n"
    "With -- COMMAND ARGS... after DIR, the command is run, and what it prints on standard output and\n"
    "standard error is stored. It gets the signals that the recorder gets, and its exit code is that of\n"
    "the recorder: 128 + N when signal N ended it, 125 when the recording failed, 126 when it cannot be\n"
    "run, 127 when there is no such command.\n"
    "What is in the files is not yet on the medium: the system writes it back later, and a power\n"
    "cut loses what it has not written. With --sync, what was read is on the medium whenever the\n"
    "input pauses.\n\n"
    "Examples:\n"
    "  jorn record /var/log/door < door.log         a file\n"
    "  make 2>&1 | jorn record --files 20 build-log   a program, into a ring of 20 files\n"
    "  jorn record --tee build-log -- make -j4        the same, seen on the terminal too\n"
    "  jorn record -k --slot 3 DIR < /run/door.fifo until it is stopped\n"
    "  test-run | jorn record --prefix-levels DIR     \"<3>failed\" is an item of level 0\n"
    "  jorn record --times iso dpkg < /var/log/dpkg.log   lines with their own times\n"
    "  jorn export DIR | jorn record --format jsonl COPY  the same items again\n"
    "  jorn record --stats -o json DIR < door.log   and tell what was done\n"
    "  jorn record -k --sync --mode 0755 DIR < /run/door.fifo   safe from cuts, and for all to read\n"
    "Exit codes: 0 done, 2 usage, 3 the index is lost and jorn repair has to decide, 4 input or output\n"
    "failed.";

std::string filesHelp() {
    return "Files of the ring, 2 to 90, of 5000 items each. Default: as many as before, in a new DIR " +
           std::to_string(kDefaultRingSize) + ". A larger number enlarges the ring";
}

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

/// The directory's names are read only where they may be needed: it may have none, or not exist yet.
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
    addFilesOption(command, &options->files, filesHelp());
    command->add_flag("--shrink", options->mayShrink,
                      "Allow --files to make the ring smaller, which deletes its oldest files");
    command->add_flag(
        "--force", options->isForced,
        "Begin a log in a DIR with files of others that are named as data files are; they go into "
        "DIR/aside-TIME");
    command->add_flag("--parents", options->makesParents, "Make the directories above DIR, too");
    command
        ->add_option(
            "--if-unclear", options->ifUnclear,
            "Where the index is lost and the files do not tell their order, or --files is too small for "
            "them: refuse, or put the files aside in DIR/aside-TIME and begin anew")
        ->type_name("WHAT")
        ->capture_default_str()
        ->check(CLI::IsMember({"refuse", "aside"}));
    command
        ->add_option_function<std::string>(
            "--mode", [options](const std::string &text) { options->mode = parseLogMode(text); },
            "Permissions of DIR, octal, from 0700 to 0777; the log's files get them without x. Default: 0750 "
            "for a DIR that is made, and what the umask leaves of 0666 for files")
        ->type_name("MODE");
    command->add_option("--slots", options->slots, "Slots of the log, 1 to 8")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, JORN_SLOT_MAX));
}

void addItemOptions(CLI::App *command, RecordWords *words) {
    command
        ->add_option("-l,--level", words->level,
                     "Level of the items: 0 error, 1 warning, 2 information, 3 debug, or a name")
        ->type_name("LEVEL")
        ->capture_default_str();
    command->add_option("-s,--slot", words->slot, "Slot of the items, below --slots, or a name")
        ->type_name("SLOT")
        ->capture_default_str();
    command
        ->add_option("--names", words->namesFile,
                     "File with the names of levels and slots; default: jorn.names in DIR")
        ->type_name("FILE");
}

void addFormOptions(CLI::App *command, RecordOptions *options, RecordWords *words) {
    command->add_option("--format", options->format, "Form of the input: lines, or what jorn export writes")
        ->type_name("FORM")
        ->capture_default_str()
        ->check(CLI::IsMember({"lines", "jsonl"}));
    command
        ->add_option("--times", options->times,
                     "Lines begin with their times, which are taken off: iso, syslog, rfc5424, kmsg, logcat, "
                     "epoch, or a pattern of strptime")
        ->type_name("STAMP");
    command
        ->add_option("--boot-time", words->bootTime,
                     "When the kernel of --times kmsg started; default: when this machine's did")
        ->type_name("TIME");
    command->add_flag("--utc", words->isUtc, "Read times that name no zone in UTC instead of local time");
    command->add_flag(
        "--prefix-levels", options->hasPrefixes,
        "Take a severity, <0> to <7>, off the beginning of a line and as its level: 0 to 3 are level 0, 4 is "
        "1, 5 and 6 are 2, 7 is 3; --level is that of other lines");
}

void addReadingOptions(CLI::App *command, RecordOptions *options, RecordWords *words) {
    command->add_flag(
        "--tee", options->tees,
        "Pass the input on to standard output, and what a command prints as an error to standard error");
    command
        ->add_option("--stderr-level", words->errorLevel,
                     "Level of what the command after -- prints on standard error")
        ->type_name("LEVEL")
        ->capture_default_str();
    command->add_flag("-k,--keep-going", options->keepsGoing,
                      "At the end of input wait for more, of a FIFO or a growing file, until a signal");
    command->add_flag(
        "--sync", options->syncs,
        "Whenever the input pauses, and at the end, bring what was read to the medium (fsync), so "
        "that a cut of the power loses none of it");
    command->add_flag("--split", options->maySplit,
                      "Carry the rest of a line that is longer than 198 bytes on in further items");
}

/// Options for what is printed besides the items.
void addReportOptions(CLI::App *command, RecordOptions *options, OutputOptions *output) {
    command->add_flag(
        "--stats", options->hasStats,
        "At the end, tell lines, items, bytes, lines cut, files passed, seconds and items a second");
    command
        ->add_option("--debug", options->printLevel,
                     "Print level of the store's messages on standard error, 0 to 8")
        ->type_name("N")
        ->check(CLI::Range(0, 8));
    addFormOption(command, output, {"text", "json"});
    command->get_option("--output")->description("Form of the statistics");
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
    CLI::App *const command = app->add_subcommand("record", kBrief);
    const auto options = std::make_shared<RecordOptions>();
    const auto texts = std::make_shared<RecordWords>();
    const auto output = std::make_shared<OutputOptions>();
    addRingOptions(command, options.get());
    addItemOptions(command, texts.get());
    addFormOptions(command, options.get(), texts.get());
    addReadingOptions(command, options.get(), texts.get());
    addReportOptions(command, options.get(), output.get());
    command->footer(kDetails);
    command->callback([=] {
        options->isStatsJson = output->form == "json";
        *exitCode = words ? runCommand(*words, *texts, options.get()) : run(*texts, options.get());
    });
}

}  // namespace tool
