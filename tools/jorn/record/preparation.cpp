// SPDX-License-Identifier: Apache-2.0
#include "record/preparation.h"

#include <time.h>

#include <optional>
#include <string>

#include "diagnostics.h"
#include "health/index_mending.h"
#include "health/ring_memory.h"
#include "log/ring_look.h"
#include "record/log_mode.h"
#include "record/own_files.h"
#include "record/putting_aside.h"
#include "record/ring_fit.h"
#include "record/torn_line.h"
#include "system/failure.h"
#include "terminal/counted.h"

namespace tool {
namespace {

void tell(const StoreDirectory &directory, const std::string &what) {
    printMessage(directory.path() + ": " + what);
}

void finishFormerStart(const StoreDirectory &directory) {
    const auto aside = finishPuttingAside(directory);
    if (aside) {
        tell(directory,
             "the files that an earlier start began to put aside are in " + directory.pathOf(*aside));
    }
}

[[noreturn]] void refuseUnclear(const StoreDirectory &directory, const IndexMending &mending) {
    throw Failure(directory.path() + ": index.csv is " + mending.flaw + ", and " + mending.reason +
                      "; nothing was changed. " + mending.advice +
                      "; --if-unclear aside puts the files aside",
                  kExitDamage);
}

bool mayPutAside(const RecordOptions &options) { return options.ifUnclear == "aside"; }

void beginAnew(const StoreDirectory &directory, const std::string &reason) {
    const std::string name = putAside(directory, time(nullptr));
    tell(directory,
         reason + ": the files are now in " + directory.pathOf(name) + ", and the log starts over");
}

/// Foreign files that happen to have the names of data files must not be overwritten.
void seeToStrangers(const StoreDirectory &directory, const RecordOptions &options) {
    const std::string strange = strangeDataFile(directory);
    if (strange.empty()) {
        return;
    }
    if (!options.isForced && !mayPutAside(options)) {
        refuse(directory.path() + ": not a log: there is no index, and " + strange +
               " holds no item; nothing was changed. --force puts such files aside");
    }
    finishFormerStart(directory);
    beginAnew(directory, "was not a log, as " + strange + " held no item");
}

void putUnclearAside(const StoreDirectory &directory, const IndexMending &mending) {
    beginAnew(directory, "index.csv was " + mending.flaw + ", and " + mending.reason);
}

void mendLostIndex(const StoreDirectory &directory, const IndexMending &mending) {
    mendIndex(directory, mending.positions);
    tell(directory, "index.csv was " + mending.flaw + ": written again as " + textOf(mending.positions) +
                        ", because " + mending.reason + (mending.kept.empty() ? "" : "; " + mending.kept));
}

/// The store starts with a whole backup by itself.
void reportBackup(const StoreDirectory &directory) {
    if (const RingLook look(directory); look.index().isOfBackup()) {
        tell(directory, "index.csv was missing: index.bak, which is whole, takes its place");
    }
}

/// Runs before the store, which would take a lost index for a new log and overwrite what is there.
void seeToIndex(const StoreDirectory &directory, const RecordOptions &options) {
    const IndexMending mending = planIndexMending(directory, hintedRingSize(directory, options.files));
    switch (mending.kind) {
        case IndexMending::Kind::None:
            reportBackup(directory);
            break;
        case IndexMending::Kind::Write:
            mendLostIndex(directory, mending);
            break;
        case IndexMending::Kind::Unclear:
            mayPutAside(options) ? putUnclearAside(directory, mending) : refuseUnclear(directory, mending);
            break;
    }
}

/// Runs before anything is changed. Where files may be put aside, no ring is a reason to refuse.
void refuseToShrink(const StoreDirectory &directory, const RecordOptions &options) {
    if (!mayPutAside(options)) {
        refuseSmallerRing(directory, RingLook::ofReadable(directory), options.files, options.mayShrink);
    }
}

/// A single stray file makes a ring look larger than it is.
void seeToSize(const StoreDirectory &directory, const RecordOptions &options) {
    const std::string shrinking = shrinkingOf(RingLook::ofReadable(directory), options.files);
    if (!shrinking.empty() && !options.mayShrink && mayPutAside(options)) {
        beginAnew(directory, shrinking);
    }
}

/// A recording that stays within the files whose order is certain needs no size. A service, which may put
/// files aside, has to continue without one.
void refuseUnknownSize(const StoreDirectory &directory, const RingLook &look, const RecordOptions &options,
                       const MostItems &mostItems) {
    if (mayPutAside(options)) {
        return;
    }
    const std::optional<uint64_t> most = mostItems();
    constexpr uint64_t kStartItem = 1;
    if (!most || *most + kStartItem > roomInCertainFiles(directory, look)) {
        throw unknownSize(directory, "the file after " + dataFileName(look.smallestRing() - 1) +
                                         " may be a new one or " + dataFileName(0));
    }
}

/// A failure is only noted: a medium too full for this file may still take items in a ring that has wrapped.
void remember(const StoreDirectory &directory, int files) {
    try {
        rememberRingSize(directory, files);
    } catch (const Failure &failure) {
        printMessage(std::string("note: ") + failure.what() + "; the size of the ring is not remembered");
    }
}

/// Returns the size of the ring.
int fitToRing(const StoreDirectory &directory, const RingLook &look, const RecordOptions &options,
              const MostItems &mostItems) {
    const RingSize size = chooseRingSize(directory, look, options.files, options.mayShrink);
    if (!size.note.empty()) {
        printMessage("note: " + size.note);
    }
    if (!size.isKnown) {
        refuseUnknownSize(directory, look, options, mostItems);
    }
    const int files = size.files;
    const int changed = fitRing(directory, look, files);
    if (size.isKnown) {
        remember(directory, files);
    }
    if (changed > 0) {
        printMessage(directory.path() + ": " + counted(changed, "file", "files") +
                     " renamed or deleted to fit a ring of " + std::to_string(files) + " files");
    }
    return files;
}

/// Only in the file that the store continues with: it appends to no other.
void endLastLine(const StoreDirectory &directory, const RingLook &look, int files) {
    const std::string done = endTornLine(directory, look.planFor(files).latest);
    if (!done.empty()) {
        printMessage(done);
    }
}

LiveStore::Settings settingsFor(int files, const RecordOptions &options) {
    LiveStore::Settings settings;
    settings.slots = options.slots;
    settings.files = files;
    settings.printLevel = options.printLevel.value_or(0);
    settings.syncs = options.syncs;
    return settings;
}

}  // namespace

LiveStore::Settings prepareDirectory(const StoreDirectory &directory, const RecordOptions &options,
                                     const MostItems &mostItems) {
    jorn_SetDebugPrintLevel(0);  // Errors in what is read here are reported here, not by the module's parser.
    directory.requireWritable();
    refuseForeignFiles(directory);
    seeToStrangers(directory, options);
    if (options.mode) {
        applyLogMode(directory, *options.mode);
    }
    refuseToShrink(directory, options);
    finishFormerStart(directory);
    seeToIndex(directory, options);
    seeToSize(directory, options);
    const RingLook look = RingLook::ofReadable(directory);
    const int files = fitToRing(directory, look, options, mostItems);
    endLastLine(directory, look, files);
    return settingsFor(files, options);
}

}  // namespace tool
