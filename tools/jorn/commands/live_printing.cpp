// SPDX-License-Identifier: Apache-2.0
#include "commands/live_printing.h"

#include <time.h>

#include <algorithm>
#include <map>
#include <memory>

#include "commands/followed_log.h"
#include "live/change_watch.h"
#include "merge/log_names.h"
#include "merge/next_log.h"
#include "options/log_set.h"
#include "output/live_output.h"
#include "system/failure.h"
#include "system/open_files.h"

namespace tool {
namespace {

constexpr uint64_t kDefaultNewest = 10;

/// A run of the command, from its options to its exit code.
class LivePrinting {
public:
    explicit LivePrinting(const LivePrintingOptions &options)
        : options_(options),
          isSeveral_(options.filter.directories.size() > 1),
          output_(signals_),
          watch_(options.filter.directories, signals_, options.isPolling),
          start_(time(nullptr)),
          newest_(options.newest.value_or(kDefaultNewest)) {}

    int run() {
        openAll();
        while (!isEnded_) {
            watch_.arm();
            const time_t now = time(nullptr);
            openLate();
            printNew();
            isOver_ = until_ != UINT32_MAX && now > static_cast<time_t>(until_);
            isEnded_ = !output_.flush() || isEnded_ || isOver_ || (isQuiet() && hasMatch()) || logs_.empty();
            isEnded_ =
                isEnded_ || watch_.wait(isLookedAtSoon(), millisecondsLeft()) == ChangeWatch::Reason::Stop;
        }
        return exitCode();
    }

private:
    /// An item of the start view, and its log.
    struct StartLine {
        FollowedLog *log;
        FollowedLog::Entry entry;
    };

    bool isQuiet() const { return options_.filter.isQuiet; }

    void openAll() {
        const std::vector<std::string> &directories = options_.filter.directories;
        UnknownNames unknownAnywhere;
        until_ = checkFilter(options_.filter, start_, &unknownAnywhere);
        std::vector<std::string> names(directories.size());
        if (isSeveral_) {
            refuseSameDirectory(directories);
            allowManyOpenFiles();
            names = distinctLogNames(directories);
        }
        const std::vector<std::string> fronts = frontsOf(names);
        std::vector<UnknownNames> unknown;
        for (size_t place = 0; place < directories.size(); ++place) {
            logs_.push_back(std::make_unique<FollowedLog>(options_, directories[place], names[place],
                                                          fronts[place], place));
            unknown.push_back(openFirst(logs_.back().get(), unknownAnywhere));
        }
        refuseUnknownInAll(unknown);
        removeClosed();
        for (const auto &log : logs_) {
            if (!log->isOpen()) {
                note(log->path() + ": does not exist yet; waiting for it");
            }
        }
    }

    /// Opens a log that is there. Returns the names of levels and slots that it does not know.
    UnknownNames openFirst(FollowedLog *log, const UnknownNames &unknownAnywhere) {
        if (log->isMissing()) {
            return unknownAnywhere;
        }
        UnknownNames unknown;
        guard(log, [&] { log->open(start_, newest_, &unknown); });
        return unknown;
    }

    /// Opens the directories that have been made since. In a log that has just been created, every item is
    /// new.
    void openLate() {
        for (const auto &log : logs_) {
            if (!log->isOpen() && !log->isMissing()) {
                UnknownNames ignored;
                guard(log.get(), [&] { log->open(start_, kAllItems, &ignored); });
                late_.insert(log.get());
            }
            if (log->isOpen()) {
                begin(log.get());
            }
        }
        removeClosed();
    }

    /// What is printed once for a log, and what once for all.
    void begin(FollowedLog *log) {
        if (!hasBegun_.insert(log).second) {
            return;
        }
        for (const std::string &text : log->notes()) {
            note(text);
        }
        if (hasBegun_.size() == 1) {
            print(log->formatter().heading());
        }
    }

    /// Prints what has come, and what has been there when the first look is taken.
    void printNew() {
        for (const auto &log : logs_) {
            log->wake();
        }
        // A log alone passes on just as many as are wanted.
        const bool isChosen = isFirstLook_ && logs_.size() > 1 && newest_ != kAllItems && !isQuiet();
        isFirstLook_ = false;
        std::vector<StartLine> there;
        while (FollowedLog *const log = nextOf()) {
            if (isChosen && late_.count(log) == 0) {
                there.push_back({log, *log->head()});
            } else {
                printEntry(log, *log->head());
            }
            log->pop();
        }
        printNewest(there);
        removeClosed();
    }

    /// The log whose item is printed next; null where there is none. Prints the notes that come before.
    FollowedLog *nextOf() {
        for (const auto &log : logs_) {
            for (const auto *head = headOf(log.get()); head != nullptr && !head->note.empty();
                 head = headOf(log.get())) {
                note(head->note);
                hasDamage_ = hasDamage_ || head->isDamage;
                log->pop();
            }
        }
        if (isEnded_) {
            return nullptr;
        }
        const size_t next = nextLog(logs_.size(), [this](size_t log) {
            const FollowedLog::Entry *const head = logs_[log]->head();
            return head != nullptr ? &head->item : nullptr;
        });
        return next == kNoLog ? nullptr : logs_[next].get();
    }

