// SPDX-License-Identifier: Apache-2.0
#include "kills/record_campaign.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <sstream>

#include "kills/kill_point.h"
#include "kills/ring_states.h"
#include "kills/scratch_directory.h"

namespace test {
namespace {

using Random = std::mt19937_64;

size_t below(Random *random, size_t limit) {
    return limit == 0 ? 0 : static_cast<size_t>((*random)() % limit);
}

/// The command line of a service manager's unit.
std::vector<std::string> recordWords(const std::string &directory, const CampaignOptions &options) {
    std::vector<std::string> words = {"record", "--files", "4"};
    if (options.setsAside) {
        words.insert(words.end(), {"--if-unclear", "aside"});
    }
    words.push_back(directory);
    return words;
}

/// A state with what a run does in it.
struct PreparedState {
    const RingState *state = nullptr;
    std::string directory;
    RunShape shape;
    std::chrono::microseconds time{};
};

struct Trial {
    const PreparedState *start = nullptr;
    int newItems = 0;
    std::vector<KillPoint> kills;  ///< Of the first run, then of restarts.
};

std::string outputOf(const std::vector<std::string> &words) {
    return runKilled(words, "", "/", std::nullopt).outcome.out;
}

/// Lines of CSV without the heading. None of these texts needs quotes.
std::vector<std::string> itemLines(const std::string &csv) {
    std::vector<std::string> lines;
    std::istringstream stream(csv);
    for (std::string line; std::getline(stream, line);) {
        if (line.rfind("time,", 0) != 0) {
            lines.push_back(line);
        }
    }
    return lines;
}

/// One trial: a run that is killed, restarts that are killed, and one that nothing disturbs.
class TrialRun {
public:
    TrialRun(const Trial &trial, const std::string &directory, const CampaignOptions &options,
             CampaignResult *result, CampaignRow *row)
        : trial_(trial),
          directory_(directory),
          options_(options),
          result_(result),
          row_(row),
          nextItem_(trial.start->state->lastItem + 1) {}

    /// Nothing when all is right.
    std::optional<CampaignFault> run() {
        copyTree(trial_.start->directory, directory_);
        files_ = RingFiles::read(directory_);
        story_ = trial_.start->state->name;
        int newItems = trial_.newItems;
        for (const KillPoint &point : trial_.kills) {
            if (!step(point, newItems)) {
                return fault();
            }
            noteKill(&point != trial_.kills.data());
            newItems = kRestartItems;
        }
        if (!step(std::nullopt, kRestartItems) || !checkView()) {
            return fault();
        }
        ++row_->restarts;
        return std::nullopt;
    }

private:
    static constexpr int kRestartItems = 25;

    /// A run with the next items, and what it did to the files.
    bool step(const std::optional<KillPoint> &point, int newItems) {
        std::vector<std::string> texts = {kStartText};
        for (int number = nextItem_; number < nextItem_ + newItems; ++number) {
            texts.push_back(itemText(number));
        }
        wasIndexLost_ = !files_.hasUsableIndex() && !files_.lines().empty();
        last_ =
            runKilled(recordWords(directory_, options_), itemInput(nextItem_, newItems), directory_, point);
        nextItem_ += newItems;
        story_ += "; " + (last_.wasKilled ? "killed " + last_.place + " (" + point->text() + ")"
                                          : "ended with exit code " + std::to_string(last_.outcome.status));
        const RingFiles after = RingFiles::read(directory_);
        verdict_ = judgeRun(files_, texts, after, last_.wasKilled);
        if (!last_.wasKilled) {
            checkOutcome();
        }
        row_->endedLines += verdict_.hasEndedPiece ? 1 : 0;
        row_->movedLines += verdict_.hasMovedPiece ? 1 : 0;
        row_->itemsCompared += after.lines().size();
        files_ = after;
        return verdict_.fault == Fault::None;
    }

    bool found(Fault what, const std::string &detail) {
        verdict_.fault = what;
        verdict_.detail = detail;
        return false;
    }

