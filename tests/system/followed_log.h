// SPDX-License-Identifier: Apache-2.0
// A log that is followed while a writer, simulated step by step, goes on.
#ifndef JORN_TESTS_SYSTEM_FOLLOWED_LOG_H
#define JORN_TESTS_SYSTEM_FOLLOWED_LOG_H

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common_values.h"
#include "live/ring_follower.h"
#include "tool_run.h"

namespace test {

class FollowerTest : public ToolTest {
protected:
    static constexpr uint32_t kTime = 1700000000;

    FollowerTest() { makeDirectory("log"); }

    void follow(uint64_t newest = 10, const tool::ItemFilter &filter = {}) {
        follower_.emplace(tool::FollowerTerms{path("log"), std::nullopt, filter, newest},
                          tool::FollowerSink{[this](const tool::Item &item) { return take(item); },
                                             [this](const std::string &text) { notes_.push_back(text); },
                                             [this](const std::string &text) { damage_.push_back(text); }});
    }

    bool take(const tool::Item &item) {
        texts_.push_back(item.text);
        if (onItem_) {
            onItem_(item.text);
        }
        return item.text != lastWanted_;
    }

    /// The texts that one step gives.
    std::vector<std::string> step(tool::RingFollower::State expected = tool::RingFollower::State::Waiting) {
        texts_.clear();
        EXPECT_EQ(follower_->step(), expected);
        return texts_;
    }

    static std::string fileName(int number) { return "log/" + std::to_string(number) + ".csv"; }
    static std::string line(const std::string &text) { return dataLine(kTime, 1, 0, text); }

    /// `count` lines "prefix1" and so on, all of the same length.
    static std::string lines(const std::string &prefix, int count, int first = 1) {
        std::string all;
        for (int number = first; number < first + count; ++number) {
            all += line(numberedText(prefix, number));
        }
        return all;
    }

    /// As the store does it: the former index becomes the backup, and is removed when the new one is written.
    void writeIndex(const std::string &positions) const {
        if (exists("log/index.csv")) {
            std::filesystem::rename(path("log/index.csv"), path("log/index.bak"));
        }
        write("log/index.csv", "version:1\n" + positions + "\n");
        std::filesystem::remove(path("log/index.bak"));
    }

    /// A file that is started afresh keeps its place on the medium.
    void start(int number, const std::string &bytes) const { write(fileName(number), bytes); }

    void append(int number, const std::string &bytes) const {
        std::ofstream(path(fileName(number)), std::ios::app | std::ios::binary) << bytes;
    }

    /// Gives a file a modification time that no other file has had.
    void stamp(int number) {
        std::filesystem::last_write_time(path(fileName(number)),
                                         std::filesystem::file_time_type() + std::chrono::seconds(++stamps_));
    }

    /// A ring of three files, all full except the newest.
    void makeRing() const {
        start(0, lines("a", kFull));
        start(1, lines("b", kFull));
        start(2, lines("c", 3));
        writeIndex("0,2");
    }

    /// A log to take the place of the one that is followed, with these files.
    void makeCopy(const std::vector<std::string> &files) const {
        makeDirectory("copy");
        for (size_t number = 0; number < files.size(); ++number) {
            write("copy/" + std::to_string(number) + ".csv", files[number]);
        }
        write("copy/index.csv", "version:1\n0," + std::to_string(files.size() - 1) + "\n");
    }

    int stamps_ = 0;
    std::optional<tool::RingFollower> follower_;
    std::vector<std::string> texts_;
    std::vector<std::string> notes_;
    std::vector<std::string> damage_;
    std::string lastWanted_ = "last wanted";
    std::function<void(const std::string &)> onItem_;
};

}  // namespace test

#endif
