// SPDX-License-Identifier: Apache-2.0
#include "terminal/terminal.h"

#include <langinfo.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>

#include "terminal/number_text.h"

namespace tool {

int terminalWidth(int file) {
    constexpr int kUsual = 80;
    constexpr int kLargest = 10000;
    if (const char *const columns = getenv("COLUMNS")) {
        const int width = numberBelow(columns, kLargest + 1).value_or(0);
        if (width > 0) {
            return width;
        }
    }
    winsize size = {};
    return ioctl(file, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

bool isLocaleUtf8() {
    // The program itself stays in the C locale, which its formats are made for.
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr) {
        return false;
    }
    const bool isUtf8 = strcmp(nl_langinfo_l(CODESET, locale), "UTF-8") == 0;
    freelocale(locale);
    return isUtf8;
}

}  // namespace tool