    const FollowedLog::Entry *headOf(FollowedLog *log) {
        const FollowedLog::Entry *head = nullptr;
        guard(log, [&] { head = log->head(); });
        return head;
    }

    /// Of the items that are there at the start, those that jorn show -n would print: the newest of all
    /// matches, with their neighbours.
    void printNewest(const std::vector<StartLine> &there) {
        const auto isOldMatch = [](const StartLine &line) {
            return line.entry.item.isMatch && !line.entry.isNew;
        };
        auto surplus = static_cast<uint64_t>(std::count_if(there.begin(), there.end(), isOldMatch));
        surplus -= std::min(surplus, newest_);
        std::map<const FollowedLog *, uint64_t> first;  // Match that is shown.
        for (const StartLine &line : there) {
            if (isOldMatch(line) && surplus > 0) {
                --surplus;
            } else if (line.entry.item.isMatch) {
                first.emplace(line.log, line.entry.item.seq);
            }
        }
        for (const StartLine &line : there) {
            const auto found = first.find(line.log);
            if (found == first.end()) {
                line.log->forgetNeighbours();
            } else if (line.entry.item.seq + options_.context.before >= found->second) {
                printEntry(line.log, line.entry);
            }
        }
    }

    void printEntry(FollowedLog *log, const FollowedLog::Entry &entry) {
        const bool isGroup = options_.context.isAny() && (entry.isApart || hasShown_.count(log) == 0);
        const bool isApart = isGroup && !hasShown_.empty();
        hasShown_.insert(log);
        isEnded_ =
            isEnded_ || !print((isApart ? log->formatter().gap() : "") + log->formatter().format(entry.item));
    }

    bool print(const std::string &text) { return isQuiet() || output_.write(text); }

    /// Prints a note after the items that came before it.
    void note(const std::string &text) {
        output_.flush();
        printMessage("note: " + text);
    }

    /// A log that fails need not keep the others from being followed.
    template <class Use>
    void guard(FollowedLog *log, const Use &use) {
        const int exitCode = readOneOf(isSeveral_, [&] {
            use();
            return kExitDone;
        });
        if (exitCode != kExitDone) {
            failed_.insert(log);
            log->close();
            exitCode_ = std::max(exitCode_, exitCode);
        }
    }

    void removeClosed() {
        const auto isFailed = [this](const auto &log) { return failed_.count(log.get()) > 0; };
        logs_.erase(std::remove_if(logs_.begin(), logs_.end(), isFailed), logs_.end());
    }

    bool hasMatch() const {
        return std::any_of(logs_.begin(), logs_.end(), [](const auto &log) { return log->hasMatch(); });
    }

    bool isLookedAtSoon() const {
        return std::any_of(logs_.begin(), logs_.end(),
                           [](const auto &log) { return !log->isOpen() || log->isPending(); });
    }

    /// The time until no item can match any more.
    std::optional<int> millisecondsLeft() const {
        constexpr int64_t kLongest = 3600;
        if (until_ == UINT32_MAX) {
            return std::nullopt;
        }
        const int64_t seconds = static_cast<int64_t>(until_) + 1 - static_cast<int64_t>(time(nullptr));
        return static_cast<int>(std::clamp<int64_t>(seconds, 0, kLongest) * 1000);
    }

    int exitCode() const {
        if (hasDamage_) {
            return std::max(exitCode_, kExitDamage);
        }
        const bool isAsked = isQuiet() || (isOver_ && isMatchAsked(options_.filter));
        return std::max(exitCode_, isAsked && !hasMatch() ? kExitNoMatch : kExitDone);
    }

    const LivePrintingOptions &options_;
    const bool isSeveral_;
    const StopSignals signals_;
    LiveOutput output_;
    ChangeWatch watch_;
    const time_t start_;
    const uint64_t newest_;
    uint32_t until_ = UINT32_MAX;
    std::vector<std::unique_ptr<FollowedLog>> logs_;  ///< Those that have not failed.
    std::set<const FollowedLog *> hasBegun_;
    std::set<const FollowedLog *> hasShown_;  ///< Something was printed of them.
    std::set<const FollowedLog *> late_;      ///< They were not there at the start.
    std::set<const FollowedLog *> failed_;
    bool isFirstLook_ = true;
    bool isEnded_ = false;
    bool isOver_ = false;  ///< The run ended because no item can match any more.
    bool hasDamage_ = false;
    int exitCode_ = kExitDone;  ///< The highest of logs that failed.
};

}  // namespace

CLI::Option *addPollOption(CLI::App *command, bool *isPolling, const std::string &meaning) {
    return command->add_flag("--poll", *isPolling, meaning);
}

int printLive(const LivePrintingOptions &options) { return LivePrinting(options).run(); }

}  // namespace tool
