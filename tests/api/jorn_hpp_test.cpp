// SPDX-License-Identifier: Apache-2.0
// The types of jorn.hpp over the module itself: that each does what jorn.h promises, and what it adds.
#include <jorn.hpp>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/module_test.h"

namespace cpp_header {
namespace {

using test::messages;
using test::platform;
using test::texts;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

enum class Severity : uint8_t { Alarm, Fault, Event, Trace };
enum Door { kFront, kBack };  // its underlying type is unsigned

static_assert(!std::is_copy_constructible_v<jorn::Log> && !std::is_copy_assignable_v<jorn::Log>);
static_assert(std::is_nothrow_move_constructible_v<jorn::Log> &&
              std::is_nothrow_move_assignable_v<jorn::Log>);
static_assert(sizeof(jorn::Log) == sizeof(int32_t), "a log is its handle");
static_assert(!std::is_convertible_v<bool, jorn::Level> && !std::is_convertible_v<uint32_t, jorn::Slot>);
static_assert(!std::is_convertible_v<int64_t, jorn::Slot> && !std::is_convertible_v<double, jorn::Slot>);
static_assert(std::is_convertible_v<uint16_t, jorn::Slot> && std::is_convertible_v<int32_t, jorn::Slot>);
static_assert(!std::is_convertible_v<jorn::Level, jorn::Slot>, "levels and slots are kept apart");
static_assert(jorn::Level(Severity::Trace).number() == JORN_LEVEL_DEBUG && jorn::Slot(kBack).number() == 1);
static_assert(jorn::dayOf(0) == 0 && jorn::dayOf(86399) == 0 && jorn::dayOf(86400) == 1 &&
              jorn::dayOf(UINT32_MAX) == 49710);

/// Every field of a record, in its order.
std::vector<int32_t> fields(const JORN_REQUIRE &require) {
    return {require.itemsPerPage, require.pageDisp,  require.dayDwLimit, require.dayUpLimit,
            require.level,        require.levelMode, require.slot};
}

std::vector<int32_t> fields(const jorn::Query &query) { return fields(query.page(7, 5)); }

TEST(Query, Made_AsksForEverythingBelowTheDebugLevel) {
    EXPECT_THAT(fields(jorn::Query()), ElementsAre(5, 7, -1, -1, -1, -1, -1));
}

TEST(Query, Days_EachSetter_SetsBothLimits) {
    EXPECT_THAT(fields(jorn::Query().days(3, 9)), ElementsAre(5, 7, 3, 9, -1, -1, -1));
    EXPECT_THAT(fields(jorn::Query().days(3, 9).day(4)), ElementsAre(5, 7, 4, 4, -1, -1, -1));
    EXPECT_THAT(fields(jorn::Query().days(3, 9).since(8)), ElementsAre(5, 7, 8, -1, -1, -1, -1));
}

TEST(Query, Level_EachSetter_SetsLevelAndMode) {
    EXPECT_THAT(fields(jorn::Query().level(Severity::Event)), ElementsAre(5, 7, -1, -1, 2, 1, -1));
    EXPECT_THAT(fields(jorn::Query().level(Severity::Event).levelsUpTo(Severity::Fault)),
                ElementsAre(5, 7, -1, -1, 1, 0, -1));
    EXPECT_THAT(fields(jorn::Query().everyLevel()), ElementsAre(5, 7, -1, -1, 3, 0, -1));
}

TEST(Query, SettersChained_AllHold) {
    constexpr jorn::Query kQuery = jorn::Query().slot(kBack).level(Severity::Alarm).day(12);
    EXPECT_THAT(fields(kQuery), ElementsAre(5, 7, 12, 12, 0, 1, 1));
}

/// A log of two files and eight slots, at rest, in a directory of its own.
class LogTest : public test::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        log_ = jorn::Log(createAtRest(2, 8));
    }
    void TearDown() override {
        log_.close();
        ModuleTest::TearDown();
    }

    jorn::Log openOther(const std::string &name) const {
        return jorn::Log::open((dir_.path() + "/" + name).c_str(), 2, 2);
    }

    /// The numbers of the pages and the texts of their items, in the order of a loop over them.
    struct Met {
        std::vector<int32_t> numbers;
        std::vector<std::string> items;
    };
    Met meetPages(const jorn::Query &query, int32_t itemsPerPage) {
        Met met;
        for (const jorn::Page page : log_.pages(query, room_, itemsPerPage)) {
            met.numbers.push_back(page.number());
            for (const JORN_LOG_DISP &item : page) {
                const std::string text = item.logStr;
                met.items.push_back(text.substr(0, text.find('\n')));
            }
        }
        return met;
    }

