// SPDX-License-Identifier: Apache-2.0
// Requests and answers over connections: headers, bounds, and clients that misbehave.
#include <gmock/gmock.h>

#include "http_client.h"

namespace test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST_F(HttpTest, Answers_OfEveryKind_HaveAllHeaders) {
    tool::HttpLimits limits;
    limits.request = std::chrono::milliseconds(200);
    limits.idle = std::chrono::milliseconds(20);
    start(limits);
    const std::string longLine(60000, 'a');
    for (const auto &[request, status] : std::vector<std::pair<std::string, std::string>>{
             {get("/"), "200 OK"},
             {get("/fail"), "500 Internal Server Error"},
             {get("/refuse"), "410 Gone"},
             {get("/bits"), "200 OK"},
             {"POST / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n", "200 OK"},
             {"NONSENSE / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n", "200 OK"},
             {"NON SENSE / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n", "400 Bad Request"},
             {"nonsense\r\n\r\n", "400 Bad Request"},
             {"GET /" + longLine.substr(0, 25000) + " HTTP/1.1\r\n\r\n", "414 URI Too Long"},
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
    ask("PROPFIND /a+b?q=doo?r#there HTTP/1.1\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(last_.method + " " + last_.path + " " + last_.query, "PROPFIND /a+b q=doo?r");
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
    EXPECT_THAT(ask(get("/" + std::string(24500, 'a'))), StartsWith("HTTP/1.1 200"));
    EXPECT_EQ(last_.path, "/" + std::string(24500, 'a'));
    EXPECT_THAT(ask(get("/" + std::string(24700, 'a'))), StartsWith("HTTP/1.1 414"));
}

TEST_F(HttpTest, Head_AtTheLimit_IsAnswered) {
    start();
    std::string headers = "Connection: close\r\n";
    for (const std::string name : {"A", "Last-Event-ID", "B"}) {
        headers += name + ": " + std::string(16000, 'a') + "\r\n";
    }
    EXPECT_THAT(ask(get("/", headers)), StartsWith("HTTP/1.1 200"));
    EXPECT_EQ(last_.header("last-event-id"), std::string(16000, 'a'));
    EXPECT_THAT(ask(get("/", headers + "C: " + std::string(1200, 'a') + "\r\n")), StartsWith("HTTP/1.1 431"));
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
    limits.write = std::chrono::milliseconds(1000);  // Enough to ask another meanwhile.
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

}  // namespace
}  // namespace test
