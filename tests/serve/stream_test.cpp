// SPDX-License-Identifier: Apache-2.0
// New items as events, while the ring moves on and clients come and go.
#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <thread>

#include "serve/item_stream.h"
#include "stream_client.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

TEST_F(StreamTest, Begin_NoPosition_SendsWhatComesFromNowOn) {
    makeLog(line("one"));
    serve();
    const auto client = follow();
    const Event first = client->next();
    EXPECT_EQ(first.name, "change");
    EXPECT_EQ(first.data.dump(), R"({"total":1,"items_lost":0,"revision":1})");
    EXPECT_EQ(first.id, cursorOf("one"));
    add(line("two") + line("three"));
    const Event event = client->next();
    EXPECT_EQ(event.name, "items");
    EXPECT_EQ(event.data["total"], 3);
    EXPECT_EQ(event.data["items"].dump(),
              json("items", {{"order", "oldest"}, {"rank", "1"}})["items"].dump());
    EXPECT_EQ(event.id, cursorOf("three"));
    add(line("four"));
    EXPECT_THAT(client->nextTexts(1), ElementsAre("four"));
}

TEST_F(StreamTest, Begin_PositionOfAList_SendsAllThatIsNotInIt) {
    makeLog(line("a1"), "a");
    makeDirectory("b");
    start(0, "", "b");
    writeIndex("0,0", "b");
    serve({"a", "b"});
    const std::string position = json("items")["position"];
    EXPECT_THAT(position, MatchesRegex("a~.*,b~-~[0-9]+"));
    append(0, line("a2"), "a");
    append(0, line("b1") + line("b2"), "b");
    logs_->refreshAll();
    const auto client = follow({{"position", position}});
    EXPECT_THAT(client->nextTexts(3), ElementsAre("a2", "b1", "b2"));
    EXPECT_THAT(follow({}, position)->nextTexts(3), ElementsAre("a2", "b1", "b2"));
}

TEST_F(StreamTest, Begin_Cursor_SendsWhatComesAfterIt) {
    makeLog(line("one") + line("two") + line("three"));
    serve();
    const auto client = follow({{"cursor", cursorOf("one")}});
    EXPECT_THAT(client->nextTexts(2), ElementsAre("two", "three"));
    const std::string three = client->lastId();
    start(0, line("six"));
    logs_->refreshAll();
    EXPECT_EQ(refusal("stream", {{"cursor", three}}).substr(0, 3), "410");
    // A browser that connects again sends the URL's parameters as before, whatever has become of the item.
    add(line("seven"));
    EXPECT_THAT(follow({{"cursor", three}}, cursorOf("six"))->nextTexts(1), ElementsAre("seven"));
    tool::WebRequest request;
    request.path = "/api/stream";
    request.headers.emplace("last-event-id", "seven");
    EXPECT_EQ(api_->answer(request).body, "{\"error\":\"Last-Event-ID is not a position\"}\n");
}

TEST_F(StreamTest, Items_Filter_OnlyThoseThatPassAndTheirTotal) {
    makeLog(line("door 1") + line("gate 1"));
    serve();
    const auto client = follow({{"q", "door"}, {"level", "1"}});
    EXPECT_EQ(client->next().data["total"], 1);
    add(line("gate 2") + line("door 2", kTime, 2) + line("door 3"));
    const Event event = client->next();
    EXPECT_EQ(event.data["total"], 2);
    std::vector<std::string> texts;
    Client::add(event, &texts);
    EXPECT_THAT(texts, ElementsAre("door 3"));
}

TEST_F(StreamTest, Items_Many_ComeInBatches) {
    makeLog(line("first"));
    serve();
    const auto client = follow();
    client->next();
    std::string bytes;
    for (int i = 1; i <= 450; ++i) {
        bytes += line(numberedText("n", i));
    }
    add(bytes);
    std::vector<std::string> texts;
    for (const size_t size : {200U, 200U, 50U}) {
        const Event event = client->next();
        EXPECT_EQ(event.data["items"].size(), size);
        Client::add(event, &texts);
        EXPECT_EQ(event.data["total"], texts.size() + 1);
    }
    EXPECT_EQ(texts, numberedTexts("n", 1, 450));
}