    /// Checks that an undisturbed run succeeds and reports what it repaired.
    void checkOutcome() {
        if (last_.outcome.status != 0) {
            found(Fault::ExitCode, std::to_string(last_.outcome.status) + ": " + last_.outcome.err);
            return;
        }
        const bool hasMended = verdict_.hasEndedPiece || verdict_.hasMovedPiece || wasIndexLost_;
        if (verdict_.fault == Fault::None && hasMended && last_.outcome.err.empty()) {
            found(Fault::ExitCode, "mended without a word");
        }
    }

    /// Counts a kill that came before the run ended.
    void noteKill(bool isOfRestart) {
        if (!last_.wasKilled) {
            return;
        }
        ++row_->kills;
        row_->killsOfRestart += isOfRestart ? 1 : 0;
        row_->unusableIndexes += files_.hasUsableIndex() ? 0 : 1;
        row_->tornLines += files_.piece().empty() ? 0 : 1;
        ++result_->places[last_.place];
        if (options_.sabotage) {
            options_.sabotage(directory_);
        }
    }

    /// Checks that all that the files hold is shown, in order, and that `check` reports nothing.
    bool checkView() {
        const std::vector<std::string> lines = files_.lines();
        if (itemLines(outputOf({"export", "-q", "-o", "csv", directory_})) != lines) {
            return found(Fault::View, "the export is not what the files hold");
        }
        if (itemLines(outputOf({"show", "--no-pager", "-o", "csv", directory_})) != lines) {
            return found(Fault::View, "show is not what the files hold");
        }
        return checkSoundness();
    }

    /// The store leaves a former index beside a whole one until its next rewrite. `check` must report nothing
    /// else.
    bool checkSoundness() {
        const std::string summary =
            files_.backup ? "damaged (0 errors, 1 warning, " : "sound (0 errors, 0 warnings, ";
        const TraceOutcome check =
            runKilled({"check", "--files", "4", directory_}, "", "/", std::nullopt).outcome;
        row_->formerIndexes += files_.backup ? 1 : 0;
        if (check.status != (files_.backup ? 3 : 0) || check.out.find(summary) == std::string::npos ||
            (files_.backup && check.out.find("/index.bak:0: warning: ") == std::string::npos)) {
            return found(Fault::Unsound, check.out + check.err);
        }
        return true;
    }

    CampaignFault fault() const {
        return {0, verdict_.fault, story_ + ": " + nameOf(verdict_.fault) + ": " + verdict_.detail};
    }

    const Trial &trial_;
    const std::string directory_;
    const CampaignOptions &options_;
    CampaignResult *result_;
    CampaignRow *row_;
    int nextItem_;
    RingFiles files_;
    bool wasIndexLost_ = false;  ///< When the last run began.
    KilledRun last_;
    Verdict verdict_;
    std::string story_;
};

class Campaign {
public:
    explicit Campaign(const CampaignOptions &options) : options_(options) {
        for (const RingState &state : ringStates()) {
            prepare(state);
        }
    }

    CampaignResult run() {
        const std::vector<Trial> fixed = chosenPoints();
        for (size_t number = 0; number < fixed.size() || killsDone() < options_.kills; ++number) {
            Random random(options_.seed * kTrialStride + number);
            const bool isFixed = number < fixed.size();
            runTrial(number, isFixed ? fixed[number] : randomTrial(&random), isFixed);
        }
        return result_;
    }

private:
    static constexpr uint64_t kTrialStride = 1000003;

    void prepare(const RingState &state) {
        PreparedState prepared;
        prepared.state = &state;
        prepared.directory = scratch_.path("state" + std::to_string(states_.size()));
        state.make(prepared.directory);
        const std::string log = scratch_.path("log");
        const std::string input = itemInput(state.lastItem + 1, state.newItems);
        copyTree(prepared.directory, log);
        prepared.shape = shapeOf(recordWords(log, options_), input, log);
        copyTree(prepared.directory, log);
        const auto start = std::chrono::steady_clock::now();
        runKilled(recordWords(log, options_), input, log, std::nullopt);
        prepared.time =
            std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
        states_.push_back(prepared);
        result_.rows.emplace_back(state.name, CampaignRow());
    }

