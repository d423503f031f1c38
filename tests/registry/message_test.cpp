// SPDX-License-Identifier: Apache-2.0
#include "registry/message.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "csvfile/every_text.h"
#include "model/library_model.h"

namespace test {
namespace {

using std::string_literals::operator""s;

std::string built(int32_t handle, uint32_t time, int32_t level, int32_t slot, const char *text) {
    char message[jorn::kMessageSize];
    const size_t size = jorn::buildMessage(message, handle, time, level, slot, text);
    return {message, size};
}

/// A received message, and what was in the buffer before: an earlier, longer message.
class Received {
public:
    explicit Received(const std::string &message, const std::string &earlier = "") {
        memcpy(buffer_, earlier.data(), earlier.size());
        memcpy(buffer_, message.data(), message.size());
    }

    /// The line after the handle; "(none)" when there is no handle.
    std::string line() {
        const char *const line = jorn::takeHandle(buffer_, &handle_);
        return line != nullptr ? line : "(none)";
    }

    int32_t handle() const { return handle_; }
    std::string bytes(size_t size) const { return {buffer_, size}; }

private:
    char buffer_[jorn::kMessageBufferSize] = {};
    int32_t handle_ = -77;
};

TEST(MessageTest, BuildMessage_TypicalItem_IsHandleAndLineWithItsNul) {
    EXPECT_EQ(built(2, 1700000000, 1, 5, "door open"), "2,1700000000,1,5,door open\n\0"s);
}

TEST(MessageTest, BuildMessage_LongestFields_Fits) {
    const std::string message =
        built(INT32_MIN, UINT32_MAX, INT32_MIN, INT32_MIN, std::string(300, 'z').c_str());
    EXPECT_EQ(message,
              libraryMessage(INT32_MIN, UINT32_MAX, INT32_MIN, INT32_MIN, std::string(300, 'z').c_str()));
    EXPECT_EQ(message.size(), 247U);
}

TEST(MessageTest, TakeHandle_MessageThatWasBuilt_GivesHandleAndLine) {
    for (const int32_t handle : {1, 2, 45, INT32_MAX, 0, -1, INT32_MIN}) {
        Received received(built(handle, 1700000000, -1, 7, "a,b"));
        EXPECT_EQ(received.line(), "1700000000,-1,7,a,b\n");
        EXPECT_EQ(received.handle(), handle);
    }
}

TEST(MessageTest, TakeHandle_FieldFollowedByAComma_PutsANulInItsPlace) {
    Received received("12,x\n");
    EXPECT_EQ(received.line(), "x\n");
    EXPECT_EQ(received.bytes(5), "12\0x\n"s);
    Received single("7,x\n");
    EXPECT_EQ(single.line(), "x\n");
    EXPECT_EQ(single.bytes(4), "7\0x\n"s);
}

TEST(MessageTest, TakeHandle_EveryShortField_IsTheNumberThatTheLibraryGives) {
    constexpr char kAlphabet[] = "09-+ ,x:/";
    for (size_t length = 1; length <= 4; ++length) {
        EveryText fields(kAlphabet, sizeof kAlphabet - 1, length);
        do {
            const std::string message = fields.text() + ",7\n";
            const ModelFields wanted = libraryFields(message.c_str(), 255, 1);
            Received received(message);
            EXPECT_EQ(received.line(), wanted.rest) << message;
            EXPECT_EQ(received.handle(), atoi(wanted.fields.front().c_str())) << message;
        } while (fields.next());
    }
}

TEST(MessageTest, TakeHandle_NoFieldAtAll_GivesNoneAndLeavesTheHandle) {
    for (const char *const message : {"", ",", ",,,"}) {
        Received received(message);
        EXPECT_EQ(received.line(), "(none)") << message;
        EXPECT_EQ(received.handle(), -77) << message;
    }
}

TEST(MessageTest, TakeHandle_CommasBeforeTheHandle_AreSkipped) {
    Received received(",,3,x");
    EXPECT_EQ(received.line(), "x");
    EXPECT_EQ(received.handle(), 3);
}

TEST(MessageTest, TakeHandle_NoNumber_IsZero) {
    Received received("abc,x");
    EXPECT_EQ(received.line(), "x");
    EXPECT_EQ(received.handle(), 0);
}

TEST(MessageTest, TakeHandle_NothingAfterTheComma_IsAnEmptyLine) {
    Received received("3,");
    EXPECT_EQ(received.line(), "");
    EXPECT_EQ(received.handle(), 3);
}

TEST(MessageTest, TakeHandle_NoCommaAfterTheHandle_IsWhatAnEarlierMessageLeft) {
    Received received("3\0"s, "1,rest of it\n");
    EXPECT_EQ(received.line(), "rest of it\n");
    EXPECT_EQ(received.handle(), 3);
}

TEST(MessageTest, TakeHandle_BufferFilledWithoutAnEnd_StaysInside) {
    Received digits(std::string(jorn::kMessageSize, '7'));
    EXPECT_EQ(digits.line(), "");
    Received commaLast(std::string(jorn::kMessageSize - 1, '7') + ",");
    EXPECT_EQ(commaLast.line(), "");
    Received commas(std::string(jorn::kMessageSize, ','));
    EXPECT_EQ(commas.line(), "(none)");
}

}  // namespace
}  // namespace test
