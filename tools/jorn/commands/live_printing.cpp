// SPDX-License-Identifier: Apache-2.0
#include "commands/live_printing.h"

#include <errno.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>

#include "live/change_watch.h"
#include "live/ring_follower.h"
#include "options/item_output.h"
#include "output/live_output.h"
#include "system/failure.h"

namespace tool {
namespace {

constexpr uint64_t kDefaultNewest = 10;

bool isMissing(const std::string &path) {
    struct stat status;
    return stat(path.c_str(), &status) < 0 && errno == ENOENT;
}

/// A run of the command, from its options to its exit code.
class LivePrinting {
public:
    explicit LivePrinting(const LivePrintingOptions &options)
        : options_(options),
          output_(signals_),
          watch_(onlyDirectory(options.filter), signals_, options.isPolling),
          start_(time(nullptr)) {}

    int run() {
        if (waitForDirectory()) {
            followLog();
        }
        return exitCode();
    }

private:
    /// Returns false when a signal came, or no item could match any more, before the directory existed.
    bool waitForDirectory() {
        wasMissing_ = isMissing(onlyDirectory(options_.filter));
        if (!wasMissing_) {
            return true;
        }
        const uint32_t until = checkFilter(options_.filter, start_);
        note(onlyDirectory(options_.filter) + ": does not exist yet; waiting for it");
        while (isMissing(onlyDirectory(options_.filter))) {
            isOver_ = hasPassed(until, time(nullptr));
            if (isOver_ || watch_.wait(true, millisecondsUntil(until)) == ChangeWatch::Reason::Stop) {
                return false;
            }
        }
        return true;
    }

    void followLog() {
        NamedLog log{openQuestion(options_.filter, onlyDirectory(options_.filter), start_), "", "", 0};
        Question &question = log.question;
        question.filter.isMarking = options_.context.isAny() && !options_.filter.isQuiet;
        for (const std::string &text : question.notes) {
            note(text);
        }
        ItemFormatter formatter(itemStyleOf(options_.output, options_.filter, log));
        print(formatter.heading());
        // In a log that has just been created, every item is new.
        const uint64_t newest = wasMissing_ ? kAllItems : options_.newest.value_or(kDefaultNewest);
        ContextWindow window(options_.context, [&](const Item &item, bool isApart) {
            return print(isApart ? formatter.gap() : "") && print(formatter.format(item));
        });
        const auto take = [&](const Item &item) {
            hasMatch_ = hasMatch_ || item.isMatch;
            return !options_.filter.isQuiet && window.take(item);
        };
        RingFollower follower({onlyDirectory(options_.filter), options_.filter.files, question.filter, newest,
                               options_.context.before},
                              {take, [this](const std::string &text) { note(text); },
                               [this](const std::string &text) { tellDamage(text); }});
        loop(&follower, question.filter.until);
    }

    void loop(RingFollower *follower, uint32_t until) {
        for (;;) {
            watch_.arm();
            const time_t now = time(nullptr);
            const RingFollower::State state = follower->step();
            const bool isOver = hasPassed(until, now);
            if (!output_.flush() || state == RingFollower::State::Ended || isOver) {
                isOver_ = isOver;
                return;
            }
            if (watch_.wait(state == RingFollower::State::Pending, millisecondsUntil(until)) ==
                ChangeWatch::Reason::Stop) {
                return;
            }
        }
    }

    static bool hasPassed(uint32_t until, time_t now) {
        return until != UINT32_MAX && now > static_cast<time_t>(until);
    }

    /// The time until no item can match any more.
    static std::optional<int> millisecondsUntil(uint32_t until) {
        constexpr int64_t kLongest = 3600;
        if (until == UINT32_MAX) {
            return std::nullopt;
        }
        const int64_t seconds = static_cast<int64_t>(until) + 1 - static_cast<int64_t>(time(nullptr));
        return static_cast<int>(std::clamp<int64_t>(seconds, 0, kLongest) * 1000);
    }

    bool print(const std::string &text) { return options_.filter.isQuiet || output_.write(text); }

    /// Prints a note after the items that came before it.
    void note(const std::string &text) {
        output_.flush();
        printMessage("note: " + text);
    }

    void tellDamage(const std::string &text) {
        hasDamage_ = true;
        note(text);
    }

    int exitCode() const {
        if (hasDamage_) {
            return kExitDamage;
        }
        const bool isAsked = options_.filter.isQuiet || (isOver_ && isMatchAsked(options_.filter));
        return isAsked && !hasMatch_ ? kExitNoMatch : kExitDone;
    }

    const LivePrintingOptions &options_;
    const StopSignals signals_;
    LiveOutput output_;
    ChangeWatch watch_;
    const time_t start_;
    bool wasMissing_ = false;
    bool isOver_ = false;  ///< The run ended because no item can match any more.
    bool hasMatch_ = false;
    bool hasDamage_ = false;
};

}  // namespace

CLI::Option *addPollOption(CLI::App *command, bool *isPolling, const std::string &meaning) {
    return command->add_flag("--poll", *isPolling, meaning);
}

int printLive(const LivePrintingOptions &options) { return LivePrinting(options).run(); }

}  // namespace tool
