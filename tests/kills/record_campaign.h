// SPDX-License-Identifier: Apache-2.0
// Kills the recorder, starts it again as a service manager does, and looks for what is missing.
#ifndef JORN_TESTS_KILLS_RECORD_CAMPAIGN_H
#define JORN_TESTS_KILLS_RECORD_CAMPAIGN_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "kills/ring_files.h"

namespace test {

struct CampaignOptions {
    size_t kills = 1000;
    uint64_t seed = 1;
    std::optional<size_t> onlyTrial;  ///< Repeats this one alone.
    bool setsAside = true;            ///< Recorders run with `--if-unclear aside`, as in a service.
    /// Done to the directory after each kill, to see that the faults are found.
    std::function<void(const std::string &directory)> sabotage;
};

/// The trials that began in one state.
struct CampaignRow {
    size_t kills = 0;
    size_t killsAtChange = 0;  ///< At a call that changes files; the others at any moment.
    size_t killsOfRestart = 0;
    size_t unusableIndexes = 0;  ///< That kills left.
    size_t tornLines = 0;        ///< The same.
    size_t endedLines = 0;       ///< Torn lines that restarts gave a line end.
    size_t movedLines = 0;       ///< Torn lines that restarts put aside.
    size_t formerIndexes = 0;    ///< index.bak beside a whole index, in the end.
    size_t restarts = 0;         ///< Undisturbed ones; each was checked.
    size_t itemsCompared = 0;
    size_t faults = 0;
};

struct CampaignFault {
    size_t trial;
    Fault fault;
    std::string text;  ///< The state, each kill, and what was found.
};

struct CampaignResult {
    size_t moments = 0;  ///< Around changes of undisturbed runs: before, within and after each.
    size_t momentsDone = 0;
    std::vector<std::pair<std::string, CampaignRow>> rows;  ///< By state.
    std::vector<CampaignFault> faults;
    std::map<std::string, size_t> places;  ///< Kills by place.

    CampaignRow total() const;
    /// A table for documents.
    std::string table() const;
};

/// Works in a temporary directory of its own. A part of the kills covers the moments around each change, all
/// of them if the number suffices; the others are at random moments, some during restarts.
CampaignResult runRecordCampaign(const CampaignOptions &options);

}  // namespace test

#endif
