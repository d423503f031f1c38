// SPDX-License-Identifier: Apache-2.0
#include "terminal/terminal.h"

#include <langinfo.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>

#include <optional>

#include "terminal/number_text.h"

namespace tool {
namespace {

/// A size from the environment; nothing where the variable holds no usable one.
std::optional<int> sizeIn(const char *variable) {
    constexpr int kLargest = 10000;
    const char *const text = getenv(variable);
    const std::optional<int> size = text != nullptr ? numberBelow(text, kLargest + 1) : std::nullopt;
    return size.value_or(0) > 0 ? size : std::nullopt;
}

/// Zeros where the file is not a terminal.
winsize sizeOf(int file) {
    winsize size = {};
    return ioctl(file, TIOCGWINSZ, &size) == 0 ? size : winsize{};
}

}  // namespace

int terminalWidth(int file) {
    constexpr int kUsual = 80;
    const winsize size = sizeOf(file);
    return sizeIn("COLUMNS").value_or(size.ws_col > 0 ? size.ws_col : kUsual);
}

int terminalHeight(int file) {
    constexpr int kUsual = 24;
    const winsize size = sizeOf(file);
    return sizeIn("LINES").value_or(size.ws_row > 0 ? size.ws_row : kUsual);
}

bool isLocaleUtf8() {
    // The program itself stays in the C locale, which its formats rely on.
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr) {
        return false;
    }
    const bool isUtf8 = strcmp(nl_langinfo_l(CODESET, locale), "UTF-8") == 0;
    freelocale(locale);
    return isUtf8;
}

}  // namespace tool
