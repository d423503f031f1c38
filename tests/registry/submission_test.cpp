// SPDX-License-Identifier: Apache-2.0
// Submission of items: what is checked, and the bytes that go into the queue.
#include "registry/submission.h"

#include <msgQLib.h>
#include <semLib.h>

#include <algorithm>
#include <cstdint>
#include <future>
#include <vector>

#include "model/library_model.h"
#include "registry/registry.h"
#include "registry/thread_calls.h"

namespace {

using test::HandMadeObject;
using test::messages;
using test::platform;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;
using namespace std::string_literals;

constexpr int kErrnoUnavailable = 0x3d0002;

/// An object made by hand, found under handle 2, and a queue that only the test empties.
class SubmissionTest : public test::ModuleTest {
protected:
    SubmissionTest() : obj_("/no/such/directory", 2, 8, 2) {}

    void SetUp() override {
        ModuleTest::SetUp();
        jorn_obj_ptr = obj_.get();
        logMsgCsvStore_ID = msgQCreate(512, 272, MSG_Q_PRIORITY);
        ASSERT_NE(logMsgCsvStore_ID, nullptr);
    }

    void TearDown() override {
        msgQDelete(logMsgCsvStore_ID);
        logMsgCsvStore_ID = nullptr;
        jorn_obj_ptr = nullptr;
        ModuleTest::TearDown();
    }

    /// The bytes of the next message; fails when there is none.
    static std::string received() {
        char buffer[272];
        const int length = msgQReceive(logMsgCsvStore_ID, buffer, sizeof buffer, NO_WAIT);
        EXPECT_GE(length, 0) << "no message";
        return length < 0 ? std::string() : std::string(buffer, static_cast<size_t>(length));
    }

    static int queued() { return msgQNumMsgs(logMsgCsvStore_ID); }

    /// The message bytes of an item with this text, at level 1, slot 5.
    static std::string sentFor(const std::string &text) {
        EXPECT_EQ(JORN_AddOneLog(2, 1, 5, text.c_str()), 0);
        return received();
    }

    static void expectRefused(int32_t handle, int32_t level, int32_t slot, const char *text) {
        platform().clearLog();
        EXPECT_EQ(JORN_AddOneLog(handle, level, slot, text), -1);
        EXPECT_THAT(platform().calls(), IsEmpty());
        EXPECT_EQ(queued(), 0);
    }

