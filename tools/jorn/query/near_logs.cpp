// SPDX-License-Identifier: Apache-2.0
#include "query/near_logs.h"

#include <algorithm>
#include <filesystem>

#include "log/entry.h"
#include "system/directory_list.h"
#include "system/failure.h"

namespace tool {
namespace {

bool isPresent(const StoreDirectory &directory, const std::string &name) {
    return lookAtEntry(directory, name).isPresent();
}

bool isLogAt(const std::string &path) {
    try {
        return isLog(StoreDirectory::openForReading(path));
    } catch (const Failure &) {
        return false;
    }
}

std::vector<std::string> namesAt(const std::string &path) {
    try {
        return listNames(StoreDirectory::openForReading(path).descriptor())
            .value_or(std::vector<std::string>());
    } catch (const Failure &) {
        return {};
    }
}

/// What those beside a directory begin with: "logs" for "logs/door", nothing for "door".
std::filesystem::path parentOf(const std::string &path) {
    std::filesystem::path own(path);
    // What says the same without its end: "logs/", "logs/.".
    while (own.has_parent_path() && own != own.root_path() &&
           (!own.has_filename() || own.filename() == ".")) {
        own = own.parent_path();
    }
    const std::string last = own.filename().string();
    return last == "." || last == ".." ? own / ".." : own.parent_path();
}

std::string listed(const std::vector<std::string> &paths) {
    constexpr size_t kMost = 5;
    std::string text;
    for (size_t i = 0; i < std::min(paths.size(), kMost); ++i) {
        text += (i == 0 ? "" : ", ") + paths[i];
    }
    return paths.size() > kMost ? text + " and " + std::to_string(paths.size() - kMost) + " more" : text;
}

}  // namespace

bool isLog(const StoreDirectory &directory) {
    if (isPresent(directory, kIndexName) || isPresent(directory, kIndexBackupName)) {
        return true;
    }
    int number = 0;
    while (number < jorn::kSurveySize && !isPresent(directory, dataFileName(number))) {
        ++number;
    }
    return number < jorn::kSurveySize;
}

std::vector<std::string> logsIn(const std::string &path) {
    constexpr size_t kMostLookedAt = 1000;
    std::vector<std::string> logs;
    std::vector<std::string> names = namesAt(path.empty() ? "." : path);
    names.resize(std::min(names.size(), kMostLookedAt));
    for (const std::string &name : names) {
        const std::string below = (std::filesystem::path(path) / name).string();
        if (isLogAt(below)) {
            logs.push_back(below);
        }
    }
    return logs;
}

void requireLog(const StoreDirectory &directory) {
    if (isLog(directory)) {
        return;
    }
    std::string message = directory.path() + ": no log here: neither an index nor a data file";
    if (const std::vector<std::string> below = logsIn(directory.path()); !below.empty()) {
        message += "; logs in it: " + listed(below);
    }
    if (const std::vector<std::string> beside = logsIn(parentOf(directory.path()).string());
        !beside.empty()) {
        message += "; logs beside it: " + listed(beside);
    }
    refuse(message);
}

}  // namespace tool