TEST_F(StreamTest, Resume_ByTheLastId_HasNoGapAndNoDouble) {
    makeLog(line("first"));
    serve();
    std::vector<std::string> texts;
    std::string last;
    int written = 0;
    for (int round = 0; round < 12; ++round) {
        const auto client = follow({}, last);
        const Event first = client->next();
        EXPECT_EQ(first.name, "change");
        std::string bytes;
        for (int i = 0; i < 3; ++i) {
            bytes += line(numberedText("n", ++written));
        }
        add(bytes, round % 3);
        for (const std::string &text : client->nextTexts(static_cast<size_t>(written) - texts.size())) {
            texts.push_back(text);
        }
        last = client->lastId();
        client->leave();
        // While nobody follows: more items, and the ring moves on.
        append(round % 3, line(numberedText("n", ++written)));
        start((round + 1) % 3, "");
        writeIndex(std::to_string(round < 2 ? 0 : (round + 2) % 3) + "," + std::to_string((round + 1) % 3));
        logs_->refreshAll();
    }
    EXPECT_EQ(texts, numberedTexts("n", 1, static_cast<int>(texts.size())));
    EXPECT_GE(texts.size(), 47U);
}

TEST_F(StreamTest, Resume_AfterARestartOfTheServer_GoesOn) {
    makeLog(line("one"));
    serve();
    std::string last;
    {
        const auto client = follow();
        client->next();
        last = client->lastId();
    }
    append(0, line("two"));
    serve();
    EXPECT_THAT(follow({}, last)->nextTexts(1), ElementsAre("two"));
}

TEST_F(StreamTest, Gone_RingPassedThePosition_IsSaidAndTheStreamGoesOnFromNow) {
    makeLog(line("one") + line("two"));
    serve();
    const std::string last = cursorOf("one");
    start(0, line("other") + line("others"));
    logs_->refreshAll();
    const auto client = follow({}, last);
    const Event gone = client->next();
    EXPECT_EQ(gone.name, "gone");
    EXPECT_EQ(gone.data.dump(), R"({"total":2})");
    EXPECT_EQ(gone.id, cursorOf("others"));
    EXPECT_EQ(client->next().name, "change");
    add(line("new"));
    EXPECT_THAT(client->nextTexts(1), ElementsAre("new"));
}

TEST_F(StreamTest, SlowClient_HoldsNothingAndGetsWhatIsInViewByThen) {
    makeLog(line("first"));
    serve();
    const auto client = follow();
    client->next();
    client->halt();
    for (int i = 1; i <= 50; ++i) {
        add(line(numberedText("n", i)));
    }
    client->resume();
    EXPECT_EQ(client->nextTexts(50), numberedTexts("n", 1, 50));
    client->halt();
    add(line("held"));
    client->waitUntilHeld();
    add(line("lost"));
    start(0, line("a"));
    logs_->refreshAll();
    client->resume();
    Event event = client->next();
    while (event.name == "items") {
        event = client->next();
    }
    EXPECT_EQ(event.name, "gone");
    add(line("b"));
    EXPECT_THAT(client->nextTexts(1), ElementsAre("b"));
}

TEST_F(StreamTest, Change_RingMovesOn_SaysHowManyItemsLeft) {
    start(0, line("a") + line("b"));
    start(1, line("c"));
    writeIndex("0,1");
    serve();
    const auto client = follow({{"q", "[ac]"}});
    EXPECT_EQ(client->next().data["total"], 2);
    start(0, "");
    writeIndex("1,0");
    logs_->refreshAll();
    const Event event = client->next();
    EXPECT_EQ(event.name, "change");
    EXPECT_EQ(event.data["items_lost"], 2);
    EXPECT_EQ(event.data["total"], 1);
}

TEST_F(StreamTest, Change_FindingsChange_IsSaid) {
    makeLog(line("one"));
    serve();
    const auto client = follow();
    client->next();
    logs_->check(0);
    const Event event = client->next();
    EXPECT_EQ(event.name, "change");
    EXPECT_EQ(event.data["items_lost"], 0);
}

TEST_F(StreamTest, Clear_OldItemsInFrontOfNewOnes_AreNotSentAgain) {
    start(0, line("a"));
    start(1, line("b"));
    writeIndex("0,1");
    serve();
    const auto client = follow();
    client->next();
    writeIndex("0,0");
    append(0, line("new"));
    logs_->refreshAll();
    EXPECT_THAT(client->nextTexts(1), ElementsAre("new"));
}

TEST_F(StreamTest, Idle_SendsPingsUntilTheServerStops) {
    makeLog(line("one"));
    tool::ApiTerms terms = usualTerms();
    terms.pace.pingEvery = std::chrono::milliseconds(1);
    serve({"log"}, terms);
    const auto client = follow();
    client->next();
    while (client->pings() < 3) {
        std::this_thread::yield();
    }
    logs_->stop();
    EXPECT_TRUE(client->endsWhole());
    EXPECT_EQ(client->waiting(), 0U);
}