    HandMadeObject obj_;
};

// The message

TEST_F(SubmissionTest, AddOneLog_TypicalItem_SendsMessageWithItsNul) {
    EXPECT_EQ(JORN_AddOneLog(2, 1, 5, "door open"), 0);
    EXPECT_EQ(received(), "2,1700000000,1,5,door open\n\0"s);
    EXPECT_EQ(queued(), 0);
}

TEST_F(SubmissionTest, AddOneLog_TypicalItem_TakesTheTimeThenSendsWithoutWaiting) {
    JORN_AddOneLog(2, 1, 5, "door open");
    EXPECT_THAT(platform().calls(), ElementsAre("time", "msgQSend 28 0 0 2,1700000000,1,5,door open\n"));
}

TEST_F(SubmissionTest, AddOneLog_SeveralItems_QueueKeepsTheirOrder) {
    JORN_AddOneLog(2, 1, 5, "first");
    JORN_AddOneLog(2, 0, 0, "second");
    EXPECT_EQ(received(), "2,1700000000,1,5,first\n\0"s);
    EXPECT_EQ(received(), "2,1700000000,0,0,second\n\0"s);
}

TEST_F(SubmissionTest, AddOneLog_Accepted_PrintsNothing) {
    jorn_SetDebugPrintLevel(INT32_MAX);
    JORN_AddOneLog(2, 1, 5, "door open");
    EXPECT_THAT(platform().pieces(), IsEmpty());
}

TEST_F(SubmissionTest, AddOneLog_TimesOfTheWholeRange_AreWrittenUnsigned) {
    const std::pair<uint32_t, const char *> rows[] = {{0, "2,0,1,5,x\n"},
                                                      {2147483647, "2,2147483647,1,5,x\n"},
                                                      {2147483648, "2,2147483648,1,5,x\n"},
                                                      {4294967295, "2,4294967295,1,5,x\n"}};
    for (const auto &[time, message] : rows) {
        platform().setTime(time);
        EXPECT_EQ(sentFor("x"), message + "\0"s);
    }
}

TEST_F(SubmissionTest, AddOneLog_LongestFields_Gives246Bytes) {
    obj_->handle_id = 2147483647;
    platform().setTime(4294967295);
    ASSERT_EQ(JORN_AddOneLog(2147483647, INT32_MIN, INT32_MIN, std::string(300, 'z').c_str()), 0);
    const std::string message = received();
    EXPECT_EQ(message,
              "2147483647,4294967295,-2147483648,-2147483648," + std::string(198, 'z') + "\n" + "\0"s);
    EXPECT_EQ(message.size(), 246U);
}

// The text

TEST_F(SubmissionTest, AddOneLog_EmptyText_EndsInTheFourthCommaAndLineFeed) {
    EXPECT_EQ(sentFor(""), "2,1700000000,1,5,\n\0"s);
}

TEST_F(SubmissionTest, AddOneLog_TextAroundTheLimit_KeepsAtMost198Bytes) {
    const std::pair<size_t, size_t> rows[] = {{197, 197}, {198, 198}, {199, 198}, {300, 198}, {5000, 198}};
    for (const auto &[given, kept] : rows) {
        const std::string text = std::string(197, 'a') + "b" + std::string(given, 'c');
        EXPECT_EQ(sentFor(text.substr(0, given)), "2,1700000000,1,5," + text.substr(0, kept) + "\n" + "\0"s)
            << given;
    }
}

TEST_F(SubmissionTest, AddOneLog_LineEndsInText_BecomeBlanksEach) {
    EXPECT_EQ(sentFor("a\r\nb"), "2,1700000000,1,5,a  b\n\0"s);
    EXPECT_EQ(sentFor("\n"), "2,1700000000,1,5, \n\0"s);
    EXPECT_EQ(sentFor("\rx\r"), "2,1700000000,1,5, x \n\0"s);
}

TEST_F(SubmissionTest, AddOneLog_LineEndAsLastKeptByte_BecomesABlank) {
    EXPECT_EQ(sentFor(std::string(197, 'a') + "\n\n"),
              "2,1700000000,1,5," + std::string(197, 'a') + " \n" + "\0"s);
}

TEST_F(SubmissionTest, AddOneLog_CommasInText_AreCarriedUnchanged) {
    EXPECT_EQ(sentFor(",a,,b,"), "2,1700000000,1,5,,a,,b,\n\0"s);
}

TEST_F(SubmissionTest, AddOneLog_FormatCharactersInText_AreCarriedUnchanged) {
    EXPECT_EQ(sentFor("100%s%n"), "2,1700000000,1,5,100%s%n\n\0"s);
}

TEST_F(SubmissionTest, AddOneLog_EveryOtherByteValue_IsCarriedUnchanged) {
    for (int first = 1; first < 256; first += 128) {
        std::string text;
        for (int byte = first; byte < first + 128 && byte < 256; ++byte) {
            if (byte != '\n' && byte != '\r') {
                text += static_cast<char>(byte);
            }
        }
        EXPECT_EQ(sentFor(text), "2,1700000000,1,5," + text + "\n" + "\0"s);
    }
}

// The same as four formatted prints

TEST_F(SubmissionTest, AddOneLog_NumbersOfEveryLengthAndSign_AreWrittenAsTheLibraryPrintsThem) {
    std::vector<uint32_t> numbers = {0, UINT32_MAX, uint32_t{1} << 31, (uint32_t{1} << 31) - 1};
    for (uint32_t power = 1; power <= 1000000000; power = power < 1000000000 ? power * 10 : UINT32_MAX) {
        numbers.insert(numbers.end(), {power - 1, power, power + 1, 3 * power + 7, 0 - power, 1 - power});
    }
    for (const uint32_t number : numbers) {
        const auto level = std::min(static_cast<int32_t>(number), 3);
        const auto slot = std::min(static_cast<int32_t>(~number), 7);
        const auto handle = static_cast<int32_t>(number);  // a negative one is never issued
        obj_->handle_id = handle;
        platform().setTime(number);
        ASSERT_EQ(JORN_AddOneLog(handle, level, slot, "x"), 0);
        EXPECT_EQ(received(), test::libraryMessage(handle, number, level, slot, "x"));
    }
}

TEST_F(SubmissionTest, AddOneLog_LineEndsAtEveryPlaceOfEveryLength_AreReplacedAsInAPlainCopy) {
    for (size_t length = 0; length <= 210; length += length < 40 || length > 190 ? 1 : 13) {
        std::string text(length, 'a');
        for (size_t i = length % 7; i < length; i += 7) {
            text[i] = i % 2 == 0 ? '\n' : '\r';
        }
        EXPECT_EQ(sentFor(text), test::libraryMessage(2, 1700000000, 1, 5, text.c_str())) << length;
    }
}

TEST_F(SubmissionTest, AddOneLog_TextWithoutEnd_ReadsNoFurtherThanItKeeps) {
    const std::vector<char> text(198, 'a');  // the sanitizers guard what is after it
    ASSERT_EQ(JORN_AddOneLog(2, 1, 5, text.data()), 0);
    EXPECT_EQ(received(), "2,1700000000,1,5," + std::string(198, 'a') + "\n" + "\0"s);
}

// Level and slot

TEST_F(SubmissionTest, AddOneLog_LevelsBelowFour_AreAccepted) {
    for (const int32_t level : {INT32_MIN, -1, 0, 1, 2, 3}) {
        EXPECT_EQ(JORN_AddOneLog(2, level, 0, "x"), 0) << level;
        EXPECT_EQ(received(), "2,1700000000," + std::to_string(level) + ",0,x\n" + "\0"s);
    }
}

TEST_F(SubmissionTest, AddOneLog_LevelFourOrMore_IsRefused) {
    for (const int32_t level : {4, 5, INT32_MAX}) {
        expectRefused(2, level, 0, "x");
    }
}

TEST_F(SubmissionTest, AddOneLog_SlotsAroundTheObjectsNumber_AreAcceptedBelowIt) {
    for (int32_t slotMax = 1; slotMax <= 8; ++slotMax) {
        obj_->slot_max = slotMax;
        EXPECT_EQ(JORN_AddOneLog(2, 0, slotMax - 1, "x"), 0) << slotMax;
        EXPECT_EQ(received(), "2,1700000000,0," + std::to_string(slotMax - 1) + ",x\n" + "\0"s);
        expectRefused(2, 0, slotMax, "x");
        expectRefused(2, 0, slotMax + 1, "x");
    }
}

TEST_F(SubmissionTest, AddOneLog_NegativeSlot_IsAcceptedAndWrittenAsItIs) {
    for (const int32_t slot : {INT32_MIN, -1}) {
        EXPECT_EQ(JORN_AddOneLog(2, 0, slot, "x"), 0) << slot;
        EXPECT_EQ(received(), "2,1700000000,0," + std::to_string(slot) + ",x\n" + "\0"s);
    }
}

TEST_F(SubmissionTest, AddOneLog_LevelTooLarge_ReportsLevelAndSlot) {
    test::expectMessageAt(1, "level=4, slot=-2, exceed range!", [] { JORN_AddOneLog(2, 4, -2, "x"); });
}

TEST_F(SubmissionTest, AddOneLog_SlotTooLarge_ReportsLevelAndSlot) {
    test::expectMessageAt(1, "level=-2147483648, slot=2147483647, exceed range!",
                          [] { JORN_AddOneLog(2, INT32_MIN, INT32_MAX, "x"); });
}

TEST_F(SubmissionTest, AddOneLog_LevelAndSlotTooLarge_ReportsOnce) {
    JORN_AddOneLog(2, 4, 8, "x");
    EXPECT_THAT(messages(), ElementsAre("level=4, slot=8, exceed range!"));
}

// Handle and text pointer

TEST_F(SubmissionTest, AddOneLog_UnknownHandle_SendsNothing) {
    for (const int32_t handle : {INT32_MIN, -2, 0, 1, 3, INT32_MAX}) {
        expectRefused(handle, 1, 5, "x");
    }
}

TEST_F(SubmissionTest, AddOneLog_UnknownHandle_ReportsIt) {
    test::expectMessageAt(1, "hanld_id = -2147483648, not found!",
                          [] { JORN_AddOneLog(INT32_MIN, 1, 5, "x"); });
}

TEST_F(SubmissionTest, AddOneLog_NullText_SendsNothing) { expectRefused(2, 1, 5, nullptr); }

TEST_F(SubmissionTest, AddOneLog_NullText_ReportsIt) {
    test::expectMessageAt(1, "text pointer null!", [] { JORN_AddOneLog(2, 1, 5, nullptr); });
}

TEST_F(SubmissionTest, AddOneLog_EverythingWrong_ReportsTheHandleOnly) {
    JORN_AddOneLog(3, 4, 8, nullptr);
    EXPECT_THAT(messages(), ElementsAre("hanld_id = 3, not found!"));
}

TEST_F(SubmissionTest, AddOneLog_RangeAndTextWrong_ReportsTheRangeOnly) {
    JORN_AddOneLog(2, 4, 8, nullptr);
    EXPECT_THAT(messages(), ElementsAre("level=4, slot=8, exceed range!"));
}

// A queue that refuses the message

TEST_F(SubmissionTest, AddOneLog_SendFails_ReportsErrnoAsItWasBeforePrintErrno) {
    test::expectMessageAt(1, "Msg send error = 0x3D0002, 2,1700000000,1,5,lost\n", [] {
        platform().fail("msgQSend");  // the probe's printErrno sets errno to 0
        EXPECT_EQ(JORN_AddOneLog(2, 1, 5, "lost"), -1);
    });
}

TEST_F(SubmissionTest, AddOneLog_SendFails_CallsPrintErrnoAfterSendAndBeforeTheMessage) {
    platform().fail("msgQSend");
    JORN_AddOneLog(2, 1, 5, "lost");
    EXPECT_THAT(platform().calls(), ElementsAre("time", "msgQSend 23 0 0 2,1700000000,1,5,lost\n",
                                                "printErrno " + std::to_string(kErrnoUnavailable)));
    EXPECT_THAT(platform().pieces(),
                ElementsAre("errno 0x3D0002\r\n", StartsWith("["),
                            "Msg send error = 0x3D0002, 2,1700000000,1,5,lost\n", "\r\n"));
}

TEST_F(SubmissionTest, AddOneLog_SendFailsWhileSilenced_StillPrintsErrno) {
    for (const int32_t level : {0, -1, INT32_MIN}) {
        platform().clearLog();
        platform().fail("msgQSend");
        jorn_SetDebugPrintLevel(level);
        EXPECT_EQ(JORN_AddOneLog(2, 1, 5, "lost"), -1);
        EXPECT_THAT(platform().pieces(), ElementsAre("errno 0x3D0002\r\n"));
    }
}

TEST_F(SubmissionTest, AddOneLog_512Waiting_RefusesThe513th) {
    for (int i = 1; i <= 512; ++i) {
        ASSERT_EQ(JORN_AddOneLog(2, 1, 5, "x"), 0) << i;
    }
    EXPECT_EQ(JORN_AddOneLog(2, 1, 5, "y"), -1);
    EXPECT_THAT(messages(),
                ElementsAre("(bare) errno 0x3D0002\r\n", "Msg send error = 0x3D0002, 2,1700000000,1,5,y\n"));
    EXPECT_EQ(queued(), 512);
    received();
    EXPECT_EQ(JORN_AddOneLog(2, 1, 5, "z"), 0);
}

TEST_F(SubmissionTest, AddOneLog_QueueDeleted_ReportsItsErrno) {
    const MSG_Q_ID stale = logMsgCsvStore_ID;
    msgQDelete(stale);
    EXPECT_EQ(JORN_AddOneLog(2, 1, 5, "x"), -1);
    EXPECT_THAT(messages(),
                ElementsAre("(bare) errno 0x3D0001\r\n", "Msg send error = 0x3D0001, 2,1700000000,1,5,x\n"));
}

// The module's own items

struct OwnItem {
    const char *name;
    int32_t (*add)(JORN_OBJ *);
    const char *text;
};

class OwnItemTest : public SubmissionTest, public ::testing::WithParamInterface<OwnItem> {};

TEST_P(OwnItemTest, Add_Object_SendsItsTextAtDebugLevelSlotZero) {
    EXPECT_EQ(GetParam().add(obj_.get()), 0);
    EXPECT_EQ(received(), "2,1700000000,3,0,"s + GetParam().text + "\n" + "\0"s);
    EXPECT_EQ(queued(), 0);
}

TEST_P(OwnItemTest, Add_ObjectWithOneSlot_PassesTheChecks) {
    obj_->slot_max = 1;
    EXPECT_EQ(GetParam().add(obj_.get()), 0);
    EXPECT_EQ(queued(), 1);
}

TEST_P(OwnItemTest, Add_NullObject_FailsSilently) {
    jorn_SetDebugPrintLevel(INT32_MAX);
    EXPECT_EQ(GetParam().add(nullptr), -1);
    EXPECT_THAT(platform().pieces(), IsEmpty());
    EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_P(OwnItemTest, Add_SendFails_StillSucceeds) {
    platform().fail("msgQSend");
    EXPECT_EQ(GetParam().add(obj_.get()), 0);
    EXPECT_THAT(messages(), SizeIs(2));
}

INSTANTIATE_TEST_SUITE_P(, OwnItemTest,
                         ::testing::Values(OwnItem{"Init", jorn_AddLogInit, "Log start init!"},
                                           OwnItem{"Clear", jorn_AddLogClear, "Log all cleared!"}),
                         [](const auto &row) { return row.param.name; });

// With the store task

using SubmissionWithStoreTest = test::ModuleTest;

TEST_F(SubmissionWithStoreTest, Create_Returned_FirstQueuedItemIsLogStartInit) {
    ASSERT_EQ(JORN_Create(dir_.name(), 1, 2), 1);
    JORN_AddOneLog(1, 1, 0, "x");
    EXPECT_THAT(platform().calls({"msgQSend"}),
                ElementsAre("msgQSend 34 0 0 1,1700000000,3,0,Log start init!\n",
                            "msgQSend 20 0 0 1,1700000000,1,0,x\n"));
}

TEST_F(SubmissionWithStoreTest, AddOneLog_513InOnePause_RefusesTheLastAndStoresTheOthers) {
    const int32_t handle = createAtRest(2);
    std::string expected = "1700000000,3,0,Log start init!\n";
    for (int i = 1; i <= 512; ++i) {
        ASSERT_EQ(JORN_AddOneLog(handle, 1, 0, "x"), 0) << i;
        expected += "1700000000,1,0,x\n";
    }
    EXPECT_EQ(JORN_AddOneLog(handle, 1, 0, "y"), -1);
    pass();
    EXPECT_EQ(JORN_AddOneLog(handle, 1, 0, "z"), 0);
    settle();
    EXPECT_EQ(dir_.read("0.csv"), expected + "1700000000,1,0,z\n");
}

// Another thread holds the mutex from before the submission until after it.
TEST_F(SubmissionWithStoreTest, AddOneLog_FileMutexHeldByAnother_DoesNotWaitForIt) {
    const int32_t handle = createAtRest(2);
    std::promise<void> isHeld;
    std::promise<void> isSubmitted;
    std::thread holder([&] {
        semTake(logSemCsvRW_ID, WAIT_FOREVER);
        isHeld.set_value();
        isSubmitted.get_future().wait();
        semGive(logSemCsvRW_ID);
    });
    isHeld.get_future().wait();
    EXPECT_EQ(JORN_AddOneLog(handle, 1, 0, "x"), 0);
    isSubmitted.set_value();
    holder.join();
}

}  // namespace
