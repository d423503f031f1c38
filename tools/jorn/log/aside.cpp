// SPDX-License-Identifier: Apache-2.0
#include "log/aside.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "log/directory_look.h"
#include "system/failure.h"

namespace tool {
namespace {

constexpr char kPrefix[] = "aside-";
constexpr char kUnfinished[] = ".partial";

bool endsWith(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

std::string asideName(time_t now, int number) {
    tm utc = {};
    char text[sizeof "20261122T101500Z"];
    if (gmtime_r(&now, &utc) == nullptr || strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc) == 0) {
        throw Failure("the time cannot be told");
    }
    return std::string(kPrefix) + text + (number > 1 ? "-" + std::to_string(number) : "");
}

std::string unfinishedAsideName(const std::string &name) { return name + kUnfinished; }

std::string finishedAsideName(const std::string &unfinished) {
    return unfinished.substr(0, unfinished.size() - (sizeof kUnfinished - 1));
}

Asides asidesIn(const StoreDirectory &directory) {
    Asides asides;
    for (const std::string &name : namesIn(directory)) {
        const bool isOfForm = name.compare(0, sizeof kPrefix - 1, kPrefix) == 0;
        if (isOfForm && lookAtEntry(directory, name).kind == Entry::Kind::Directory) {
            (endsWith(name, kUnfinished) ? asides.unfinished : asides.finished).push_back(name);
        }
    }
    return asides;
}

}  // namespace tool
