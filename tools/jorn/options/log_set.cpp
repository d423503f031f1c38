// SPDX-License-Identifier: Apache-2.0
#include "options/log_set.h"

#include <algorithm>

#include "merge/log_names.h"
#include "system/failure.h"
#include "system/open_files.h"
#include "terminal/utf8.h"

namespace tool {
namespace {

size_t charactersOf(std::string_view text) {
    size_t count = 0;
    for (; !text.empty(); ++count) {
        text.remove_prefix(firstCharacter(text).length);
    }
    return count;
}

LogSet openOne(const FilterOptions &options, time_t now) {
    LogSet set;
    set.logs.push_back({openLogQuestion(options, options.directories.front(), now), "", "", 0});
    return set;
}

void setFronts(std::vector<NamedLog> *logs) {
    std::vector<std::string> names;
    for (const NamedLog &log : *logs) {
        names.push_back(log.name);
    }
    const std::vector<std::string> fronts = frontsOf(names);
    for (size_t i = 0; i < logs->size(); ++i) {
        (*logs)[i].front = fronts[i];
    }
}

}  // namespace

std::vector<std::string> frontsOf(std::vector<std::string> names) {
    size_t width = 0;
    for (const std::string &name : names) {
        width = std::max(width, charactersOf(name));
    }
    for (std::string &name : names) {
        name += std::string(width - charactersOf(name), ' ');
    }
    return names;
}

LogSet openLogs(const FilterOptions &options, time_t now) {
    const std::vector<std::string> &directories = options.directories;
    if (directories.size() == 1) {
        return openOne(options, now);
    }
    refuseSameDirectory(directories);
    UnknownNames ignored;
    checkFilter(options, now, &ignored);  // What is wrong for all logs is no matter of one.
    allowManyOpenFiles();
    const std::vector<std::string> names = distinctLogNames(directories);
    LogSet set;
    set.isSeveral = true;
    std::vector<UnknownNames> unknown;
    for (size_t place = 0; place < directories.size(); ++place) {
        const int exitCode = readOneOf(true, [&] {
            UnknownNames own;
            set.logs.push_back(
                {openLogQuestion(options, directories[place], now, &own), names[place], "", place});
            unknown.push_back(own);
            return kExitDone;
        });
        set.exitCode = std::max(set.exitCode, exitCode);
    }
    refuseUnknownInAll(unknown);
    setFronts(&set.logs);
    return set;
}

Names namesOfAll(const LogSet &set) {
    Names common;
    const auto addCommon = [&](NameTable Names::*table, int32_t limit) {
        const NameTable &first = set.logs.front().question.shownNames().*table;
        for (int32_t number = 0; number < limit; ++number) {
            const std::string *const name = first.nameOf(number);
            const bool isCommon =
                name != nullptr && std::all_of(set.logs.begin(), set.logs.end(), [&](const NamedLog &log) {
                    const std::string *const other = (log.question.shownNames().*table).nameOf(number);
                    return other != nullptr && *other == *name;
                });
            if (isCommon) {
                (common.*table).add(number, *name);
            }
        }
    };
    addCommon(&Names::levels, jorn::kLevelMax);
    addCommon(&Names::slots, jorn::kSlotMax);
    return common;
}

LevelSet levelsOfAny(const LogSet &set) {
    LevelSet levels = LevelSet::none();
    for (int32_t level = 0; level < jorn::kLevelMax; ++level) {
        if (std::any_of(set.logs.begin(), set.logs.end(),
                        [&](const NamedLog &log) { return log.question.filter.levels.has(level); })) {
            levels.add(level);
        }
    }
    return levels;
}

void refuseUnknownInAll(const std::vector<UnknownNames> &unknown) {
    for (const std::string &name : unknown.empty() ? UnknownNames() : unknown.front()) {
        if (std::all_of(unknown.begin(), unknown.end(),
                        [&](const UnknownNames &each) { return each.count(name) > 0; })) {
            refuse(name);
        }
    }
}

}  // namespace tool
