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
    std::function<void(const std::string &)> tell;  ///< Reports what is worth knowing.
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
    struct Reached {
        LogCursor cursor;
        bool hasMoved = false;
    };
    struct Sent {
        uint64_t items = 0;
        std::vector<Reached> reached;
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
    void settle();
    void dropBatch();
    void keepArrived(std::vector<Reached> *reached);
    void tellAbout(const PulledLog &pulled);
    void tellOnce(const std::string &text);
    void tellProblem(const ShippedLog &log, const LogProblem &problem);
    bool isUnchanged(const ShippedLog &log, const LogCursor &kept) const;

    const ShipperTerms &terms_;
    CursorFile &cursors_;
    BatchTarget &target_;
    const StopSignals &signals_;
    ShippingRound round_;
    std::unique_ptr<ExportSink> sink_;  ///< Of the batch; null before its first item.
    bool isLogBegun_ = false;           ///< In this batch.
    uint64_t items_ = 0;                ///< Of the batch.
    std::vector<Reached> reached_;      ///< How far it takes its logs.
    std::optional<Sent> underWay_;      ///< The batch that was sent last, until its outcome is known.
    uint64_t looks_ = 0;                ///< For signals.
    std::list<Names> names_;            ///< Of its logs.
    std::set<std::string> told_;
    std::map<std::string, std::string> problems_;  ///< Of logs that cannot be read, by place.
};

}  // namespace tool

#endif
