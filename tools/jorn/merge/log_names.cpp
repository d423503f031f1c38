// SPDX-License-Identifier: Apache-2.0
#include "merge/log_names.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <numeric>

#include "terminal/escape.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

/// The absolute path, without dots and, if it exists, without links.
fs::path placeOf(const std::string &directory) {
    std::error_code ignored;
    const fs::path place = fs::canonical(directory, ignored);
    return place.empty() ? fs::absolute(directory).lexically_normal() : place;
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
