// SPDX-License-Identifier: Apache-2.0
#include "serve/api.h"

#include <time.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "serve/counts.h"
#include "serve/cursor.h"
#include "serve/item_texts.h"
#include "serve/item_window.h"
#include "terminal/base64.h"
#include "terminal/civil_time.h"
#include "terminal/escape.h"

namespace tool {
namespace {

using Json = nlohmann::ordered_json;

std::string dumped(const Json &json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

WebAnswer answerWith(std::string body) {
    WebAnswer answer;
    answer.body = std::move(body);
    return answer;
}

/// "+01:00".
std::string zoneOf(time_t now) {
    constexpr int64_t kMinute = 60;
    constexpr int64_t kMinutesPerHour = 60;
    const int64_t minutes = offsetAt(now) / kMinute;
    const int64_t size = std::abs(minutes);
    const std::string hours = std::to_string(100 + size / kMinutesPerHour).substr(1);
    return (minutes < 0 ? "-" : "+") + hours + ":" + std::to_string(100 + size % kMinutesPerHour).substr(1);
}

Json namesOf(const NameTable &table, int32_t limit) {
    Json names = Json::object();
    for (int32_t number = 0; number < limit; ++number) {
        if (const std::string *const name = table.nameOf(number)) {
            names[std::to_string(number)] = *name;
        }
    }
    return names;
}

std::string stateOf(const LogView &view, const LogHealth &health) {
    if (view.isMissing) {
        return "missing";
    }
    if (!health.isChecked) {
        return "checking";
    }
    if (!health.failure.empty()) {
        return "unreadable";
    }
    const FindingCounts counts = countFindings(health.findings);
    return !counts.isSound() ? "damaged" : counts.notes > 0 ? "notes" : "ok";
}

Json logOf(const LogView &view, const LogHealth &health) {
    const bool isEmpty = view.blocks.empty();
    Json log;
    log["log"] = view.log->name;
    log["path"] = view.log->path;
    log["items"] = view.items;
    log["bytes"] = view.bytes;
    log["files"] = view.files;
    log["ring_size"] = view.ringSize;
    log["oldest"] = isEmpty ? Json() : Json(view.blocks.front().columns->times.front());
    log["newest"] = isEmpty ? Json() : Json(view.blocks.back().columns->times.back());
    log["state"] = stateOf(view, health);
    log["findings"] = health.findings.size();
    log["level_names"] = namesOf(view.log->names.levels, jorn::kLevelMax);
    log["slot_names"] = namesOf(view.log->names.slots, jorn::kSlotMax);
    return log;
}

/// The name of a number in the first of the logs that has one; null where none has.
Json nameIn(const Snapshot &snapshot, NameTable Names::*table, int32_t number) {
    for (const auto &view : snapshot.logs) {
        if (const std::string *const name = (view->log->names.*table).nameOf(number)) {
            return *name;
        }
    }
    return nullptr;
}

/// The counts by number; what is beyond the numbers that can be is counted under null, where there is any.
template <class Counts>
Json countsOf(const Snapshot &snapshot, const char *key, NameTable Names::*table, const Counts &counts) {
    Json list = Json::array();
    for (size_t number = 0; number < counts.size(); ++number) {
        const bool isStray = number + 1 == counts.size();
        if (!isStray) {
            list.push_back({{key, number},
                            {"name", nameIn(snapshot, table, static_cast<int32_t>(number))},
                            {"items", counts[number]}});
        } else if (counts[number] > 0) {
            list.push_back({{key, nullptr}, {"name", "other"}, {"items", counts[number]}});
        }
    }
    return list;
}

Json bucketOf(const TimeBucket &bucket) {
    Json list = Json::array({bucket.begin});
    for (const uint64_t items : bucket.levels) {
        list.push_back(items);
    }
    return list;
}

}  // namespace

/// A request on its way to its answer.
struct Api::Asked {
    const WebRequest &request;
    std::shared_ptr<const Snapshot> snapshot;
    Parameters parameters;
    const Deadline &deadline;
    ExpressionPool *expressions;
    ViewFilter filter{};

