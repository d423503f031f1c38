// SPDX-License-Identifier: Apache-2.0
// Passes an input on to an output while it is recorded.
#ifndef JORN_TOOLS_TEE_H
#define JORN_TOOLS_TEE_H

#include <string>
#include <string_view>

namespace tool {

/// Ends when nobody reads any more, and at a failure; the recording goes on without it.
class Tee {
public:
    /// Passes nothing on when `output` is negative. It has to stay open; `name` is what messages call it.
    Tee(int output, std::string name) : output_(output), name_(std::move(name)) {}

    /// Returns when all bytes are written.
    void pass(std::string_view bytes);

    /// What went wrong but that nobody reads; empty when nothing did.
    const std::string &problem() const { return problem_; }

private:
    void endBecauseOf(int error);

    int output_;
    const std::string name_;
    std::string problem_;
};

}  // namespace tool

#endif
