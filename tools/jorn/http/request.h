// SPDX-License-Identifier: Apache-2.0
// Requests and answers as the interface sees them, whatever carries them; and how a part of it gives up.
#ifndef JORN_TOOLS_REQUEST_H
#define JORN_TOOLS_REQUEST_H

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

struct WebRequest {
    std::string method;
    std::string path;                                             ///< Decoded, without parameters.
    std::string query;                                            ///< As it was sent.
    std::vector<std::pair<std::string, std::string>> parameters;  ///< Decoded.
    std::multimap<std::string, std::string> headers;              ///< By name, in lower case.

    /// The only value of a header; nothing where there is none or more than one.
    std::optional<std::string> header(const std::string &name) const;
};

/// How long an answer lasts: each kind has a bound of its own for how many there are at the same time.
enum class RequestKind {
    Short,
    Download,  ///< As long as its client takes.
    Stream,    ///< As long as its client is there.
};

/// A parameter in a query.
struct QueryPart {
    std::string text;  ///< As it was sent.
    std::string name;  ///< Decoded, "+" and %NN, as the value is.
    std::string value;
};

/// A path with its "%NN" decoded.
std::string decodedPath(std::string_view path);

/// The parameters of a query in their order, empty parts left out. A "%" that begins no %NN stays as it is.
std::vector<QueryPart> partsOfQuery(const std::string &query);

/// Sends bytes. False when nobody takes them any more; with none, only says so.
using WebWrite = std::function<bool(std::string_view bytes)>;

struct WebAnswer {
    int status = 200;
    std::string type = "application/json";
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;

    /// Its client has not shown that it may ask: the connection has to give way when there are too many.
    bool isForStranger = false;

    /// Sends the body bit by bit instead; false where it could not be brought to its end. Not called for a
    /// HEAD request.
    std::function<bool(const WebWrite &write)> send;

    void add(const std::string &name, const std::string &value) { headers.emplace_back(name, value); }
};

/// Ends a request with {"error": message} and a status; `more` are further members, each ",...".
class RequestError : public std::runtime_error {
public:
    RequestError(int status, const std::string &message, std::string more = "")
        : std::runtime_error(message), status_(status), more_(std::move(more)) {}

    int status() const { return status_; }
    const std::string &more() const { return more_; }

private:
    int status_;
    std::string more_;
};

/// For the deadline of what is sent bit by bit: throws RequestError when the client has gone. `write` must
/// outlive it.
std::function<void()> requireClient(const WebWrite &write);

/// 400 with the parameter that is at fault.
[[noreturn]] void refuseParameter(const std::string &name, const std::string &message);

/// The answer that an error is.
WebAnswer answerOf(const RequestError &error);

/// A text as a JSON string.
std::string jsonText(std::string_view text);

/// The parameters of a request, each taken once; those that nobody has taken are unknown.
class Parameters {
public:
    explicit Parameters(const WebRequest &request);

    /// Throws RequestError when it is there more than once.
    std::optional<std::string> take(const std::string &name);

    /// All values, in the order given, of one that may be there more than once.
    std::vector<std::string> takeAll(const std::string &name);

    /// A number from `least` to `most`, or `otherwise` when it is not there. Throws RequestError.
    uint64_t takeNumber(const std::string &name, uint64_t otherwise, uint64_t least, uint64_t most);

    /// Throws RequestError when one is left.
    void end() const;

private:
    std::map<std::string, std::vector<std::string>> left_;
};

/// When an answer has taken too long, or is of no use to anybody any more. Safe to use from any thread.
class Deadline {
public:
    /// `requireWanted` is called now and then; it throws RequestError where nobody waits any more.
    explicit Deadline(std::chrono::milliseconds longest, std::function<void()> requireWanted = nullptr)
        : end_(Clock::now() + longest), requireWanted_(std::move(requireWanted)) {}

    /// Throws RequestError: 504 when the time is up, or what `requireWanted` throws.
    void check() const;

private:
    using Clock = std::chrono::steady_clock;

    const Clock::time_point end_;
    const std::function<void()> requireWanted_;
    mutable std::atomic<Clock::rep> nextQuestion_{0};
};

}  // namespace tool

#endif
