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
    const CursorSet cursors = readCursors(options.cursorFile);
    std::vector<ShippedLog> logs = terms.logs;
    if (logs.empty()) {
        std::transform(cursors.all().begin(), cursors.all().end(), std::back_inserter(logs),
                       [](const LogCursor &cursor) {
                           return ShippedLog{cursor.directory, cursor.directory, cursor.device, cursor.log};
                       });
    }
    std::vector<LogReport> reports;
    for (const ShippedLog &log : logs) {
        LogCursor kept = cursors.of(log.device, log.log);
        if (!kept.hasBegun()) {
            kept.directory = log.place;
        }
        reports.push_back(reportOn(log, kept, terms.open));
    }
    return reports;
}

int printReport(const ShippingOptions &options, const ShipperTerms &terms) {
    std::error_code ignored;
    if (options.isStatus && !std::filesystem::exists(options.cursorFile, ignored)) {
        terms.report(options.cursorFile + ": does not exist yet: nothing has been sent");
    }
    const std::vector<LogReport> reports = reportsOn(options, terms);
    ShippingRound round;
    for (const LogReport &log : reports) {
        for (const std::string &note : log.notes) {
            terms.report(note);
        }
        if (log.problem) {
            terms.report(log.problem->what());
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

void printItems(const ShippingOptions &options, uint64_t items) {
    if (!options.isQuiet) {
        std::cerr << counted(items, "item", "items") << '\n';
    }
}

int shipOnce(const ShippingOptions &options, Shipper *shipper, const StopSignals &signals) {
    const ShippingRound round = shipper->run();
    if (signals.hasCome()) {
        throw Failure("interrupted; " + counted(round.items, "item has", "items have") + " been sent");
    }
    printItems(options, round.items);
    return exitCodeOf(round);
}

/// Until a signal comes. What has failed is tried again in the next round, from the files.
int shipEvery(const ShippingOptions &options, std::chrono::milliseconds interval, Shipper *shipper,
              const ShipperTerms &terms, const CursorFile &cursors, const StopSignals &signals) {
    uint64_t items = 0;
    int exitCode = kExitDone;
    std::string reported;
    while (!signals.hasCome()) {
        try {
            const ShippingRound round = shipper->run();
            items += round.items;
            exitCode = exitCodeOf(round);
            reported.clear();
        } catch (const Failure &failure) {
            // A cursor file that somebody took away does not come back to this process.
            if (failure.exitCode() == kExitUsage || !cursors.isHeld()) {
                throw;
            }
            if (reported != failure.what()) {
                reported = failure.what();
                terms.report(reported);
            }
            exitCode = kExitInputOutput;
        }
        signals.waitFor(interval);
    }
    printItems(options, items);
    return exitCode;
}

}  // namespace

int runShipping(const ShippingOptions &options, ShipperTerms terms, const FormTerms &form) {
    if (options.isStatus || options.isDry) {
        return printReport(options, terms);
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
    CommandTerms command{options.command, options.retries.value_or(kDefaultRetries), terms.report};
    command.limits.timeout = parseInterval(options.timeout);
    const auto target = makeCommandTarget(form, std::move(command), signals);
    Shipper shipper(terms, &cursors, target.get(), signals);
    const std::optional<std::chrono::milliseconds> interval = parseInterval(options.every);
    return interval ? shipEvery(options, *interval, &shipper, terms, cursors, signals)
                    : shipOnce(options, &shipper, signals);
}

}  // namespace tool