    jorn::Log log_;
    JORN_LOG_PAGE room_ = {};
};

TEST_F(LogTest, Open_GoodArguments_OwnsTheHandleThatCreationReturned) {
    const jorn::Log other = openOther("o");
    EXPECT_TRUE(other.isOpen());
    EXPECT_TRUE(static_cast<bool>(other));
    EXPECT_EQ(other.handle(), log_.handle() + 1);
    EXPECT_TRUE(dir_.has("o"));
}

TEST_F(LogTest, Open_BadArgument_IsNotOpenAndSaysWhy) {
    const jorn::Log none = jorn::Log::open("/tmp", 9, 2);
    EXPECT_FALSE(none.isOpen());
    EXPECT_THAT(messages(), ElementsAre("slot_max=9, error!"));
}

TEST_F(LogTest, Scope_Left_DestroysTheObject) {
    int32_t handle = 0;
    {
        const jorn::Log other = openOther("o");
        handle = other.handle();
    }
    EXPECT_EQ(JORN_Destroy(handle), -1);
}

TEST_F(LogTest, Close_Open_DestroysOnceAndIsNotOpen) {
    jorn::Log other = openOther("o");
    const int32_t handle = other.handle();
    EXPECT_TRUE(other.close());
    EXPECT_FALSE(other.isOpen());
    EXPECT_EQ(JORN_Destroy(handle), -1);
    platform().clearLog();
    EXPECT_FALSE(other.close());
    EXPECT_THAT(messages(), IsEmpty()) << "nothing was destroyed twice";
}

TEST_F(LogTest, Close_HandleThatIsGone_Fails) {
    jorn::Log other = openOther("o");
    JORN_Destroy(other.handle());
    EXPECT_FALSE(other.close());
    EXPECT_FALSE(other.isOpen());
}

TEST_F(LogTest, Release_HandleGivenAway_ObjectStays) {
    jorn::Log other = openOther("o");
    const int32_t handle = other.release();
    EXPECT_FALSE(other.isOpen());
    EXPECT_FALSE(other.close());
    EXPECT_EQ(JORN_Destroy(handle), 0);
}

TEST_F(LogTest, Move_Constructed_FormerOwnerIsNotOpen) {
    jorn::Log former = openOther("o");
    const int32_t handle = former.handle();
    const jorn::Log owner = std::move(former);
    EXPECT_EQ(owner.handle(), handle);
    EXPECT_FALSE(former.isOpen());  // NOLINT(bugprone-use-after-move): moved from has a meaning here
    EXPECT_TRUE(owner.log(1, 0, "still there"));
}

TEST_F(LogTest, Move_Assigned_DestroysWhatWasThere) {
    jorn::Log older = openOther("o");
    jorn::Log newer = openOther("n");
    const int32_t olderHandle = older.handle();
    const int32_t newerHandle = newer.handle();
    older = std::move(newer);
    EXPECT_EQ(older.handle(), newerHandle);
    EXPECT_FALSE(newer.isOpen());  // NOLINT(bugprone-use-after-move): moved from has a meaning here
    EXPECT_EQ(JORN_Destroy(olderHandle), -1);
}

TEST_F(LogTest, Move_ToItself_StaysOpen) {
    jorn::Log &same = log_;
    log_ = std::move(same);
    EXPECT_TRUE(log_.isOpen());
    EXPECT_TRUE(log_.log(1, 0, "still there"));
}

TEST_F(LogTest, Log_OwnEnumerators_SubmitsTheirNumbers) {
    EXPECT_TRUE(log_.log(Severity::Fault, kBack, "door open"));
    EXPECT_THAT(platform().calls(), ElementsAre("time", "msgQSend 28 0 0 1,1700000000,1,1,door open\n"));
}

TEST_F(LogTest, Log_LevelSlotOrTextRefused_Fails) {
    EXPECT_FALSE(log_.log(4, kFront, "x"));
    EXPECT_FALSE(log_.log(Severity::Alarm, 8, "x"));
    EXPECT_FALSE(log_.log(Severity::Alarm, kFront, nullptr));
    EXPECT_THAT(messages(), ElementsAre("level=4, slot=0, exceed range!", "level=0, slot=8, exceed range!",
                                        "text pointer null!"));
}

