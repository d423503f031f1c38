// SPDX-License-Identifier: Apache-2.0
#include "http/request.h"

#include <algorithm>
#include <charconv>

#include "output/json_text.h"

namespace tool {
namespace {

/// The byte that "%NN" at an offset stands for; nothing where there is none.
std::optional<char> byteAt(std::string_view text, size_t offset) {
    const std::string_view digits = text.substr(offset).substr(1, 2);
    unsigned char byte = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    const bool isWhole = digits.size() == 2 && error == std::errc() && end == digits.data() + digits.size();
    return isWhole ? std::optional(static_cast<char>(byte)) : std::nullopt;
}

/// With each "+" as `plus`.
std::string decoded(std::string_view text, char plus) {
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        const std::optional<char> byte = text[i] == '%' ? byteAt(text, i) : std::nullopt;
        plain += byte.value_or(text[i] == '+' ? plus : text[i]);
        i += byte ? 2 : 0;
    }
    return plain;
}

}  // namespace

std::string decodedPath(std::string_view path) { return decoded(path, '+'); }

std::vector<QueryPart> partsOfQuery(const std::string &query) {
    std::vector<QueryPart> parts;
    for (size_t begin = 0; begin < query.size();) {
        const size_t end = std::min(query.find('&', begin), query.size());
        const std::string text = query.substr(begin, end - begin);
        const size_t equals = std::min(text.find('='), text.size());
        if (!text.empty()) {
            parts.push_back({text, decoded(text.substr(0, equals), ' '),
                             decoded(text.substr(std::min(equals + 1, text.size())), ' ')});
        }
        begin = end + 1;
    }
    return parts;
}

std::optional<std::string> WebRequest::header(const std::string &name) const {
    const auto [first, last] = headers.equal_range(name);
    return first != last && std::next(first) == last ? std::optional(first->second) : std::nullopt;
}

std::string jsonText(std::string_view text) {
    std::string json;
    appendJsonText(&json, text, false);
    return json;
}

std::function<void()> requireClient(const WebWrite &write) {
    return [&write] {
        if (!write("")) {
            throw RequestError(503, "the client has gone");
        }
    };
}

void refuseParameter(const std::string &name, const std::string &message) {
    throw RequestError(400, message, ",\"parameter\":" + jsonText(name));
}

WebAnswer answerOf(const RequestError &error) {
    WebAnswer answer;
    answer.status = error.status();
    answer.body = "{\"error\":" + jsonText(error.what()) + error.more() + "}\n";
    if (error.status() == 503) {
        answer.add("Retry-After", "1");
    }
    return answer;
}

Parameters::Parameters(const WebRequest &request) {
    for (const auto &[name, value] : request.parameters) {
        left_[name].push_back(value);
    }
}

std::optional<std::string> Parameters::take(const std::string &name) {
    std::vector<std::string> values = takeAll(name);
    if (values.size() > 1) {
        refuseParameter(name, "given more than once");
    }
    return values.empty() ? std::nullopt : std::optional(std::move(values.front()));
}

std::vector<std::string> Parameters::takeAll(const std::string &name) {
    const auto found = left_.find(name);
    if (found == left_.end()) {
        return {};
    }
    std::vector<std::string> values = std::move(found->second);
    left_.erase(found);
    return values;
}

uint64_t Parameters::takeNumber(const std::string &name, uint64_t otherwise, uint64_t least, uint64_t most) {
    const std::optional<std::string> text = take(name);
    if (!text) {
        return otherwise;
    }
    uint64_t number = 0;
    const char *const last = text->data() + text->size();
    const auto [end, error] = std::from_chars(text->data(), last, number);
    if (error != std::errc() || end != last || number < least || number > most) {
        refuseParameter(name,
                        "must be a number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

void Parameters::end() const {
    if (!left_.empty()) {
        refuseParameter(left_.begin()->first, "unknown parameter");
    }
}

void Deadline::check() const {
    constexpr std::chrono::milliseconds kBetweenQuestions(100);
    const Clock::time_point now = Clock::now();
    if (now > end_) {
        throw RequestError(504, "the answer takes too long; narrow the filter");
    }
    if (requireWanted_ != nullptr && now.time_since_epoch().count() >= nextQuestion_) {
        nextQuestion_ = (now + kBetweenQuestions).time_since_epoch().count();
        requireWanted_();
    }
}

}  // namespace tool
