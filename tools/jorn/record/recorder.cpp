// SPDX-License-Identifier: Apache-2.0
#include "record/recorder.h"

#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>

#include "import/command_output.h"
#include "import/input.h"
#include "import/text_length.h"
#include "import/whole_input.h"
#include "log/store_directory.h"
#include "record/intake.h"
#include "record/module_console.h"
#include "record/preparation.h"
#include "record/record_stats.h"
#include "record/recording.h"
#include "record/ring_fit.h"
#include "system/failure.h"
#include "system/stop_signals.h"
#include "terminal/counted.h"

namespace tool {
namespace {

/// A write that fails must return an error that can be reported, not end the process.
void ignoreWriteSignals() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

Recording::Settings settingsOf(const RecordOptions &options, const LiveStore::Settings &store) {
    Recording::Settings settings;
    settings.store = store;
    settings.slot = options.slot;
    settings.hasTimes = options.isJson() || !options.times.empty();
    settings.timeForm = options.times;
    return settings;
}

StoreDirectory openDirectory(const RecordOptions &options) {
    return StoreDirectory::openForRecording(options.directory, options.makesParents
                                                                   ? StoreDirectory::Making::AllLevels
                                                                   : StoreDirectory::Making::LastLevel);
}

/// A line becomes one item or, with --split, one item for each part.
std::optional<uint64_t> mostItemsOf(const RecordOptions &options) {
    struct stat status;
    const std::optional<uint64_t> lines = options.keepsGoing ? std::nullopt : linesLeft(STDIN_FILENO);
    if (!lines || fstat(STDIN_FILENO, &status) < 0) {
        return std::nullopt;
    }
    constexpr uint64_t kLeastPart = jorn::kTextMax - kTextAhead;
    return *lines + (options.maySplit ? static_cast<uint64_t>(status.st_size) / kLeastPart : 0);
}

/// The ring must hold all that an export held, unless the ring size was requested.
bool hasToFit(const RecordOptions &options) {
    return options.isJson() && !options.files && !options.keepsGoing;
}

/// Throws Failure where the ring would begin to drop the input's first items before the last ones are stored.
void refuseTooSmallRing(const StoreDirectory &directory, int files, const RecordOptions &options, int fd) {
    const uint64_t room = roomInRing(directory, files);
    if (linesLeft(fd).value_or(0) <= room) {
        return;
    }
    const uint64_t items = jsonItemsLeft(fd, jsonSettingsOf(options));
    if (items > room) {
        refuse(directory.path() + ": the input has " + counted(items, "item", "items") + ", and a ring of " +
               std::to_string(files) + " files holds " + std::to_string(room) +
               " of them; nothing was recorded. A larger --files holds more; --files " +
               std::to_string(files) + " keeps the newest");
    }
}

/// Standard input; a copy of it where it must be read in full first and is not a file.
class RecordedInput {
public:
    RecordedInput(const RecordOptions &options, StopSignals *signals)
        : signals_(signals), input_(STDIN_FILENO, signals, options.keepsGoing) {}

    InputStream *stream() { return copied_ ? &*copied_ : &input_; }

    /// Returns the descriptor of a regular file of which nothing has been read yet.
    int readWhole() {
        if (linesLeft(STDIN_FILENO)) {
            return STDIN_FILENO;
        }
        copy_.emplace(&input_);
        copied_.emplace(copy_->descriptor(), signals_, false);
        return copy_->descriptor();
    }

private:
    StopSignals *const signals_;
    Input input_;
    std::optional<CopiedInput> copy_;
    std::optional<Input> copied_;
};

class Stopwatch {
public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// One recording, from its first byte to the report about it.
class Session {
public:
    Session(const RecordOptions &options, Intake *intake, Recording *recording)
        : options_(options), intake_(intake), recording_(recording) {
        intake->setRecording(recording);
    }

