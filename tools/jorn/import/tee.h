// SPDX-License-Identifier: Apache-2.0
// Passes an input on to an output while it is recorded.
#ifndef JORN_TOOLS_TEE_H
#define JORN_TOOLS_TEE_H

#include <string>
#include <string_view>

namespace tool {

/// Stops when the reader has closed the output, or at a failure; the recording continues without it.
class Tee {
public:
    /// Passes nothing on when `output` is negative. `output` must stay open; messages call it `name`.
    Tee(int output, std::string name) : output_(output), name_(std::move(name)) {}

    /// Returns when all bytes are written.
    void pass(std::string_view bytes);

    /// What went wrong, other than the reader closing the output; empty when nothing did.
    const std::string &problem() const { return problem_; }

private:
    void endBecauseOf(int error);

    int output_;
    const std::string name_;
    std::string problem_;
};

}  // namespace tool

#endif
