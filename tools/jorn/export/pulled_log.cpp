// SPDX-License-Identifier: Apache-2.0
#include "export/pulled_log.h"

#include <utility>

#include "query/near_logs.h"

namespace tool {
namespace {

Question openLog(const LogOpener &open, const std::string &directory) {
    try {
        return open(directory);
    } catch (const Failure &failure) {
        if (failure.exitCode() == kExitUsage) {
            throw;
        }
        throw LogProblem(failure.what(), failure.exitCode());
    }
}

std::string listed(const std::vector<std::string> &texts) {
    std::string list;
    for (const std::string &text : texts) {
        list += (list.empty() ? "" : "; ") + text;
    }
    return list;
}

}  // namespace

LogProblem overtaken(const ShippedLog &log) {
    return LogProblem(log.directory + ": the log is written faster than it can be read");
}

std::unique_ptr<PulledLog> pullLog(const LogOpener &open, const ShippedLog &log, const LogCursor &kept,
                                   uint64_t fresh) {
    Question question = openLog(open, log.directory);
    try {
        requireLog(question.directory);
        auto pulled = std::make_unique<PulledLog>(std::move(question), kept, fresh);
        if (pulled->pull.isWaiting()) {
            throw Failure(listed(pulled->pull.damage().texts()));
        }
        return pulled;
    } catch (const Failure &failure) {
        throw LogProblem(failure.what(), failure.exitCode());
    }
}

}  // namespace tool
