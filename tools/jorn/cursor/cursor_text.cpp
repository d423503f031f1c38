// SPDX-License-Identifier: Apache-2.0
#include "cursor/cursor_text.h"

#include <stdio.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <nlohmann/json.hpp>
#include <sstream>

#include "module_limits.h"
#include "system/failure.h"

namespace tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kKind[] = "jorn cursors";
constexpr int kVersion = 2;

/// What the parser below gives up with; the caller knows the line.
struct BadText {
    std::string what;
};

std::string hexOf(uint64_t number, int digits) {
    std::array<char, 17> text{};
    snprintf(text.data(), text.size(), "%0*llx", digits, static_cast<unsigned long long>(number));
    return text.data();
}

constexpr int kLong = 16;
constexpr int kShort = 8;

std::string hexOf(const std::vector<uint32_t> &hashes) {
    std::string text;
    for (const uint32_t hash : hashes) {
        text += hexOf(hash, kShort);
    }
    return text;
}

uint64_t hexIn(std::string_view text) {
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw BadText{"a hash is not a hexadecimal number"};
    }
    return number;
}

std::vector<uint32_t> hashesIn(const std::string &text) {
    if (text.size() % kShort != 0) {
        throw BadText{"a list of hashes is cut short"};
    }
    std::vector<uint32_t> hashes;
    for (size_t at = 0; at < text.size(); at += kShort) {
        hashes.push_back(static_cast<uint32_t>(hexIn(std::string_view(text).substr(at, kShort))));
    }
    return hashes;
}

/// By ItemState. What is sent at the moment is pending until it is known to have arrived.
constexpr std::array<const char *, 5> kStates = {"arrived", "pending", "pending", "left out", "reserved"};

Json jsonOf(const NumberedSpan &span) {
    return Json::array({span.begin, span.end, span.first, kStates[static_cast<size_t>(span.state)]});
}

NumberedSpan spanIn(const Json &json) {
    const auto state = std::find(kStates.begin(), kStates.end(), json.at(3).get<std::string>());
    if (state == kStates.end()) {
        throw BadText{"items are in no known state"};
    }
    return {json.at(0).get<uint64_t>(), json.at(1).get<uint64_t>(), json.at(2).get<uint64_t>(),
            static_cast<ItemState>(state - kStates.begin())};
}

Json jsonOf(const KnownFile &file) {
    Json json;
    json["file"] = file.number;
    json["items"] = file.sum.items;
    json["chain"] = hexOf(file.sum.chain, kLong);
    json["time"] = file.time;
    if (file.isUnread) {
        json["unread"] = true;
    }
    json["numbers"] = Json::array();
    for (const NumberedSpan &span : file.numbered.spans()) {
        json["numbers"].push_back(jsonOf(span));
    }
    json["samples"] = hexOf(file.shape.samples);
    if (file.shape.hasDetails()) {
        json["blocks"] = hexOf(file.shape.blocks);
        json["last"] = hexOf(file.shape.last);
    }
    return json;
}

/// Checks what matching takes for granted.
void requireConsistent(const KnownFile &file) {
    const FileShape &shape = file.shape;
    const uint64_t items = file.sum.items;
    const uint64_t blocks = blocksOf(items);
    const bool hasDetails =
        shape.blocks.size() == blocks && shape.last.size() == items - blocks * FileShape::kBlock;
    const bool hasNone = shape.blocks.empty() && shape.last.empty();
    if ((items == 0 && !file.isUnread) || shape.samples.size() != samplesOf(items) ||
        !(hasDetails || hasNone)) {
        throw BadText{"the hashes of a data file do not match its number of items"};
    }
}

/// Checks the numbers of a file's items, which rise from span to span.
void requireConsistent(const NumberedSpan &span, const KnownFile &file, uint64_t highest) {
    const bool isNumbered = !span.hasNumbers() || (span.first > 0 && span.last() <= highest);
    const std::vector<NumberedSpan> &before = file.numbered.spans();
    const bool isInOrder = before.empty() || before.back().end <= span.begin;
    const bool isKnown =
        span.end <= file.sum.items || (span.state == ItemState::Reserved && span.begin >= file.sum.items);
    if (span.begin >= span.end || !isKnown || !isInOrder || !isNumbered) {
        throw BadText{"the numbers of a data file do not match its items"};
    }
}

KnownFile fileIn(const Json &json, uint64_t highest) {
    KnownFile file;
    file.number = json.at("file").get<int>();
    if (file.number < 0 || file.number >= jorn::kCsvNumMax) {
        throw BadText{"a data file has a number that it cannot have"};
    }
    file.sum = {json.at("items").get<uint64_t>(), hexIn(json.at("chain").get<std::string>())};
    file.time = json.at("time").get<uint32_t>();
    file.isUnread = json.value("unread", false);
    file.shape.samples = hashesIn(json.at("samples").get<std::string>());
    file.shape.blocks = hashesIn(json.value("blocks", ""));
    file.shape.last = hashesIn(json.value("last", ""));
    requireConsistent(file);
    for (const Json &numbers : json.at("numbers")) {
        const NumberedSpan span = spanIn(numbers);
        requireConsistent(span, file, highest);
        file.numbered.set(span);
    }
    return file;
}

