// SPDX-License-Identifier: Apache-2.0
// Logs that are repaired, and what must hold afterwards.
#ifndef JORN_TESTS_SYSTEM_REPAIRED_LOG_H
#define JORN_TESTS_SYSTEM_REPAIRED_LOG_H

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "damaged_log.h"

namespace test {

class RepairTest : public DamagedLogTest {
protected:
    /// Repairs, and checks that the result is sound, that nothing is left to do, and that the original log is
    /// in the backup.
    void repairWhole(std::vector<std::string> options = {}) const {
        const auto before = contents("log");
        options.insert(options.end(), {"--yes", "--backup", path("backup")});
        const Outcome run = repair(options);
        ASSERT_EQ(run.status, 0) << run.out << run.err;
        const Outcome checked = check();
        EXPECT_EQ(checked.status, 0) << checked.out;
        const Outcome again = repair();
        EXPECT_EQ(again.status, 0) << again.out << again.err;
        EXPECT_EQ(again.out, "log: nothing to do\n");
        auto kept = contents("backup");
        for (auto entry = kept.begin(); entry != kept.end();) {
            entry = entry->first.find("torn-") == 0 ? kept.erase(entry) : std::next(entry);
        }
        EXPECT_TRUE(kept == before);
        EXPECT_FALSE(exists("backup.partial"));
    }

    void expectRefused(const std::vector<std::string> &options, const std::string &reason,
                       int status = 3) const {
        const std::string before = stateOf(path("log"));
        std::vector<std::string> all = options;
        all.insert(all.end(), {"--yes", "--backup", path("backup")});
        const Outcome run = repair(all);
        EXPECT_EQ(run.status, status) << run.out;
        EXPECT_THAT(run.err, ::testing::HasSubstr(reason));
        EXPECT_TRUE(stateOf(path("log")) == before);
        EXPECT_FALSE(exists("backup"));
        EXPECT_FALSE(exists("backup.partial"));
    }

    std::map<std::string, std::string> contents(const std::string &directory) const {
        std::map<std::string, std::string> all;
        for (const auto &entry : std::filesystem::directory_iterator(path(directory))) {
            const std::string name = entry.path().filename().string();
            all[name] = entry.is_regular_file() ? read(std::string(directory).append("/").append(name)) : "";
        }
        return all;
    }

    static std::vector<std::string> joined(std::vector<std::string> texts,
                                           const std::vector<std::string> &more) {
        texts.insert(texts.end(), more.begin(), more.end());
        return texts;
    }
};

}  // namespace test

#endif
