// SPDX-License-Identifier: Apache-2.0
// How a reading command ends: what it reports on standard error, and its exit code.
#ifndef JORN_TOOLS_READ_END_H
#define JORN_TOOLS_READ_END_H

#include <string>
#include <vector>

#include "log/damage.h"
#include "log/ring_view.h"
#include "options/filter_options.h"
#include "options/log_set.h"

namespace tool {

/// What there is to report besides the answer.
struct ReadEnd {
    DamageLog damage;
    std::vector<std::string> notes;

    /// Takes over what the view found.
    void takeFrom(const RingView &view);
};

/// Calls ask(view, damage) on a fresh view until no writer has removed items during the call. If the writer
/// is too fast for that, returns the last answer, and the losses remain in `end`. `end` receives what there
/// is to report about the view that gave the answer, and about reading it. Throws Failure.
template <class Ask>
auto readStable(const Question &question, ReadEnd *end, const Ask &ask, Opening opening = Opening::AtOnce) {
    constexpr int kTries = 20;
    for (int tries = 1;; ++tries) {
        const RingView view(question.directory, question.ringSize, opening);
        *end = {};
        end->takeFrom(view);
        auto answer = ask(view, &end->damage);
        if (end->damage.losses().empty() || tries == kTries) {
            return answer;
        }
    }
}

/// Prints notes, losses and damage, and returns the exit code: damage takes precedence over "no match".
int endReading(const FilterOptions &options, const Question &question, const ReadEnd &end, bool hasMatch);

/// The same for several logs, of which `hasMatch` says whether any has a match. Returns the highest code.
int endReading(const FilterOptions &options, const LogSet &set, const std::vector<ReadEnd> &ends,
               bool hasMatch);

/// The exit codes, for help.
inline constexpr char kReadExitCodes[] =
    "  0  done\n"
    "  1  no item matches, with -g or -q\n"
    "  2  usage error, or no log in DIR\n"
    "  3  done, but damage was found: see jorn check\n"
    "  4  input or output failed\n";

}  // namespace tool

#endif
