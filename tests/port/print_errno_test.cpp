// SPDX-License-Identifier: Apache-2.0
#include <memLib.h>
#include <usrLib.h>

#include "port_test.h"

namespace {

using namespace port_test;

std::string printed(int number, int errorBefore = 0) {
    ::testing::internal::CaptureStdout();
    errno = errorBefore;
    printErrno(number);
    const int errorAfter = errno;
    std::string text = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(errorAfter, errorBefore);
    return text;
}

TEST(PrintErrnoTest, PrintErrno_NumberOfThePort_PrintsItsName) {
    EXPECT_EQ(printed(0x3d0001), "errno = 0x3d0001 : S_objLib_OBJ_ID_ERROR\n");
    EXPECT_EQ(printed(0x3d0002), "errno = 0x3d0002 : S_objLib_OBJ_UNAVAILABLE\n");
    EXPECT_EQ(printed(0x3d0003), "errno = 0x3d0003 : S_objLib_OBJ_DELETED\n");
    EXPECT_EQ(printed(0x3d0004), "errno = 0x3d0004 : S_objLib_OBJ_TIMEOUT\n");
    EXPECT_EQ(printed(0x160066), "errno = 0x160066 : S_semLib_INVALID_OPTION\n");
    EXPECT_EQ(printed(0x160067), "errno = 0x160067 : S_semLib_INVALID_QUEUE_TYPE\n");
    EXPECT_EQ(printed(0x160068), "errno = 0x160068 : S_semLib_INVALID_OPERATION\n");
    EXPECT_EQ(printed(0x410001), "errno = 0x410001 : S_msgQLib_INVALID_MSG_LENGTH\n");
    EXPECT_EQ(printed(0x410003), "errno = 0x410003 : S_msgQLib_INVALID_QUEUE_TYPE\n");
    EXPECT_EQ(printed(0x110001), "errno = 0x110001 : S_memLib_NOT_ENOUGH_MEMORY\n");
    EXPECT_EQ(printed(0x3006d), "errno = 0x3006d : S_taskLib_ILLEGAL_PRIORITY\n");
}

TEST(PrintErrnoTest, PrintErrno_NumberOfTheHost_PrintsItsText) {
    EXPECT_EQ(printed(ENOENT), "errno = 0x2 : No such file or directory\n");
}

TEST(PrintErrnoTest, PrintErrno_Zero_PrintsTheCallersErrno) {
    EXPECT_EQ(printed(0, 0x3d0002), "errno = 0x3d0002 : S_objLib_OBJ_UNAVAILABLE\n");
}

TEST(PrintErrnoTest, PrintErrno_UnknownNumber_PrintsItAllTheSame) {
    EXPECT_EQ(printed(-1).rfind("errno = 0xffffffff : ", 0), 0u);
}

}  // namespace