    /// Takes the filter off the parameters.
    void takeFilter() { filter = tool::takeFilter(&parameters, *snapshot, time(nullptr), expressions); }
    /// The same, and lets no other be left.
    void takeFilterOnly() {
        takeFilter();
        parameters.end();
    }
    ViewQuestion question(TextMatches *matches) const { return {*snapshot, filter, matches, deadline}; }
};

Api::Endpoint Api::endpointAt(const std::string &path) {
    struct Route {
        const char *path;
        Endpoint endpoint;
    };
    static constexpr std::array<Route, 10> kRoutes = {{{"/api/logs", &Api::logs},
                                                       {"/api/histogram", &Api::histogram},
                                                       {"/api/facets", &Api::facets},
                                                       {"/api/items", &Api::items},
                                                       {"/api/item", &Api::item},
                                                       {"/api/findings", &Api::findings},
                                                       {"/api/stream", &Api::stream},
                                                       {"/api/download", &Api::download},
                                                       {"/api/command", &Api::command},
                                                       {"/api/check-filter", &Api::checkFilter}}};
    const auto *const found =
        std::find_if(kRoutes.begin(), kRoutes.end(), [&](const Route &route) { return path == route.path; });
    return found == kRoutes.end() ? nullptr : found->endpoint;
}

RequestKind Api::kindOf(const std::string &path) {
    return path == "/api/stream"     ? RequestKind::Stream
           : path == "/api/download" ? RequestKind::Download
                                     : RequestKind::Short;
}

WebAnswer Api::answer(const WebRequest &request) {
    try {
        const Endpoint endpoint = endpointAt(request.path);
        if (endpoint == nullptr) {
            throw RequestError(404, "there is nothing at this path");
        }
        return answerInView(endpoint, request);
    } catch (const RequestError &error) {
        return answerOf(error);
    }
}

/// Answers from the logs as they are; a writer that empties a file that is being read makes it necessary to
/// look at them again.
WebAnswer Api::answerInView(Endpoint endpoint, const WebRequest &request) {
    constexpr int kTries = 50;
    const Deadline deadline(terms_.longestAnswer, [this] {
        if (logs_.isStopped()) {
            throw RequestError(503, "the server is stopping");
        }
    });
    for (int tries = 0; tries < kTries; ++tries) {
        Asked asked{request, logs_.now(), Parameters(request), deadline, &expressions_};
        try {
            return (this->*endpoint)(&asked);
        } catch (const StaleView &) {
            logs_.lookAgain(asked.snapshot->revision);
        }
    }
    throw RequestError(503, "the log is written faster than it can be read; try again");
}

WebAnswer Api::logs(Asked *asked) {
    asked->parameters.end();
    const time_t now = time(nullptr);
    Json logs = Json::array();
    const Snapshot &snapshot = *asked->snapshot;
    for (size_t i = 0; i < snapshot.logs.size(); ++i) {
        logs.push_back(logOf(*snapshot.logs[i], *snapshot.health[i]));
    }
    return answerWith(dumped({{"version", terms_.version},
                              {"now", now},
                              {"timezone", zoneOf(now)},
                              {"utc", terms_.reading.isUtc},
                              {"revision", snapshot.revision},
                              {"logs", std::move(logs)}}));
}

WebAnswer Api::histogram(Asked *asked) {
    constexpr uint64_t kUsualBuckets = 200;
    const uint64_t most = asked->parameters.takeNumber("buckets", kUsualBuckets, 1, kMostBuckets);
    asked->takeFilterOnly();
    const ViewHistogram histogram = histogramOf(asked->question(&matches_), most);
    Json buckets = Json::array();
    for (const TimeBucket &bucket : histogram.buckets) {
        buckets.push_back(bucketOf(bucket));
    }
    const bool isEmpty = histogram.total == 0;
    return answerWith(dumped({{"since", histogram.since},
                              {"until", histogram.until},
                              {"step", histogram.step},
                              {"total", histogram.total},
                              {"first", isEmpty ? Json() : Json(histogram.first)},
                              {"last", isEmpty ? Json() : Json(histogram.last)},
                              {"revision", asked->snapshot->revision},
                              {"buckets", std::move(buckets)}}));
}

WebAnswer Api::facets(Asked *asked) {
    asked->takeFilterOnly();
    const Snapshot &snapshot = *asked->snapshot;
    const ViewFacets facets = facetsOf(asked->question(&matches_));
    Json logs = Json::array();
    for (size_t i = 0; i < facets.logs.size(); ++i) {
        logs.push_back({{"log", snapshot.logs[i]->log->name}, {"items", facets.logs[i]}});
    }
    return answerWith(dumped({{"levels", countsOf(snapshot, "level", &Names::levels, facets.levels)},
                              {"slots", countsOf(snapshot, "slot", &Names::slots, facets.slots)},
                              {"logs", std::move(logs)}}));
}

namespace {

/// One place in the list: by a cursor, a rank or a time.
WindowWish takeWish(Parameters *parameters, const Snapshot &snapshot) {
    constexpr uint64_t kUsualAfter = 200;
    WindowWish wish;
    const std::optional<std::string> cursor = parameters->take("cursor");
    const uint64_t kNone = UINT64_MAX;
    const uint64_t rank = parameters->takeNumber("rank", kNone, 0, UINT32_MAX);
    const uint64_t time = parameters->takeNumber("time", kNone, 0, UINT32_MAX);
    if ((cursor ? 1 : 0) + (rank != kNone ? 1 : 0) + (time != kNone ? 1 : 0) > 1) {
        refuseParameter("cursor", "give only one of cursor, rank and time");
    }
    wish.before = parameters->takeNumber("before", 0, 0, Api::kMostItems);
    wish.after = parameters->takeNumber("after", kUsualAfter, 0, Api::kMostItems);
    if (wish.before + wish.after > Api::kMostItems) {
        refuseParameter("after", "before and after must add up to at most 1000");
    }
    wish.rank = rank != kNone ? rank : 0;
    if (time != kNone) {
        wish.time = static_cast<uint32_t>(time);
    }
    if (cursor) {
        wish.item = findOrRefuse(*cursor, snapshot);
    }
    if (const std::optional<std::string> anchor = parameters->take("anchor")) {
        const std::optional<ItemCursor> item = cursorOf(*anchor);
        if (!item) {
            refuseParameter("anchor", "not a cursor");
        }
        wish.anchor = find(*item, snapshot);
    }
    return wish;
}

std::string joined(const std::vector<std::string> &items, bool isReversed) {
    std::string list;
    for (size_t i = 0; i < items.size(); ++i) {
        list += (i == 0 ? "" : ",") + items[isReversed ? items.size() - 1 - i : i];
    }
    return list;
}

}  // namespace

WebAnswer Api::items(Asked *asked) {
    const Snapshot &snapshot = *asked->snapshot;
    asked->takeFilter();
    const WindowWish wish = takeWish(&asked->parameters, snapshot);
    asked->parameters.end();
    const ItemWindow window = windowOf(asked->question(&matches_), wish);
    const std::vector<std::string> items = jsonOf(
        snapshot, window.rows, ItemJson(terms_.reading.isUtc, asked->filter.marked()), asked->deadline);
    const std::string anchor = window.anchorRank ? std::to_string(*window.anchorRank) : "null";
    return answerWith("{\"total\":" + std::to_string(window.total) +
                      ",\"rank\":" + std::to_string(window.rank) + ",\"anchor_rank\":" + anchor +
                      ",\"revision\":" + std::to_string(snapshot.revision) +
                      ",\"position\":" + jsonText(StreamPosition::newest(snapshot).text(snapshot)) +
                      ",\"items\":[" + joined(items, asked->filter.isNewestFirst) + "]}\n");
}

WebAnswer Api::item(Asked *asked) {
    const std::optional<std::string> cursor = asked->parameters.take("cursor");
    asked->parameters.end();
    if (!cursor) {
        refuseParameter("cursor", "give the cursor of an item");
    }
    const Snapshot &snapshot = *asked->snapshot;
    const RowRef place = findOrRefuse(*cursor, snapshot);
    ItemJson json(terms_.reading.isUtc);
    std::string body;
    readRows(snapshot, {place}, [&](const LogView &view, const LogBlock &block, const Line &line) {
        const std::string_view raw = withoutLineFeed(line.bytes);
        const std::string file = dataFileName(block.number);
        body = json.format(view, block, line, asked->deadline);
        body.pop_back();
        body += ",\"raw\":" + jsonText(escaped(raw)) + ",\"raw_base64\":" + jsonText(toBase64(raw)) +
                ",\"file\":" + jsonText(file) + ",\"offset\":" + std::to_string(line.offset) +
                ",\"path\":" + jsonText(view.log->path + "/" + file) + "}\n";
    });
    return answerWith(body);
}

WebAnswer Api::findings(Asked *asked) {
    asked->parameters.end();
    const Snapshot &snapshot = *asked->snapshot;
    Json logs = Json::array();
    for (size_t i = 0; i < snapshot.logs.size(); ++i) {
        const LogHealth &health = *snapshot.health[i];
        Json list = Json::array();
        for (const Finding &finding : health.findings) {
            list.push_back(Json::parse(formatFindingJson(snapshot.logs[i]->log->path, finding)));
        }
        logs.push_back({{"log", snapshot.logs[i]->log->name},
                        {"state", stateOf(*snapshot.logs[i], health)},
                        {"failure", health.failure.empty() ? Json() : Json(health.failure)},
                        {"findings", std::move(list)}});
    }
    return answerWith(dumped({{"logs", std::move(logs)}}));
}

WebAnswer Api::stream(Asked *asked) {
    StreamTerms terms;
    const std::optional<std::string> position = asked->parameters.take("position");
    const std::optional<std::string> cursor = asked->parameters.take("cursor");
    asked->takeFilterOnly();
    if (cursor && position) {
        refuseParameter("cursor", "give only one of cursor and position");
    }
    // What a client has got since the URL was made.
    terms.position = asked->request.header("last-event-id");
    if (!terms.position && cursor) {
        findOrRefuse(*cursor, *asked->snapshot);
    }
    if (!terms.position) {
        terms.position = cursor ? cursor : position;
    }
    if (position && !StreamPosition::isText(*position)) {
        refuseParameter("position", "not a position");
    }
    if (terms.position && !StreamPosition::isText(*terms.position)) {
        throw RequestError(400, "Last-Event-ID is not a position");
    }
    terms.filter = asked->filter;
    terms.isUtc = terms_.reading.isUtc;
    terms.pace = terms_.pace;
    WebAnswer answer;
    answer.type = "text/event-stream";
    answer.send = [this, terms = std::move(terms)](const WebWrite &write) {
        return ItemStream(&logs_, &matches_, terms).run(write);
    };
    return answer;
}

WebAnswer Api::download(Asked *asked) {
    const std::string format = asked->parameters.take("format").value_or("jsonl");
    if (format != "jsonl" && format != "csv") {
        refuseParameter("format", "must be jsonl or csv");
    }
    asked->takeFilterOnly();
    return downloadOf(asked->snapshot, asked->filter, &matches_, {format == "csv", terms_.reading.isUtc});
}

WebAnswer Api::command(Asked *asked) {
    asked->takeFilterOnly();
    const std::string command = commandOf(asked->filter, *asked->snapshot, terms_.reading);
    return answerWith("{\"command\":" + jsonText(command) + "}\n");
}

WebAnswer Api::checkFilter(Asked *asked) {
    asked->takeFilterOnly();
    const ViewFilter &filter = asked->filter;
    return answerWith(dumped({{"since", filter.since ? Json(*filter.since) : Json()},
                              {"until", filter.until ? Json(*filter.until) : Json()}}));
}

}  // namespace tool
