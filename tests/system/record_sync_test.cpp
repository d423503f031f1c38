// SPDX-License-Identifier: Apache-2.0
// `jorn record --sync`: what is in the log after a power cut, at any moment, on a medium that holds only what
// was synced.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <ostream>
#include <tuple>

#include "common_values.h"
#include "replayed_medium.h"
#include "tool_run.h"
#include "trace/traced_run.h"

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr int kSyncedFiles = 3;
constexpr int kBatch = 10;
constexpr int kBatches = 4;

/// Whether the recorder waits for more input, without a limit: then all that it has read is acknowledged.
bool isWaiting(const SystemCall &call) {
#ifdef SYS_poll
    return call.number == SYS_poll && static_cast<int>(call.arguments[2]) < 0;
#else
    return call.number == SYS_ppoll && call.arguments[2] == 0;
#endif
}

std::vector<long> tracedCalls() {
    std::vector<long> calls = callsOfFiles();
#ifdef SYS_poll
    calls.push_back(SYS_poll);
#else
    calls.push_back(SYS_ppoll);
#endif
    calls.push_back(SYS_syncfs);
    return calls;
}

int lines(int batches) { return batches * kBatch; }

void feed(int fd, int batch) {
    std::string bytes;
    for (int line = lines(batch) + 1; line <= lines(batch + 1); ++line) {
        bytes += numberedText("line", line) + "\n";
    }
    ASSERT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

/// What was in the log before: files of the ring from 0 on, full except the last one, with items of level 2.
struct Former {
    std::string name;
    int files;
    int room;         ///< Items that still fit in the last of the files.
    int itemsToStay;  ///< Items that stay however far the ring moves on.
};

void PrintTo(const Former &former, std::ostream *out) { *out << former.name; }

class RecordSyncTest : public ToolTest {
protected:
    void SetUp() override {
        if (!TracedRun::isPossible()) {
            GTEST_SKIP() << TracedRun::obstacle();
        }
        makeDirectory("before");
    }

    void makeFormer(const Former &former) const {
        uint32_t time = 1700000000;
        for (int position = 0; position < former.files; ++position) {
            makeDirectory("before/log");
            std::string content;
            const int items = kFull - (position + 1 == former.files ? former.room : 0);
            for (int item = 0; item < items; ++item) {
                content += dataLine(time++, 1, 0, "former");
            }
            write("before/log/" + std::to_string(position) + ".csv", content);
            write("before/log/index.csv", "version:1\n0," + std::to_string(position) + "\n");
        }
    }

    /// Records batches of lines into "parent/log", one each time the recorder waits.
    void record(const std::vector<std::string> &options) {
        fs::copy(path("before"), path("parent"), fs::copy_options::recursive);
        int ends[2] = {-1, -1};
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        TraceOptions trace;
        trace.inputFd = ends[0];
        trace.directory = root_;
        trace.calls = tracedCalls();
        std::vector<std::string> words = {"record", "parent/log", "--files", std::to_string(kSyncedFiles)};
        words.insert(words.end(), options.begin(), options.end());
        TracedRun run(jornCommand(words), trace);
        int waits = 0;
        run.onCall([&](const SystemCall &call) {
            if (call.isEntry() && isWaiting(call)) {
                waits < kBatches ? feed(ends[1], waits) : static_cast<void>(close(ends[1]));
                ++waits;
            }
            return Action::proceed();
        });
        const TraceOutcome outcome = run.wait();
        close(ends[0]);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        ASSERT_EQ(waits, kBatches + 1);
        calls_ = run.calls();
    }

    /// Calls judge(acknowledged lines) for each state that a cut can leave, which is then in "cut/log".
    void forEachCut(Names names, const std::function<void(int)> &judge) {
        fs::remove_all(path("parent"));
        fs::rename(path("before"), path("parent"));
        ReplayedMedium medium(path("parent"), names);
        int waits = 0;
        int version = -1;
        for (const SystemCall &call : calls_) {
            medium.apply(call);
            if (medium.version() != version) {
                // While a state stays, the number of acknowledged lines only grows, so its final value
                // counts.
                judgeCut(version, waits, judge);
                fs::remove_all(path("cut"));
                medium.writeTo(path("cut"));
                version = medium.version();
            }
            waits += isWaiting(call) ? 1 : 0;
        }
        judgeCut(version, waits, judge);
    }

    /// The recorded lines in view in "cut/log", the oldest first; none where there is no log.
    std::vector<std::string> linesInView() const {
        return exists("cut/log") ? shownTexts(jorn({"show", "cut/log", "--level", "2"}).out)
                                 : std::vector<std::string>();
    }

    /// Expects all that is acknowledged in view, and nothing else except what was recorded after it.
    void expectInView(int acknowledged) const {
        const std::vector<std::string> inView = linesInView();
        EXPECT_GE(inView.size(), static_cast<size_t>(acknowledged));
        EXPECT_EQ(inView, numberedTexts("line", 1, static_cast<int>(inView.size())));
    }

    void expectFormerInView(int least) const {
        if (least > 0) {
            const std::string out = jorn({"count", "cut/log", "-o", "csv", "--level", "1"}).out;
            EXPECT_GE(std::stoi(out.substr(out.rfind(',') + 1)), least) << out;
        }
    }

    int cuts_ = 0;

private:
    void judgeCut(int version, int waits, const std::function<void(int)> &judge) {
        if (version >= 0) {
            SCOPED_TRACE("cut " + std::to_string(++cuts_));
            judge(lines(std::max(waits - 1, 0)));
        }
    }

    std::vector<SystemCall> calls_;
};

class RecordSyncCutTest : public RecordSyncTest,
                          public ::testing::WithParamInterface<std::tuple<Former, Names>> {};

TEST_P(RecordSyncCutTest, RecordSync_CutAtAnyMoment_EveryAcknowledgedLineIsBack) {
    const auto &[former, names] = GetParam();
    makeFormer(former);
    record({"--sync"});
    forEachCut(names, [&, &former = former, &names = names](int acknowledged) {
        // Otherwise the index may be lost, and the start repairs it.
        if (names == Names::WhenSynced) {
            expectInView(acknowledged);
            expectFormerInView(former.itemsToStay);
        }
        fs::create_directories(path("cut"));
        const Outcome run = jorn({"record", "--files", std::to_string(kSyncedFiles), "cut/log"});
        EXPECT_EQ(run.status, 0) << run.err;
        expectInView(acknowledged);
        expectFormerInView(former.itemsToStay);
    });
    EXPECT_GT(cuts_, kBatches);
}

INSTANTIATE_TEST_SUITE_P(
    Media, RecordSyncCutTest,
    ::testing::Combine(::testing::Values(Former{"NewLog", 0, 0, 0}, Former{"NextFile", 1, 25, kFull - 25},
                                         Former{"RingComesRound", 3, 25, 2 * kFull - 25}),
                       ::testing::Values(Names::WhenSynced, Names::AtOnce)),
    [](const auto &parameter) {
        return std::get<0>(parameter.param).name +
               (std::get<1>(parameter.param) == Names::AtOnce ? "NamesAtOnce" : "NamesWhenSynced");
    });

class RecordSyncFailureTest : public RecordSyncTest {
protected:
    /// Records two lines into "log"; the nth sync of this path fails. (The first one of the directory is that
    /// of jorn.ring, which is worth a note at most.)
    TraceOutcome recordFailing(const std::string &name, int nth, int error) {
        TraceOptions trace;
        trace.input = "one\ntwo\n";
        trace.directory = root_;
        trace.calls = tracedCalls();
        TracedRun run(jornCommand({"record", "--sync", "log"}), trace);
        int syncs = 0;
        run.onCall([&](const SystemCall &call) {
            const bool isMeant = call.isEntry() && call.is("fsync") && call.path == path(name);
            return isMeant && ++syncs == nth ? Action::fail(error) : Action::proceed();
        });
        TraceOutcome outcome = run.wait();
        for (const SystemCall &call : run.calls()) {
            systemSyncs_ += call.number == SYS_syncfs ? 1 : 0;
        }
        return outcome;
    }

    int systemSyncs_ = 0;
};

TEST_F(RecordSyncFailureTest, RecordSync_ItemsCannotBeSynced_Fails) {
    const TraceOutcome run = recordFailing("log/0.csv", 2, EIO);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log/0.csv: cannot be synced to the medium: Input/output error\n");
    EXPECT_EQ(textsIn("log/0.csv").back(), "two");
}

TEST_F(RecordSyncFailureTest, RecordSync_IndexCannotBeSynced_Fails) {
    const TraceOutcome run = recordFailing("log/index.csv", 1, ENOSPC);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log/index.csv: cannot be synced to the medium: No space left on device\n");
}

TEST_F(RecordSyncFailureTest, RecordSync_NamesCannotBeSynced_Fails) {
    const TraceOutcome run = recordFailing("log", 2, EIO);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: log: cannot be synced to the medium: Input/output error\n");
    EXPECT_EQ(systemSyncs_, 0);
}

TEST_F(RecordSyncFailureTest, RecordSync_FileSystemSyncsNoDirectories_WholeFileSystemIsSynced) {
    const TraceOutcome run = recordFailing("log", 2, EINVAL);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(systemSyncs_, 1);
}

/// Without --sync the recorder syncs nothing, and the replay shows it.
TEST_F(RecordSyncTest, RecordNoSync_Cut_NothingIsThere) {
    record({});
    int mostMissing = 0;
    forEachCut(Names::WhenSynced, [&](int acknowledged) {
        mostMissing = std::max(mostMissing, acknowledged - static_cast<int>(linesInView().size()));
    });
    EXPECT_EQ(mostMissing, lines(kBatches));
}

}  // namespace
}  // namespace test
