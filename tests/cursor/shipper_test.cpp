// SPDX-License-Identifier: Apache-2.0
// Which batch is where when: one is under way while the next is read, and no number leaves before it is kept.
#include "export/shipper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "cursor/shipped_log.h"
#include "options/filter_options.h"
#include "system/failure.h"

namespace test {
namespace {

using ::testing::ElementsAre;

/// Records what happens to batches, and what the cursor file then says.
class RecordingTarget : public tool::BatchTarget {
public:
    explicit RecordingTarget(std::string cursors) : cursors_(std::move(cursors)) {}

    std::unique_ptr<tool::ExportSink> begin() override {
        record("begin");
        batch_.clear();
        return std::make_unique<Sink>(&batch_);
    }
    void send() override { record("send" + std::exchange(batch_, "")); }
    void awaitArrival() override {
        if (batchesThatArrive_-- == 0) {
            record("fail");
            throw tool::Failure("the batch");
        }
        record("arrive");
    }

    void failAfter(int batches) { batchesThatArrive_ = batches; }
    std::vector<std::string> takeEvents() { return std::exchange(events_, {}); }

private:
    class Sink : public tool::ExportSink {
    public:
        explicit Sink(std::string *items) : items_(*items) {}
        void beginLog(const tool::ExportedLog &) override {}
        bool take(const tool::Item &item) override {
            items_ += " " + std::to_string(item.seq);
            return true;
        }
        void finish() override {}

    private:
        std::string &items_;
    };

    void record(const std::string &event) {
        std::string kept;
        const tool::CursorSet cursors = tool::readCursors(cursors_);
        for (const tool::LogCursor &cursor : cursors.all()) {
            kept = ": " + std::to_string(cursor.shipped) + " shipped, " +
                   std::to_string(cursor.current().pending()) + " pending";
        }
        events_.push_back(event + kept);
    }

    std::string cursors_;
    std::string batch_;
    int batchesThatArrive_ = 1000;
    std::vector<std::string> events_;
};

class ShipperTest : public ::testing::Test, protected ShippedLog {
protected:
    ShipperTest() {
        append("u1/door/0.csv", dataLine(3, "d") + dataLine(4, "e"));
        terms_.logs = {{path("u1/door"), path("u1/door"), "u1", "door"}};
        terms_.open = [this](const std::string &directory) { return openQuestion(filter_, directory, 0); };
        terms_.report = [](const std::string &) {};
        terms_.batch = 2;
    }

    /// What the file says of the log.
    tool::LogCursor kept() const { return tool::readCursors(path("c")).of("u1", "door"); }

    tool::FilterOptions filter_;
    tool::ShipperTerms terms_;
    const tool::StopSignals signals_;
    tool::CursorFile cursors_{path("c")};
    RecordingTarget target_{path("c")};
    tool::Shipper shipper_{terms_, &cursors_, &target_, signals_};
};

TEST_F(ShipperTest, NextBatch_IsReadMeanwhileAndLeavesOnceTheOneBeforeHasArrived) {
    EXPECT_EQ(shipper_.run().items, 5U);
    EXPECT_THAT(target_.takeEvents(),
                ElementsAre("begin", "send 1 2: 0 shipped, 2 pending", "begin: 0 shipped, 2 pending",
                            "arrive: 0 shipped, 2 pending", "send 3 4: 2 shipped, 2 pending",
                            "begin: 2 shipped, 2 pending", "arrive: 2 shipped, 2 pending",
                            "send 5: 4 shipped, 1 pending", "arrive: 4 shipped, 1 pending"));
    EXPECT_EQ(kept().shipped, 5U);
}

TEST_F(ShipperTest, BatchThatFails_IsSentAgainUnderItsNumbersAndTheOneAfterItWasNotSent) {
    target_.failAfter(1);
    EXPECT_THROW(shipper_.run(), tool::Failure);
    EXPECT_THAT(target_.takeEvents().back(), "fail: 2 shipped, 2 pending");
    EXPECT_EQ(shipper_.run().items, 3U);
    EXPECT_THAT(target_.takeEvents(),
                ElementsAre("begin: 2 shipped, 2 pending", "send 3 4: 2 shipped, 2 pending",
                            "begin: 2 shipped, 2 pending", "arrive: 2 shipped, 2 pending",
                            "send 5: 4 shipped, 1 pending", "arrive: 4 shipped, 1 pending"));
}

TEST_F(ShipperTest, FailureWhileABatchIsUnderWay_CountsTheBatchThatArrives) {
    terms_.logs.push_back({path("none"), path("none"), "u1", "none"});
    terms_.open = [this](const std::string &directory) {
        if (directory == path("none")) {
            throw tool::Failure("not a log", tool::kExitUsage);
        }
        return openQuestion(filter_, directory, 0);
    };
    EXPECT_THROW(shipper_.run(), tool::Failure);
    EXPECT_EQ(target_.takeEvents().back(), "arrive: 2 shipped, 2 pending");
    const tool::LogCursor kept = this->kept();
    EXPECT_EQ(kept.shipped, 4U);
    EXPECT_EQ(kept.current().pending(), 0U);
}

}  // namespace
}  // namespace test
