// SPDX-License-Identifier: Apache-2.0
// Compiled expressions, shared by all that look for the same, in bounded memory. What is not in use any more
// is kept as long as there is room for it.
#ifndef JORN_TOOLS_EXPRESSION_POOL_H
#define JORN_TOOLS_EXPRESSION_POOL_H

#include <re2/re2.h>
#include <stddef.h>
#include <stdint.h>

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <string>

namespace tool {

/// Safe to use from any thread. Expressions may outlive it.
class ExpressionPool {
public:
    /// What one expression may take, with all that is made of it while it is looked for: most have enough
    /// with the lesser size.
    static constexpr int64_t kUsualBytes = int64_t{512} << 10;
    static constexpr int64_t kMostBytesEach = int64_t{8} << 20;

    static constexpr int64_t kMostBytes = int64_t{32} << 20;

    explicit ExpressionPool(int64_t mostBytes = kMostBytes) : most_(mostBytes) {}

    /// The expression, compiled; one that is not ok() tells what is wrong with it. Null when those in use
    /// leave no room for it.
    std::shared_ptr<const RE2> get(const std::string &text, bool isCaseIgnored);

    /// What all together may take, those included that have left the pool and are still in use.
    int64_t bytes() const { return *taken_; }

private:
    using Taken = std::atomic<int64_t>;
    using Expressions = std::list<std::shared_ptr<const RE2>>;

    std::shared_ptr<const RE2> compiled(const std::string &text, bool isCaseIgnored);
    bool makeRoom(int64_t bytes);

    const int64_t most_;
    const std::shared_ptr<Taken> taken_ = std::make_shared<Taken>(0);
    std::mutex mutex_;
    Expressions expressions_;  ///< The one asked for last first.
};

}  // namespace tool

#endif
