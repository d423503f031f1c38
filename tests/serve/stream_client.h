// SPDX-License-Identifier: Apache-2.0
// Clients of a stream of events.
#ifndef JORN_TESTS_SERVE_STREAM_CLIENT_H
#define JORN_TESTS_SERVE_STREAM_CLIENT_H

#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "served_ring.h"

namespace test {

struct Event {
    std::string name;
    std::string id;
    Json data;
};

/// A client that takes the events of a stream one by one.
class Client {
public:
    explicit Client(tool::WebAnswer answer) {
        EXPECT_EQ(answer.status, 200) << answer.body;
        EXPECT_EQ(answer.type, "text/event-stream");
        sender_ = std::thread([this, answer = std::move(answer)] {
            isWhole_ = answer.send([this](std::string_view bytes) { return take(bytes); });
        });
    }
    ~Client() { leave(); }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    Event next() {
        std::unique_lock lock(mutex_);
        const bool hasCome =
            come_.wait_for(lock, std::chrono::seconds(20), [this] { return !events_.empty(); });
        EXPECT_TRUE(hasCome) << "no event";
        if (!hasCome) {
            return {};
        }
        Event event = events_.front();
        events_.pop_front();
        return event;
    }

    /// The texts of items events until there are so many.
    std::vector<std::string> nextTexts(size_t count) {
        std::vector<std::string> texts;
        while (texts.size() < count && !testing::Test::HasFailure()) {
            const Event event = next();
            if (event.name == "items") {
                add(event, &texts);
            }
        }
        return texts;
    }

    static void add(const Event &event, std::vector<std::string> *texts) {
        for (const Json &item : event.data["items"]) {
            texts->push_back(item["text"]);
        }
    }

    std::string lastId() {
        const std::lock_guard lock(mutex_);
        return lastId_;
    }
    size_t pings() {
        const std::lock_guard lock(mutex_);
        return pings_;
    }
    size_t waiting() {
        const std::lock_guard lock(mutex_);
        return events_.size();
    }

    /// Takes no more, as one whose connection is full, until resume().
    void halt() { isHalted_ = true; }
    void waitUntilHeld() {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(come_.wait_for(lock, std::chrono::seconds(20), [this] { return isHeld_; }));
    }
    void resume() {
        isHalted_ = false;
        const std::lock_guard lock(mutex_);
        come_.notify_all();
    }

    void leave() {
        isGone_ = true;
        resume();
        if (sender_.joinable()) {
            sender_.join();
        }
    }
    bool endsWhole() {
        sender_.join();
        return isWhole_;
    }

private:
    bool take(std::string_view bytes) {
        std::unique_lock lock(mutex_);
        isHeld_ = isHalted_;
        come_.notify_all();
        come_.wait(lock, [this] { return !isHalted_ || isGone_; });
        isHeld_ = false;
        if (bytes.compare(0, 7, "event: ") == 0) {
            takeEvent(std::string(bytes));
        } else if (!bytes.empty()) {
            EXPECT_EQ(bytes, ": ping\n\n");
            ++pings_;
        }
        come_.notify_all();
        return !isGone_;
    }

    void takeEvent(const std::string &text) {
        const std::vector<std::string> lines = linesOf(text);
        ASSERT_EQ(lines.size(), 4U) << text;
        ASSERT_EQ(lines[3], "");
        ASSERT_EQ(lines[1].substr(0, 4), "id: ");
        ASSERT_EQ(lines[2].substr(0, 6), "data: ");
        lastId_ = lines[1].substr(4);
        events_.push_back({lines[0].substr(7), lastId_, Json::parse(lines[2].substr(6))});
    }

    std::mutex mutex_;
    std::condition_variable come_;
    std::deque<Event> events_;
    std::string lastId_;
    size_t pings_ = 0;
    std::atomic<bool> isHalted_{false};
    std::atomic<bool> isGone_{false};
    bool isHeld_ = false;
    bool isWhole_ = false;
    std::thread sender_;
};

class StreamTest : public ServeTest {
protected:
    ~StreamTest() override {
        if (logs_ != nullptr) {
            logs_->stop();
        }
    }

    /// A client whose first event has come.
    std::unique_ptr<Client> follow(const Given &parameters = {}, const std::string &lastId = "") {
        tool::WebRequest request;
        request.method = "GET";
        request.path = "/api/stream";
        request.parameters = parameters;
        if (!lastId.empty()) {
            request.headers.emplace("last-event-id", lastId);
        }
        return std::make_unique<Client>(api_->answer(request));
    }

    void add(const std::string &bytes, int file = 0) {
        append(file, bytes);
        logs_->refreshAll();
    }
};

}  // namespace test

#endif
