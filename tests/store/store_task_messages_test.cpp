// SPDX-License-Identifier: Apache-2.0
// What the store task makes of one message: well formed, malformed, and for whom.
#include <msgQLib.h>

#include "store/store_fixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::StartsWith;

/// Tests that end by reading the file of one object, to which everything of interest was written.
class StoreMessageTest : public StoreTest {
protected:
    void SetUp() override {
        StoreTest::SetUp();
        handle_ = createAtRest(3);
    }

    /// Handles what is queued, in one batch, and closes the file.
    static void handleAll() {
        platform().clearLog();
        pass();
        EXPECT_EQ(msgQNumMsgs(logMsgCsvStore_ID), 0) << "a dropped message does not end the batch";
        pass();
    }

    /// What has been written since the object's first item.
    std::string written() const { return dir_.read("0.csv").substr(sizeof kInitLine - 1); }

    uint32_t counted() const { return info(handle_, 0).itemCount - 1; }

    int32_t handle_ = 0;
};

std::string repeat(char byte, size_t count) { return std::string(count, byte); }

/// A literal that contains NULs, without the one that ends it.
template <size_t kSize>
std::string bytes(const char (&literal)[kSize]) {
    return {literal, kSize - 1};
}

// --- Well formed ---------------------------------------------------------------------------------------

