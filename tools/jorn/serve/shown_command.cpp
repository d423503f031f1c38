// SPDX-License-Identifier: Apache-2.0
#include "serve/shown_command.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "terminal/utf8.h"

namespace tool {
namespace {

/// A byte that a terminal would take for a command when it is pasted, or that is not text.
bool isHarmful(const Character &character) {
    constexpr uint32_t kFirstPrintable = 0x20;
    constexpr uint32_t kDelete = 0x7f;
    constexpr uint32_t kEndOfControls = 0xa0;
    return !character.isValid || (character.code < kFirstPrintable && character.code != '\n') ||
           (character.code >= kDelete && character.code < kEndOfControls);
}

/// "$(printf '\033')"
std::string printed(std::string_view bytes) {
    constexpr unsigned kOctal = 8;
    std::string text = "\"$(printf '";
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += '\\';
        for (const unsigned place : {kOctal * kOctal, kOctal, 1U}) {
            text += static_cast<char>('0' + byte / place % kOctal);
        }
    }
    return text + "')\"";
}

/// A word as a shell reads it unchanged, without bytes that do something else where it is pasted.
std::string quoted(const std::string &word) {
    const std::string plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789%+-./:=@_,";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
        return word;
    }
    std::string text = "'";
    for (std::string_view rest = word; !rest.empty();) {
        const Character character = firstCharacter(rest);
        const std::string_view bytes = rest.substr(0, character.length);
        rest.remove_prefix(character.length);
        text += isHarmful(character) ? "'" + printed(bytes) + "'"
                : bytes == "'"       ? "'\\''"
                                     : std::string(bytes);
    }
    return text + "'";
}

std::string joined(const std::vector<std::string> &values) {
    std::string list;
    for (size_t i = 0; i < values.size(); ++i) {
        list += (i == 0 ? "" : ",") + values[i];
    }
    return list;
}

/// The options that choose levels, slots and texts, each after a blank.
std::string choiceOf(const ViewFilter &filter) {
    const FilterWords &words = filter.words;
    std::string options;
    if (words.isLevelRange) {
        const std::string &range = words.levels.front();
        options += " -p " + quoted(range.compare(0, 2, "..") == 0 ? range.substr(2) : range);
    } else if (!words.levels.empty()) {
        options += " " + quoted("--level=" + joined(words.levels));
    }
    options += words.slots.empty() ? "" : " " + quoted("--slot=" + joined(words.slots));
    for (const std::string &pattern : words.patterns) {
        // The command line takes an empty word for a missing one.
        options += " " + quoted("--grep=" + (pattern.empty() ? "(?:)" : pattern));
    }
    options += filter.pattern != nullptr && filter.isCaseIgnored ? " -i" : "";
    options += filter.pattern != nullptr && filter.isInverted ? " -v" : "";
    return options;
}

/// The server's own options that `jorn show` needs too.
std::string optionsOf(const ReadingTerms &terms, const Snapshot &snapshot) {
    std::string options = terms.isUtc ? " --utc" : "";
    options += terms.namesFile.empty() ? "" : " " + quoted("--names=" + terms.namesFile);
    // One option of the server's, so it is the same for all.
    const auto sized = std::find_if(snapshot.logs.begin(), snapshot.logs.end(),
                                    [](const auto &log) { return log->log->ringSize.has_value(); });
    return options +
           (sized != snapshot.logs.end() ? " --files=" + std::to_string(*(*sized)->log->ringSize) : "");
}

}  // namespace

std::string commandOf(const ViewFilter &filter, const Snapshot &snapshot, const ReadingTerms &terms) {
    std::string command = "jorn show";
    command += filter.words.since ? " " + quoted("--since=" + *filter.words.since) : "";
    command += filter.words.until ? " " + quoted("--until=" + *filter.words.until) : "";
    // On a terminal, the items in their order would be the newest 1,000.
    command += choiceOf(filter) + (filter.isNewestFirst ? " -r" : " -n all") + optionsOf(terms, snapshot);
    for (size_t log = 0; log < filter.logs.size(); ++log) {
        if (filter.logs[log].isWanted) {
            const std::string &path = snapshot.logs[log]->log->path;
            command += " " + quoted(path[0] == '-' ? "./" + path : path);
        }
    }
    return command;
}

}  // namespace tool
