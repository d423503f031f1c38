// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <memLib.h>
#include <msgQLib.h>
#include <objLib.h>
#include <semLib.h>
#include <stdio.h>
#include <string.h>
#include <taskLib.h>
#include <usrLib.h>

#include <array>

namespace {

struct ErrorName {
    int number;
    const char *name;
};

#define JORN_PORT_ERROR(name) \
    { name, #name }
constexpr std::array<ErrorName, 12> kErrorNames = {{
    JORN_PORT_ERROR(S_taskLib_ILLEGAL_PRIORITY),
    JORN_PORT_ERROR(S_memLib_NOT_ENOUGH_MEMORY),
    JORN_PORT_ERROR(S_semLib_INVALID_OPTION),
    JORN_PORT_ERROR(S_semLib_INVALID_QUEUE_TYPE),
    JORN_PORT_ERROR(S_semLib_INVALID_OPERATION),
    JORN_PORT_ERROR(S_objLib_OBJ_ID_ERROR),
    JORN_PORT_ERROR(S_objLib_OBJ_UNAVAILABLE),
    JORN_PORT_ERROR(S_objLib_OBJ_DELETED),
    JORN_PORT_ERROR(S_objLib_OBJ_TIMEOUT),
    JORN_PORT_ERROR(S_msgQLib_INVALID_MSG_LENGTH),
    JORN_PORT_ERROR(S_msgQLib_INVALID_QUEUE_TYPE),
}};
#undef JORN_PORT_ERROR

/// The host's C library keeps the text of an unknown number in thread-local storage.
const char *textOf(int number) {
    for (const ErrorName &known : kErrorNames) {
        if (known.number == number) {
            return known.name;
        }
    }
    return strerror(number);
}

}  // namespace

extern "C" void printErrno(int errNo) {
    const int errorBefore = errno;
    const int number = errNo != 0 ? errNo : errorBefore;
    printf("errno = 0x%x : %s\n", static_cast<unsigned>(number), textOf(number));
    errno = errorBefore;
}