TEST_F(StoreMessageTest, Message_FromASubmission_LineIsTheMessageWithoutHandleAndNul) {
    ASSERT_EQ(JORN_AddOneLog(handle_, 1, 5, "door open"), 0);
    handleAll();
    EXPECT_EQ(written(), "1700000000,1,5,door open\n");
    EXPECT_EQ(counted(), 1U);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(StoreMessageTest, Message_TextWithCommas_KeepsThem) {
    ASSERT_EQ(JORN_AddOneLog(handle_, 1, 5, ",a,,b,"), 0);
    handleAll();
    EXPECT_EQ(written(), "1700000000,1,5,,a,,b,\n");
}

TEST_F(StoreMessageTest, Message_EmptyText_LineEndsInTheThirdComma) {
    ASSERT_EQ(JORN_AddOneLog(handle_, 1, 5, ""), 0);
    handleAll();
    EXPECT_EQ(written(), "1700000000,1,5,\n");
    EXPECT_EQ(counted(), 1U);
}

TEST_F(StoreMessageTest, Message_BytesAbove127_AreWrittenUnchanged) {
    sendRest(handle_, "1700000000,1,5,\x80\xc3\xa4\xff\n");
    handleAll();
    EXPECT_EQ(written(), "1700000000,1,5,\x80\xc3\xa4\xff\n");
    EXPECT_EQ(counted(), 1U);
}

TEST_F(StoreMessageTest, Message_LeadingCommas_AreSkippedBeforeTheHandle) {
    sendRaw(bytes(",,,1,1700000000,1,5,x\n\0"));
    handleAll();
    EXPECT_EQ(written(), "1700000000,1,5,x\n");
}

TEST_F(StoreMessageTest, Message_HandleWithTrailingCharacters_LeadingNumberCounts) {
    sendRaw(bytes(" 1st,1700000000,1,5,x\n\0"));
    handleAll();
    EXPECT_EQ(written(), "1700000000,1,5,x\n");
}

// --- Receiving -----------------------------------------------------------------------------------------

TEST_F(StoreMessageTest, Receive_271Bytes_IsAccepted) {
    const std::string rest = "1700000000,1,5," + repeat('x', 240) + "\n";
    sendRaw("0000000000001," + rest + '\0');
    handleAll();
    EXPECT_EQ(written(), rest);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(StoreMessageTest, Receive_272Bytes_IsDroppedWithMessage) {
    const std::string message = "00000000000001,1700000000,1,5," + repeat('x', 240) + "\n" + '\0';
    ASSERT_EQ(message.size(), 272U);
    expectMessageAt(1, "msg receive eror!", [&] {
        sendRaw(message);
        pass();
    });
    settle();
    EXPECT_EQ(written(), "");
}

TEST_F(StoreMessageTest, Receive_NoByte_IsDroppedWithMessage) {
    expectMessageAt(1, "msg receive eror!", [] {
        sendRaw("");
        pass();
    });
    settle();
    EXPECT_EQ(written(), "");
}

TEST_F(StoreMessageTest, Receive_Fails_IsDroppedWithMessage) {
    sendRest(handle_, kItemLine);
    platform().fail("msgQReceive", 2);
    expectMessageAt(1, "msg receive eror!", [] { pass(); });
    settle();
    EXPECT_EQ(written(), kItemLine) << "still queued, so stored by the pass after";
}

TEST_F(StoreMessageTest, Receive_DroppedMessage_LeavesTheFileOpen) {
    storeOne(handle_);
    sendRaw(repeat('1', 272));
    EXPECT_THAT(callsOfPass(),
                ElementsAre("msgQNumMsgs", "semTake -1", "msgQReceive 272 -1", "semGive", "taskDelay 100"));
}

// --- The handle field ----------------------------------------------------------------------------------

TEST_F(StoreMessageTest, HandleField_OnlyCommas_IsDroppedWithTheWholeBuffer) {
    expectMessageAt(1, "msg handle_id eror: ,,,", [] {
        sendRaw(bytes(",,,\0"));
        pass();
    });
    settle();
    EXPECT_EQ(written(), "");
}

TEST_F(StoreMessageTest, HandleField_OnlyANul_IsDroppedWithAnEmptyBuffer) {
    sendRaw(bytes("\0"));
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg handle_id eror: "));
}

TEST_F(StoreMessageTest, HandleField_NulFirst_IsDropped) {
    sendRaw(bytes("\0001,1700000000,1,5,x\n\0"));
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg handle_id eror: "));
    EXPECT_EQ(written(), "");
}

TEST_F(StoreMessageTest, HandleField_OnlyCommasOverALongerMessage_BufferIsCutAtTheMessageLength) {
    sendRaw(bytes(",,,,,,\0"));
    sendRaw(",,");
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg handle_id eror: ,,,,,,", "msg handle_id eror: ,,"));
}

TEST_F(StoreMessageTest, HandleField_OnlyCommasWithoutNul_TakesWhatAnEarlierMessageLeft) {
    sendRaw(bytes("1,7777,1,5,x\n\0"));
    sendRaw(",,,");
    handleAll();
    // The first message's comma became a NUL; "777" is what the three commas leave of its time.
    EXPECT_EQ(written(), "7777,1,5,x\n");
    EXPECT_THAT(messages(), ElementsAre("handle_id = 777, not found!"));
}

TEST_F(StoreMessageTest, HandleField_Dropped_LeavesTheFileOpen) {
    storeOne(handle_);
    sendRaw(bytes(",\0"));
    EXPECT_THAT(callsOfPass(),
                ElementsAre("msgQNumMsgs", "semTake -1", "msgQReceive 272 -1", "semGive", "taskDelay 100"));
}

// --- The remainder -------------------------------------------------------------------------------------

TEST_F(StoreMessageTest, Remainder_Empty_IsDroppedWithMessage) {
    expectMessageAt(1, "msg eror: ", [] {
        sendRaw(bytes("1,\0"));
        pass();
    });
    settle();
    EXPECT_EQ(written(), "");
}

TEST_F(StoreMessageTest, Remainder_OneComma_IsWrittenAndNotCounted) {
    sendRest(handle_, ",");
    handleAll();
    EXPECT_EQ(written(), ",");
    EXPECT_EQ(counted(), 0U);
    EXPECT_THAT(messages(), ElementsAre("Time info error!", " Error: update CSV info failed!"));
}

TEST_F(StoreMessageTest, Remainder_OneField_IsWrittenAndNotCounted) {
    sendRest(handle_, "x");
    handleAll();
    EXPECT_EQ(written(), "x");
    EXPECT_EQ(counted(), 0U);
    EXPECT_THAT(messages(), ElementsAre("Level info error!", " Error: update CSV info failed!"));
}

TEST_F(StoreMessageTest, Remainder_Rejected_BatchGoesOnInTheSameFile) {
    sendRest(handle_, ",");
    sendRest(handle_, kItemLine);
    handleAll();
    EXPECT_EQ(written(), ",1700000000,1,5,door open\n");
    EXPECT_EQ(counted(), 1U);
}

TEST_F(StoreMessageTest, Remainder_256Bytes_IsWrittenWhole) {
    const std::string rest = "1700000000,1,5," + repeat('y', 240) + "\n";
    ASSERT_EQ(rest.size(), 256U);
    sendRest(handle_, rest);
    handleAll();
    EXPECT_EQ(written(), rest);
    EXPECT_EQ(counted(), 1U);
}

TEST_F(StoreMessageTest, Remainder_257Bytes_IsDroppedWithMessage) {
    const std::string rest = "1700000000,1,5," + repeat('y', 241) + "\n";
    ASSERT_EQ(rest.size(), 257U);
    expectMessageAt(1, "msg eror: " + rest, [&] {
        sendRest(handle_, rest);
        pass();
    });
    settle();
    EXPECT_EQ(written(), "");
}

TEST_F(StoreMessageTest, Remainder_LongestThatFitsAMessage_IsDroppedWithMessage) {
    const std::string rest = repeat('z', 268);
    sendRest(handle_, rest);
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg eror: " + rest));
}

TEST_F(StoreMessageTest, Remainder_NulInside_IsWrittenUpToIt) {
    sendRaw(bytes("1,1700000000,1,5,be\0fore\n\0"));
    handleAll();
    EXPECT_EQ(written(), "1700000000,1,5,be");
}

TEST_F(StoreMessageTest, Remainder_DroppedForUnknownHandle_IsJudgedBeforeTheHandle) {
    sendRaw(bytes("99,\0"));
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg eror: "));
}

TEST_F(StoreMessageTest, Remainder_Dropped_LeavesTheFileOpen) {
    storeOne(handle_);
    sendRaw(bytes("99,\0"));
    EXPECT_THAT(callsOfPass(),
                ElementsAre("msgQNumMsgs", "semTake -1", "msgQReceive 272 -1", "semGive", "taskDelay 100"));
}

// --- Messages without an end of their own --------------------------------------------------------------

TEST_F(StoreMessageTest, Unended_NoComma_TakesTheRemainderOfAnEarlierMessage) {
    sendRest(handle_, kItemLine);
    sendRaw(bytes("1\0"));
    handleAll();
    EXPECT_EQ(written(), std::string(kItemLine) + kItemLine);
    EXPECT_EQ(counted(), 2U);
}

TEST_F(StoreMessageTest, Unended_NoCommaWhereAnEarlierHandleEnded_NothingIsLeftOfItsComma) {
    sendRaw(bytes("01,1700000000,1,5,door open\n\0"));
    sendRaw(bytes("1\0"));
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg eror: "));
    EXPECT_EQ(written(), "1700000000,1,5,door open\n");
}

TEST_F(StoreMessageTest, Unended_CommaInTheLastByte_EndsTheHandleToo) {
    sendRaw(repeat('x', 271) + ',');  // 272 bytes: refused, and left in the buffer
    sendRaw("9");
    sendRaw("9,");
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg receive eror!", "msg eror: ", "msg eror: " + repeat('x', 269)));
}

TEST_F(StoreMessageTest, Unended_NoCommaAndNothingLeftBehind_IsDropped) {
    // A message of NULs clears what the object's first item left.
    sendRaw(repeat('\0', 271));
    sendRaw(bytes("1\0"));
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg handle_id eror: ", "msg eror: "));
    EXPECT_EQ(written(), "");
}

TEST_F(StoreMessageTest, Unended_NoNul_GoesOnWithTheEarlierMessage) {
    sendRaw(bytes("1,1700000000,1,5,door open here\n\0"));
    sendRaw("1,1700000001,1,5,shut");
    handleAll();
    EXPECT_EQ(written(), "1700000000,1,5,door open here\n1700000001,1,5,shut open here\n");
}

TEST_F(StoreMessageTest, Unended_NoNulAfterALongerOne_RemainderIsMeasuredWithTheLeftovers) {
    sendRaw("00000000000001," + repeat('x', 256) + '\0');  // 272 bytes: refused, and left in the buffer
    sendRaw("1,17");
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg receive eror!",
                                        "msg eror: 17" + std::string("0000000001,") + repeat('x', 256)));
}