Json jsonOf(const Numbering &numbering) {
    Json json;
    json["epoch"] = numbering.epoch;
    json["highest"] = numbering.highest;
    json["ring"] = numbering.ringSize;
    json["files"] = Json::array();
    for (const KnownFile &file : numbering.files) {
        json["files"].push_back(jsonOf(file));
    }
    if (numbering.replaced) {
        json["replaced"] = jsonOf(*numbering.replaced);
    }
    return json;
}

Numbering numberingIn(const Json &json) {
    Numbering numbering;
    numbering.epoch = json.at("epoch").get<uint64_t>();
    numbering.highest = json.at("highest").get<uint64_t>();
    numbering.ringSize = json.at("ring").get<int>();
    if (numbering.ringSize < 1 || numbering.ringSize > jorn::kCsvNumMax) {
        throw BadText{"a ring has a number of files that it cannot have"};
    }
    for (const Json &file : json.at("files")) {
        const KnownFile known = fileIn(file, numbering.highest);
        if (numbering.file(known.number) != nullptr) {
            throw BadText{"a data file has the number of another"};
        }
        numbering.files.push_back(known);
    }
    if (json.contains("replaced")) {
        numbering.replaced = fileIn(json.at("replaced"), numbering.highest);
    }
    return numbering;
}

Json jsonOf(const LogCursor &cursor) {
    Json json;
    json["device"] = cursor.device;
    json["log"] = cursor.log;
    json["directory"] = cursor.directory;
    json["shipped"] = cursor.shipped;
    json["time"] = cursor.time;
    json["gaps"] = cursor.gaps;
    json["lost"] = cursor.lost;
    json["damaged"] = cursor.damaged;
    json["stamp"] = cursor.stamp;
    json["epochs"] = Json::array();
    for (const Numbering &numbering : cursor.epochs) {
        json["epochs"].push_back(jsonOf(numbering));
    }
    return json;
}

LogCursor cursorIn(const Json &json) {
    LogCursor cursor;
    cursor.device = json.at("device").get<std::string>();
    cursor.log = json.at("log").get<std::string>();
    cursor.directory = json.at("directory").get<std::string>();
    cursor.shipped = json.at("shipped").get<uint64_t>();
    cursor.time = json.at("time").get<int64_t>();
    cursor.gaps = json.at("gaps").get<uint64_t>();
    cursor.lost = json.at("lost").get<uint64_t>();
    cursor.damaged = json.at("damaged").get<uint64_t>();
    cursor.stamp = json.at("stamp").get<std::string>();
    for (const Json &numbering : json.at("epochs")) {
        cursor.epochs.push_back(numberingIn(numbering));
    }
    if (cursor.epochs.empty()) {
        throw BadText{"a log has no epoch"};
    }
    return cursor;
}

/// The number of logs that follow.
size_t headIn(const Json &json) {
    if (json.value("kind", "") != kKind) {
        throw BadText{"is not a cursor file"};
    }
    const int version = json.at("version").get<int>();
    if (version != kVersion) {
        throw BadText{"is of version " + std::to_string(version) + ", and this jorn knows version " +
                      std::to_string(kVersion)};
    }
    return json.at("logs").get<size_t>();
}

[[noreturn]] void giveUp(const std::string &name, size_t line, const std::string &what) {
    throw Failure(name + ":" + std::to_string(line) + ": " + what +
                  "; to begin anew, with new epochs, move the file away");
}

}  // namespace

std::string cursorText(const std::vector<LogCursor> &cursors) {
    const Json head = {{"kind", kKind}, {"version", kVersion}, {"logs", cursors.size()}};
    std::string text = head.dump() + "\n";
    for (const LogCursor &cursor : cursors) {
        // A directory may have any name; it is told for people.
        text += jsonOf(cursor).dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    }
    return text;
}

std::vector<LogCursor> parseCursors(const std::string &text, const std::string &name) {
    std::vector<LogCursor> cursors;
    std::istringstream lines(text);
    std::string line;
    size_t number = 1;
    try {
        std::getline(lines, line);
        const size_t logs = headIn(Json::parse(line));
        for (number = 2; std::getline(lines, line); ++number) {
            cursors.push_back(cursorIn(Json::parse(line)));
        }
        if (cursors.size() != logs || text.back() != '\n') {
            throw BadText{"is incomplete"};
        }
    } catch (const BadText &bad) {
        giveUp(name, number, bad.what);
    } catch (const nlohmann::json::exception &) {
        giveUp(name, number, "is not a line of a cursor file");
    }
    return cursors;
}

}  // namespace tool
