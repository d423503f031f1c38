// SPDX-License-Identifier: Apache-2.0
// Sends what is new in many logs, each item once.
//
// Before a batch is sent, the cursor file on the medium says so; after it has arrived, the cursors move on.
// Items that were sent and may have arrived keep their numbers. While a batch is under way, the next one is
// read, but it is sent, and its numbers count, only after the one before it has arrived.
#ifndef JORN_TOOLS_SHIPPER_H
#define JORN_TOOLS_SHIPPER_H

#include <stdint.h>

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cursor/cursor_file.h"
#include "export/batch_target.h"
#include "export/pulled_log.h"

namespace tool {

struct ShipperTerms {
    std::vector<ShippedLog> logs;
    LogOpener open;
    std::function<void(const std::string &)> report;  ///< Gets what is worth knowing.
    std::optional<uint64_t> batch;  ///< Most items in a batch; if not set, there is one batch.
};

/// What became of one round through the logs.
struct ShippingRound {
    uint64_t items = 0;       ///< That arrived.
    bool hasDamage = false;   ///< All that can be read arrived nevertheless.
    bool hasFailure = false;  ///< A log could not be read; the others were.
    bool lacksLog = false;    ///< A directory is no log; the others were shipped.

    void add(const LogProblem &problem) { (problem.exitCode() == kExitUsage ? lacksLog : hasFailure) = true; }
};

class Shipper {
public:
    /// All must outlive the shipper.
    Shipper(const ShipperTerms &terms, CursorFile *cursors, BatchTarget *target, const StopSignals &signals)
        : terms_(terms), cursors_(*cursors), target_(*target), signals_(signals) {}

    /// Goes through all logs once, or until a signal arrives. Throws Failure when a batch has not arrived, or
    /// the cursors could not be written.
    ShippingRound run();

private:
    /// How far a batch takes a log.
    struct LogProgress {
        LogCursor cursor;
        bool hasMoved = false;
    };
    /// The batch that is being read.
    struct Batch {
        std::list<Names> names;            ///< Of its logs, for the sink.
        std::unique_ptr<ExportSink> sink;  ///< Null before its first item.
        bool isLogBegun = false;           ///< It has items of the log that is being read.
        uint64_t items = 0;
        std::vector<LogProgress> reached;
    };
    /// The one that was sent last.
    struct Sent {
        uint64_t items = 0;
        std::vector<LogProgress> reached;
    };

    /// A writer may come round before anything is read, or after a part.
    enum class PullEnd { Whole, OvertakenAtOnce, OvertakenLater };

    void shipLog(const ShippedLog &log);
    void shipAll(const ShippedLog &log);
    bool goOnAfterPart();
    bool isStopped();
    PullEnd shipOnce(const ShippedLog &log, const LogCursor &kept);
    bool take(PulledLog *pulled, const ShippedLog &log, const Item &item);
    void add(const LogPull &pull, const ShippedLog &log);
    void shipLogs();
    bool send();
    void awaitArrival();
    void keepArrived(std::vector<LogProgress> *reached);
    void reportNotes(const PulledLog &pulled);
    void reportOnce(const std::string &text);
    void reportProblem(const ShippedLog &log, const LogProblem &problem);
    bool isUnchanged(const ShippedLog &log, const LogCursor &kept) const;

    const ShipperTerms &terms_;
    CursorFile &cursors_;
    BatchTarget &target_;
    const StopSignals &signals_;
    ShippingRound round_;
    Batch batch_;
    std::optional<Sent> underWay_;  ///< Until its outcome is known.
    uint64_t looks_ = 0;            ///< For signals.
    std::set<std::string> reported_;
    std::map<std::string, std::string> problems_;  ///< Of logs that cannot be read, by place.
};

}  // namespace tool

#endif