    /// Records the input until its end. Throws Failure when an item is not in the files.
    void run(InputStream *input) {
        try {
            pump(input);
        } catch (const Failure &failure) {
            if (!recording_->isStarted()) {
                throw;
            }
            const int64_t missing = salvage();
            report(missing);
            const std::string lost =
                missing == 0 ? ""
                             : "; " + std::to_string(missing) + " of the lines read are not in the files";
            throw Failure(failure.what() + lost, failure.exitCode());
        }
        report(0);
    }

private:
    void pump(InputStream *input) {
        for (;;) {
            switch (input->next()) {
                case InputStream::Event::Data:
                    intake_->take(input->channel(), input->block());
                    recording_->verify();
                    break;
                case InputStream::Event::Pause:
                    recording_->drain();
                    input->wait();
                    break;
                case InputStream::Event::End:
                    intake_->finish();
                    recording_->verify();
                    recording_->finish();
                    return;
            }
        }
    }

    /// After a failure: stores as much as possible of what has been read. Returns how many items are not in
    /// the files.
    int64_t salvage() {
        intake_->finish();
        return recording_->salvage();
    }

    void report(int64_t missing) const {
        const uint64_t cutLines = intake_->cutLines();
        if (cutLines > 0) {
            printMessage("warning: lines longer than " + std::to_string(jorn::kTextMax) +
                         " bytes were cut: " + std::to_string(cutLines) + " (--split keeps the whole line)");
        }
        if (options_.hasStats) {
            const RecordStats stats = {
                intake_->lines(), static_cast<uint64_t>(recording_->taken() - missing), intake_->bytes(),
                cutLines,         static_cast<uint64_t>(recording_->filesPassed()),     watch_.seconds()};
            fputs((options_.isStatsJson ? formatStatsJson(stats) : "jorn: " + formatStats(stats)).c_str(),
                  stderr);
        }
    }

    const RecordOptions &options_;
    Intake *const intake_;
    Recording *const recording_;
    const Stopwatch watch_;
};

/// Throws Failure for what went wrong although every item is stored.
void throwProblems(const Intake &intake) {
    if (const std::string problem = intake.teeProblem(); !problem.empty()) {
        throw Failure(problem);
    }
    if (const std::string problem = intake.badLines(); !problem.empty()) {
        throw Failure(problem, kExitDamage);
    }
}

void recordInput(const RecordOptions &options) {
    StopSignals signals;
    const ModuleConsole console(options.printLevel.has_value());
    Intake intake(options, console.output());
    const StoreDirectory directory = openDirectory(options);
    RecordedInput input(options, &signals);
    const LiveStore::Settings store =
        prepareDirectory(directory, options, [&options] { return mostItemsOf(options); });
    if (hasToFit(options)) {
        refuseTooSmallRing(directory, store.files, options, input.readWhole());
    }
    Recording recording(directory, settingsOf(options, store));
    Session(options, &intake, &recording).run(input.stream());
    throwProblems(intake);
}

/// Lets the command run on when its output can no longer be recorded: the output is passed on, or read and
/// dropped.
void passOnToTheEnd(InputStream *input, Intake *intake) {
    for (;;) {
        switch (input->next()) {
            case InputStream::Event::Data:
                intake->passOn(input->channel(), input->block());
                break;
            case InputStream::Event::Pause:
                input->wait();
                break;
            case InputStream::Event::End:
                return;
        }
    }
}

int recordCommand(const RecordOptions &options) {
    const HandedSignals signals;
    const ModuleConsole console(options.printLevel.has_value());
    Intake intake(options, console.output());
    const StoreDirectory directory = openDirectory(options);
    Recording recording(
        directory, settingsOf(options, prepareDirectory(directory, options, [] { return std::nullopt; })));
    CommandOutput output(options.command, &signals);
    try {
        Session(options, &intake, &recording).run(&output);
        throwProblems(intake);
    } catch (const Failure &failure) {
        printMessage(failure.what());
        passOnToTheEnd(&output, &intake);
        output.waitForEnd();
        return kExitOfRunner;
    }
    return output.waitForEnd();
}

}  // namespace

int record(const RecordOptions &options) {
    ignoreWriteSignals();
    if (!options.command.empty()) {
        return recordCommand(options);
    }
    recordInput(options);
    return kExitDone;
}

}  // namespace tool
