// SPDX-License-Identifier: Apache-2.0
#include "recorder.h"

#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include <string>

#include "diagnostics.h"
#include "failure.h"
#include "input.h"
#include "item_splitter.h"
#include "live_store.h"
#include "ring_fit.h"
#include "stop_signals.h"
#include "store_directory.h"

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

/// Makes the directory fit for the ring and tells the settings of the store over it.
LiveStore::Settings prepare(const StoreDirectory &directory, const RecordOptions &options) {
    const RingSurvey survey = surveyRing(directory);
    const int files = chooseRingSize(directory, survey, options.files, options.mayShrink);
    if (!survey.index && !survey.isFresh()) {
        printMessage("warning: " + directory.path() +
                     ": the index is missing or damaged: the store starts over at 0.csv");
    }
    const int changed = fitRing(directory, survey, files);
    if (changed > 0) {
        printMessage(directory.path() + ": " + std::to_string(changed) +
                     " files renamed or deleted for a ring of " + std::to_string(files));
    }
    // In a fresh directory it is no news that there is no index and no file.
    const int printLevel = options.printLevel.value_or(jorn::kPrintError);
    const bool isQuiet = survey.isFresh() && !options.printLevel;
    return {options.slots, files, isQuiet ? 0 : printLevel, printLevel};
}

/// Passes the input on until its end.
void pump(Input *input, ItemSplitter *splitter, LiveStore *store) {
    for (;;) {
        switch (input->next()) {
            case Input::Event::Data:
                splitter->feed(input->block());
                break;
            case Input::Event::Pause:
                store->drain();
                input->wait();
                break;
            case Input::Event::End:
                splitter->finish();
                store->drain();
                return;
        }
    }
}

/// After a failure: what has been read goes into the files as far as possible. Returns what to tell the
/// user about how much did not.
std::string salvage(ItemSplitter *splitter, LiveStore *store) {
    try {
        splitter->finish();
    } catch (const Failure &) {
        // Of the same cause as the first one; the item is in the number below.
    }
    const int64_t missing = store->salvage();
    return missing == 0 ? "" : "; " + std::to_string(missing) + " of the lines read are not in the files";
}

void warnOfCutLines(const ItemSplitter &splitter) {
    if (splitter.cutLines() > 0) {
        printMessage("warning: lines longer than " + std::to_string(jorn::kTextMax) + " bytes were cut: " +
                     std::to_string(splitter.cutLines()) + " (--split keeps all of a line)");
    }
}

}  // namespace

void record(const RecordOptions &options) {
    StopSignals signals;
    ignoreWriteSignals();
    const StoreDirectory directory = StoreDirectory::openForRecording(options.directory);
    Input input(STDIN_FILENO, &signals, options.keepsGoing);
    sendModuleMessagesToStandardError();
    LiveStore store(directory, prepare(directory, options));
    ItemSplitter splitter(options.maySplit ? ItemSplitter::LongLine::Split : ItemSplitter::LongLine::Cut,
                          [&](const char *text) { store.add(options.level, options.slot, text); });
    try {
        pump(&input, &splitter, &store);
    } catch (const Failure &failure) {
        const std::string lost = salvage(&splitter, &store);
        warnOfCutLines(splitter);
        throw Failure(failure.what() + lost, failure.exitCode());
    }
    warnOfCutLines(splitter);
}

}  // namespace tool
