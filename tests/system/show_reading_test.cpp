// SPDX-License-Identifier: Apache-2.0
// What `jorn show` reads for its answer, and how soon it answers: by its system calls.
#include <gmock/gmock.h>
#include <sys/syscall.h>

#include <filesystem>
#include <map>
#include <set>

#include "show_log.h"
#include "trace/traced_run.h"

namespace test {
namespace {

/// What was asked of the system until a moment.
struct Reading {
    std::set<std::string> files;  ///< Data files that were opened.
    int opened = 0;               ///< How often one was.
    uint64_t bytes = 0;           ///< That were read of them.
    int calls = 0;                ///< That were made on files, by name or by descriptor.
};

class ShowReadingTest : public ShowTest {
protected:
    static constexpr int kFiles = 8;
    static constexpr int kItems = 5000;

    void SetUp() override {
        if (!TracedRun::isPossible()) {
            GTEST_SKIP() << TracedRun::obstacle();
        }
        for (int file = 0; file < kFiles; ++file) {
            std::string lines;
            for (int item = 0; item < kItems; ++item) {
                const std::string text = item == 0 ? "first of a file" : "text of usual length, no. ";
                lines += dataLine(kMidnight, 1, 0, text + std::to_string(item));
            }
            write("log/" + std::to_string(file) + ".csv", lines);
            bytes_ += lines.size();
        }
        writeIndex("0," + std::to_string(kFiles - 1));
    }

    /// Runs the tool; what was read by its end, and, in `atFirstOutput`, before it wrote anything.
    Reading readingOf(const std::vector<std::string> &arguments, Reading *atFirstOutput = nullptr) const {
        TraceOptions options;
        options.directory = root_;
        options.calls = {SYS_openat, SYS_read, SYS_pread64, SYS_newfstatat, SYS_write};
        TracedRun run(jornCommand(arguments), options);
        Reading reading;
        std::map<uint64_t, std::string> paths;
        bool hasOutput = false;
        run.onCall([&](const SystemCall &call) {
            if (call.isEntry() && call.isWrite() && call.fd == STDOUT_FILENO && !hasOutput) {
                hasOutput = true;
                if (atFirstOutput != nullptr) {
                    *atFirstOutput = reading;
                }
            }
            if (call.isExit()) {
                take(call, &paths, &reading);
            }
            return Action::proceed();
        });
        EXPECT_EQ(run.wait().status, 0);
        return reading;
    }

    uint64_t bytes_ = 0;

private:
    static void take(const SystemCall &call, std::map<uint64_t, std::string> *paths, Reading *reading) {
        const std::string ending = ".csv";
        ++reading->calls;
        if (call.isOpen() && call.result >= 0) {
            const std::filesystem::path path(call.path);
            const bool isData = path.extension() == ending && path.filename() != "index.csv";
            (*paths)[static_cast<uint64_t>(call.result)] = isData ? path.filename().string() : "";
            if (isData) {
                reading->files.insert(path.filename());
                ++reading->opened;
            }
        } else if (call.number == SYS_pread64 && call.result > 0 && !(*paths)[call.arguments[0]].empty()) {
            reading->bytes += static_cast<uint64_t>(call.result);
        }
    }
};

TEST_F(ShowReadingTest, ShowNewestFew_RingOfManyFiles_EndOfTheNewestFileAlone) {
    const Reading reading = readingOf({"show", "-n", "20", "log"});
    EXPECT_THAT(reading.files, ::testing::ElementsAre("7.csv"));
    // A block, and what tells whether the file is still the one that it was.
    EXPECT_LE(reading.bytes, 20000U);
    // Each of the names that a ring can have is looked at before and after. Sanitizers make calls of their
    // own.
    EXPECT_LE(reading.calls, 2 * 90 + (JORN_IS_SANITIZED ? 160 : 60));
}

TEST_F(ShowReadingTest, ShowNewestThousand_RingOfManyFiles_NoMoreFilesThanHoldThem) {
    EXPECT_THAT(readingOf({"show", "-n", "1000", "log"}).files, ::testing::ElementsAre("7.csv"));
    EXPECT_THAT(readingOf({"show", "-n", "5001", "log"}).files, ::testing::ElementsAre("6.csv", "7.csv"));
    EXPECT_THAT(readingOf({"show", "-q", "-g", "first of", "log"}).files, ::testing::ElementsAre("7.csv"));
}

/// Of each log no more than if it were the only one.
TEST_F(ShowReadingTest, ShowNewestFew_TwoRings_TwiceWhatOneTakes) {
    std::filesystem::copy(path("log"), path("other"));
    for (const char *const few : {"1", "20"}) {
        const Reading one = readingOf({"show", "-n", few, "log"});
        const Reading two = readingOf({"show", "-n", few, "log", "other"});
        EXPECT_THAT(two.files, ::testing::ElementsAre("7.csv"));
        EXPECT_EQ(two.opened, 2 * one.opened);
        EXPECT_EQ(two.bytes, 2 * one.bytes);
        // Names and the start of the program come on top: a few calls, whatever the size of the rings is.
        EXPECT_LE(two.calls, 2 * one.calls + 20);
    }
}

/// With several rings, too, the first lines come before much is read.
TEST_F(ShowReadingTest, ShowEverything_TwoRings_FirstLinesBeforeTheSecondPartsAreRead) {
    std::filesystem::copy(path("log"), path("other"));
    Reading atFirstOutput;
    readingOf({"show", "log", "other"}, &atFirstOutput);
    EXPECT_LE(atFirstOutput.bytes, 2 * bytes_ / 4);
}

TEST_F(ShowReadingTest, ShowEverything_RingOfManyFiles_FirstLinesBeforeTheSecondPartIsRead) {
    Reading atFirstOutput;
    readingOf({"show", "log"}, &atFirstOutput);
    EXPECT_LE(atFirstOutput.bytes, bytes_ / 4);
}

/// A match that nothing follows for long is not kept back either.
TEST_F(ShowReadingTest, ShowRareMatches_FirstIsAtTheBegin_PrintedBeforeTheRestIsRead) {
    Reading atFirstOutput;
    readingOf({"show", "-g", "first of", "log"}, &atFirstOutput);
    EXPECT_LE(atFirstOutput.bytes, bytes_ / 2);
}

}  // namespace
}  // namespace test