    /// Each moment around a change, shuffled; at most half of the kills, unless all are wanted.
    std::vector<Trial> chosenPoints() {
        std::vector<Trial> trials;
        for (const PreparedState &state : states_) {
            for (const KillPoint &point : state.shape.everyPoint()) {
                trials.push_back({&state, state.state->newItems, {point}});
            }
        }
        result_.moments = trials.size();
        Random random(options_.seed);
        std::shuffle(trials.begin(), trials.end(), random);
        if (trials.size() > options_.kills / 2) {
            trials.resize(options_.kills / 2);
        }
        result_.momentsDone = trials.size();
        return trials;
    }

    Trial randomTrial(Random *random) const {
        const PreparedState &state = states_[below(random, states_.size())];
        Trial trial = {&state, static_cast<int>(1 + below(random, 200)), {randomPoint(state, random)}};
        if (below(random, 8) == 0) {
            trial.newItems += 5000;  // Through a whole file.
        }
        while (trial.kills.size() < 5 && below(random, 2) == 0) {
            trial.kills.push_back(randomPoint(state, random));
        }
        return trial;
    }

    static KillPoint randomPoint(const PreparedState &state, Random *random) {
        const size_t changes = state.shape.changes.size() + 4;
        switch (below(random, 10)) {
            case 0:
            case 1:
                return {KillPoint::Kind::BeforeCall, below(random, changes), 0};
            case 2:
            case 3:
                return {KillPoint::Kind::AfterCall, below(random, changes), 0};
            case 4:
            case 5:
                return {KillPoint::Kind::WithinCall, below(random, changes), below(random, 4096)};
            case 6:
                return {KillPoint::Kind::AnyCall, below(random, state.shape.moments), 0};
            default:
                return {KillPoint::Kind::Time, below(random, static_cast<size_t>(state.time.count())), 0};
        }
    }

    void runTrial(size_t number, const Trial &trial, bool isFixed) {
        if (options_.onlyTrial && *options_.onlyTrial != number) {
            ++skipped_;
            return;
        }
        CampaignRow &row = result_.rows[static_cast<size_t>(trial.start - states_.data())].second;
        const size_t former = row.kills;
        std::optional<CampaignFault> fault =
            TrialRun(trial, scratch_.path("log"), options_, &result_, &row).run();
        row.killsAtChange += isFixed ? row.kills - former : 0;
        if (fault) {
            ++row.faults;
            fault->trial = number;
            result_.faults.push_back(*fault);
        }
    }

    size_t killsDone() const { return result_.total().kills + skipped_; }

    const CampaignOptions &options_;
    const ScratchDirectory scratch_;
    std::vector<PreparedState> states_;
    CampaignResult result_;
    size_t skipped_ = 0;
};

std::string tableRow(const std::string &name, const CampaignRow &row) {
    std::string line = "| " + name + " |";
    for (const size_t figure : {row.kills, row.killsAtChange, row.killsOfRestart, row.unusableIndexes,
                                row.tornLines, row.restarts, row.faults}) {
        line += " " + std::to_string(figure) + " |";
    }
    return line + "\n";
}

}  // namespace

CampaignRow CampaignResult::total() const {
    CampaignRow sum;
    for (const auto &[name, row] : rows) {
        sum.kills += row.kills;
        sum.killsAtChange += row.killsAtChange;
        sum.killsOfRestart += row.killsOfRestart;
        sum.unusableIndexes += row.unusableIndexes;
        sum.tornLines += row.tornLines;
        sum.endedLines += row.endedLines;
        sum.movedLines += row.movedLines;
        sum.formerIndexes += row.formerIndexes;
        sum.restarts += row.restarts;
        sum.itemsCompared += row.itemsCompared;
        sum.faults += row.faults;
    }
    return sum;
}

std::string CampaignResult::table() const {
    std::string text =
        "| state | kills | at each change | of restarts | index unusable | line torn | restarts checked | "
        "faults |\n"
        "|---|---|---|---|---|---|---|---|\n";
    for (const auto &[name, row] : rows) {
        text += tableRow(name, row);
    }
    const CampaignRow sum = total();
    return text + tableRow("all", sum) + "\n" + std::to_string(sum.endedLines) +
           " torn lines got their end, " + std::to_string(sum.movedLines) +
           " were moved; index.bak was left " + std::to_string(sum.formerIndexes) + " times; " +
           std::to_string(sum.itemsCompared) + " lines compared\n";
}

CampaignResult runRecordCampaign(const CampaignOptions &options) { return Campaign(options).run(); }

}  // namespace test
