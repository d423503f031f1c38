// SPDX-License-Identifier: Apache-2.0
#include "merge/log_names.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <numeric>

#include "system/failure.h"
#include "terminal/escape.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

/// The absolute path, without dots and, as far as it exists, without links.
fs::path placeOf(const std::string &directory) {
    std::error_code ignored;
    const fs::path known = fs::weakly_canonical(fs::absolute(directory), ignored);
    const fs::path place = known.empty() ? fs::absolute(directory).lexically_normal() : known;
    return place.has_filename() ? place : place.parent_path();
}

std::string shownName(const fs::path &path) {
    const std::string name = escaped(path.filename().string());
    return name.empty() ? "log" : name;
}

/// The last `count` names of a path.
std::string lastNames(fs::path path, size_t count) {
    std::string names = shownName(path);
    for (size_t taken = 1; taken < count && path.has_relative_path(); ++taken) {
        path = path.parent_path();
        names.insert(0, escaped(path.filename().string()) + "/");
    }
    return names;
}

}  // namespace

std::string logNameOf(const std::string &directory) { return shownName(placeOf(directory)); }

std::string parentNameOf(const std::string &directory) { return shownName(placeOf(directory).parent_path()); }

void refuseSameDirectory(const std::vector<std::string> &directories) {
    std::map<std::string, std::string> known;
    for (const std::string &directory : directories) {
        struct stat status = {};
        const std::string identity = stat(directory.c_str(), &status) == 0
                                         ? std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino)
                                         : placeOf(directory).string();
        const auto [other, isNew] = known.emplace(identity, directory);
        if (!isNew) {
            refuse(directory + " and " + other->second + " are the same directory");
        }
    }
}

std::vector<std::string> distinctLogNames(const std::vector<std::string> &directories) {
    std::vector<fs::path> places;
    std::transform(directories.begin(), directories.end(), std::back_inserter(places), placeOf);
    const auto longest = std::accumulate(places.begin(), places.end(), ptrdiff_t{0},
                                         [](ptrdiff_t most, const fs::path &place) {
                                             return std::max(most, std::distance(place.begin(), place.end()));
                                         });
    std::vector<size_t> lengths(places.size(), 1);
    std::vector<std::string> names(places.size());
    for (ptrdiff_t rounds = 0; rounds < longest; ++rounds) {
        std::map<std::string, int> uses;
        for (size_t i = 0; i < places.size(); ++i) {
            names[i] = lastNames(places[i], lengths[i]);
            ++uses[names[i]];
        }
        for (size_t i = 0; i < places.size(); ++i) {
            lengths[i] += uses[names[i]] > 1 ? 1 : 0;
        }
    }
    return names;
}

}  // namespace tool
