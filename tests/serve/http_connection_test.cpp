// SPDX-License-Identifier: Apache-2.0
// How many connections there may be, and for how long.
#include <gmock/gmock.h>

#include "http_client.h"

namespace test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::StartsWith;

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

TEST_F(HttpTest, Connections_MoreThanAllowed_OldestStrangerGivesWay) {
    tool::HttpLimits limits;
    limits.connections = 3;
    start(limits);
    Socket known(port_);
    known.say(get("/", ""));
    known.hearUntil("whole");
    Socket silent(port_);
    silent.say("G");
    Socket stranger(port_);
    stranger.say(get("/stranger", ""));
    stranger.hearUntil("whole");
    Socket fourth(port_);
    fourth.say(get("/", ""));
    EXPECT_THAT(fourth.hearUntil("whole"), EndsWith("whole"));
    EXPECT_THAT(ask(get("/")), EndsWith("whole"));
    EXPECT_EQ(silent.hearAll(), "");
    EXPECT_THAT(stranger.hearAll(), EndsWith("whole"));
    known.say(get("/refuse"));
    EXPECT_THAT(known.hearAll(), EndsWith("{\"error\":\"gone\"}\n"));
}

TEST_F(HttpTest, Connections_CannotBeTakenForAWhile_AreTakenAfterwards) {
    start();
    server_.reset();
    start({}, port_);  // One that it keeps, whatever happens.
    EXPECT_THAT(ask(get("/")), EndsWith("whole"));
    for (int file = 0; file < 1024; ++file) {
        int isListening = 0;
        socklen_t size = sizeof isListening;
        if (getsockopt(file, SOL_SOCKET, SO_ACCEPTCONN, &isListening, &size) == 0 && isListening != 0) {
            EXPECT_EQ(shutdown(file, SHUT_RDWR), 0);
        }
    }
    const auto isReached = [this] {
        const int own = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port_));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const bool isConnected =
            connect(own, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
        close(own);
        return isConnected;
    };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!isReached() && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    EXPECT_THAT(ask(get("/")), EndsWith("whole"));
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
