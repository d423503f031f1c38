// SPDX-License-Identifier: Apache-2.0
// Directories written by hand for the commands that print items.
#ifndef JORN_TESTS_SYSTEM_SHOW_LOG_H
#define JORN_TESTS_SYSTEM_SHOW_LOG_H

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "common_values.h"
#include "system/descriptor.h"
#include "tool_run.h"

namespace test {

class ShowTest : public LogTest {
protected:
    /// Three days, all levels, two slots.
    void writeMixed() const {
        writeIndex("0,2");
        write("log/0.csv", dataLine(kMidnight, 0, 0, "d0 l0 s0") + dataLine(kMidnight + 1, 1, 5, "d0 l1 s5"));
        write("log/1.csv", dataLine(kMidnight + kDay, 2, 0, "d1 l2 s0") +
                               dataLine(kMidnight + kDay + 1, 3, 5, "d1 l3 s5"));
        write("log/2.csv", dataLine(kMidnight + 2 * kDay - 1, 0, 5, "d1 l0 s5") +
                               dataLine(kMidnight + 2 * kDay, 1, 0, "d2 l1 s0"));
    }

    std::vector<std::string> shown(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"show", "log"});
        const Outcome run = jorn(options);
        EXPECT_EQ(run.status, 0) << run.err;
        return shownTexts(run.out);
    }

    /// Runs with an open file for standard output. Returns the status and what went to standard error.
    Outcome runInto(int output, const std::vector<std::string> &arguments) const {
        const tool::Descriptor errors(
            open(path("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        Child child(fork());
        if (child.process() == 0) {
            Child::begin();
            dup2(output, STDOUT_FILENO);
            dup2(errors.get(), STDERR_FILENO);
            becomeTool(arguments);
        }
        Outcome run;
        run.status = child.wait();
        run.err = read("err");
        return run;
    }

    Outcome utc(const std::vector<std::string> &arguments) const {
        return jorn(arguments, {"", "", {{"TZ", "XYZ-5"}}, {}});
    }
};

}  // namespace test

#endif
