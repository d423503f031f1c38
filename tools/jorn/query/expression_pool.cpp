// SPDX-License-Identifier: Apache-2.0
#include "query/expression_pool.h"

#include <algorithm>
#include <iterator>

namespace tool {

std::shared_ptr<const RE2> ExpressionPool::get(const std::string &text, bool isCaseIgnored) {
    const std::lock_guard lock(mutex_);
    const auto known = std::find_if(expressions_.begin(), expressions_.end(), [&](const auto &expression) {
        return expression->pattern() == text && expression->options().case_sensitive() != isCaseIgnored;
    });
    if (known != expressions_.end()) {
        expressions_.splice(expressions_.begin(), expressions_, known);
        return expressions_.front();
    }
    std::shared_ptr<const RE2> expression = compiled(text, isCaseIgnored);
    if (expression != nullptr && expression->ok()) {
        expressions_.push_front(expression);
    }
    return expression;
}

std::shared_ptr<const RE2> ExpressionPool::compiled(const std::string &text, bool isCaseIgnored) {
    RE2::Options options(RE2::Quiet);
    options.set_case_sensitive(!isCaseIgnored);
    std::shared_ptr<const RE2> expression;
    for (const int64_t bytes : {kUsualBytes, kMostBytesEach}) {
        expression.reset();
        if (!makeRoom(bytes)) {
            return nullptr;
        }
        options.set_max_mem(bytes);
        *taken_ += bytes;
        const auto giveBack = [taken = taken_, bytes](const RE2 *done) {
            delete done;
            *taken -= bytes;
        };
        expression = std::shared_ptr<const RE2>(new RE2(text, options), giveBack);
        if (expression->error_code() != RE2::ErrorPatternTooLarge) {
            break;
        }
    }
    return expression;
}

/// Gives up expressions that nobody uses, those first that were asked for longest ago.
bool ExpressionPool::makeRoom(int64_t bytes) {
    for (auto next = expressions_.end(); *taken_ + bytes > most_ && next != expressions_.begin();) {
        const auto expression = std::prev(next);
        next = expression->use_count() == 1 ? expressions_.erase(expression) : expression;
    }
    return *taken_ + bytes <= most_;
}

}  // namespace tool
