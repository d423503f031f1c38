// SPDX-License-Identifier: Apache-2.0
// The interface behind the page: /api/..., read-only, JSON. docs/serve.md describes it.
#ifndef JORN_TOOLS_API_H
#define JORN_TOOLS_API_H

#include <chrono>
#include <string>

#include "query/expression_pool.h"
#include "serve/request.h"
#include "serve/served_logs.h"
#include "serve/text_matches.h"

namespace tool {

struct ApiTerms {
    std::string version;
    bool isUtc = false;  ///< UTC is the local time of the process.
    std::chrono::milliseconds longestAnswer{10000};
    std::chrono::milliseconds pingEvery{15000};
};

/// Safe to use from any thread.
class Api {
public:
    static constexpr uint64_t kMostItems = 1000;
    static constexpr uint64_t kMostBuckets = 2000;

    /// The logs must outlive it, and all answers that it gives.
    Api(ServedLogs *logs, ApiTerms terms) : logs_(*logs), terms_(std::move(terms)) {}

    /// Whether a path is that of the stream, which lasts as long as its client.
    static bool isStream(const std::string &path) { return path == "/api/stream"; }

    /// Never throws RequestError: that is an answer too.
    WebAnswer answer(const WebRequest &request);

private:
    struct Asked;
    using Endpoint = WebAnswer (Api::*)(Asked *);

    static Endpoint endpointAt(const std::string &path);
    WebAnswer answerInView(Endpoint endpoint, const WebRequest &request);
    WebAnswer logs(Asked *asked);
    WebAnswer histogram(Asked *asked);
    WebAnswer facets(Asked *asked);
    WebAnswer items(Asked *asked);
    WebAnswer item(Asked *asked);
    WebAnswer findings(Asked *asked);
    WebAnswer stream(Asked *asked);
    WebAnswer download(Asked *asked);
    WebAnswer command(Asked *asked);
    WebAnswer checkFilter(Asked *asked);

    ServedLogs &logs_;
    const ApiTerms terms_;
    ExpressionPool expressions_;
    TextMatches matches_;
};

}  // namespace tool

#endif
