// SPDX-License-Identifier: Apache-2.0
// Logs on which `jorn record` is started again.
#ifndef JORN_TESTS_SYSTEM_RESTARTED_LOG_H
#define JORN_TESTS_SYSTEM_RESTARTED_LOG_H

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "damaged_log.h"

namespace test {

class RecordRestartTest : public DamagedLogTest {
protected:
    static constexpr int kRing = 4;

    Outcome record(std::vector<std::string> options = {}, const std::string &input = "") const {
        options.insert(options.begin(), {"record", "log"});
        return jorn(options, {input, "", {}, {}});
    }

    void remove(const std::string &name) const { std::filesystem::remove(path(name)); }

    /// A wrapped ring whose newest file is at 1.
    void makeRingThatCameRound() const {
        removeKept();
        writeRing({2, 3, 0, 1});
    }

    void makeRingNotComeRound() const {
        removeKept();
        writeRing({0, 1, 2});
    }

    void removeKept() const {
        remove("log/index.csv.lost");
        remove("log/index.bak.lost");
    }

    /// Times and fill of files, from 0 on, each with items a tenth of a second apart; every file but the
    /// first is full. Only the fill shows that 0 is the newest.
    void makeRingOfUnclearTimes() const {
        constexpr uint32_t kBegins[] = {5000, 4000, 3500, 3200};
        for (int position = 0; position < kRing; ++position) {
            std::string lines;
            for (uint32_t i = 0; i < (position == 0 ? 3000U : static_cast<uint32_t>(kFull)); ++i) {
                lines += dataLine(kBegins[position] + i / 10, 1, 0,
                                  numberedText("item", position * kFull + static_cast<int>(i)));
            }
            write(fileName(position), lines);
        }
    }

    /// Expects the log to hold these items, then those of this start, all of them in view.
    void expectInView(std::vector<std::string> texts, const std::vector<std::string> &input) const {
        texts.emplace_back(kStart);
        texts.insert(texts.end(), input.begin(), input.end());
        EXPECT_TRUE(textsInRange(kRing) == texts);
        EXPECT_THAT(jorn({"count", "log"}).out,
                    ::testing::HasSubstr(" " + std::to_string(texts.size()) + "\n"));
    }

    void expectMended(const Outcome &run, const std::string &flaw, const std::string &positions,
                      const std::string &kept) const {
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.err, ::testing::StartsWith("jorn: log: index.csv " + flaw + ": written again as " +
                                                   positions + ", because "));
        EXPECT_THAT(run.err, ::testing::EndsWith(kept + "\n"));
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        EXPECT_EQ(check().status, 0) << check().out;
    }

    void expectRefused(const std::vector<std::string> &options, const std::string &why) const {
        const std::string before = stateOf(path("log"));
        const Outcome run = record(options, "new\n");
        EXPECT_EQ(run.status, 3);
        EXPECT_THAT(run.err, ::testing::HasSubstr(why));
        EXPECT_TRUE(stateOf(path("log")) == before);
    }
};

}  // namespace test

#endif
