// SPDX-License-Identifier: Apache-2.0
#include "record/recorder.h"

#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "log/store_directory.h"
#include "record/input.h"
#include "record/item_splitter.h"
#include "record/live_store.h"
#include "record/preparation.h"
#include "record/record_stats.h"
#include "system/failure.h"
#include "system/stop_signals.h"

namespace tool {
namespace {

/// The module prints on standard output, line by line also where that is no terminal.
void sendModuleMessagesToStandardError() {
    fflush(stdout);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

/// A write that fails must come back as an error that can be told, not end the process.
void ignoreWriteSignals() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

/// Passes items on to the store until one fails. From then on it counts those that are left of what was read.
class StoreFeed {
public:
    StoreFeed(LiveStore *store, const RecordOptions &options) : store_(store), options_(options) {}

    void add(std::optional<int> level, const char *text) {
        if (failure_) {
            ++left_;
            return;
        }
        try {
            store_->add(level.value_or(options_.level), options_.slot, text);
        } catch (const Failure &failure) {
            failure_ = failure;
        }
    }

    /// Throws the failure of an item, if there was one.
    void verify() const {
        if (failure_) {
            throw Failure(*failure_);
        }
    }

    int64_t left() const { return left_; }

private:
    LiveStore *const store_;
    const RecordOptions &options_;
    std::optional<Failure> failure_;
    int64_t left_ = 0;
};

/// Passes the input on until its end, counting its bytes.
void pump(Input *input, ItemSplitter *splitter, const StoreFeed &feed, LiveStore *store, uint64_t *bytes) {
    for (;;) {
        switch (input->next()) {
            case Input::Event::Data:
                *bytes += input->block().size();
                splitter->feed(input->block());
                feed.verify();
                break;
            case Input::Event::Pause:
                store->drain();
                input->wait();
                break;
            case Input::Event::End:
                splitter->finish();
                feed.verify();
                store->drain();
                return;
        }
    }
}

void warnOfCutLines(const ItemSplitter &splitter) {
    if (splitter.cutLines() > 0) {
        printMessage("warning: lines longer than " + std::to_string(jorn::kTextMax) + " bytes were cut: " +
                     std::to_string(splitter.cutLines()) + " (--split keeps all of a line)");
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
    const StoreDirectory directory = StoreDirectory::openForRecording(options.directory);
    Input input(STDIN_FILENO, &signals, options.keepsGoing);
    sendModuleMessagesToStandardError();
    LiveStore store(directory, prepareDirectory(directory, options));
    StoreFeed feed(&store, options);
    ItemSplitter splitter(options.maySplit ? ItemSplitter::LongLine::Split : ItemSplitter::LongLine::Cut,
                          options.hasPrefixes,
                          [&feed](std::optional<int> level, const char *text) { feed.add(level, text); });
    const Stopwatch watch;
    uint64_t bytes = 0;
    const auto tell = [&](int64_t missing) {
        warnOfCutLines(splitter);
        printStats(options,
                   {splitter.lines(), static_cast<uint64_t>(store.submitted() - missing), bytes,
                    splitter.cutLines(), static_cast<uint64_t>(store.filesPassed()), watch.seconds()});
    };
    try {
        pump(&input, &splitter, feed, &store, &bytes);
    } catch (const Failure &failure) {
        splitter.finish();  // What has been read goes into the files as far as possible.
        const int64_t given = store.salvage();
        tell(given);
        const int64_t missing = given + feed.left();
        const std::string lost =
            missing == 0 ? "" : "; " + std::to_string(missing) + " of the lines read are not in the files";
        throw Failure(failure.what() + lost, failure.exitCode());
    }
    tell(0);
}

}  // namespace tool
