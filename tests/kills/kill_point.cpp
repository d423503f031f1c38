// SPDX-License-Identifier: Apache-2.0
#include "kills/kill_point.h"

#include <signal.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace test {
namespace {

bool isBelow(const std::string &path, const std::string &root) {
    return path.compare(0, root.size(), root) == 0 &&
           (path.size() == root.size() || path[root.size()] == '/');
}

bool changesBelow(const SystemCall &call, const std::string &root) {
    return call.changesFiles() && (isBelow(call.path, root) || isBelow(call.newPath, root));
}

std::string placeOf(const char *relation, const SystemCall &call) {
    std::string name = std::filesystem::path(call.path).filename().string();
    if (name.find("(deleted)") != std::string::npos || name.rfind(".jorn-", 0) == 0) {
        name = "a temporary file";
    }
    return std::string(relation) + " " + call.name + " of " + name;
}

/// Decides at each call whether the point has come.
class Killer {
public:
    Killer(const KillPoint &point, const std::string &root) : point_(point), root_(root) {}

    Action at(const SystemCall &call) {
        if (point_.kind == KillPoint::Kind::AnyCall) {
            return moments_++ == point_.count ? kill(call.isEntry() ? "before" : "after", call)
                                              : Action::proceed();
        }
        if (!changesBelow(call, root_)) {
            return Action::proceed();
        }
        // The store task writes while the reader waits for it, so no change is within another.
        if (call.isExit()) {
            return changes_++ == point_.count && point_.kind == KillPoint::Kind::AfterCall
                       ? kill("after", call)
                       : Action::proceed();
        }
        return changes_ == point_.count ? atEntry(call) : Action::proceed();
    }

    const std::string &place() const { return place_; }

private:
    Action atEntry(const SystemCall &call) {
        if (point_.kind == KillPoint::Kind::BeforeCall) {
            return kill("before", call);
        }
        if (point_.kind != KillPoint::Kind::WithinCall) {
            return Action::proceed();
        }
        if (!(call.is("write") || call.is("pwrite64")) || call.bytes.empty()) {
            return kill("before", call);
        }
        place_ = placeOf("within", call);
        return Action::tear(point_.bytes % call.bytes.size());
    }

    Action kill(const char *relation, const SystemCall &call) {
        place_ = placeOf(relation, call);
        return Action::kill();
    }

    const KillPoint point_;
    const std::string root_;
    size_t changes_ = 0;
    size_t moments_ = 0;
    std::string place_;
};

TraceOptions optionsFor(const std::string &input) {
    TraceOptions options;
    options.input = input;
    options.recordsCalls = false;
    return options;
}

/// Whether it was ended by the signal, not by an exit code.
bool endedByKill(const TraceOutcome &outcome) {
    return outcome.status == 128 + SIGKILL && !outcome.hasTimedOut;
}

/// Stops at no call: the moment is left to chance.
KilledRun runUntilTime(const std::vector<std::string> &arguments, const std::string &input,
                       const std::optional<KillPoint> &point) {
    TraceOptions options = optionsFor(input);
    options.calls = {};
    TracedRun run(jornCommand(arguments), options);
    run.start();
    KilledRun result;
    if (point) {
        std::this_thread::sleep_for(std::chrono::microseconds(point->count));
        run.signal(SIGKILL);
        result.place = "at some microsecond";
    }
    result.outcome = run.wait();
    result.wasKilled = endedByKill(result.outcome);
    return result;
}

}  // namespace

std::string KillPoint::text() const {
    static const char *const kNames[] = {"before change", "after change", "within change", "at call",
                                         "at microsecond"};
    std::string line = std::string(kNames[static_cast<size_t>(kind)]) + " " + std::to_string(count);
    return kind == Kind::WithinCall ? line + ", " + std::to_string(bytes) + " bytes written" : line;
}

KilledRun runKilled(const std::vector<std::string> &arguments, const std::string &input,
                    const std::string &root, const std::optional<KillPoint> &point) {
    if (!point || point->kind == KillPoint::Kind::Time) {
        return runUntilTime(arguments, input, point);
    }
    Killer killer(*point, root);
    TracedRun run(jornCommand(arguments), optionsFor(input));
    run.onCall([&killer](const SystemCall &call) { return killer.at(call); });
    KilledRun result;
    result.outcome = run.wait();
    result.wasKilled = endedByKill(result.outcome);
    result.place = killer.place();
    return result;
}

bool RunShape::isAmongMany(size_t at) const {
    const auto isSame = [&](size_t other) {
        return other < changes.size() && changes[other].isWrite() && changes[other].path == changes[at].path;
    };
    return isSame(at) && isSame(at - 1) && isSame(at - 2) && isSame(at + 1) && isSame(at + 2) && at % 16 != 0;
}

std::vector<KillPoint> RunShape::everyPoint() const {
    std::vector<KillPoint> points;
    for (size_t at = 0; at < changes.size(); ++at) {
        if (isAmongMany(at)) {
            continue;
        }
        points.push_back({KillPoint::Kind::BeforeCall, at, 0});
        const size_t size = changes[at].isWrite() ? changes[at].bytes.size() : 0;
        size_t last = 0;
        for (const size_t bytes : {size_t{1}, size / 2, size - 1}) {
            if (bytes > last && bytes < size) {
                points.push_back({KillPoint::Kind::WithinCall, at, bytes});
                last = bytes;
            }
        }
        points.push_back({KillPoint::Kind::AfterCall, at, 0});
    }
    return points;
}

RunShape shapeOf(const std::vector<std::string> &arguments, const std::string &input,
                 const std::string &root) {
    RunShape shape;
    TracedRun run(jornCommand(arguments), optionsFor(input));
    run.onCall([&](const SystemCall &call) {
        ++shape.moments;
        if (call.isExit() && changesBelow(call, root)) {
            shape.changes.push_back(call);
        }
        return Action::proceed();
    });
    shape.outcome = run.wait();
    return shape;
}

}  // namespace test
