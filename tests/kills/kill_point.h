// SPDX-License-Identifier: Apache-2.0
// Moments at which a run of the tool is killed.
#ifndef JORN_TESTS_KILLS_KILL_POINT_H
#define JORN_TESTS_KILLS_KILL_POINT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trace/traced_run.h"

namespace test {

/// One moment of a run.
struct KillPoint {
    enum class Kind {
        BeforeCall,  ///< At entry of a call that changes files.
        AfterCall,   ///< At its exit.
        WithinCall,  ///< After some bytes of a write.
        AnyCall,     ///< Before or after any call on a file.
        Time,        ///< After some microseconds.
    };
    Kind kind = Kind::Time;
    size_t count = 0;  ///< Calls before it; for Time microseconds; for AnyCall entries and exits.
    size_t bytes = 0;  ///< How many of the call's bytes are written.

    std::string text() const;
};

/// A run of the tool that may have been killed.
struct KilledRun {
    TraceOutcome outcome;
    bool wasKilled = false;  ///< False when the run ended before its time came.
    std::string place;       ///< "before rename of index.csv".
};

/// Runs the tool, and kills it at the point if there is one. Calls below `root` count.
KilledRun runKilled(const std::vector<std::string> &arguments, const std::string &input,
                    const std::string &root, const std::optional<KillPoint> &point);

/// What an undisturbed run does, to choose moments from.
class RunShape {
public:
    std::vector<SystemCall> changes;  ///< Calls below the root that change files.
    size_t moments = 0;               ///< Entries and exits of all calls on files.
    TraceOutcome outcome;

    /// Each change: before it, after it, and within a write after its first byte, half of its bytes and all
    /// but one. Of many consecutive writes to a file, the first and the last two, and some between.
    std::vector<KillPoint> everyPoint() const;

private:
    bool isAmongMany(size_t at) const;
};
RunShape shapeOf(const std::vector<std::string> &arguments, const std::string &input,
                 const std::string &root);

}  // namespace test

#endif
