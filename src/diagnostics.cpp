// SPDX-License-Identifier: Apache-2.0
#include "diagnostics.h"

int32_t DBGPRT_LVL = jorn::kPrintError;

namespace jorn {

bool isPrinted(int32_t level) { return __atomic_load_n(&DBGPRT_LVL, __ATOMIC_RELAXED) >= level; }

bool beginMessage(int32_t level, const char *file, int line) {
    if (!isPrinted(level)) {
        return false;
    }
    printf("[%s]line%d : ", file, line);
    return true;
}

void endMessage() { printf("\r\n"); }

// The texts are the module's own literals, without conversions.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
void printMessage(int32_t level, const char *file, int line, const char *text) {
    if (beginMessage(level, file, line)) {
        printf(text);
        endMessage();
    }
}
#pragma GCC diagnostic pop

}  // namespace jorn
