// SPDX-License-Identifier: Apache-2.0
#include "export/cursor_report.h"

#include <nlohmann/json.hpp>
#include <numeric>

#include "terminal/counted.h"
#include "terminal/escape.h"
#include "terminal/text_table.h"
#include "terminal/time_text.h"

namespace tool {
namespace {

/// What the log holds beyond what was sent. False when a writer came round meanwhile.
bool count(PulledLog *pulled, LogReport *report) {
    LogPull &pull = pulled->pull;
    report->behind = 0;
    pull.run(pulled->question.filter, [report](const Item &item) {
        report->first = report->behind++ == 0 ? item.seq : report->first;
        report->last = item.seq;
        return true;
    });
    return !pull.isOvertaken();
}

/// Throws LogProblem.
std::unique_ptr<PulledLog> countedLog(const ShippedLog &log, const LogOpener &open, LogReport *report) {
    for (int pulls = 0; pulls < kMostPulls; ++pulls) {
        std::unique_ptr<PulledLog> pulled = pullLog(open, log, report->kept, UINT64_MAX);
        if (count(pulled.get(), report)) {
            return pulled;
        }
    }
    throw overtaken(log);
}

void look(const ShippedLog &log, const LogOpener &open, LogReport *report) {
    const std::unique_ptr<PulledLog> pulled = countedLog(log, open, report);
    const LogPull &pull = pulled->pull;
    const bool isNew = pull.epoch() == UINT64_MAX;
    report->epoch = isNew ? 0 : pull.epoch();
    report->notes = pulled->question.notes;
    for (const std::vector<std::string> &texts : {pull.notes(), pull.damage().texts()}) {
        report->notes.insert(report->notes.end(), texts.begin(), texts.end());
    }
    report->hasDamage = !pull.damage().isEmpty();
}

/// Of all epochs: their log may come back.
uint64_t pendingOf(const LogCursor &cursor) {
    return std::accumulate(
        cursor.epochs.begin(), cursor.epochs.end(), uint64_t{0},
        [](uint64_t items, const Numbering &numbering) { return items + numbering.pending(); });
}

std::string nameOf(const LogCursor &cursor) {
    return (cursor.device.empty() ? "" : cursor.device + "/") + cursor.log;
}

}  // namespace

LogReport reportOn(const ShippedLog &log, const LogCursor &kept, const LogOpener &open) {
    LogReport report;
    report.kept = kept;
    try {
        look(log, open, &report);
    } catch (const LogProblem &problem) {
        report.problem = problem;
        report.behind = 0;
    }
    return report;
}

std::string statusText(const std::vector<LogReport> &reports, bool isUtc) {
    TimeFormatter time(TimeForm::Plain, isUtc);
    TableRows rows = {{"log", "shipped", "last", "behind", "gaps", "lost", "damaged", "pending"}};
    for (const LogReport &report : reports) {
        const LogCursor &kept = report.kept;
        rows.push_back({escaped(nameOf(kept)), std::to_string(kept.shipped),
                        kept.time == 0 ? "never" : time.format(kept.time),
                        report.problem ? "?" : std::to_string(report.behind), std::to_string(kept.gaps),
                        std::to_string(kept.lost), std::to_string(kept.damaged),
                        std::to_string(pendingOf(kept))});
    }
    std::string text;
    for (const std::string &line : tableLines(rows)) {
        text += line + "\n";
    }
    return text;
}

std::string statusJson(const std::vector<LogReport> &reports) {
    using Json = nlohmann::ordered_json;
    std::string text;
    for (const LogReport &report : reports) {
        const LogCursor &kept = report.kept;
        Json json;
        json["device"] = kept.device;
        json["log"] = kept.log;
        json["directory"] = kept.directory;
        json["epoch"] = kept.hasBegun() ? Json(kept.current().epoch) : Json();
        json["seq"] = kept.hasBegun() ? Json(kept.current().highest) : Json();
        json["shipped"] = kept.shipped;
        json["time"] = kept.time == 0 ? Json() : Json(kept.time);
        json["behind"] = report.problem ? Json() : Json(report.behind);
        json["gaps"] = kept.gaps;
        json["lost"] = kept.lost;
        json["damaged"] = kept.damaged;
        json["pending"] = pendingOf(kept);
        json["problem"] = report.problem ? Json(report.problem->what()) : Json();
        json["notes"] = report.notes;
        text += json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    }
    return text;
}

std::string planText(const std::vector<LogReport> &reports) {
    std::string text;
    for (const LogReport &report : reports) {
        if (report.behind > 0) {
            const std::string epoch =
                report.epoch == 0 ? "a new epoch" : "epoch " + std::to_string(report.epoch);
            text += escaped(nameOf(report.kept)) + ": " + counted(report.behind, "item", "items") +
                    ", numbers " + std::to_string(report.first) + " to " + std::to_string(report.last) +
                    " of " + epoch + "\n";
        }
    }
    return text;
}

}  // namespace tool
