// SPDX-License-Identifier: Apache-2.0
// Carries requests and answers over HTTP/1.1. Everything that a client can make it hold is bounded: the size
// of a request, the number of connections, and the time for which one may do nothing.
#ifndef JORN_TOOLS_HTTP_SERVER_H
#define JORN_TOOLS_HTTP_SERVER_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "http/request.h"

namespace tool {

struct HttpLimits {
    size_t target = size_t{24} * 1024;  ///< Bytes of a request's path and parameters,
    size_t head = size_t{48} * 1024;    ///< and of that together with its headers.
    size_t connections = 144;
    size_t streams = 64;  ///< Answers at the same time, each until its client has taken it or is given up.
    size_t downloads = 8;
    size_t others = 16;
    std::chrono::milliseconds request{10000};  ///< For a request to come in.
    std::chrono::milliseconds idle{5000};      ///< Between two requests.
    std::chrono::milliseconds write{30000};    ///< For a client to take what it is sent at once.
};

struct HttpTerms {
    /// Answers a request; called by several threads. What it throws becomes an answer too.
    std::function<WebAnswer(const WebRequest &)> answer;
    std::function<RequestKind(const WebRequest &)> kindOf;
    HttpLimits limits{};
    /// Makes the threads of connections; throws std::system_error when there can be no more of them.
    std::function<std::thread(std::function<void()>)> makeThread = [](std::function<void()> run) {
        return std::thread(std::move(run));
    };
};

class HttpServer {
public:
    explicit HttpServer(HttpTerms terms);
    ~HttpServer();
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    /// Opens the port, 0 for any; what it is. -1, with the reason in errno, when that cannot be.
    int open(const std::string &host, int port);

    /// Whether other machines reach the port that was opened.
    bool isReachedFromElsewhere() const;

    /// Serves in threads of its own until stop(), which waits until all of them have ended.
    void start();
    void stop();

    /// What is sent for the bytes of a connection, which may be anything, without a socket.
    std::string answerTo(std::string_view bytes);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tool

#endif
