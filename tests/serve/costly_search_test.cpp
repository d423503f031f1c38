// SPDX-License-Identifier: Apache-2.0
// Expressions that take long for each item: they are given up in time, and hold up neither others nor the
// end.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "serve/item_stream.h"
#include "serve/item_texts.h"
#include "served_ring.h"

namespace test {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;
using ::testing::Not;

class CostlySearchTest : public ServeTest {
protected:
    /// Found nowhere, which takes some tens of milliseconds to find out for each line.
    static std::string costly() {
        std::string expression;
        for (int i = 0; i < 70; ++i) {
            expression += "(?:\\C?){1000}";
        }
        return expression + "[\\x01-\\x08\\x0e-\\x1f]";
    }

    static tool::ViewFilter filterOf(const std::string &expression) {
        tool::ViewFilter filter;
        filter.pattern = std::make_shared<const RE2>(expression, RE2::Quiet);
        return filter;
    }

    void serveLines(int lines) {
        std::string bytes;
        for (int i = 0; i < lines; ++i) {
            bytes += line(std::string(180, 'x'), kTime + static_cast<uint32_t>(i));
        }
        makeLog(bytes);
        serve();
    }
};

TEST_F(CostlySearchTest, Items_ServerStops_IsGivenUp) {
    serveLines(40);
    logs_->stop();
    EXPECT_EQ(refusal("items", {{"q", costly()}}), "503 {\"error\":\"the server is stopping\"}\n");
}

TEST_F(CostlySearchTest, Download_ClientHasLeft_SearchEnds) {
    serveLines(40);
    const tool::WebAnswer download = answer("download", {{"format", "csv"}, {"q", costly() + "|x"}});
    std::string all;
    const bool isWhole = download.send([&](std::string_view bytes) {
        all += bytes;
        return !bytes.empty();
    });
    EXPECT_FALSE(isWhole);
    EXPECT_EQ(linesOf(all).size(), 1U);
}

TEST_F(CostlySearchTest, Turn_OneFileTakesTooLong_EndsHoweverMuchTimeThereIs) {
    serveLines(40);
    tool::TextMatches matches(tool::TextMatches::kMostBytes, milliseconds(200));
    const tool::Deadline deadline(std::chrono::minutes(10));
    try {
        matches.of(filterOf(costly()), logs_->now()->logs[0]->blocks, 0, deadline);
        FAIL() << "it went on to the end";
    } catch (const tool::RequestError &error) {
        EXPECT_EQ(error.status(), 504);
    }
}

TEST_F(CostlySearchTest, Turn_SearchOfManyFilesGoesOn_OthersHaveTheirTurnsBetween) {
    const std::string one = line(std::string(180, 'x'));
    for (int file = 0; file < 3; ++file) {
        start(file, one + one + one + one);
    }
    writeIndex("0,2");
    serve();
    const std::vector<tool::LogBlock> &blocks = logs_->now()->logs[0]->blocks;
    ASSERT_EQ(blocks.size(), 3U);
    tool::TextMatches matches;
    const tool::Deadline deadline(std::chrono::minutes(10));
    std::atomic<bool> hasBegun{false};
    std::thread other([&] {
        const tool::Deadline own(std::chrono::minutes(10), [&hasBegun] { hasBegun = true; });
        for (size_t block = 0; block < blocks.size(); ++block) {
            matches.of(filterOf(costly()), blocks, block, own);
        }
    });
    while (!hasBegun) {
        std::this_thread::yield();
    }
    matches.of(filterOf("x"), blocks, 0, deadline);
    const size_t bytesThen = matches.bytes();
    other.join();
    EXPECT_LT(bytesThen, matches.bytes());  // The first one has found more since.
}

TEST_F(CostlySearchTest, Marks_TimeIsUp_IsGivenUp) {
    const RE2 pattern("x");
    EXPECT_EQ(tool::marksIn("x-x", pattern, tool::Deadline(std::chrono::minutes(10))), "[[0,1],[2,3]]");
    EXPECT_THROW(tool::marksIn("x-x", pattern, tool::Deadline(milliseconds(-1))), tool::RequestError);
}

TEST_F(CostlySearchTest, Stream_ClientLeavesWhileItemsAreLookedAt_NoneIsSent) {
    serveLines(1);
    const tool::WebAnswer stream = answer("stream", {{"q", "^new$"}});
    std::string events;
    bool isLeft = false;
    const bool isWhole = stream.send([&](std::string_view bytes) {
        events += bytes;
        const bool isTaken = !isLeft || !bytes.empty();
        if (bytes.empty() && !isLeft) {
            // After this, the stream finds new items before it looks for its client again.
            append(0, line("new"));
            logs_->refreshAll();
            isLeft = true;
        }
        return isTaken;
    });
    EXPECT_FALSE(isWhole);
    EXPECT_THAT(events, HasSubstr("event: change"));
    EXPECT_THAT(events, Not(HasSubstr("event: items")));
}

}  // namespace
}  // namespace test
