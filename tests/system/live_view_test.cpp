// SPDX-License-Identifier: Apache-2.0
// A view of a log whose files a writer changes meanwhile.
#include <gmock/gmock.h>

#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "exported_log.h"
#include "log/ring_view.h"
#include "query/item_scanner.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A view of a log, and what happens to the log meanwhile.
class LiveViewTest : public ExportTest {
protected:
    std::vector<std::string> scan(const tool::RingView &view, const std::function<void()> &atFirstItem) {
        const tool::ItemFilter filter;
        tool::ItemScanner scanner(view, filter, tool::Order::OldestFirst, &damage_);
        std::vector<std::string> texts;
        while (const tool::Item *const item = scanner.next()) {
            texts.push_back(item->text);
            if (texts.size() == 1) {
                atFirstItem();
            }
        }
        return texts;
    }

    tool::StoreDirectory directory() const { return tool::StoreDirectory::openForReading(path("door")); }

    tool::DamageLog damage_;
};

TEST_F(LiveViewTest, Scan_FileStartedAfreshUnderneath_NothingOfItIsTakenForOldItems) {
    writeRing();
    const tool::StoreDirectory log = directory();
    const tool::RingView view(log, std::nullopt);
    const std::vector<std::string> texts = scan(view, [&] {
        write("door/2.csv",
              dataLine(kMidnight + 9, 1, 5, "new") + dataLine(kMidnight + 9, 1, 5, "and longer"));
    });
    EXPECT_THAT(texts, ElementsAre("open, \"wide\"", "bytes \xff", "shut"));
    EXPECT_THAT(damage_.losses(),
                ElementsAre(path("door/2.csv") +
                            ": started over by a writer while it was being read; items may be missing here"));
    EXPECT_TRUE(damage_.isEmpty());
}

TEST_F(LiveViewTest, Scan_FileEmptiedUnderneath_IsTold) {
    writeRing();
    const tool::StoreDirectory log = directory();
    const tool::RingView view(log, std::nullopt);
    EXPECT_THAT(scan(view, [&] { write("door/2.csv", ""); }),
                ElementsAre("open, \"wide\"", "bytes \xff", "shut"));
    EXPECT_EQ(damage_.losses().size(), 1U);
}

TEST_F(LiveViewTest, Scan_FileStartedAfreshInTheMiddle_RestIsLeftOut) {
    const std::string text(190, 'x');
    std::string lines;
    for (uint32_t number = 0; number < 5000; ++number) {
        lines += dataLine(kMidnight + number, 1, 5, text);
    }
    writeLog("door", lines);
    const tool::StoreDirectory log = directory();
    const tool::RingView view(log, std::nullopt);
    const std::string other = "1800000000" + lines.substr(10);
    const std::vector<std::string> texts = scan(view, [&] { write("door/0.csv", other); });
    EXPECT_GT(texts.size(), 1000U);
    EXPECT_LT(texts.size(), 2000U);
    EXPECT_EQ(damage_.losses().size(), 1U);
    EXPECT_TRUE(damage_.isEmpty());
}

TEST_F(LiveViewTest, Scan_FileAppendedTo_IsNoLoss) {
    writeRing();
    const tool::StoreDirectory log = directory();
    const tool::RingView view(log, std::nullopt);
    const std::vector<std::string> texts = scan(view, [&] {
        std::ofstream(path("door/0.csv"), std::ios::app) << dataLine(kMidnight + 9, 1, 5, "new");
    });
    EXPECT_EQ(texts.size(), 5U);
    EXPECT_THAT(damage_.losses(), IsEmpty());
}

TEST_F(LiveViewTest, SettleEnd_LineThatGoesOn_IsLeftToTheNextReader) {
    writeLog("door", dataLine(kMidnight, 1, 5, "x") + "1700006401,1,5,un");
    const tool::StoreDirectory log = directory();
    tool::RingView view(log, std::nullopt);
    std::ofstream(path("door/0.csv"), std::ios::app) << "finished\n";
    view.settleEnd();
    EXPECT_THAT(scan(view, [] {}), ElementsAre("x"));
    EXPECT_TRUE(damage_.isEmpty());
}

TEST_F(LiveViewTest, SettleEnd_LineThatNobodyGoesOnWith_Stays) {
    writeLog("door", dataLine(kMidnight, 1, 5, "x") + "1700006401,1,5,torn");
    const tool::StoreDirectory log = directory();
    tool::RingView view(log, std::nullopt);
    view.settleEnd();
    EXPECT_THAT(scan(view, [] {}), ElementsAre("x", "torn"));
}

}  // namespace
}  // namespace test
