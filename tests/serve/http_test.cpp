// SPDX-License-Identifier: Apache-2.0
// Requests and answers over connections: headers, bounds, and clients that misbehave.
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
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

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

    void start(const tool::HttpLimits &limits = {}) {
        server_ = std::make_unique<tool::HttpServer>(
            tool::HttpTerms{[this](const tool::WebRequest &request) { return answer(request); },
                            [](const tool::WebRequest &request) { return kindOf(request); }, limits,
                            [this](std::function<void()> run) { return makeThread(std::move(run)); }});
        port_ = server_->open("127.0.0.1", 0);
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

TEST_F(HttpTest, Answers_OfEveryKind_HaveAllHeaders) {
    tool::HttpLimits limits;
    limits.request = std::chrono::milliseconds(200);
    limits.idle = std::chrono::milliseconds(20);
    start(limits);
    const std::string longLine(30000, 'a');
    for (const auto &[request, status] : std::vector<std::pair<std::string, std::string>>{
             {get("/"), "200 OK"},
             {get("/fail"), "500 Internal Server Error"},
             {get("/refuse"), "410 Gone"},
             {get("/bits"), "200 OK"},
             {"POST / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n", "200 OK"},
             {"NONSENSE / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n", "400 Bad Request"},
             {"nonsense\r\n\r\n", "400 Bad Request"},
             {"GET /" + longLine.substr(0, 9000) + " HTTP/1.1\r\n\r\n", "414 URI Too Long"},
             {"GET / HTTP/1.1\r\nA: " + longLine, "431 Request Header Fields Too Large"},
             {"GET / HTTP/1.1\r\nA: ", "408 Request Timeout"}}) {
        const std::string heard = ask(request);
        EXPECT_THAT(heard, StartsWith("HTTP/1.1 " + status + "\r\n")) << request.substr(0, 60);
        for (const std::string header :
             {"Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; img-src "
              "'self' "
              "data:; connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'\r\n",
              "X-Content-Type-Options: nosniff\r\n", "Referrer-Policy: no-referrer\r\n",
              "Cache-Control: no-store\r\n", "Cross-Origin-Resource-Policy: same-origin\r\n",
              "Cross-Origin-Opener-Policy: same-origin\r\n", "X-Frame-Options: DENY\r\n",
              "Content-Type: application/json\r\n"}) {
            EXPECT_THAT(heard, HasSubstr(header)) << request.substr(0, 60);
        }
        EXPECT_THAT(heard, Not(HasSubstr("secret"))) << request.substr(0, 60);
        EXPECT_THAT(heard, Not(HasSubstr("Server:")));
    }
}

TEST_F(HttpTest, Request_IsPassedOnDecoded) {
    start();
    ask("GET /a%20b?q=%3Cb%3E+x&n=1 HTTP/1.1\r\nHost: h\r\nX-Y: Z\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(last_.method, "GET");
    EXPECT_EQ(last_.path, "/a b");
    EXPECT_EQ(last_.query, "q=%3Cb%3E+x&n=1");
    ASSERT_EQ(last_.parameters.size(), 2U);
    EXPECT_THAT(last_.parameters,
                ::testing::UnorderedElementsAre(std::pair<std::string, std::string>("q", "<b> x"),
                                                std::pair<std::string, std::string>("n", "1")));
    EXPECT_EQ(last_.header("x-y"), "Z");
}

TEST_F(HttpTest, Answer_ThatIsARefusal_IsSentAsItIs) {
    start();
    EXPECT_THAT(ask(get("/missing")), AllOf(StartsWith("HTTP/1.1 404 Not Found\r\n"),
                                            EndsWith("\r\n\r\n{\"error\":\"missing\"}\n")));
}

TEST_F(HttpTest, Answer_BitByBit_EndsAsItShould) {
    start();
    EXPECT_THAT(ask(get("/bits")), EndsWith("\r\n\r\n7\r\nbit one\r\n7\r\nbit two\r\n0\r\n\r\n"));
    EXPECT_THAT(ask(get("/cut")), EndsWith("7\r\nbit two\r\n"));
    EXPECT_THAT(ask(get("/throw")), AllOf(StartsWith("HTTP/1.1 200"), Not(HasSubstr("0\r\n\r\n"))));
    EXPECT_THAT(ask("HEAD /bits HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n"), EndsWith("\r\n\r\n"));
}

TEST_F(HttpTest, Connection_SeveralRequests_AreAnsweredInTurn) {
    start();
    Socket socket(port_);
    socket.say(get("/", "") + get("/refuse", "") + get("/"));
    const std::string heard = socket.hearAll();
    EXPECT_THAT(heard, HasSubstr("HTTP/1.1 410 Gone"));
    EXPECT_THAT(heard, EndsWith("\r\n\r\nwhole"));
}

TEST_F(HttpTest, Body_OfARequest_IsNotReadAndEndsTheConnection) {
    start();
    Socket socket(port_);
    socket.say("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 60\r\n\r\n" + get("/refuse"));
    EXPECT_THAT(socket.hearAll(), Not(HasSubstr("410")));
}

TEST_F(HttpTest, Ranges_AreIgnored) {
    start();
    EXPECT_THAT(
        ask(get("/", "Connection: close\r\nRange: bytes=0-0,1-1,0-0\r\nAccept-Encoding: br, gzip\r\n")),
        AllOf(StartsWith("HTTP/1.1 200 OK"), EndsWith("\r\n\r\nwhole"), Not(HasSubstr("Encoding"))));
}

TEST_F(HttpTest, Target_AtTheLimit_IsAnswered) {
    start();
    EXPECT_THAT(ask(get("/" + std::string(8100, 'a'))), StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(ask(get("/" + std::string(8300, 'a'))), StartsWith("HTTP/1.1 414"));
}

TEST_F(HttpTest, Head_AtTheLimit_IsAnswered) {
    start();
    std::string headers = "Connection: close\r\n";
    for (int i = 0; i < 3; ++i) {
        headers += "A: " + std::string(8000, 'a') + "\r\n";
    }
    EXPECT_THAT(ask(get("/", headers)), StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(ask(get("/", headers + "A: " + std::string(600, 'a') + "\r\n")), StartsWith("HTTP/1.1 431"));
}

TEST_F(HttpTest, Requests_MoreThanAllowedAtOnce_AreRefused) {
    tool::HttpLimits limits;
    limits.others = 2;
    start(limits);
    Socket first(port_);
    Socket second(port_);
    first.say(get("/wait"));
    second.say(get("/wait"));
    while (waiting_ < 2) {
        std::this_thread::yield();
    }
    const std::string heard = ask(get("/"));
    EXPECT_THAT(heard, StartsWith("HTTP/1.1 503 Service Unavailable\r\n"));
    EXPECT_THAT(heard, HasSubstr("Retry-After: 1\r\n"));
    EXPECT_THAT(heard, EndsWith("{\"error\":\"too many requests at the same time\"}\n"));
    gate_.set_value();
    EXPECT_THAT(first.hearAll(), StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(second.hearAll(), StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(ask(get("/")), StartsWith("HTTP/1.1 200"));
}

TEST_F(HttpTest, Downloads_MoreThanAllowedAtOnce_AreRefusedAndOthersAnswered) {
    tool::HttpLimits limits;
    limits.others = 1;
    start(limits);
    std::vector<std::unique_ptr<Socket>> sockets;
    for (int i = 0; i < 8; ++i) {
        sockets.push_back(std::make_unique<Socket>(port_));
        sockets.back()->say(get("/download"));
        EXPECT_THAT(sockets.back()->hearUntil("bit two"), StartsWith("HTTP/1.1 200"));
    }
    EXPECT_THAT(ask(get("/download")), AllOf(StartsWith("HTTP/1.1 503"), HasSubstr("Retry-After: 1\r\n"),
                                             EndsWith("{\"error\":\"too many downloads\"}\n")));
    EXPECT_THAT(ask(get("/")), StartsWith("HTTP/1.1 200"));
    Socket stream(port_);
    stream.say(get("/stream"));
    EXPECT_THAT(stream.hearUntil("bit two"), StartsWith("HTTP/1.1 200"));
    sockets.pop_back();
    while (sending_ == 9) {
        std::this_thread::yield();
    }
    Socket next(port_);
    next.say(get("/download"));
    EXPECT_THAT(next.hearUntil("bit two"), StartsWith("HTTP/1.1 200"));
}

TEST_F(HttpTest, Answer_ThatIsNotRead_KeepsItsPlaceUntilItIsTaken) {
    tool::HttpLimits limits;
    limits.others = 1;
    start(limits);
    Socket slow(port_);
    slow.say(get("/big"));
    slow.hearUntil("xxx");
    EXPECT_THAT(ask(get("/")), StartsWith("HTTP/1.1 503"));
    EXPECT_THAT(slow.hearAll(), EndsWith("\r\n\r\n" + std::string(kMoreThanBuffers, 'x')));
    EXPECT_THAT(ask(get("/")), StartsWith("HTTP/1.1 200"));
}

TEST_F(HttpTest, Answer_ThatIsNotReadInTime_GivesItsPlaceUp) {
    tool::HttpLimits limits;
    limits.others = 1;
    limits.write = std::chrono::milliseconds(100);
    start(limits);
    Socket slow(port_);
    slow.say(get("/big"));
    slow.hearUntil("xxx");
    std::string heard = ask(get("/"));
    EXPECT_THAT(heard, StartsWith("HTTP/1.1 503"));
    while (heard.compare(0, 12, "HTTP/1.1 503") == 0) {
        heard = ask(get("/"));
    }
    EXPECT_THAT(heard, StartsWith("HTTP/1.1 200"));
    EXPECT_LT(slow.hearAll().size(), kMoreThanBuffers);
}

TEST_F(HttpTest, Head_OfAnyAnswer_HasItsLengthAndNoBody) {
    start();
    const auto head = [](const std::string &path) {
        return "HEAD " + path + " HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n";
    };
    EXPECT_THAT(ask(head("/")),
                AllOf(StartsWith("HTTP/1.1 200"), HasSubstr("Content-Length: 5\r\n"), EndsWith("\r\n\r\n")));
    EXPECT_THAT(ask(head("/refuse")), AllOf(StartsWith("HTTP/1.1 410"), EndsWith("\r\n\r\n")));
}

TEST_F(HttpTest, Streams_MoreThanAllowedAtOnce_AreRefusedAndOthersAnswered) {
    start();
    std::vector<std::unique_ptr<Socket>> sockets;
    for (int i = 0; i < 64; ++i) {
        sockets.push_back(std::make_unique<Socket>(port_));
        sockets.back()->say(get("/stream"));
        EXPECT_THAT(sockets.back()->hearUntil("bit two"), StartsWith("HTTP/1.1 200"));
    }
    EXPECT_THAT(ask(get("/stream")), AllOf(StartsWith("HTTP/1.1 503"), HasSubstr("too many streams")));
    EXPECT_THAT(ask(get("/")), StartsWith("HTTP/1.1 200"));
    sockets.pop_back();
    while (sending_ == 64) {
        std::this_thread::yield();
    }
    Socket next(port_);
    next.say(get("/stream"));
    EXPECT_THAT(next.hearUntil("bit two"), StartsWith("HTTP/1.1 200"));
}

TEST_F(HttpTest, Connections_MoreThanAllowed_AreRefused) {
    tool::HttpLimits limits;
    limits.connections = 2;
    start(limits);
    Socket first(port_);
    Socket second(port_);
    first.say(get("/", ""));
    first.hearUntil("whole");
    second.say(get("/", ""));
    second.hearUntil("whole");
    EXPECT_THAT(Socket(port_).hearAll(),
                AllOf(StartsWith("HTTP/1.1 503"), EndsWith("{\"error\":\"too many connections\"}\n")));
}

TEST_F(HttpTest, Connection_NoThreadCanBeMade_IsRefusedAndOthersGoOn) {
    start();
    Socket first(port_);
    first.say(get("/", ""));
    first.hearUntil("whole");
    areThreadsUsedUp_ = true;
    EXPECT_THAT(Socket(port_).hearAll(),
                AllOf(StartsWith("HTTP/1.1 503"), EndsWith("{\"error\":\"too many connections\"}\n")));
    first.say(get("/missing"));
    EXPECT_THAT(first.hearAll(), EndsWith("{\"error\":\"missing\"}\n"));
    areThreadsUsedUp_ = false;
    EXPECT_THAT(ask(get("/")), EndsWith("whole"));
}

TEST_F(HttpTest, Connection_Idle_IsClosed) {
    tool::HttpLimits limits;
    limits.idle = std::chrono::milliseconds(50);
    start(limits);
    Socket socket(port_);
    socket.say(get("/", ""));
    EXPECT_THAT(socket.hearAll(), EndsWith("whole"));
}

TEST_F(HttpTest, Client_ThatReadsNothing_IsGivenUpAndCostsABoundedBuffer) {
    tool::HttpLimits limits;
    limits.write = std::chrono::milliseconds(100);
    flood_ = size_t{256} * 1024;
    start(limits);
    for (const std::string path : {"/stream", "/download"}) {
        Socket socket(port_);
        socket.say(get(path));
        socket.hearUntil("bit one");
        while (sending_ == 1) {
            std::this_thread::yield();
        }
        EXPECT_EQ(sending_, 0);
    }
}

/// The timeout after which the system gives up what it has sent, of the server's end of a connection.
int timeoutOfOtherEnd(int port) {
    for (int fd = 0; fd < 1000; ++fd) {
        sockaddr_in own = {};
        sockaddr_in other = {};
        socklen_t ownSize = sizeof own;
        socklen_t otherSize = sizeof other;
        if (getsockname(fd, reinterpret_cast<sockaddr *>(&own), &ownSize) == 0 &&
            getpeername(fd, reinterpret_cast<sockaddr *>(&other), &otherSize) == 0 &&
            ntohs(own.sin_port) == port) {
            int timeout = 0;
            socklen_t size = sizeof timeout;
            EXPECT_EQ(getsockopt(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &timeout, &size), 0);
            return timeout;
        }
    }
    return -1;
}

/// One whose machine has vanished never says so: the system has to notice that nothing arrives there.
TEST_F(HttpTest, Client_ThatHasVanished_IsGivenUpByTheSystemInTheSameTime) {
    tool::HttpLimits limits;
    limits.write = std::chrono::milliseconds(1234);
    start(limits);
    Socket socket(port_);
    socket.say(get("/stream"));
    socket.hearUntil("bit two");
    EXPECT_EQ(timeoutOfOtherEnd(port_), 1234);
}

TEST_F(HttpTest, Stop_WithIdleBusyAndStreamingConnections_EndsAll) {
    flood_ = 10;
    start();
    Socket idle(port_);
    Socket half(port_);
    Socket stream(port_);
    half.say("GET / HT");
    stream.say(get("/stream"));
    stream.hearUntil("bit two");
    isStopping_ = true;
    server_->stop();
    EXPECT_EQ(idle.hearAll(), "");
    EXPECT_THAT(stream.hearAll(), EndsWith("\r\n0\r\n\r\n"));
}

TEST_F(HttpTest, Open_PortThatIsTaken_Fails) {
    start();
    tool::HttpServer other({[](const tool::WebRequest &) { return tool::WebAnswer(); },
                            [](const tool::WebRequest &) { return tool::RequestKind::Short; }});
    EXPECT_EQ(other.open("127.0.0.1", port_), -1);
    EXPECT_EQ(errno, EADDRINUSE);
}

TEST_F(HttpTest, AnswerTo_BytesWithoutASocket_IsTheSame) {
    start();
    EXPECT_EQ(server_->answerTo(get("/")), ask(get("/")));
    EXPECT_EQ(server_->answerTo(""), "");
    EXPECT_EQ(server_->answerTo("GET"), "");
}

}  // namespace
}  // namespace test
