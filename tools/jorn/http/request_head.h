// SPDX-License-Identifier: Apache-2.0
// The head of a request, prepared for the HTTP library. That refuses lines over 8 KiB, query parts with a "?"
// and methods that it does not know before anything can be said about them; so it is given a head without
// these, and the request gets them afterwards.
#ifndef JORN_TOOLS_REQUEST_HEAD_H
#define JORN_TOOLS_REQUEST_HEAD_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

class RequestHead {
public:
    /// Up to the empty line at its end.
    explicit RequestHead(std::string_view bytes);

    /// What the library is to read. A head that is no HTTP is left as it is, for the library to refuse.
    const std::string &plain() const { return plain_; }

    /// Whether the library does not see the method and the target, which are these.
    bool hasLine() const { return !method_.empty(); }
    const std::string &method() const { return method_; }
    const std::string &target() const { return target_; }

    /// Headers that the library does not see.
    const std::vector<std::pair<std::string, std::string>> &longHeaders() const { return longHeaders_; }

private:
    void takeLine(std::string_view line);
    void takeHeader(std::string_view line);

    std::string plain_;
    std::string method_;
    std::string target_;
    std::vector<std::pair<std::string, std::string>> longHeaders_;
};

}  // namespace tool

#endif
