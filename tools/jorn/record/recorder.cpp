// SPDX-License-Identifier: Apache-2.0
#include "record/recorder.h"

#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "import/input.h"
#include "import/item_splitter.h"
#include "import/json_items.h"
#include "import/stamp_forms.h"
#include "import/whole_input.h"
#include "log/store_directory.h"
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

/// A write that fails must come back as an error that can be told, not end the process.
void ignoreWriteSignals() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

bool isJson(const RecordOptions &options) { return options.format == "jsonl"; }

Recording::Settings settingsOf(const RecordOptions &options, const LiveStore::Settings &store) {
    Recording::Settings settings;
    settings.store = store;
    settings.slot = options.slot;
    settings.hasTimes = isJson(options) || !options.times.empty();
    settings.timeForm = options.times;
    return settings;
}

std::unique_ptr<LineHeadReader> makeHeadReader(const RecordOptions &options) {
    std::unique_ptr<LineHeadReader> reader;
    if (!options.times.empty()) {
        StampOptions stamps;
        stamps.form = options.times;
        stamps.now = [] { return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()); };
        constexpr int64_t kMicroseconds = 1000000;
        stamps.bootMicroseconds = options.bootTime ? *options.bootTime * kMicroseconds : bootMicroseconds();
        reader = makeStampReader(stamps);
    }
    return options.hasPrefixes ? makePrefixReader(std::move(reader)) : std::move(reader);
}

LongText longTextOf(const RecordOptions &options) {
    return options.maySplit ? LongText::Split : LongText::Cut;
}

JsonItems::Settings jsonSettings(const RecordOptions &options) {
    return {longTextOf(options), options.slots, &options.names};
}

/// What an export held is to be there again, all of it, unless a size that was asked for says how much.
bool hasToFit(const RecordOptions &options) {
    return isJson(options) && !options.files && !options.keepsGoing;
}

/// Throws Failure where the ring would begin to drop the input's first items before the last ones are stored.
void refuseTooSmallRing(const StoreDirectory &directory, int files, const RecordOptions &options, int fd) {
    const uint64_t room = roomInRing(directory, files);
    if (linesLeft(fd).value_or(0) <= room) {
        return;
    }
    const uint64_t items = jsonItemsLeft(fd, jsonSettings(options));
    if (items > room) {
        refuse(directory.path() + ": the input has " + counted(items, "item", "items") + ", and a ring of " +
               std::to_string(files) + " files takes " + std::to_string(room) +
               " of them; nothing was recorded. A larger --files takes more; --files " +
               std::to_string(files) + " keeps the newest of them");
    }
}

/// Standard input. Where it has to be looked at as a whole and is no file, a copy of it.
class RecordedInput {
public:
    RecordedInput(const RecordOptions &options, StopSignals *signals)
        : signals_(signals), input_(STDIN_FILENO, signals, options.keepsGoing) {}

    InputStream *stream() { return copied_ ? &*copied_ : &input_; }

    /// Leads to a regular file, of which nothing has been read yet.
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

/// The input's items, on their way into the recording.
class Source {
public:
    Source(const RecordOptions &options, LineHeadReader *heads, Recording *recording) {
        const ItemSink sink = [recording, level = options.level](const InputItem &item) {
            recording->take(item, level);
        };
        if (isJson(options)) {
            auto json = std::make_unique<JsonItems>(jsonSettings(options), sink);
            json_ = json.get();
            items_ = std::move(json);
        } else {
            items_ = std::make_unique<ItemSplitter>(longTextOf(options), heads, sink);
        }
    }

    ItemSource *operator->() const { return items_.get(); }

    /// What of the input was no item, in a sentence; empty when all was.
    std::string badLines() const {
        if (json_ == nullptr || json_->badLines() == 0) {
            return "";
        }
        return "standard input: " + json_->firstBadLine() +
               "; left out: " + counted(json_->badLines(), "line", "lines");
    }

private:
    std::unique_ptr<ItemSource> items_;
    const JsonItems *json_ = nullptr;
};

/// Passes the input on until its end, counting its bytes.
void pump(InputStream *input, const Source &source, Recording *recording, uint64_t *bytes) {
    for (;;) {
        switch (input->next()) {
            case Input::Event::Data:
                *bytes += input->block().size();
                source->feed(input->block());
                break;
            case Input::Event::Pause:
                recording->drain();
                input->wait();
                break;
            case Input::Event::End:
                source->finish();
                recording->finish();
                return;
        }
    }
}

/// After a failure: what has been read goes into the files as far as possible. Returns how many items did
/// not.
int64_t salvage(const Source &source, Recording *recording) {
    try {
        source->finish();
    } catch (const Failure &) {
        // Of the same cause as the first one; the item is in the number below.
    }
    return recording->salvage();
}

void warnOfCutLines(uint64_t cutLines) {
    if (cutLines > 0) {
        printMessage("warning: lines longer than " + std::to_string(jorn::kTextMax) +
                     " bytes were cut: " + std::to_string(cutLines) + " (--split keeps all of a line)");
    }
}

class Stopwatch {
public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

void printStats(const RecordOptions &options, const RecordStats &stats) {
    if (options.hasStats) {
        fputs((options.isStatsJson ? formatStatsJson(stats) : "jorn: " + formatStats(stats)).c_str(), stderr);
    }
}

}  // namespace

void record(const RecordOptions &options) {
    StopSignals signals;
    ignoreWriteSignals();
    const std::unique_ptr<LineHeadReader> heads = makeHeadReader(options);
    const StoreDirectory directory = StoreDirectory::openForRecording(options.directory);
    RecordedInput input(options, &signals);
    const ModuleConsole console(options.printLevel.has_value());
    const LiveStore::Settings store = prepareDirectory(directory, options);
    if (hasToFit(options)) {
        refuseTooSmallRing(directory, store.files, options, input.readWhole());
    }
    Recording recording(directory, settingsOf(options, store));
    const Source source(options, heads.get(), &recording);
    const Stopwatch watch;
    uint64_t bytes = 0;
    const auto tell = [&](int64_t missing) {
        warnOfCutLines(source->cutLines());
        printStats(options,
                   {source->lines(), static_cast<uint64_t>(recording.taken() - missing), bytes,
                    source->cutLines(), static_cast<uint64_t>(recording.filesPassed()), watch.seconds()});
    };
    try {
        pump(input.stream(), source, &recording, &bytes);
    } catch (const Failure &failure) {
        if (!recording.isStarted()) {
            throw;
        }
        const int64_t missing = salvage(source, &recording);
        tell(missing);
        const std::string lost =
            missing == 0 ? "" : "; " + std::to_string(missing) + " of the lines read are not in the files";
        throw Failure(failure.what() + lost, failure.exitCode());
    }
    tell(0);
    if (const std::string bad = source.badLines(); !bad.empty()) {
        throw Failure(bad, kExitDamage);
    }
}

}  // namespace tool
