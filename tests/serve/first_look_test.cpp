// SPDX-License-Identifier: Apache-2.0
// What the server answers before it has read the logs.
#include "serve/first_look.h"

#include <chrono>
#include <future>

#include "http/access.h"
#include "serve/site.h"
#include "served_ring.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

class FirstLookTest : public ServeTest {
protected:
    FirstLookTest() {
        makeLog(line("one") + line("two"));
        tool::ServedLog log;
        log.name = "log";
        log.path = path("log");
        logs_ = std::make_unique<tool::ServedLogs>(std::vector<tool::ServedLog>{log});
        api_ = std::make_unique<tool::Api>(logs_.get(), usualTerms());
    }

    tool::WebAnswer get(const std::string &path, const tool::FirstLook &look,
                        const std::string &token = kToken) const {
        const tool::Site site(tool::Access({kToken, "127.0.0.1", 8642}), api_.get(), &look,
                              {{"index.html", "<p>page", "abc"}});
        tool::WebRequest request;
        request.method = "GET";
        request.path = path;
        request.headers = {{"host", "127.0.0.1:8642"}, {"authorization", "Bearer " + token}};
        return site.answer(request);
    }
};

TEST_F(FirstLookTest, Request_WhileLogsAreRead_IsAnsweredFromAllOfThem) {
    tool::FirstLook look(60s);
    std::future<tool::WebAnswer> answer =
        std::async(std::launch::async, [&] { return get("/api/items", look); });
    EXPECT_EQ(answer.wait_for(20ms), std::future_status::timeout);
    logs_->refreshAll();
    EXPECT_EQ(answer.wait_for(20ms), std::future_status::timeout);
    look.end();
    EXPECT_THAT(answer.get().body, HasSubstr("\"total\":2,"));
}

TEST_F(FirstLookTest, Page_WhileLogsAreRead_IsSentAtOnce) {
    const tool::FirstLook look(60s);
    EXPECT_EQ(get("/", look).body, "<p>page");
}

TEST_F(FirstLookTest, Stranger_WhileLogsAreRead_IsRefusedAtOnce) {
    const tool::FirstLook look(60s);
    EXPECT_EQ(get("/api/items", look, "another").status, 401);
}

/// The status and the message with which a request ends.
std::string refusalOf(const std::function<void()> &request) {
    try {
        request();
    } catch (const tool::RequestError &error) {
        return std::to_string(error.status()) + " " + error.what();
    }
    return "";
}

TEST_F(FirstLookTest, Request_LogsReadForTooLong_IsRefused) {
    const tool::FirstLook look(1ms);
    EXPECT_EQ(refusalOf([&] { get("/api/logs", look); }), "503 the logs are still being read; try again");
}

TEST_F(FirstLookTest, GiveUp_OnlyBeforeTheEnd_EndsAllWaiting) {
    tool::FirstLook look(60s);
    look.giveUp();
    EXPECT_EQ(refusalOf([&] { get("/api/logs", look); }), "503 the logs are still being read; try again");
    tool::FirstLook ended(60s);
    ended.end();
    ended.giveUp();
    EXPECT_TRUE(ended.wait());
}

}  // namespace
}  // namespace test