TEST_F(LogTest, Log_QueueFull_Fails) {
    jorn_SetDebugPrintLevel(0);
    platform().fail("msgQSend");
    EXPECT_FALSE(log_.log(1, 0, "x"));
    EXPECT_TRUE(log_.log(1, 0, "x"));
}

TEST_F(LogTest, Logf_Arguments_SubmitsTheFormattedText) {
    EXPECT_TRUE(log_.logf(Severity::Event, kFront, "%s at %d%%", "valve", 71));
    EXPECT_THAT(platform().calls(), ElementsAre("time", "msgQSend 31 0 0 1,1700000000,2,0,valve at 71%\n"));
}

TEST_F(LogTest, Logf_LongText_KeepsTheFirst198Bytes) {
    const std::string start(197, 'a');
    EXPECT_TRUE(log_.logf(1, 0, "%s%s", start.c_str(), "bcd"));
    settle();
    EXPECT_EQ(log_.page(jorn::Query(), 1, room_), 1);
    EXPECT_THAT(texts(room_), ElementsAre(start + "b"));
}

TEST_F(LogTest, Logf_TextThatCannotBeFormatted_FailsAndSubmitsNothing) {
    const wchar_t noCharacter[] = {static_cast<wchar_t>(0xD800), 0};
    EXPECT_FALSE(log_.logf(1, 0, "%ls", noCharacter));
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(LogTest, Count_ItemsOfLevelsAndSlots_CountsThoseAskedFor) {
    store(log_.handle(), 3, "front ", 0, 1, kFront);
    store(log_.handle(), 2, "back ", 0, 2, kBack);
    settle();
    EXPECT_EQ(log_.count(jorn::Query()), 5);
    EXPECT_EQ(log_.count(jorn::Query().slot(kBack)), 2);
    EXPECT_EQ(log_.count(jorn::Query().level(Severity::Fault)), 3);
    EXPECT_EQ(log_.count(jorn::Query().everyLevel()), 6) << "with the item of its creation";
    EXPECT_EQ(log_.count(jorn::Query().level(Severity::Alarm)), 0);
}

TEST_F(LogTest, Count_NoFileCanHoldTheDays_IsNone) {
    const int32_t today = jorn::dayOf(1700000000);
    EXPECT_EQ(log_.count(jorn::Query().everyLevel().day(today)), 1);
    EXPECT_EQ(log_.count(jorn::Query().since(today + 1)), std::nullopt);
    EXPECT_EQ(log_.count(jorn::Query().days(today, today - 1)), std::nullopt);
}

TEST_F(LogTest, Page_NumberWithinAndBeyond_IsTheOneThatWasFilled) {
    store(log_.handle(), 5, "item ");
    settle();
    EXPECT_EQ(log_.page(jorn::Query(), 1, room_, 2), 1);
    EXPECT_THAT(texts(room_), ElementsAre("item 4", "item 3"));
    EXPECT_EQ(log_.page(jorn::Query(), 9, room_, 2), 3);
    EXPECT_THAT(texts(room_), ElementsAre("item 0"));
    EXPECT_EQ(log_.page(jorn::Query(), -1, room_), 1);
    EXPECT_EQ(room_.itemsNum, 5);
}

TEST_F(LogTest, Page_NothingToFill_IsNone) {
    jorn_SetDebugPrintLevel(0);
    EXPECT_EQ(log_.page(jorn::Query(), 1, room_), std::nullopt) << "nothing matches";
    EXPECT_EQ(log_.page(jorn::Query().everyLevel(), 0, room_), std::nullopt) << "page 0";
    EXPECT_EQ(log_.page(jorn::Query().everyLevel(), 1, room_, 0), std::nullopt) << "pages of no item";
    EXPECT_EQ(log_.page(jorn::Query().everyLevel(), 1, room_), 1);
}

TEST_F(LogTest, Pages_LastNotFull_MeetsEveryItemOnceNewestFirst) {
    store(log_.handle(), 5, "item ");
    settle();
    const Met met = meetPages(jorn::Query(), 2);
    EXPECT_THAT(met.numbers, ElementsAre(1, 2, 3));
    EXPECT_THAT(met.items, ElementsAre("item 4", "item 3", "item 2", "item 1", "item 0"));
}

TEST_F(LogTest, Pages_LastFull_EndsAfterIt) {
    store(log_.handle(), 4, "item ");
    settle();
    const Met met = meetPages(jorn::Query(), 2);
    EXPECT_THAT(met.numbers, ElementsAre(1, 2));
    EXPECT_THAT(met.items, ElementsAre("item 3", "item 2", "item 1", "item 0"));
}

TEST_F(LogTest, Pages_NothingMatchesOrNoPageCanBe_HasNoTurn) {
    jorn_SetDebugPrintLevel(0);
    EXPECT_THAT(meetPages(jorn::Query(), 20).numbers, IsEmpty());
    EXPECT_THAT(meetPages(jorn::Query().everyLevel(), 0).numbers, IsEmpty());
    EXPECT_THAT(meetPages(jorn::Query().everyLevel(), 20).numbers, ElementsAre(1));
}

TEST_F(LogTest, Pages_ItemsPerPageNotGiven_Are20) {
    store(log_.handle(), 21, "item ");
    settle();
    std::vector<int32_t> sizes;
    for (const jorn::Page page : log_.pages(jorn::Query(), room_)) {
        sizes.push_back(page.size());
    }
    EXPECT_THAT(sizes, ElementsAre(20, 1));
}

TEST_F(LogTest, Pages_ItemStoredMeanwhile_MeetsOneTwiceAndAllOlder) {
    store(log_.handle(), 4, "item ");
    settle();
    std::vector<std::vector<std::string>> pages;
    for (const jorn::Page page : log_.pages(jorn::Query(), room_, 2)) {
        pages.push_back(texts(room_));
        if (page.number() == 1) {
            store(log_.handle(), 1, "newer ");
            settle();
        }
    }
    EXPECT_THAT(pages, ElementsAre(ElementsAre("item 3", "item 2"), ElementsAre("item 2", "item 1"),
                                   ElementsAre("item 0")));
}

TEST_F(LogTest, Clear_WithItem_EmptiesTheLogAndSubmitsTheItem) {
    store(log_.handle(), 3, "item ");
    settle();
    EXPECT_TRUE(log_.clear());
    settle();
    EXPECT_EQ(log_.page(jorn::Query().everyLevel(), 1, room_), 1);
    EXPECT_THAT(texts(room_), ElementsAre("Log all cleared!"));
}

TEST_F(LogTest, Clear_LeavingNothing_SubmitsNothing) {
    EXPECT_TRUE(log_.clear(jorn::Log::Cleared::Nothing));
    EXPECT_THAT(platform().calls(), Not(Contains(StartsWith("msgQSend"))));
    jorn_SetDebugPrintLevel(0);
    EXPECT_EQ(log_.count(jorn::Query().everyLevel()).value_or(0), 0);
}

TEST_F(LogTest, Clear_IndexCannotBeWritten_Fails) {
    jorn_SetDebugPrintLevel(0);
    platform().fail("fopen index.csv w", probe::Probe::kForever);
    EXPECT_FALSE(log_.clear());
}

TEST_F(LogTest, Times_ItemsFoundAtOpening_AreTheirs) {
    dir_.block("o");
    dir_.write("o/index.csv", "version:1\n0,0\n");
    dir_.write("o/0.csv", "1800000500,1,0,a\n1800000200,1,0,b\n");
    const jorn::Log other = openOther("o");
    EXPECT_EQ(other.lastTimeAtOpening(), 1800000200U);
    EXPECT_EQ(log_.lastTimeAtOpening(), 0U);
    EXPECT_EQ(jorn::Log::largestTimeFound(), 1800000500U);
}

TEST_F(LogTest, Calls_NotOpen_FailAsForAnUnknownHandle) {
    const jorn::Log none;
    EXPECT_FALSE(none.isOpen());
    EXPECT_FALSE(none.log(1, 0, "x"));
    EXPECT_FALSE(none.logf(1, 0, "%d", 1));
    EXPECT_EQ(none.count(jorn::Query()), std::nullopt);
    EXPECT_EQ(none.page(jorn::Query(), 1, room_), std::nullopt);
    EXPECT_FALSE(none.clear());
    EXPECT_EQ(none.lastTimeAtOpening(), 0U);
    for (const jorn::Page page : none.pages(jorn::Query(), room_)) {
        ADD_FAILURE() << page.number();
    }
    EXPECT_FALSE(jorn::Log(0).isOpen());
}

}  // namespace
}  // namespace cpp_header