/// A stream in the thread of the test, which steers it by what it sends.
class StreamTotalTest : public StreamTest {
protected:
    StreamTotalTest() {
        makeLog(line("one"));
        serve();
        tool::Parameters none{tool::WebRequest{}};
        terms_.filter = tool::takeFilter(&none, *logs_->now(), kTime, &expressions_);
        terms_.pace = usualTerms().pace;
        terms_.pace.longestCount = kTooShort;
    }

    /// What so many events hold; calls `after` with the number of those that were sent, after each.
    std::vector<std::string> events(size_t count, const std::function<void(size_t)> &after) {
        std::vector<std::string> all;
        int idle = 0;
        tool::ItemStream stream(logs_.get(), &matches_, terms_);
        stream.run([&](std::string_view bytes) {
            if (bytes.empty()) {
                return ++idle < kMostIdle;
            }
            const std::vector<std::string> lines = linesOf(std::string(bytes));
            Json data = Json::parse(lines.at(2).substr(6));
            data.erase("items");
            data.erase("revision");
            all.push_back(lines[0].substr(7) + " " + data.dump());
            after(all.size());
            return all.size() < count;
        });
        return all;
    }

    static constexpr std::chrono::milliseconds kTooShort{-1};
    static constexpr std::chrono::milliseconds kLong{10000};
    static constexpr int kMostIdle = 500;
    tool::ExpressionPool expressions_;
    tool::TextMatches matches_;
    tool::StreamTerms terms_;
};

TEST_F(StreamTotalTest, Count_TakesTooLong_TotalIsUnknownUntilALaterOne) {
    terms_.pace.countAgainAfter = std::chrono::milliseconds(0);
    const auto steer = [this](size_t sent) {
        if (sent == 1) {
            add(line("two"));
        } else {
            terms_.pace.longestCount = kLong;
        }
    };
    EXPECT_THAT(events(3, steer),
                ElementsAre(R"(change {"total":null,"items_lost":0})", R"(items {"total":null})",
                            R"(change {"total":2,"items_lost":0})"));
}

TEST_F(StreamTotalTest, Count_TookTooLong_IsNotTriedAgainAtOnce) {
    terms_.pace.countAgainAfter = std::chrono::hours(1);
    const auto steer = [this](size_t) {
        terms_.pace.longestCount = kLong;
        start(0, "");
        logs_->refreshAll();
    };
    EXPECT_THAT(events(2, steer), ElementsAre(R"(change {"total":null,"items_lost":0})",
                                              R"(change {"total":null,"items_lost":1})"));
}

TEST_F(StreamTotalTest, Count_TakesTooLongLater_FormerTotalIsNotKept) {
    terms_.pace.longestCount = kLong;
    const auto steer = [this](size_t) {
        terms_.pace.longestCount = kTooShort;
        start(0, line("new", kTime + 1));
        logs_->refreshAll();
    };
    const std::vector<std::string> all = events(2, steer);
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0], R"(change {"total":1,"items_lost":0})");
    EXPECT_THAT(all[1], ::testing::HasSubstr(R"("total":null)"));
}

/// Writers, questions and followers at the same time: for the thread sanitizer, and that nobody misses any.
TEST_F(StreamTest, ManyAtOnce_WhileTheRingMoves_EachGetsEachItemOnce) {
    constexpr int kClients = 64;
    constexpr int kItems = 120;
    makeLog(line("first"));
    serve();
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < kClients; ++i) {
        clients.push_back(follow());
        clients.back()->next();
    }
    std::atomic<bool> isDone{false};
    std::thread asking([&] {
        while (!isDone) {
            EXPECT_EQ(answer("histogram", {{"q", "n0000001"}}).status, 200);
            EXPECT_EQ(answer("facets").status, 200);
        }
    });
    for (int i = 1; i <= kItems; ++i) {
        const int file = i / 30;
        if (i % 30 == 0) {
            start(file, "");
            writeIndex("0," + std::to_string(file));
        }
        add(line(numberedText("n", i)), file);
    }
    for (const auto &client : clients) {
        EXPECT_EQ(client->nextTexts(kItems), numberedTexts("n", 1, kItems));
        EXPECT_EQ(client->waiting(), 0U);
    }
    isDone = true;
    asking.join();
    // Otherwise each of them would notice only after a while that its client goes.
    logs_->stop();
}

}  // namespace
}  // namespace test