TEST_F(StoreMessageTest, Unended_271DigitsAfter272_EndWithinTheBuffer) {
    sendRaw(repeat('9', 272));
    sendRaw(repeat('1', 271));
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg receive eror!", "msg eror: "));
    EXPECT_EQ(written(), "");
}

TEST_F(StoreMessageTest, Unended_RemainderUpToTheBufferEnd_EndsWithinTheBuffer) {
    sendRaw(repeat('9', 272));
    sendRaw("1," + repeat('8', 269));
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg receive eror!", "msg eror: " + repeat('8', 269) + "9"));
}

TEST_F(StoreMessageTest, Unended_CommasUpToTheBufferEnd_EndWithinTheBuffer) {
    sendRaw(repeat(',', 272));
    sendRaw(repeat(',', 271));
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg receive eror!", "msg handle_id eror: " + repeat(',', 271)));
}

TEST_F(StoreMessageTest, Unended_CommaAsLastByteOfTheBuffer_RemainderIsEmpty) {
    sendRaw(repeat(',', 272));
    sendRaw(repeat('1', 271));
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg receive eror!", "msg eror: "));
}

// --- The object ----------------------------------------------------------------------------------------

struct NobodysHandle {
    const char *name;
    const char *field;
    const char *message;
    friend std::ostream &operator<<(std::ostream &out, const NobodysHandle &row) { return out << row.name; }
};

