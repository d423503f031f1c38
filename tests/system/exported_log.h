// SPDX-License-Identifier: Apache-2.0
// Logs written by hand for `jorn export`.
#ifndef JORN_TESTS_SYSTEM_EXPORTED_LOG_H
#define JORN_TESTS_SYSTEM_EXPORTED_LOG_H

#include <filesystem>
#include <string>
#include <vector>

#include "common_values.h"
#include "tool_run.h"

namespace test {

class ExportTest : public ToolTest {
protected:
    ExportTest() {
        makeDirectory("door");
        makeDirectory("out");
    }

    void writeLog(const std::string &name, const std::string &lines) const {
        makeDirectory(name);
        write(name + "/index.csv", "version:1\n0,0\n");
        write(name + "/0.csv", lines);
    }

    /// A ring that has wrapped, the oldest file in the middle.
    void writeRing() const {
        write("door/index.csv", "version:1\n1,0\n");
        write("door/1.csv", dataLine(kMidnight, 1, 5, "open, \"wide\""));
        write("door/2.csv",
              dataLine(kMidnight + 1, 0, 0, "gr\xc3\xbc\xc3\x9f") + dataLine(kMidnight + 2, 3, 5, ""));
        write("door/0.csv",
              dataLine(kMidnight + 3, 2, 7, "bytes \xff") + dataLine(kMidnight + 4, 1, 5, "shut"));
    }

    Outcome exportLog(std::vector<std::string> options) const {
        options.insert(options.begin(), {"export", "--utc"});
        return jorn(options);
    }

    std::vector<std::string> namesIn(const std::string &directory) const {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(path(directory))) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    std::string syslogOf(const std::string &line, std::vector<std::string> options = {}) const {
        writeLog("door", line);
        options.insert(options.end(), {"-o", "syslog", "door"});
        return exportLog(options).out;
    }
};

}  // namespace test

#endif
