// SPDX-License-Identifier: Apache-2.0
// A clock that jumps: back and forth by seconds, days and years, to 0, past 2038-01-19, to the end of the
// 32-bit count in 2106 and beyond, where it wraps. What the store remembers of each file's times, where it
// looks for days, and what it counts and shows is compared with a literal model over many random scripts with
// restarts in between.
//
// When times run backwards, day limits choose files by each file's smallest and largest time, and a file
// between the two ends counts as a whole: a count may then hold items outside the days, which no page shows.
// That is part of the model, not an error.
#include <gtest/gtest.h>
#include <sysLib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "csvfile/file_summary.h"
#include "load/plain_store.h"
#include "model/line_model.h"
#include "model/store_model.h"
#include "registry/registry.h"

namespace {

using test::ModelItem;
using test::ModelObject;
using test::ModelShown;
using test::StoreModel;

constexpr char kDirectory[] = "log";
constexpr uint32_t kDay = 86400;

/// Numbers from a seed, the same everywhere.
class Random {
public:
    explicit Random(uint32_t seed) : random_(seed) {}

    int32_t below(int32_t limit) { return static_cast<int32_t>(random_() % static_cast<uint32_t>(limit)); }
    uint32_t any() { return static_cast<uint32_t>(random_()); }
    bool isOneIn(int32_t n) { return below(n) == 0; }

private:
    std::mt19937 random_;
};

/// A clock that mostly goes on, and sometimes jumps.
class JumpingClock {
public:
    explicit JumpingClock(Random *random) : random_(random) {}

    uint32_t next() {
        static const std::vector<uint32_t> marks = {
            0,           1,           kDay - 1,    kDay,        0x7fffffffU,
            0x80000000U, 0x80000001U, 0xfffffffeU, 0xffffffffU, 0xffffffffU / kDay * kDay};
        switch (random_->below(10)) {
            case 0:
                now_ = marks[static_cast<size_t>(random_->below(static_cast<int32_t>(marks.size())))];
                break;
            case 1:
                now_ = random_->any();
                break;
            case 2:
                now_ -= kDay * static_cast<uint32_t>(random_->below(800));
                break;
            case 3:
                now_ += kDay * static_cast<uint32_t>(random_->below(800));
                break;
            case 4:
                now_ -= static_cast<uint32_t>(random_->below(100000));
                break;
            default:
                now_ += static_cast<uint32_t>(random_->below(40000));
                break;
        }
        return now_;
    }

private:
    Random *random_;
    uint32_t now_ = 1700000000;
};

std::string lineOf(const ModelItem &item) {
    return std::to_string(item.time) + "," + std::to_string(item.level) + "," + std::to_string(item.slot) +
           "," + item.text + "\n";
}

/// The store and its model, side by side.
class Script {
public:
    explicit Script(uint32_t seed) : random_(seed), clock_(&random_), csvNum_(2 + random_.below(6)) {}
    Script(const Script &) = delete;
    Script &operator=(const Script &) = delete;
    ~Script() {
        while (jorn_obj_ptr != nullptr && JORN_Destroy(jorn_obj_ptr->handle_id) == 0) {
        }
        jorn_max_csv_time = 0;
    }

    /// Lays out some consecutive files, of up to `itemsMax` items, anywhere in the ring.
    void layOut(int32_t itemsMax) {
        std::filesystem::create_directory(path());
        const int32_t oldest = random_.below(csvNum_);
        const int32_t count = 1 + random_.below(csvNum_);
        for (int32_t i = 0; i < count; ++i) {
            std::string bytes;
            for (int32_t left = random_.below(itemsMax + 1); left > 0; --left) {
                bytes += lineOf(nextItem());
            }
            write(std::to_string((oldest + i) % csvNum_) + ".csv", bytes);
        }
        write("index.csv", test::modelIndexText(oldest, (oldest + count - 1) % csvNum_));
    }

    void start() {
        const uint32_t now = clock_.next();
        setTime(now);
        handle_ = JORN_Create(path().c_str(), JORN_SLOT_MAX, csvNum_);
        ASSERT_GT(handle_, 0);
        ASSERT_EQ(model_.create(kDirectory, csvNum_, JORN_SLOT_MAX), handle_);
        // The store task may have stored the first item by now.
        settle();
        checkStart();
    }

    void stop() {
        ASSERT_EQ(JORN_Destroy(handle_), 0);
        ASSERT_EQ(model_.destroy(handle_), 0);
    }

    void submit(int32_t count) {
        for (int32_t i = 0; i < count; ++i) {
            const ModelItem item = nextItem();
            setTime(item.time);
            ASSERT_EQ(JORN_AddOneLog(handle_, item.level, item.slot, item.text.c_str()), 0);
            ASSERT_EQ(model_.add(handle_, item.level, item.slot, item.text), 0);
            if (load::isQueueFull()) {
                load::pass();
                model_.pass();
            }
        }
        settle();
    }

