// SPDX-License-Identifier: Apache-2.0
// A log in a directory of its own, and `jorn export --cursor-file` as users run it on that.
#ifndef JORN_TESTS_CURSOR_SHIPPED_LOG_H
#define JORN_TESTS_CURSOR_SHIPPED_LOG_H

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>

#include "kills/scratch_directory.h"
#include "trace/traced_run.h"

namespace test {

/// What a run of the tool ended with.
struct ShippingResult {
    int status = -1;
    std::string out;
    std::string err;
};

class ShippedLog {
protected:
    ShippedLog() { writeLog("u1/door", dataLine(0, "a") + dataLine(1, "b") + dataLine(2, "c")); }

    static std::string dataLine(int number, const std::string &text, int level = 1) {
        return std::to_string(1700000000 + number) + "," + std::to_string(level) + ",0," + text + "\n";
    }

    void writeLog(const std::string &name, const std::string &lines) const {
        std::filesystem::create_directories(path(name));
        write(name + "/index.csv", "version:1\n0,0\n");
        write(name + "/0.csv", lines);
    }

    std::string path(const std::string &name) const { return scratch_.path(name); }
    void write(const std::string &name, const std::string &bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }
    void append(const std::string &name, const std::string &bytes) const {
        std::ofstream(path(name), std::ios::binary | std::ios::app) << bytes;
    }

    std::string read(const std::string &name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// Each run is given the shell's words; epochs are shown as E.
    ShippingResult jorn(const std::string &words) const {
        const std::string command = "cd " + path("") + " && TZ=UTC " JORN_TRACED_TOOL " export --utc " +
                                    words + " > stdout 2> stderr";
        const int status = runByShell(command);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, withoutEpochs(read("stdout")), read("stderr")};
    }

    /// Its status as waitpid() gives it.
    static int runByShell(const std::string &command) {
        const pid_t shell = fork();
        if (shell == 0) {
            execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char *>(nullptr));
            _exit(127);
        }
        int status = -1;
        waitpid(shell, &status, 0);
        return status;
    }

    /// With the usual words.
    ShippingResult ship(const std::string &words) const {
        return jorn("--cursor-file c --device u1 " + words + " u1/door");
    }

    /// Of the only log, as JSON.
    nlohmann::json status(const std::string &words = "") const {
        jorn("--cursor-file c --status -o json " + words);
        return nlohmann::json::parse(read("stdout"));
    }

    static std::string withoutEpochs(const std::string &text) {
        return std::regex_replace(text, std::regex("1[0-9]{15}"), "E");
    }

    std::string got(const std::string &name) const { return withoutEpochs(read(name)); }

    ScratchDirectory scratch_;
};

}  // namespace test

#endif