class NobodysMessageTest : public StoreMessageTest, public ::testing::WithParamInterface<NobodysHandle> {
protected:
    void sendForNobody() const { sendRaw(GetParam().field + std::string(",1700000000,1,5,x\n") + '\0'); }
};

TEST_P(NobodysMessageTest, Object_NoneOfThatHandle_IsDroppedWithMessage) {
    expectMessageAt(1, GetParam().message, [this] {
        sendForNobody();
        pass();
    });
    settle();
    EXPECT_EQ(written(), "");
}

TEST_P(NobodysMessageTest, Object_NoneOfThatHandle_ClosesTheFile) {
    storeOne(handle_);
    sendForNobody();
    EXPECT_THAT(callsOfPass(), ElementsAre("msgQNumMsgs", "semTake -1", "msgQReceive 272 -1", "fclose",
                                           "semGive", "taskDelay 100"));
    EXPECT_THAT(messages(), ElementsAre(GetParam().message));
}

TEST_P(NobodysMessageTest, Object_NoneOfThatHandleTwice_IsDroppedTwice) {
    sendForNobody();
    sendForNobody();
    handleAll();
    EXPECT_THAT(messages(), ElementsAre(GetParam().message, GetParam().message));
}

TEST_P(NobodysMessageTest, Object_KnownAgainAfterwards_ItsFileIsReopened) {
    storeOne(handle_);
    sendForNobody();
    sendRest(handle_, kItemLine);
    EXPECT_THAT(fileCallsOfPass(), ElementsAre("fclose", "fopen 0.csv a", "fwrite 25x1"));
    settle();
    EXPECT_EQ(written(), std::string(kItemLine) + kItemLine);
}

INSTANTIATE_TEST_SUITE_P(
    Handles, NobodysMessageTest,
    ::testing::Values(NobodysHandle{"Unknown", "2", "handle_id = 2, not found!"},
                      NobodysHandle{"Negative", "-1", "handle_id = -1, not found!"},
                      NobodysHandle{"Zero", "0", "handle_id = 0, not found!"},
                      NobodysHandle{"NoNumber", "one", "handle_id = 0, not found!"},
                      NobodysHandle{"Blank", " ", "handle_id = 0, not found!"},
                      NobodysHandle{"BytesAbove127", "\xb2\xff", "handle_id = 0, not found!"},
                      NobodysHandle{"Largest", "2147483647", "handle_id = 2147483647, not found!"},
                      NobodysHandle{"Smallest", "-2147483648", "handle_id = -2147483648, not found!"}),
    RowName());

TEST_F(StoreMessageTest, Object_HandleBeyondEveryNumber_IsDropped) {
    // Which number such digits yield is up to the C library; none of them is a handle.
    sendRaw(bytes("99999999999999999999999999,1700000000,1,5,x\n\0"));
    handleAll();
    ASSERT_EQ(messages().size(), 1U);
    EXPECT_THAT(messages()[0], StartsWith("handle_id = "));
    EXPECT_THAT(messages()[0], EndsWith(", not found!"));
    EXPECT_EQ(written(), "");
}

TEST_F(StoreMessageTest, Dropped_EveryKindInOneBatch_GoodOnesBetweenAreStored) {
    const std::string drops[] = {repeat('1', 272), bytes(",\0"), bytes("1,\0"),
                                 bytes("9,1700000000,1,5,x\n\0")};
    for (const std::string &drop : drops) {
        sendRaw(drop);
        sendRest(handle_, kItemLine);
    }
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("msg receive eror!", "msg handle_id eror: ,",
                                        "msg eror: ", "handle_id = 9, not found!"));
    EXPECT_EQ(written(), std::string(kItemLine) + kItemLine + kItemLine + kItemLine);
}

TEST_F(StoreMessageTest, Object_HandleOfNobodyAfterAnUnknownOne_NoneIsTakenForIt) {
    // An unknown handle leaves "none" remembered as 0; the field 0 must not match that.
    sendRest(99, kItemLine);
    sendRest(0, kItemLine);
    handleAll();
    EXPECT_THAT(messages(), ElementsAre("handle_id = 99, not found!", "handle_id = 0, not found!"));
    EXPECT_EQ(written(), "");
}

}  // namespace
}  // namespace test
