// SPDX-License-Identifier: Apache-2.0
#include "log/aside.h"

#include "system/failure.h"

namespace tool {
namespace {

constexpr char kPrefix[] = "aside-";
constexpr char kUnfinished[] = ".partial";

}  // namespace

std::string asideName(time_t now, int number) {
    tm utc = {};
    char text[sizeof "20261122T101500Z"];
    if (gmtime_r(&now, &utc) == nullptr || strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc) == 0) {
        throw Failure("the current time cannot be determined");
    }
    return std::string(kPrefix) + text + (number > 1 ? "-" + std::to_string(number) : "");
}

std::string unfinishedAsideName(const std::string &name) { return name + kUnfinished; }

std::string finishedAsideName(const std::string &unfinished) {
    return unfinished.substr(0, unfinished.size() - (sizeof kUnfinished - 1));
}

bool isAsideName(const std::string &name) { return name.compare(0, sizeof kPrefix - 1, kPrefix) == 0; }

bool isUnfinishedAsideName(const std::string &name) {
    constexpr size_t kLength = sizeof kUnfinished - 1;
    return isAsideName(name) && name.size() > kLength &&
           name.compare(name.size() - kLength, kLength, kUnfinished) == 0;
}

}  // namespace tool
