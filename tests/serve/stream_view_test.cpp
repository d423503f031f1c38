// SPDX-License-Identifier: Apache-2.0
// What followers are sent when items leave the view other than at its beginning, and when some come back.
#include <gmock/gmock.h>

#include "stream_client.h"

namespace test {
namespace {

using ::testing::ElementsAre;

class StreamViewTest : public StreamTest {
protected:
    static std::string shown(const Event &event) {
        Json data = event.data;
        data.erase("revision");
        data.erase("items");
        return event.name + " " + data.dump();
    }

    /// Events up to the first that has one of these names.
    static std::string nextOf(Client *client, const std::string &name) {
        for (;;) {
            const Event event = client->next();
            if (event.name == name || testing::Test::HasFailure()) {
                return shown(event);
            }
        }
    }

    /// Two files with an item each.
    void serveTwoFiles() {
        start(0, line("a", kTime));
        start(1, line("b", kTime + 1));
        writeIndex("0,1");
        serve();
    }

    /// Puts another file under a name, as a repair does.
    void replace(int number, const std::string &bytes) const {
        write("new", bytes);
        std::filesystem::rename(path("new"), path("log/" + std::to_string(number) + ".csv"));
    }
};

TEST_F(StreamViewTest, Clear_NewestItemLeaves_TotalIsWithoutIt) {
    serveTwoFiles();
    const auto client = follow();
    EXPECT_EQ(shown(client->next()), R"(change {"total":2,"items_lost":0})");
    writeIndex("0,0");
    logs_->refreshAll();
    EXPECT_EQ(shown(client->next()), R"(change {"total":1,"items_lost":1})");
    // With the time of an item that is there: it is not taken for that one.
    append(0, line("new", kTime));
    logs_->refreshAll();
    EXPECT_EQ(shown(client->next()), R"(items {"total":2})");
}

TEST_F(StreamViewTest, Clear_WithANewItemAtOnce_ItsTotalIsThatOfTheView) {
    serveTwoFiles();
    const auto client = follow();
    client->next();
    writeIndex("0,0");
    append(0, line("new", kTime + 2));
    logs_->refreshAll();
    const Event one = client->next();
    const Event two = client->next();
    EXPECT_THAT(
        (std::vector<std::string>{shown(one), shown(two)}),
        ::testing::UnorderedElementsAre(R"(items {"total":2})", R"(change {"total":2,"items_lost":1})"));
}

TEST_F(StreamViewTest, Clear_ItemThatWasNotSent_IsGone) {
    serveTwoFiles();
    const auto client = follow();
    client->next();
    append(1, line("c", kTime + 2));
    client->halt();
    logs_->refreshAll();
    client->waitUntilHeld();
    append(1, line("unsent", kTime + 3));
    logs_->refreshAll();
    writeIndex("0,0");
    logs_->refreshAll();
    client->resume();
    EXPECT_EQ(nextOf(client.get(), "gone"), R"(gone {"total":1})");
    add(line("new", kTime + 4));
    EXPECT_THAT(client->nextTexts(1), ElementsAre("new"));
}

TEST_F(StreamViewTest, Clear_PositionOfTheListAfterIt_IsGoodForAStream) {
    serveTwoFiles();
    writeIndex("0,0");
    logs_->refreshAll();
    const auto client = follow({{"position", json("items")["position"]}});
    EXPECT_EQ(shown(client->next()), R"(change {"total":1,"items_lost":0})");
    add(line("new", kTime + 2));
    EXPECT_EQ(shown(client->next()), R"(items {"total":2})");
    EXPECT_EQ(client->waiting(), 0U);
}

TEST_F(StreamViewTest, UnfinishedLine_ContinuedAfterItWasSent_IsSentWholeAndLeavesTheView) {
    makeLog(line("one"));
    serve();
    const auto client = follow();
    client->next();
    append(0, "1700000001,1,0,door op");
    std::filesystem::last_write_time(path("log/0.csv"),
                                     std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    logs_->refreshAll();
    EXPECT_THAT(client->nextTexts(1), ElementsAre("door op"));
    add("en\n");
    Event event = client->next();
    EXPECT_EQ(shown(event), R"(items {"total":2})");
    EXPECT_EQ(event.data["items"][0]["text"], "door open");
    EXPECT_EQ(shown(client->next()), R"(change {"total":2,"items_lost":1})");
}

TEST_F(StreamViewTest, ClearUndone_ItemsComeBack_ListIsToBeLoadedAnewAndNoneIsSent) {
    serveTwoFiles();
    const auto client = follow();
    client->next();
    writeIndex("0,0");
    logs_->refreshAll();
    EXPECT_EQ(shown(client->next()), R"(change {"total":1,"items_lost":1})");
    writeIndex("0,1");
    logs_->refreshAll();
    EXPECT_EQ(shown(client->next()), R"(gone {"total":2})");
    add(line("c", kTime + 2), 1);
    const Event event = client->next();
    EXPECT_EQ(shown(event), R"(items {"total":3})");
    EXPECT_EQ(event.data["items"].size(), 1U);
}

TEST_F(StreamViewTest, ClearUndone_FileThatWasOutOfViewAtTheStart_IsNotTakenForNew) {
    start(0, line("a", kTime));
    start(1, line("b", kTime + 1));
    writeIndex("0,0");
    serve();
    const auto client = follow();
    EXPECT_EQ(shown(client->next()), R"(change {"total":1,"items_lost":0})");
    writeIndex("0,1");
    logs_->refreshAll();
    EXPECT_EQ(shown(client->next()), R"(gone {"total":2})");
    add(line("c", kTime + 2), 1);
    EXPECT_THAT(client->nextTexts(1), ElementsAre("c"));
}

TEST_F(StreamViewTest, ClearUndone_NothingWasInViewAtTheStart_IsNotTakenForNew) {
    start(0, line("a", kTime));
    start(1, "");
    writeIndex("1,1");
    serve();
    const auto client = follow();
    EXPECT_EQ(shown(client->next()), R"(change {"total":0,"items_lost":0})");
    writeIndex("0,1");
    logs_->refreshAll();
    EXPECT_EQ(shown(client->next()), R"(gone {"total":1})");
    EXPECT_EQ(client->lastId(), cursorOf("a"));
}

TEST_F(StreamViewTest, RingMovesOn_ToAFileThatWasOutOfView_SendsItsItems) {
    start(0, line("a", kTime));
    start(1, line("b", kTime + 1));
    writeIndex("0,0");
    serve();
    const auto client = follow();
    client->next();
    start(1, "");
    writeIndex("0,1");
    add(line("new", kTime + 2), 1);
    EXPECT_EQ(shown(client->next()), R"(items {"total":2})");
}

TEST_F(StreamViewTest, Log_GoneAndBack_ListIsToBeLoadedAnew) {
    serveTwoFiles();
    const auto client = follow();
    client->next();
    std::filesystem::rename(path("log"), path("away"));
    logs_->refreshAll();
    EXPECT_EQ(shown(client->next()), R"(change {"total":0,"items_lost":2})");
    std::filesystem::rename(path("away"), path("log"));
    logs_->refreshAll();
    EXPECT_EQ(shown(client->next()), R"(gone {"total":2})");
    add(line("c", kTime + 2), 1);
    EXPECT_THAT(client->nextTexts(1), ElementsAre("c"));
}

TEST_F(StreamViewTest, Repair_OfTheNewestFile_SendsNoItemAgain) {
    start(0, line("a", kTime));
    start(1, line("b", kTime + 1) + line("c", kTime + 2) + "1700000003,1,");
    writeIndex("0,1");
    serve();
    const auto client = follow();
    client->next();
    replace(1, line("b", kTime + 1) + line("c", kTime + 2));
    logs_->refreshAll();
    EXPECT_EQ(shown(client->next()), R"(gone {"total":3})");
    add(line("d", kTime + 4), 1);
    const Event event = client->next();
    EXPECT_EQ(shown(event), R"(items {"total":4})");
    EXPECT_EQ(event.data["items"].size(), 1U);
}

TEST_F(StreamViewTest, Repair_TakesTheEndOfTheNewestFile_TotalIsWithoutIt) {
    start(0, line("a", kTime));
    start(1, line("b", kTime + 1) + line("c", kTime + 2));
    writeIndex("0,1");
    serve();
    const auto client = follow();
    client->next();
    std::filesystem::resize_file(path("log/1.csv"), line("b", kTime + 1).size());
    logs_->refreshAll();
    EXPECT_EQ(shown(client->next()), R"(gone {"total":2})");
    EXPECT_EQ(client->lastId(), cursorOf("b"));
}

TEST_F(StreamViewTest, Repair_OfTheOldestFile_ListIsToBeLoadedAnew) {
    start(0, line("a", kTime) + line("x", kTime));
    start(1, line("b", kTime + 1));
    writeIndex("0,1");
    serve();
    const auto client = follow();
    client->next();
    replace(0, line("x", kTime));
    logs_->refreshAll();
    EXPECT_EQ(nextOf(client.get(), "gone"), R"(gone {"total":2})");
    add(line("c", kTime + 2), 1);
    EXPECT_EQ(nextOf(client.get(), "items"), R"(items {"total":3})");
}

TEST_F(StreamViewTest, Change_SeveralLogs_LossesOfOneAreNotMadeUpForByAnother) {
    start(0, line("a", kTime));
    start(1, line("b", kTime + 1));
    writeIndex("0,1");
    makeLog(line("c", kTime), "other");
    start(1, line("d", kTime + 1) + line("e", kTime + 1), "other");
    writeIndex("1,1", "other");
    serve({"log", "other"});
    const auto client = follow();
    EXPECT_EQ(shown(client->next()), R"(change {"total":4,"items_lost":0})");
    // Both before the stream looks again.
    client->halt();
    client->waitUntilHeld();
    start(0, "");
    writeIndex("1,0");
    writeIndex("0,1", "other");
    logs_->refreshAll();
    client->resume();
    std::vector<std::string> events = {shown(client->next()), shown(client->next())};
    EXPECT_THAT(events, ::testing::UnorderedElementsAre(R"(gone {"total":4})",
                                                        R"(change {"total":4,"items_lost":1})"));
}

TEST_F(StreamViewTest, Change_Several_ReportEachLossOnce) {
    tool::ApiTerms terms = usualTerms();
    terms.pace.changeEvery = std::chrono::milliseconds(100);
    for (int file = 0; file < 5; ++file) {
        start(file, line(numberedText("n", file)));
    }
    writeIndex("0,4");
    serve({"log"}, terms);
    const auto client = follow();
    client->next();
    int64_t lost = 0;
    const auto nextItems = [&] {
        Event event = client->next();
        for (; event.name == "change"; event = client->next()) {
            lost += static_cast<int64_t>(event.data["items_lost"]);
        }
        return shown(event);
    };
    for (int file = 1; file < 4; ++file) {
        writeIndex(std::to_string(file) + ",4");
        add(line("new"), 4);
        EXPECT_EQ(nextItems(), R"(items {"total":5})");
    }
    while (lost < 3 && !HasFailure()) {
        const Event event = client->next();
        EXPECT_EQ(event.data["total"], 5);
        lost += static_cast<int64_t>(event.data["items_lost"]);
    }
    EXPECT_EQ(lost, 3);
    writeIndex("4,4");
    logs_->refreshAll();
    EXPECT_EQ(shown(client->next()), R"(change {"total":4,"items_lost":1})");
}

TEST_F(StreamViewTest, Change_SoonAfterAnother_WaitsWhileItemsAreSent) {
    tool::ApiTerms terms = usualTerms();
    terms.pace.changeEvery = std::chrono::hours(1);
    start(0, line("a"));
    start(1, line("b"));
    start(2, line("c"));
    writeIndex("0,2");
    serve({"log"}, terms);
    const auto client = follow();
    client->next();
    for (const char *const positions : {"1,2", "2,2"}) {
        writeIndex(positions);
        add(line("new"), 2);
        EXPECT_EQ(shown(client->next()), R"(items {"total":3})");
    }
}

TEST_F(StreamViewTest, EmptyPlace_RingCameRoundMeanwhile_IsGoneAndGoesOnFromNow) {
    start(0, "");
    writeIndex("0,0");
    serve();
    const std::string position = json("items")["position"];
    EXPECT_THAT(position, ::testing::MatchesRegex("log~-~[0-9]+"));
    start(0, line("a", kTime));
    logs_->refreshAll();
    {
        const auto client = follow({}, position);
        client->next();
        EXPECT_THAT(client->nextTexts(1), ElementsAre("a"));
    }
    start(1, line("b", kTime + 1));
    writeIndex("1,1");
    logs_->refreshAll();
    const auto client = follow({}, position);
    EXPECT_EQ(shown(client->next()), R"(gone {"total":1})");
    add(line("c", kTime + 2), 1);
    EXPECT_THAT(client->nextTexts(1), ElementsAre("c"));
}

TEST_F(StreamViewTest, EmptyPlace_OfAnEarlierStartOfTheServer_IsGoneAndGoesOnFromNow) {
    start(0, "");
    writeIndex("0,0");
    serve();
    const std::string position = json("items")["position"];
    start(0, line("a", kTime));
    serve();
    const auto client = follow({}, position);
    EXPECT_EQ(shown(client->next()), R"(gone {"total":1})");
    add(line("b", kTime + 1));
    EXPECT_THAT(client->nextTexts(1), ElementsAre("b"));
}

TEST_F(StreamViewTest, Gone_OfOneLog_WhatTheOtherHasNotSentIsSent) {
    makeLog(line("a1") + line("a2"), "a");
    makeLog(line("b1") + line("b2"), "b");
    serve({"a", "b"});
    const std::string position = cursorOf("a1") + "," + cursorOf("b1");
    start(0, line("other", kTime + 9), "a");
    logs_->refreshAll();
    const auto client = follow({}, position);
    EXPECT_EQ(shown(client->next()), R"(gone {"total":3})");
    EXPECT_THAT(client->nextTexts(1), ElementsAre("b2"));
}

}  // namespace
}  // namespace test
