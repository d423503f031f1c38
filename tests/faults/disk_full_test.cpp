// SPDX-License-Identifier: Apache-2.0
// The medium takes a limited number of bytes, for every small limit; room comes back later. Each run is
// compared with the model, files byte by byte.
#include <algorithm>
#include <iostream>

#include "faults/rehearsal.h"

namespace faults {
namespace {

const Workload &workload(const std::string &name) {
    const auto found = std::find_if(workloads().begin(), workloads().end(),
                                    [&](const Workload &candidate) { return candidate.name == name; });
    EXPECT_NE(found, workloads().end()) << name;
    return *found;
}

/// The workload on a medium with `bytes` of room, which is unlimited again before it ends.
Workload onFullMedium(const Workload &workload, int64_t bytes) {
    return {workload.name,
            [=](StoreDriver &store, Handles &handles) {
                workload.prepare(store, handles);
                store.limitRoom(bytes);
            },
            [=](StoreDriver &store, Handles &handles) {
                workload.run(store, handles);
                store.limitRoom(probe::Probe::kUnlimited);
            }};
}

size_t count(const std::vector<std::string> &messages, const std::string &message) {
    return static_cast<size_t>(std::count(messages.begin(), messages.end(), message));
}

class DiskFullTest : public test::ModuleTest, public ::testing::WithParamInterface<const char *> {};

TEST_P(DiskFullTest, EveryRoom_ThenRoomAgain_StoreLosesWhatDidNotFitAndGoesOn) {
    const Workload &script = workload(GetParam());
    const Outcome clean = rehearse(script, {});
    size_t mostLost = 0;
    bool fits = false;
    int64_t room = 0;
    for (; !fits && !HasFailure(); ++room) {
        SCOPED_TRACE("room for " + std::to_string(room) + " bytes");
        ASSERT_LT(room, 1000);
        const Outcome full = rehearse(onFullMedium(script, room), {});
        std::vector<std::string> lost;
        std::set_difference(clean.stored.begin(), clean.stored.end(), full.stored.begin(), full.stored.end(),
                            std::back_inserter(lost));
        mostLost = std::max(mostLost, lost.size());
        EXPECT_EQ(full.accepted, clean.accepted) << "submissions do not notice a full medium";
        const std::vector<std::string> anew = {"anew2", "anew1", "anew0"};
        EXPECT_EQ(full.restarted, anew);
        fits = lost.empty() && full.messages == clean.messages && full.calls == clean.calls;
    }
    EXPECT_GT(room, 1);
    RecordProperty("roomThatDoes", static_cast<int>(room - 1));
    std::cout << script.name << ": full at 0 to " << room - 2 << " bytes, at most " << mostLost
              << " items lost\n";
}

INSTANTIATE_TEST_SUITE_P(Scripts, DiskFullTest,
                         ::testing::Values("FirstFile", "Append", "AlternateObjects", "Rotate", "WrapAround",
                                           "Clear", "Restart"));

/// Steady logging: the items whose lines fit are stored, the one that is torn and all after it are lost. The
/// first item after room has come back continues the torn line, and is lost with it once the torn time is
/// complete.
TEST_F(DiskFullTest, SteadyLogging_EveryRoom_LosesExactlyTheLinesThatDoNotFit) {
    const Workload &script = workload("Append");
    const Outcome clean = rehearse(script, {});
    const std::vector<std::string> texts = {"first0", "first1", "first2", "second0", "second1"};
    const size_t beforeText = std::string("1700000000,1,2,").size();
    const size_t timeDigits = std::string("1700000000").size();
    size_t lineStart = 0;
    for (size_t line = 0; line < texts.size(); ++line) {
        const size_t length = beforeText + texts[line].size() + 1;
        for (size_t through = 0; through < length; ++through) {
            SCOPED_TRACE("room for " + std::to_string(line) + " lines and " + std::to_string(through) +
                         " bytes");
            const Outcome full =
                rehearse(onFullMedium(script, static_cast<int64_t>(lineStart + through)), {});
            std::set<std::string> stored = clean.stored;
            for (size_t lost = line; lost < texts.size(); ++lost) {
                stored.erase(texts[lost]);
            }
            if (through > timeDigits) {
                const std::string torn =
                    through > beforeText ? texts[line].substr(0, through - beforeText) : "";
                stored.erase("again0");
                if (through >= beforeText) {
                    stored.insert(torn + "1700000000,1,2,again0");
                }
            }
            EXPECT_EQ(full.stored, stored);
        }
        lineStart += length;
    }
}

/// A rewrite on a full medium leaves an empty index and no backup: the next start begins at 0, and queries do
/// not see the items elsewhere, though they are still in their files.
TEST_F(DiskFullTest, IndexRewrite_NoRoom_LeavesAnEmptyIndexAndNoBackup) {
    const test::TempDir root;
    RealStore store(root.path());
    Handles handles;
    const Workload &clearing = workload("Clear");
    clearing.prepare(store, handles);
    store.limitRoom(1);
    store.fail({"fwrite", 0, 1, probe::Way::kPlain});
    EXPECT_EQ(store.clear(handles.a), 0);
    const Files files = store.files();
    EXPECT_EQ(files.at("a/index.csv"), "");
    EXPECT_EQ(files.count("a/index.bak"), 0U);
    EXPECT_NE(files.at("a/0.csv"), "");
    destroyAll(store, handles);
    store.heal();
    store.limitRoom(probe::Probe::kUnlimited);
    store.clearLog();
    handles.a = store.create("a", kRingA);
    EXPECT_EQ(count(store.messages(), root.path() + "/a: index.csv version error!"), 1U);
    EXPECT_EQ(store.files().at("a/index.csv"), "version:1\n0,0\n");
    EXPECT_EQ(store.count(handles.a), 2)
        << "the two items of 0.csv; three of 2.csv and four of 1.csv are out of sight";
    destroyAll(store, handles);
}

class ReadFaultTest : public test::ModuleTest {
protected:
    /// The script of paging, with a file removed before the second call that begins with `call`.
    void pageWhile(const std::string &call, const std::string &vanishing, Files *files,
                   std::vector<std::string> *messages, int32_t *page, std::vector<std::string> *texts) {
        const test::TempDir root;
        RealStore store(root.path());
        Handles handles;
        workload("TurnPages").prepare(store, handles);
        store.clearLog();
        int seen = 0;
        test::platform().onCall(call, [&](const std::string &) {
            // The file is opened for the second time, so it has been counted.
            if (++seen == 2) {
                store.take(vanishing);
            }
        });
        *page = store.page(handles.a, 1, 20);
        *texts = store.lastPage();
        *messages = store.messages();
        *files = store.files();
        test::platform().reset();
        destroyAll(store, handles);
    }
};

TEST_F(ReadFaultTest, Paging_FileVanishesAfterItWasCounted_PageLacksItsItems) {
    Files files;
    std::vector<std::string> printed;
    std::vector<std::string> texts;
    int32_t page = 0;
    pageWhile("fopen 2.csv r", "a/2.csv", &files, &printed, &page, &texts);
    EXPECT_EQ(page, 1);
    EXPECT_EQ(count(printed, "Open file error: 2.csv!\n"), 1U);
    EXPECT_EQ(texts, (std::vector<std::string>{"Log start init!", "new2", "new1", "new0", "mid1", "mid0"}));
    EXPECT_EQ(files.count("a/2.csv"), 0U);
}

}  // namespace
}  // namespace faults
