// SPDX-License-Identifier: Apache-2.0
// How a target reports that the module and the model disagree: it prints both sides, readable, and ends the
// program.
#ifndef JORN_TESTS_FUZZ_FINDING_H
#define JORN_TESTS_FUZZ_FINDING_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "csvfile/csvfile_support.h"

namespace fuzz {

/// Prints both sides on standard error and aborts.
[[noreturn]] void reportFinding(const std::string &what, const std::string &seen, const std::string &wanted);

/// Bytes in quotes; unprintable ones as \xNN.
std::string readable(const std::string &bytes);

inline std::string readable(int64_t number) { return std::to_string(number); }
inline std::string readable(const JORN_CSV_INFO &info) { return test::describe(info); }

template <class Item>
std::string readable(const std::vector<Item> &items) {
    std::string text;
    for (const Item &item : items) {
        text += "\n    " + readable(item);
    }
    return text.empty() ? "nothing" : text;
}

inline std::string readable(const std::map<std::string, std::string> &files) {
    std::string text;
    for (const auto &[name, bytes] : files) {
        text += "\n    " + name + " " + readable(bytes);
    }
    return text.empty() ? "nothing" : text;
}

/// Ends the program unless the module's result is what the model wants.
template <class Value>
void expectSame(const std::string &what, const Value &seen, const Value &wanted) {
    if (!(seen == wanted)) {
        reportFinding(what, readable(seen), readable(wanted));
    }
}

inline void expectNumber(const std::string &what, int64_t seen, int64_t wanted) {
    expectSame(what, seen, wanted);
}

/// Ends the program unless a condition holds that no model is needed for.
inline void expectThat(bool isTrue, const std::string &what) {
    if (!isTrue) {
        reportFinding(what, "does not hold", "holds");
    }
}

/// Compares the summaries of all positions, every counter.
void expectSummaries(const JORN_CSV_INFO *seen, const std::vector<JORN_CSV_INFO> &wanted);

}  // namespace fuzz

#endif
