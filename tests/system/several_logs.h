// SPDX-License-Identifier: Apache-2.0
// Several logs, written by hand, for the commands that read them together.
#ifndef JORN_TESTS_SYSTEM_SEVERAL_LOGS_H
#define JORN_TESTS_SYSTEM_SEVERAL_LOGS_H

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "common_values.h"
#include "tool_run.h"

namespace test {

class SeveralLogsTest : public ToolTest {
protected:
    /// A log with these data files.
    void writeLog(const std::string &name, const std::vector<std::string> &files) const {
        std::filesystem::create_directories(path(name));
        for (size_t number = 0; number < files.size(); ++number) {
            write(name + "/" + std::to_string(number) + ".csv", files[number]);
        }
        write(name + "/index.csv", "version:1\n0," + std::to_string(files.size() - 1) + "\n");
    }

    /// "door", whose clock is put back, and "gate".
    void writeDoorAndGate() const {
        writeLog("door", {dataLine(kMidnight, 1, 5, "d1") + dataLine(kMidnight + 10, 2, 0, "d2"),
                          dataLine(kMidnight + 5, 2, 0, "d3") + dataLine(kMidnight + 20, 0, 5, "d4")});
        writeLog("gate", {dataLine(kMidnight, 1, 5, "g1") + dataLine(kMidnight + 7, 2, 0, "g2") +
                          dataLine(kMidnight + 10, 2, 0, "g3") + dataLine(kMidnight + 30, 0, 3, "g4")});
    }

    void writeNames(const std::string &log, const std::string &names) const {
        write(log + "/jorn.names", names);
    }

    /// What the tool prints, which must be done with exit code 0.
    std::string printed(const std::vector<std::string> &arguments) const {
        const Outcome run = jorn(arguments);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
        return run.out;
    }

    void expectError(const std::vector<std::string> &arguments, int status, const std::string &err,
                     const std::string &out = "") const {
        const Outcome run = jorn(arguments);
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(run.err, err);
        EXPECT_EQ(run.out, out);
    }
};

}  // namespace test

#endif
