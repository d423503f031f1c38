// SPDX-License-Identifier: Apache-2.0
// A server with answers of all kinds, and connections to it.
#ifndef JORN_TESTS_SERVE_HTTP_CLIENT_H
#define JORN_TESTS_SERVE_HTTP_CLIENT_H

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <mutex>
#include <system_error>
#include <thread>

#include "http/http_server.h"
#include "system/tool_run.h"

namespace test {

/// A connection to a server on this machine.
class Socket {
public:
    explicit Socket(int port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    ~Socket() { close(socket_); }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;

    void say(const std::string &bytes) const {
        EXPECT_EQ(send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    /// What comes until the text does; all of it when the connection ends before.
    std::string hearUntil(const std::string &text) {
        while (heard_.find(text) == std::string::npos && hearMore()) {
        }
        return heard_;
    }
    /// What comes until the connection ends.
    std::string hearAll() {
        while (hearMore()) {
        }
        return heard_;
    }

private:
    bool hearMore() {
        char bytes[4096];
        pollfd ready = {socket_, POLLIN, 0};
        EXPECT_EQ(poll(&ready, 1, 20000), 1) << "nothing comes after: " << heard_;
        const ssize_t length = HasFailure() ? 0 : recv(socket_, bytes, sizeof bytes, 0);
        heard_.append(bytes, static_cast<size_t>(std::max<ssize_t>(length, 0)));
        return length > 0;
    }
    static bool HasFailure() { return testing::Test::HasFailure(); }

    int socket_;
    std::string heard_;
};

class HttpTest : public ::testing::Test {
protected:
    /// More than the buffers of a connection take while its client reads nothing.
    static constexpr size_t kMoreThanBuffers = size_t{32} << 20;

    void start(const tool::HttpLimits &limits = {}, int port = 0) {
        server_ = std::make_unique<tool::HttpServer>(
            tool::HttpTerms{[this](const tool::WebRequest &request) { return answer(request); },
                            [](const tool::WebRequest &request) { return kindOf(request); }, limits,
                            [this](std::function<void()> run) { return makeThread(std::move(run)); }});
        port_ = server_->open("127.0.0.1", port);
        ASSERT_GT(port_, 0);
        server_->start();
    }

    std::thread makeThread(std::function<void()> run) const {
        if (areThreadsUsedUp_) {
            throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
        }
        return std::thread(std::move(run));
    }

    static tool::RequestKind kindOf(const tool::WebRequest &request) {
        return request.path == "/stream"     ? tool::RequestKind::Stream
               : request.path == "/download" ? tool::RequestKind::Download
                                             : tool::RequestKind::Short;
    }

    tool::WebAnswer answer(const tool::WebRequest &request) {
        {
            const std::lock_guard lock(lastMutex_);
            last_ = request;
        }
        tool::WebAnswer answer;
        answer.body = "whole";
        if (request.path == "/fail") {
            throw std::runtime_error("secret of the house");
        }
        if (request.path == "/refuse") {
            throw tool::RequestError(410, "gone");
        }
        if (request.path == "/missing") {
            return answerOf(tool::RequestError(404, "missing"));
        }
        answer.isForStranger = request.path == "/stranger";
        if (request.path == "/wait") {
            ++waiting_;
            go_.wait();
        }
        if (request.path == "/big") {
            answer.body = std::string(kMoreThanBuffers, 'x');
        }
        if (request.path == "/bits" || request.path == "/stream" || request.path == "/download" ||
            request.path == "/cut" || request.path == "/throw") {
            answer.send = [this, path = request.path](const tool::WebWrite &write) {
                return send(path, write);
            };
        }
        return answer;
    }

    bool send(const std::string &path, const tool::WebWrite &write) {
        if (path == "/throw") {
            throw std::runtime_error("secret of the house");
        }
        ++sending_;
        bool isTaken = write("bit one") && write("bit two");
        while ((path == "/stream" || path == "/download") && isTaken && !isStopping_) {
            isTaken = write(std::string(flood_, 'x'));
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        --sending_;
        return path != "/cut" && isTaken;
    }

    /// The answer to a request on a connection of its own.
    std::string ask(const std::string &request) {
        Socket socket(port_);
        socket.say(request);
        return socket.hearAll();
    }
    static std::string get(const std::string &path, const std::string &headers = "Connection: close\r\n") {
        return "GET " + path + " HTTP/1.1\r\nHost: h\r\n" + headers + "\r\n";
    }

    void TearDown() override {
        isStopping_ = true;
        server_.reset();
    }

    std::atomic<bool> isStopping_{false};
    std::atomic<bool> areThreadsUsedUp_{false};
    std::atomic<int> waiting_{0};
    std::atomic<int> sending_{0};
    size_t flood_ = 0;
    std::promise<void> gate_;
    std::shared_future<void> go_ = gate_.get_future().share();
    std::mutex lastMutex_;
    tool::WebRequest last_;
    std::unique_ptr<tool::HttpServer> server_;
    int port_ = 0;
};

}  // namespace test

#endif
