// SPDX-License-Identifier: Apache-2.0
#include "export/shipping.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>

#include "export/cursor_report.h"
#include "output/output.h"
#include "system/failure.h"
#include "system/stop_signals.h"
#include "terminal/counted.h"

namespace tool {
namespace {

constexpr int kDefaultBatch = 50000;
constexpr int kDefaultRetries = 5;

/// A log that was not shipped is never hidden by damage of others, which may count as success.
int exitCodeOf(const ShippingRound &round) {
    if (round.hasFailure) {
        return kExitInputOutput;
    }
    if (round.lacksLog) {
        return kExitUsage;
    }
    return round.hasDamage ? kExitDamage : kExitDone;
}

/// One look at each log that was named, or at all that have cursors.
std::vector<LogReport> reportsOn(const ShippingOptions &options, const ShipperTerms &terms) {
    const std::vector<LogCursor> cursors = readCursors(options.cursorFile);
    const CursorPlaces places = placesOf(cursors);
    std::vector<ShippedLog> logs = terms.logs;
    if (logs.empty()) {
        std::transform(cursors.begin(), cursors.end(), std::back_inserter(logs), [](const LogCursor &cursor) {
            return ShippedLog{cursor.directory, cursor.directory, cursor.device, cursor.log};
        });
    }
    std::vector<LogReport> reports;
    for (const ShippedLog &log : logs) {
        LogCursor kept;
        kept.device = log.device;
        kept.log = log.log;
        kept.directory = log.place;
        const auto found = places.find({log.device, log.log});
        reports.push_back(reportOn(log, found == places.end() ? kept : cursors[found->second], terms.open));
    }
    return reports;
}

int report(const ShippingOptions &options, const ShipperTerms &terms) {
    std::error_code ignored;
    if (options.isStatus && !std::filesystem::exists(options.cursorFile, ignored)) {
        terms.tell(options.cursorFile + ": does not exist yet: nothing has been sent");
    }
    const std::vector<LogReport> reports = reportsOn(options, terms);
    ShippingRound round;
    for (const LogReport &log : reports) {
        for (const std::string &note : log.notes) {
            terms.tell(note);
        }
        if (log.problem) {
            terms.tell(log.problem->what());
            round.add(*log.problem);
        }
        round.items += log.behind;
        round.hasDamage = round.hasDamage || log.hasDamage;
    }
    Output output;
    if (options.isStatus) {
        output.write(options.isJson ? statusJson(reports) : statusText(reports, options.isUtc));
    } else {
        output.write(planText(reports));
        output.write(counted(round.items, "item", "items") + " would be sent\n");
    }
    output.finish();
    return exitCodeOf(round);
}

void tellItems(const ShippingOptions &options, uint64_t items) {
    if (!options.isQuiet) {
        std::cerr << counted(items, "item", "items") << '\n';
    }
}

int shipOnce(const ShippingOptions &options, Shipper *shipper, const StopSignals &signals) {
    const ShippingRound round = shipper->run();
    if (signals.hasCome()) {
        throw Failure("interrupted; " + counted(round.items, "item has", "items have") + " been sent");
    }
    tellItems(options, round.items);
    return exitCodeOf(round);
}

/// Until a signal comes. What has failed is tried again in the next round, from the files.
int shipEvery(const ShippingOptions &options, std::chrono::milliseconds interval, Shipper *shipper,
              const ShipperTerms &terms, const CursorFile &cursors, const StopSignals &signals) {
    uint64_t items = 0;
    int exitCode = kExitDone;
    std::string told;
    while (!signals.hasCome()) {
        try {
            const ShippingRound round = shipper->run();
            items += round.items;
            exitCode = exitCodeOf(round);
            told.clear();
        } catch (const Failure &failure) {
            // A cursor file that somebody took away does not come back to this process.
            if (failure.exitCode() == kExitUsage || !cursors.isHeld()) {
                throw;
            }
            if (told != failure.what()) {
                told = failure.what();
                terms.tell(told);
            }
            exitCode = kExitInputOutput;
        }
        signals.waitFor(interval);
    }
    tellItems(options, items);
    return exitCode;
}

}  // namespace

int runShipping(const ShippingOptions &options, ShipperTerms terms, const FormTerms &form) {
    if (options.isStatus || options.isDry) {
        return report(options, terms);
    }
    const StopSignals signals;
    if (!options.file.empty()) {
        // A file that is refused leaves no cursor file.
        const auto target = makeFileTarget(form, options.file);
        CursorFile cursors(options.cursorFile);
        Shipper shipper(terms, &cursors, target.get(), signals);
        return shipOnce(options, &shipper, signals);
    }
    CursorFile cursors(options.cursorFile);
    terms.batch = static_cast<uint64_t>(options.batch.value_or(kDefaultBatch));
    CommandTerms command{options.command, options.retries.value_or(kDefaultRetries), terms.tell};
    if (const std::optional<int> timeout = parseInterval(options.timeout)) {
        command.limits.timeout = CommandLimits::Time(*timeout);
    }
    const auto target = makeCommandTarget(form, std::move(command), signals);
    Shipper shipper(terms, &cursors, target.get(), signals);
    const std::optional<int> interval = parseInterval(options.every);
    return interval
               ? shipEvery(options, std::chrono::milliseconds(*interval), &shipper, terms, cursors, signals)
               : shipOnce(options, &shipper, signals);
}

}  // namespace tool