    void check(int32_t queries) {
        checkTimes();
        for (int32_t i = 0; i < queries && !::testing::Test::HasFailure(); ++i) {
            checkQuery(nextRequirement());
        }
    }

    Random &random() { return random_; }

private:
    std::string path() const { return directory_.sub(kDirectory); }
    const ModelObject &ring() const { return model_.at(handle_); }

    void setTime(uint32_t seconds) {
        load::setTime(seconds);
        model_.setTime(seconds);
    }

    void settle() {
        load::settle();
        model_.settle();
    }

    void write(const std::string &name, const std::string &bytes) {
        std::ofstream(path() + "/" + name) << bytes;
        model_.put(std::string(kDirectory) + "/" + name, bytes);
    }

    ModelItem nextItem() {
        // Levels and slots below 0 are stored and hardly ever counted.
        return {clock_.next(), random_.below(5) - 1, random_.below(9) - 1,
                "item " + std::to_string(itemNumber_++)};
    }

    /// Days near those of stored items, and near the ends of the count.
    int32_t nextDay() {
        if (random_.isOneIn(4)) {
            static const std::vector<int32_t> days = {0, 1, 24854, 24855, 24856, 49710, 49711, 2147483647};
            return days[static_cast<size_t>(random_.below(static_cast<int32_t>(days.size())))];
        }
        const auto file = test::modelText(model_.bytesOf(handle_, random_.below(csvNum_)));
        const auto lines = static_cast<int32_t>(file->lines.size());
        const uint32_t time =
            lines == 0 ? random_.any() : file->lines[static_cast<size_t>(random_.below(lines))].item().time;
        return std::max(0, static_cast<int32_t>(time / kDay) + random_.below(3) - 1);
    }

    JORN_REQUIRE nextRequirement() {
        JORN_REQUIRE require = {1 + random_.below(25), 0, -1, -1, random_.below(5) - 1, random_.below(2),
                                random_.below(12) - 4};
        if (!random_.isOneIn(3)) {
            require.dayDwLimit = nextDay();
        }
        if (!random_.isOneIn(3)) {
            require.dayUpLimit = nextDay();
        }
        return require;
    }

    void checkStart() const {
        uint32_t time = 0;
        EXPECT_EQ(JORN_GetFinalCsvTime(handle_, &time), 0);
        EXPECT_EQ(time, ring().finalTime) << "final time";
        EXPECT_EQ(JORN_GetMaxCsvTime(&time), 0);
        EXPECT_EQ(time, model_.maxTime()) << "largest time";
        checkTimes();
    }

    void checkTimes() const {
        const JORN_OBJ *const obj = FindObj(handle_);
        ASSERT_EQ(obj->csv_oldest, ring().index.oldest);
        ASSERT_EQ(obj->csv_latest, ring().index.latest);
        for (int32_t position = 0; position < csvNum_; ++position) {
            const JORN_CSV_INFO &info = obj->csv_info[position];
            const JORN_CSV_INFO &expected = ring().at(position);
            EXPECT_EQ(info.itemCount, expected.itemCount) << position << ".csv";
            EXPECT_EQ(info.timeMin, expected.timeMin) << position << ".csv";
            EXPECT_EQ(info.timeMax, expected.timeMax) << position << ".csv";
            EXPECT_EQ(info.timeLast, expected.timeLast) << position << ".csv";
        }
    }

    void checkQuery(JORN_REQUIRE require) {
        SCOPED_TRACE("days " + std::to_string(require.dayDwLimit) + " to " +
                     std::to_string(require.dayUpLimit) + ", level " + std::to_string(require.level) +
                     " mode " + std::to_string(require.levelMode) + ", slot " + std::to_string(require.slot) +
                     ", " + std::to_string(require.itemsPerPage) + " a page");
        const int32_t total = model_.count(handle_, require);
        ASSERT_EQ(JORN_CountRequireTotalNum(handle_, require), total);
        const int32_t perPage = std::min(require.itemsPerPage, JORN_REQUIRE_PAGE_MAX);
        const int32_t pages = std::max(1, (total + perPage - 1) / perPage);
        // When there are very many pages, some are enough: the last one, and steps through the others.
        const int32_t step = 1 + pages / 12;
        for (require.pageDisp = 1; require.pageDisp <= pages; require.pageDisp += step) {
            checkPage(require);
        }
        require.pageDisp = -1;
        checkPage(require);
    }

    void checkPage(const JORN_REQUIRE &require) {
        std::vector<ModelShown> expected;
        const int32_t number = model_.page(handle_, require, &expected);
        JORN_LOG_PAGE page;
        ASSERT_EQ(JORN_GetRequireLog(handle_, require, &page), number);
        ASSERT_EQ(page.itemsNum, static_cast<int32_t>(expected.size()));
        for (size_t i = 0; i < expected.size(); ++i) {
            const test::ModelRecord record = test::modelRecord(expected[i].line);
            EXPECT_EQ(page.disp[i].timeStr, record.time);
            EXPECT_EQ(page.disp[i].levelStr, record.level);
            EXPECT_EQ(page.disp[i].slotStr, record.slot);
            EXPECT_EQ(page.disp[i].logStr, record.text);
        }
    }

