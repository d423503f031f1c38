// SPDX-License-Identifier: Apache-2.0
#include "http/request_head.h"

#include <algorithm>

namespace tool {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

/// Headers with longer lines are kept from the library.
constexpr size_t kLongLine = 4096;

/// Whether a text can be a method or the name of a header.
bool isToken(std::string_view text) {
    constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               kMarks.find(c) != std::string_view::npos;
    });
}

std::string_view withoutBlanks(std::string_view text) {
    const size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
    const size_t last = text.find_last_not_of(" \t");
    return last == std::string_view::npos ? "" : text.substr(begin, last + 1 - begin);
}

}  // namespace

RequestHead::RequestHead(std::string_view bytes) {
    const size_t end = std::min(bytes.find(kLineEnd), bytes.size());
    takeLine(bytes.substr(0, end));
    for (size_t begin = std::min(end + kLineEnd.size(), bytes.size()); begin < bytes.size();) {
        const size_t lineEnd = std::min(bytes.find(kLineEnd, begin), bytes.size());
        takeHeader(bytes.substr(begin, lineEnd - begin));
        begin = lineEnd + kLineEnd.size();
    }
}

void RequestHead::takeLine(std::string_view line) {
    const size_t methodEnd = std::min(line.find(' '), line.size());
    const size_t targetEnd = line.rfind(' ');
    const std::string_view method = line.substr(0, methodEnd);
    const bool isWhole = targetEnd != std::string_view::npos && targetEnd > methodEnd + 1;
    const std::string_view target = isWhole ? line.substr(methodEnd + 1, targetEnd - methodEnd - 1) : "";
    if (isToken(method) && target.substr(0, 1) == "/" && target.find(' ') == std::string_view::npos) {
        method_ = method;
        target_ = target.substr(0, target.find('#'));
        // The library treats the answer to a HEAD request in its own way, and those to all others alike.
        plain_ = (method == "HEAD" ? "HEAD /" : "GET /") + std::string(line.substr(targetEnd));
    } else {
        plain_ = line;
    }
    plain_ += kLineEnd;
}

void RequestHead::takeHeader(std::string_view line) {
    const size_t colon = line.find(':');
    if (line.size() > kLongLine && colon != std::string_view::npos && isToken(line.substr(0, colon))) {
        longHeaders_.emplace_back(line.substr(0, colon), withoutBlanks(line.substr(colon + 1)));
        return;
    }
    plain_ += line;
    plain_ += kLineEnd;
}

}  // namespace tool
