// SPDX-License-Identifier: Apache-2.0
#include "damaged_log.h"

#include <fcntl.h>
#include <posixPort.h>
#include <sys/stat.h>
#include <sysLib.h>
#include <tickLib.h>

#include <cstdio>
#include <filesystem>

#include "jorn.h"

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr int kSlots = 8;

/// The store over a log, on the hand-driven clock, silent. Another log is opened first, so that the store
/// task is already asleep when this one's first item comes, and leaves it in the queue until passes are run.
class Store {
public:
    Store(const std::string &idleLog, const std::string &log, int ringSize) {
        sysClkDisable();
        jorn_SetDebugPrintLevel(0);
        idle_ = JORN_Create(idleLog.c_str(), 1, JORN_CSV_NUM_MIN);
        EXPECT_GT(idle_, 0);
        runPasses();
        handle_ = JORN_Create(log.c_str(), kSlots, ringSize);
        EXPECT_GT(handle_, 0);
    }
    ~Store() {
        JORN_Destroy(handle_);
        JORN_Destroy(idle_);
    }
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;

    /// Enough for the waiting items and for the file to be closed after them.
    static void runPasses() {
        posixPortSettle();
        for (int pass = 0; pass < 3; ++pass) {
            for (int tick = 0; tick < JORN_STORE_TICKS; ++tick) {
                tickAnnounce();
            }
            posixPortSettle();
        }
    }

    int countAll() const {
        return JORN_CountRequireTotalNum(handle_,
                                         {JORN_REQUIRE_PAGE_MAX, 1, -1, -1, JORN_LEVEL_DEBUG, 0, -1});
    }

private:
    int32_t idle_ = -1;
    int32_t handle_ = -1;
};

}  // namespace

std::string DamagedLogTest::items(int first, int last) {
    std::string lines;
    for (int number = first; number <= last; ++number) {
        lines += dataLine(kFirstTime + static_cast<uint32_t>(number) - 1, 1, 2, numberedText("item", number));
    }
    return lines;
}

std::vector<std::string> itemTexts(int first, int last) { return numberedTexts("item", first, last); }

void DamagedLogTest::writeFiles(const std::vector<int> &positions, int count, int firstNumber) const {
    for (const int position : positions) {
        write(fileName(position), items(firstNumber, firstNumber + count - 1));
        firstNumber += count;
    }
}

void DamagedLogTest::writeRing(const std::vector<int> &positions) const {
    const int last = itemsOfRing(static_cast<int>(positions.size()));
    writeFiles({positions.begin(), positions.end() - 1}, kFull);
    write(fileName(positions.back()), items(last - kNewest + 1, last));
}

void DamagedLogTest::makeCutRing(int ringSize, int latest) const {
    const int next = (latest + 1) % ringSize;
    std::vector<int> order;
    for (int i = 1; i < ringSize; ++i) {
        order.push_back((next + i) % ringSize);
    }
    writeFiles(order, kFull);
    write(fileName(next), "");
    write("log/index.csv", "");
    write("log/index.bak", "version:1\n" + std::to_string(next) + "," + std::to_string(latest) + "\n");
}

void DamagedLogTest::age(const std::string &name) const {
    const timespec longAgo[2] = {{kFirstTime, 0}, {kFirstTime, 0}};
    for (const auto &entry : fs::directory_iterator(path(name))) {
        ASSERT_EQ(utimensat(AT_FDCWD, entry.path().c_str(), longAgo, AT_SYMLINK_NOFOLLOW), 0);
    }
}

void DamagedLogTest::startStore(int ringSize) const {
    const Store store(path("idle"), path("log"), ringSize);
    Store::runPasses();
}

int DamagedLogTest::itemsSeenByStore(int ringSize) const {
    const std::string before = stateOf(path("log"));
    int items = 0;
    {
        const Store store(path("idle"), path("log"), ringSize);
        items = store.countAll();
    }
    EXPECT_TRUE(stateOf(path("log")) == before) << "the store's start changed something";
    return items;
}

std::vector<std::string> DamagedLogTest::textsInRange(int ringSize) const {
    int oldest = -1;
    int latest = -1;
    EXPECT_EQ(sscanf(read("log/index.csv").c_str(), "version:1\n%d,%d\n", &oldest, &latest), 2);
    std::vector<std::string> all;
    for (int i = oldest; i <= (latest < oldest ? latest + ringSize : latest); ++i) {
        const auto texts = textsIn(fileName(i % ringSize));
        all.insert(all.end(), texts.begin(), texts.end());
    }
    return all;
}

Outcome DamagedLogTest::check(std::vector<std::string> options) const {
    options.insert(options.begin(), {"check", "log"});
    return jorn(options);
}

Outcome DamagedLogTest::repair(std::vector<std::string> options) const {
    options.insert(options.begin(), {"repair", "log"});
    return jorn(options);
}

}  // namespace test
