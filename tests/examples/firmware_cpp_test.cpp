// SPDX-License-Identifier: Apache-2.0
// The example firmware in C++, over the module itself: what it puts into its log and what its commands show.
#include "firmware-cpp/doors.hpp"

#include "jorn.hpp"
#include "support/module_test.h"
#include "support/utc_zone.h"

namespace firmware_cpp {
namespace {

using doors::Door;
using test::messages;
using test::platform;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FirmwareCppTest : public test::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        jorn_SetDebugPrintLevel(0);
        ASSERT_TRUE(doors::start(dir_.name()));
        settle();
        jorn_SetDebugPrintLevel(1);
        lostBefore_ = doors::lost();
    }
    void TearDown() override {
        doors::stop();
        ModuleTest::TearDown();
    }

    /// What a command prints.
    template <typename Command>
    static std::string printed(const Command &command) {
        testing::internal::CaptureStdout();
        command();
        return testing::internal::GetCapturedStdout();
    }

    uint32_t lost() const { return doors::lost() - lostBefore_; }

    const test::UtcZone utc_;
    uint32_t lostBefore_ = 0;
};

TEST_F(FirmwareCppTest, ShowDoor_ItemsOfSeveral_PrintsItsOwnNewestFirst) {
    doors::moved(Door::Front, true);
    doors::moved(Door::Back, true);
    doors::motorIsHot(Door::Back, 85);
    doors::moved(Door::Back, false);
    settle();
    EXPECT_EQ(printed([] { doors::showDoor(Door::Back); }),
              "page 1\n"
              "Tue Nov 14 22:13:20 2023 door 1: closed\n"
              "Tue Nov 14 22:13:20 2023 door 1: motor at 85 C\n"
              "Tue Nov 14 22:13:20 2023 door 1: open\n"
              "3 items\n");
    EXPECT_EQ(lost(), 0U);
}

TEST_F(FirmwareCppTest, ShowDoor_MoreThanAPage_PrintsEachPage) {
    for (int i = 0; i < 21; ++i) {
        doors::moved(Door::Garage, true);
    }
    settle();
    const std::string all = printed([] { doors::showDoor(Door::Garage); });
    EXPECT_EQ(all.find("page 1\n"), 0U);
    EXPECT_NE(all.find("page 2\nTue Nov 14 22:13:20 2023 door 2: open\n21 items\n"), std::string::npos)
        << all;
}

TEST_F(FirmwareCppTest, ShowFaults_DaysGiven_PrintsAlarmsAndFaultsOfThem) {
    const int32_t today = jorn::dayOf(1700000000);
    doors::motorIsHot(Door::Front, 90);
    doors::motorIsHot(Door::Front, 91);
    doors::moved(Door::Front, true);
    settle();
    EXPECT_EQ(printed([&] { doors::showFaults(today, today); }),
              "page 1\n"
              "Tue Nov 14 22:13:20 2023 door 0: motor at 91 C\n"
              "Tue Nov 14 22:13:20 2023 door 0: motor at 90 C\n"
              "2 items\n");
    EXPECT_THAT(dir_.read("0.csv"),
                testing::HasSubstr("1700000000,1,0,motor at 90 C\n1700000000,0,0,motor at 91"));
    jorn_SetDebugPrintLevel(0);
    EXPECT_EQ(printed([&] { doors::showFaults(today + 1, today + 1); }), "0 items\n");
}

TEST_F(FirmwareCppTest, Report_QueueFull_CountsTheLostItem) {
    jorn_SetDebugPrintLevel(0);
    platform().fail("msgQSend");
    doors::moved(Door::Front, true);
    doors::moved(Door::Front, false);
    EXPECT_EQ(lost(), 1U);
}

TEST_F(FirmwareCppTest, Report_NotStarted_CountsTheLostItem) {
    doors::stop();
    jorn_SetDebugPrintLevel(0);
    doors::motorIsHot(Door::Front, 95);
    EXPECT_EQ(lost(), 1U);
}

TEST_F(FirmwareCppTest, Start_NoSuchDirectory_Fails) {
    doors::stop();
    EXPECT_FALSE(doors::start("not absolute"));
    EXPECT_THAT(messages(), ElementsAre("DirName format error!"));
}

TEST_F(FirmwareCppTest, Clear_Idle_ShowsNothingAfterwards) {
    doors::moved(Door::Front, true);
    settle();
    EXPECT_TRUE(doors::clear());
    settle();
    jorn_SetDebugPrintLevel(0);
    EXPECT_EQ(printed([] { doors::showDoor(Door::Front); }), "0 items\n");
}

}  // namespace
}  // namespace firmware_cpp
