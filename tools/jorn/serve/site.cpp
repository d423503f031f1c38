// SPDX-License-Identifier: Apache-2.0
#include "serve/site.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tool {
namespace {

constexpr std::string_view kIndex = "index.html";

std::string typeOf(std::string_view name) {
    constexpr std::array<std::pair<std::string_view, const char *>, 7> kTypes = {
        {{".html", "text/html; charset=utf-8"},
         {".js", "text/javascript; charset=utf-8"},
         {".css", "text/css; charset=utf-8"},
         {".svg", "image/svg+xml"},
         {".png", "image/png"},
         {".json", "application/json"},
         {".txt", "text/plain; charset=utf-8"}}};
    const auto *const found = std::find_if(kTypes.begin(), kTypes.end(), [&](const auto &type) {
        const std::string_view end = type.first;
        return name.size() > end.size() && name.substr(name.size() - end.size()) == end;
    });
    return found != kTypes.end() ? found->second : "application/octet-stream";
}

}  // namespace

WebAnswer Site::answer(const WebRequest &request) const {
    if (std::optional<WebAnswer> refusal = access_.refusalOf(request)) {
        return std::move(*refusal);
    }
    if (request.path.compare(0, 5, "/api/") != 0) {
        return fileAt(request);
    }
    if (!look_.wait()) {
        throw RequestError(503, "the logs are still being read; try again");
    }
    return api_.answer(request);
}

WebAnswer Site::fileAt(const WebRequest &request) const {
    const std::string_view name =
        request.path == "/" ? kIndex
                            : std::string_view(request.path).substr(std::min<size_t>(request.path.size(), 1));
    const auto file =
        std::find_if(files_.begin(), files_.end(), [&](const PageFile &each) { return each.name == name; });
    if (file == files_.end()) {
        return answerOf(RequestError(404, "there is nothing at this path"));
    }
    const std::string tag = "\"" + std::string(file->hash) + "\"";
    WebAnswer answer;
    answer.type = typeOf(file->name);
    answer.add("Cache-Control", "no-cache");
    answer.add("ETag", tag);
    if (request.header("if-none-match") == tag) {
        answer.status = 304;
    } else {
        answer.body = file->bytes;
    }
    return answer;
}

}  // namespace tool
