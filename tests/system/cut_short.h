// SPDX-License-Identifier: Apache-2.0
// Commands that write, run under a tracer that can end them before any of their system calls.
#ifndef JORN_TESTS_SYSTEM_CUT_SHORT_H
#define JORN_TESTS_SYSTEM_CUT_SHORT_H

#include <fcntl.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "damaged_log.h"
#include "trace/traced_run.h"

namespace test {

using NameList = std::vector<std::string>;

inline bool asksForNamelessFile(const SystemCall &call) {
    return call.isEntry() && call.is("openat") && (call.arguments[2] & O_TMPFILE) == O_TMPFILE;
}

class CutShortTest : public DamagedLogTest {
protected:
    void SetUp() override {
        if (!TracedRun::isPossible()) {
            GTEST_SKIP() << TracedRun::obstacle();
        }
    }

    /// Runs the tool here; `decide` sees every call that has to do with files.
    TraceOutcome traced(const NameList &arguments, const TracedRun::Callback &decide,
                        std::vector<SystemCall> *calls = nullptr) const {
        TraceOptions options;
        options.directory = root_;
        TracedRun run(jornCommand(arguments), options);
        run.onCall(decide);
        TraceOutcome outcome = run.wait();
        if (calls != nullptr) {
            *calls = run.calls();
        }
        return outcome;
    }

    /// The calls of a whole run.
    std::vector<SystemCall> callsOf(const NameList &arguments) const {
        std::vector<SystemCall> calls;
        const TraceOutcome outcome = traced(
            arguments, [](const SystemCall &) { return Action::proceed(); }, &calls);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return calls;
    }

    NameList namesIn(const std::string &directory) const {
        NameList names;
        for (const auto &entry : std::filesystem::directory_iterator(path(directory))) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    NameList temporaryNamesIn(const std::string &directory) const {
        NameList names = namesIn(directory);
        names.erase(std::remove_if(names.begin(), names.end(),
                                   [](const std::string &name) { return name.find(".jorn-") != 0; }),
                    names.end());
        return names;
    }
};

}  // namespace test

#endif