    Random random_;
    JumpingClock clock_;
    int32_t csvNum_;
    StoreModel model_;
    load::Directory directory_;
    int32_t handle_ = 0;
    int itemNumber_ = 0;
};

class ClockJumpTest : public ::testing::Test {
protected:
    void SetUp() override {
        sysClkDisable();
        jorn_SetDebugPrintLevel(0);
        load::useUtc();
    }
};

// Small files that are already on the medium, a few more items, restarts.
TEST_F(ClockJumpTest, RandomScripts_SmallFiles_TimesAndQueriesAreThoseOfTheModel) {
    constexpr uint32_t kScripts = 250 * JORN_LOAD_ROUNDS;
    for (uint32_t seed = 1; seed <= kScripts && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Script script(seed);
        script.layOut(6);
        script.start();
        for (int step = 0; step < 4 && !HasFailure(); ++step) {
            script.submit(1 + script.random().below(4));
            script.check(4);
            if (script.random().isOneIn(2)) {
                script.stop();
                script.start();
                script.check(2);
            }
        }
    }
}

// Files that fill up under jumping clocks, while the ring wraps more than once.
TEST_F(ClockJumpTest, RandomScripts_FullFilesAndWraps_TimesAndQueriesAreThoseOfTheModel) {
    constexpr uint32_t kScripts = JORN_LOAD_ROUNDS;
    for (uint32_t seed = 1; seed <= kScripts && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Script script(seed);
        script.start();
        for (int step = 0; step < 6 && !HasFailure(); ++step) {
            script.submit(2000 + script.random().below(6000));
            script.check(6);
            if (script.random().isOneIn(2)) {
                script.stop();
                script.start();
                script.check(2);
            }
        }
    }
}

/// A ring of two with one file, whose items come at the given times.
class TimeZeroTest : public ClockJumpTest {
protected:
    void store(const std::vector<uint32_t> &times) {
        handle_ = JORN_Create(directory_.sub("log").c_str(), 8, 2);
        ASSERT_GT(handle_, 0);
        for (const uint32_t time : times) {
            load::setTime(time);
            ASSERT_EQ(JORN_AddOneLog(handle_, 1, 0, "x"), 0);
        }
        load::settle();
    }
    void restart() {
        ASSERT_EQ(JORN_Destroy(handle_), 0);
        handle_ = JORN_Create(directory_.sub("log").c_str(), 8, 2);
        ASSERT_GT(handle_, 0);
        load::settle();
    }
    void TearDown() override {
        EXPECT_EQ(JORN_Destroy(handle_), 0);
        jorn_max_csv_time = 0;
    }
    const JORN_CSV_INFO &info() const { return FindObj(handle_)->csv_info[0]; }

    load::Directory directory_;
    int32_t handle_ = 0;
};

// The one place where memory and medium disagree: a smallest time of 0 lasts only until the restart.
TEST_F(TimeZeroTest, SmallestTime_ItemAtTimeZero_IsZeroUntilTheRestartAndTheNextTimeAfterIt) {
    load::setTime(0);
    store({50, 100});
    EXPECT_EQ(info().timeMin, 0U);
    restart();
    EXPECT_EQ(info().timeMin, 50U) << "the new start's own item came at 100";
    EXPECT_EQ(info().timeMax, 100U);
    EXPECT_EQ(info().itemCount, 4U);
}

TEST_F(TimeZeroTest, Times_AcrossTheEndOfTheCount_AreTakenUnsigned) {
    load::setTime(0xfffffffeU);
    store({0xffffffffU, 0, 1, 0x80000000U, 0x7fffffffU});
    EXPECT_EQ(info().timeMin, 0U);
    EXPECT_EQ(info().timeMax, 0xffffffffU);
    EXPECT_EQ(info().timeLast, 0x7fffffffU);
    EXPECT_EQ(JORN_CountRequireTotalNum(handle_, {20, 1, 49710, 49710, 3, 0, -1}), 2);
    EXPECT_EQ(JORN_CountRequireTotalNum(handle_, {20, 1, 0, 0, 3, 0, -1}), 2);
    EXPECT_EQ(JORN_CountRequireTotalNum(handle_, {20, 1, 24855, 24855, 3, 0, -1}), 2);
    JORN_LOG_PAGE page;
    EXPECT_EQ(JORN_GetRequireLog(handle_, {20, 1, 49710, -1, 1, 0, -1}, &page), 1);
    EXPECT_STREQ(page.disp[0].timeStr, "Sun Feb  7 06:28:15 2106");
    EXPECT_EQ(JORN_GetRequireLog(handle_, {20, 1, 24855, 24855, 1, 0, -1}, &page), 1);
    EXPECT_STREQ(page.disp[0].timeStr, "Tue Jan 19 03:14:07 2038");
    EXPECT_STREQ(page.disp[1].timeStr, "Tue Jan 19 03:14:08 2038");
}

}  // namespace
