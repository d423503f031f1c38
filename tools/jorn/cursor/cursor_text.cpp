// SPDX-License-Identifier: Apache-2.0
#include "cursor/cursor_text.h"

#include <stdio.h>

#include <array>
#include <charconv>
#include <nlohmann/json.hpp>
#include <sstream>

#include "system/failure.h"

namespace tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kKind[] = "jorn cursors";
constexpr int kVersion = 1;

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
        throw BadText{"a hash is no hexadecimal number"};
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

Json jsonOf(const FileSum &sum) { return Json::array({sum.items, hexOf(sum.chain, kLong)}); }

FileSum sumIn(const Json &json) { return {json.at(0).get<uint64_t>(), hexIn(json.at(1).get<std::string>())}; }

Json jsonOf(const Place &place) {
    Json json;
    json["file"] = place.file;
    json["items"] = place.before.items;
    json["chain"] = hexOf(place.before.chain, kLong);
    json["time"] = place.time;
    json["last"] = hexOf(place.last);
    json["marks"] = hexOf(place.marks);
    if (place.former) {
        json["former"] = jsonOf(*place.former);
    }
    return json;
}

/// What matching takes for granted.
void requireConsistent(const Place &place) {
    const bool isKnown = place.last.size() == std::min(Place::kKnown, place.before.items);
    size_t marks = 0;
    while (markAt(place.before.items, marks) > 0) {
        ++marks;
    }
    if (place.before.items == 0 || !isKnown || marks != place.marks.size()) {
        throw BadText{"the hashes of a place do not go with its number of items"};
    }
}

Place placeIn(const Json &json) {
    Place place;
    place.file = json.at("file").get<int>();
    place.before = {json.at("items").get<uint64_t>(), hexIn(json.at("chain").get<std::string>())};
    place.time = json.at("time").get<uint32_t>();
    place.last = hashesIn(json.at("last").get<std::string>());
    place.marks = hashesIn(json.at("marks").get<std::string>());
    if (json.contains("former")) {
        place.former = sumIn(json.at("former"));
    }
    requireConsistent(place);
    return place;
}

Json jsonOf(const Numbering &numbering) {
    Json json;
    json["epoch"] = numbering.epoch;
    json["seq"] = numbering.seq;
    if (numbering.place) {
        json["place"] = jsonOf(*numbering.place);
    }
    for (const Attempt &attempt : numbering.attempts) {
        json["pending"].push_back(
            {{"first", attempt.first}, {"last", attempt.last}, {"place", jsonOf(attempt.place)}});
    }
    for (const auto &[file, sum] : numbering.passed) {
        json["passed"][std::to_string(file)] = jsonOf(sum);
    }
    return json;
}

Attempt attemptIn(const Json &json) {
    return {json.at("first").get<uint64_t>(), json.at("last").get<uint64_t>(), placeIn(json.at("place"))};
}

Numbering numberingIn(const Json &json) {
    Numbering numbering;
    numbering.epoch = json.at("epoch").get<uint64_t>();
    numbering.seq = json.at("seq").get<uint64_t>();
    if (json.contains("place")) {
        numbering.place = placeIn(json.at("place"));
    }
    if (json.contains("pending")) {
        for (const Json &attempt : json.at("pending")) {
            numbering.attempts.push_back(attemptIn(attempt));
        }
    }
    if (json.contains("passed")) {
        for (const auto &[file, sum] : json.at("passed").items()) {
            numbering.passed[std::stoi(file)] = sumIn(sum);
        }
    }
    if (!numbering.place && numbering.attempts.empty()) {
        throw BadText{"an epoch has neither a place nor a pending transfer"};
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
        throw BadText{"is no file of cursors"};
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
            throw BadText{"is not whole"};
        }
    } catch (const BadText &bad) {
        giveUp(name, number, bad.what);
    } catch (const nlohmann::json::exception &) {
        giveUp(name, number, "is not a line of a file of cursors");
    } catch (const std::logic_error &) {
        giveUp(name, number, "a number of a data file is none");
    }
    return cursors;
}

}  // namespace tool
