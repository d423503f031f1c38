// SPDX-License-Identifier: Apache-2.0
// The interface behind the page: /api/..., read-only, JSON. docs/serve.md describes it.
#ifndef JORN_TOOLS_API_H
#define JORN_TOOLS_API_H

#include <chrono>
#include <string>

#include "http/request.h"
#include "query/expression_pool.h"
#include "serve/item_stream.h"
#include "serve/served_logs.h"
#include "serve/shown_command.h"
#include "serve/text_matches.h"
#include "serve/view_filter.h"

namespace tool {

struct ApiTerms {
    std::string version;
    ReadingTerms reading;
    std::chrono::milliseconds longestAnswer{10000};
    StreamPace pace{};
};

/// Safe to use from any thread.
class Api {
public:
    static constexpr uint64_t kMostItems = 1000;
    static constexpr uint64_t kMostBuckets = 2000;

    /// The logs must outlive it, and all answers that it gives.
    Api(ServedLogs *logs, ApiTerms terms) : logs_(*logs), terms_(std::move(terms)) {}

    static RequestKind kindOf(const std::string &path);

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
