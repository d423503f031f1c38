// SPDX-License-Identifier: Apache-2.0
// Tests the order of a ring's files, and their placement, in isolation.
#include <gmock/gmock.h>

#include "common_values.h"
#include "health/ring_evidence.h"
#include "health/ring_placement.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using tool::FileFacts;
using tool::IndexPositions;
using tool::RingFacts;
using tool::RingOrder;
using Source = tool::RingOrder::Source;

FileFacts file(uint32_t first, uint32_t last, int64_t items = kFull) {
    return {true, items, first, last, false};
}

FileFacts empty() { return {true, 0, 0, 0, false}; }

RingFacts ringOf(const std::vector<FileFacts> &files) {
    RingFacts facts;
    facts.ringSize = static_cast<int>(files.size());
    std::copy(files.begin(), files.end(), facts.files.begin());
    return facts;
}

/// The order of a ring is found from its files alone wherever its newest file is, full or not, and before and
/// after the next file was opened.
TEST(RingEvidence, EveryRotationOfEverySize_Found) {
    for (int size = 2; size <= 90; ++size) {
        for (int newest = 0; newest < size; ++newest) {
            RingFacts facts;
            facts.ringSize = size;
            for (int i = 0; i < size; ++i) {
                const auto time = static_cast<uint32_t>(1000 + 100 * i);
                facts.files[static_cast<size_t>((newest + 1 + i) % size)] =
                    file(time, time + 99, i + 1 == size ? 7 : kFull);
            }
            const RingOrder order = findRingOrder(facts);
            ASSERT_EQ(order.source, Source::Files) << size << ' ' << newest << order.evidence;
            EXPECT_EQ(order.files.back(), newest) << size;
            const auto placement = placeFiles(facts, order.files);
            ASSERT_TRUE(placement);
            EXPECT_THAT(placement->moves, IsEmpty());
            EXPECT_EQ(placement->positions, (IndexPositions{(newest + 1) % size, newest}));
        }
    }
}

TEST(RingEvidence, TimesFallTwiceAndFilesApart_OrderedByTime) {
    // 1 was written last, after a start that forgot that 2 was the newest.
    const RingFacts facts =
        ringOf({file(300, 399), file(900, 910, 3), file(500, 599), empty(), file(100, 199), file(200, 299)});
    const RingOrder order = findRingOrder(facts);
    EXPECT_EQ(order.source, Source::Files);
    EXPECT_THAT(order.files, ElementsAre(4, 5, 0, 2, 1));
    EXPECT_THAT(order.evidence, HasSubstr("1.csv is not full"));
    const auto placement = placeFiles(facts, order.files);
    ASSERT_TRUE(placement);
    EXPECT_EQ(placement->positions, (IndexPositions{0, 4}));
    EXPECT_EQ(placement->targetOf(3), std::nullopt);
    EXPECT_EQ(placement->targetOf(4), 0);
    EXPECT_EQ(placement->targetOf(1), 4);
}

TEST(RingEvidence, SmallStepsBack_RingOrderHolds) {
    const RingFacts facts = ringOf({file(300, 399), file(395, 480, 9), file(100, 199), file(190, 299)});
    EXPECT_THAT(findRingOrder(facts).files, ElementsAre(2, 3, 0, 1));
}

TEST(RingEvidence, SmallStepBackInRingOutOfOrder_StillOrderedByTime) {
    const RingFacts facts = ringOf(
        {file(300, 399), file(900, 999, 9), file(500, 599), file(596, 700), file(100, 199), file(200, 299)});
    EXPECT_THAT(findRingOrder(facts).files, ElementsAre(4, 5, 0, 2, 3, 1));
}

TEST(RingEvidence, NewestByTimeIsFullAndAnotherIsNot_Unclear) {
    const RingFacts facts = ringOf({file(500, 599), file(100, 110, 5), file(300, 399), file(400, 499)});
    EXPECT_EQ(findRingOrder(facts).source, Source::Unclear);
}

TEST(RingEvidence, NewestIsFullAndNextIsEmpty_Found) {
    const RingFacts facts = ringOf({file(500, 599), empty(), file(300, 399, 4999), file(400, 499)});
    EXPECT_THAT(findRingOrder(facts).files, ElementsAre(2, 3, 0));
}

TEST(RingEvidence, EqualTimesInTwoFilesOutOfOrder_Unclear) {
    const RingFacts facts = ringOf({file(500, 500), file(900, 900, 3), file(500, 500), file(100, 100)});
    EXPECT_EQ(findRingOrder(facts).source, Source::Unclear);
}

TEST(RingEvidence, IndexNamesAll_Trusted) {
    RingFacts facts = ringOf({file(300, 399), file(100, 199), file(200, 299)});
    facts.index = IndexPositions{2, 1};
    const RingOrder order = findRingOrder(facts);
    EXPECT_EQ(order.source, Source::Index);
    EXPECT_THAT(order.files, ElementsAre(2, 0, 1));
}

TEST(RingEvidence, BackupOfBeforeTheCut_Agrees) {
    RingFacts facts = ringOf({file(300, 399), {}, file(100, 199), file(200, 299)});
    facts.backup = IndexPositions{1, 0};
    const RingOrder order = findRingOrder(facts);
    EXPECT_THAT(order.files, ElementsAre(2, 3, 0));
    EXPECT_THAT(order.evidence, HasSubstr("index.bak names 1,0, which agrees"));
}

/// The clock was set back: by the times, 3 is the newest.
TEST(RingEvidence, FileAfterTheNewestOfTheBackupWasBegun_BackupDecides) {
    RingFacts facts = ringOf({file(50, 99), empty(), file(100, 199), file(200, 299)});
    facts.backup = IndexPositions{1, 0};
    const RingOrder order = findRingOrder(facts);
    EXPECT_EQ(order.source, Source::Files);
    EXPECT_THAT(order.files, ElementsAre(2, 3, 0));
    EXPECT_EQ(order.evidence, "index.bak names 1,0, and the file after its newest was just begun");
}

/// The backup leaves out 0, so it is older than 0.
TEST(RingEvidence, FileAfterTheNewestOfAnOldBackupIsEmpty_BackupDoesNotDecide) {
    RingFacts facts = ringOf({file(300, 399), file(100, 199), file(200, 299), empty()});
    facts.backup = IndexPositions{1, 2};
    EXPECT_NE(findRingOrder(facts).evidence.find("index.bak names 1,2, which does not agree"),
              std::string::npos);
}

TEST(RingEvidence, TimesTellNothing_BackupDoes) {
    RingFacts facts = ringOf({file(5, 5, 4999), file(5, 5, 9), file(5, 5)});
    EXPECT_EQ(findRingOrder(facts).source, Source::Unclear);
    facts.backup = IndexPositions{1, 0};
    EXPECT_THAT(findRingOrder(facts).files, ElementsAre(1, 2, 0));
}

TEST(RingEvidence, TimesTellNothingAndFileAfterTheFullNewestOfTheBackupIsMissing_BackupDecides) {
    RingFacts facts = ringOf({file(5, 5), file(5, 5), file(5, 5, 9), {}});
    facts.backup = IndexPositions{0, 2};
    EXPECT_THAT(findRingOrder(facts).files, ElementsAre(0, 1, 2));
    facts.files[2].items = kFull;
    EXPECT_THAT(findRingOrder(facts).files, ElementsAre(0, 1, 2));
}

/// The store empties the next file before it rewrites the index, so the ring has moved on since.
TEST(RingEvidence, TimesTellNothingAndFileAfterTheFullNewestOfTheBackupHoldsItems_Unclear) {
    RingFacts facts = ringOf({file(5, 5), file(5, 5), file(5, 5)});
    facts.backup = IndexPositions{1, 0};
    const RingOrder order = findRingOrder(facts);
    EXPECT_EQ(order.source, Source::Unclear);
    EXPECT_THAT(order.evidence, HasSubstr("; index.bak names 1,0, but 0.csv is full and 1.csv holds items"));
}

TEST(RingEvidence, RingHasMovedOnFromTheBackupAndNewestIsNotFull_TimesDecide) {
    RingFacts facts = ringOf({file(300, 399), file(400, 410, 3), file(100, 199), file(200, 299)});
    facts.backup = IndexPositions{0, 3};
    const RingOrder order = findRingOrder(facts);
    EXPECT_THAT(order.files, ElementsAre(2, 3, 0, 1));
    EXPECT_THAT(order.evidence, HasSubstr("; index.bak names 0,3, but the ring has moved on since"));
}

/// Backup and times disagree, and no file that is not full confirms either.
TEST(RingEvidence, RingHasMovedOnFromTheBackupAndEveryFileIsFull_Unclear) {
    RingFacts facts = ringOf({file(300, 399), file(400, 499), file(100, 199), file(200, 299)});
    facts.backup = IndexPositions{0, 3};
    EXPECT_THAT(findRingOrder(facts).evidence, HasSubstr("index.bak names 0,3, which does not agree"));
}

/// Each of them may be the newest, if the clock was set back once; with the next file missing, only that
/// before it.
TEST(RingEvidence, EveryFileIsFull_OrderIsInDoubt) {
    RingFacts facts = ringOf({file(300, 399), file(400, 499), file(100, 199), file(250, 299)});
    RingOrder order = findRingOrder(facts);
    EXPECT_THAT(order.files, ElementsAre(2, 3, 0, 1));
    EXPECT_EQ(order.doubt, "if the clock was set back, 2.csv could be the newest instead");
    facts.files[3] = file(200, 299);
    EXPECT_EQ(findRingOrder(facts).doubt, "");
    facts.files[3] = file(250, 299);
    facts.files[2] = empty();
    order = findRingOrder(facts);
    EXPECT_THAT(order.files, ElementsAre(3, 0, 1));
    EXPECT_EQ(order.doubt, "");
}

TEST(RingEvidence, TwoFilesAreNotFull_OrderIsInDoubtUnlessOneWasLeftByAClearing) {
    RingFacts facts = ringOf({file(100, 199), file(200, 210, 3), file(300, 399), file(400, 410, 3), {}});
    EXPECT_EQ(findRingOrder(facts).doubt, "if the clock was set back, 1.csv could be the newest instead");
    facts.files[2].startsCleared = true;
    RingOrder order = findRingOrder(facts);
    EXPECT_EQ(order.doubt, "");
    EXPECT_THAT(order.files, ElementsAre(2, 3));
    EXPECT_THAT(order.cleared, ElementsAre(0, 1));
}

TEST(RingEvidence, FileThatIsNotFullLiesBeforeTheOneAndTheOtherClearing_OrderIsInDoubt) {
    RingFacts facts = ringOf({file(300, 399), file(400, 410, 3), file(100, 199), file(250, 260, 3)});
    facts.files[0].startsCleared = true;
    EXPECT_EQ(findRingOrder(facts).doubt, "");
    facts.files[2].startsCleared = true;
    EXPECT_NE(findRingOrder(facts).doubt, "");
}

TEST(RingEvidence, EveryFileButTheLastIsFull_OrderIsThatOfTheNumbers) {
    RingFacts facts = ringOf({file(500, 599), file(100, 199), file(50, 60, 3)});
    for (const int ringSize : {3, 10}) {
        facts.ringSize = ringSize;
        const RingOrder order = findRingOrder(facts);
        EXPECT_THAT(order.files, ElementsAre(0, 1, 2));
        EXPECT_EQ(
            order.reason(),
            "every file but the last, 2.csv, is full, so they were filled one after the other: 0.csv is the "
            "oldest and 2.csv the newest");
    }
}

TEST(RingEvidence, FilesFromOneOnOrFullLastOne_NumbersTellNothing) {
    RingFacts facts = ringOf({{}, file(500, 599), file(100, 110, 3)});
    EXPECT_EQ(findRingOrder(facts).source, Source::Unclear);
    facts = ringOf({file(500, 599), file(100, 199), file(200, 299)});
    EXPECT_THAT(findRingOrder(facts).files, ElementsAre(1, 2, 0));
}

TEST(RingEvidence, IndexNamesAllButAFileIsNewerByTimesAndFill_Contradicted) {
    RingFacts facts = ringOf({file(300, 399), file(400, 410, 3), file(100, 199), file(200, 299)});
    facts.index = IndexPositions{1, 0};
    EXPECT_THAT(findRingOrder(facts).files, ElementsAre(2, 3, 0, 1));
    EXPECT_EQ(findRingOrder(facts).source, Source::Files);
    facts.files[1].items = kFull;
    EXPECT_EQ(findRingOrder(facts).source, Source::Index);
    facts.files[1].items = 3;
    facts.files[0].items = 4999;
    EXPECT_EQ(findRingOrder(facts).source, Source::Index);
}

/// The clock was set back as well, so that the times do not bear out what the fill shows.
TEST(RingEvidence, IndexNamesAllButAnotherFileHasRoom_Unclear) {
    RingFacts facts = ringOf({file(300, 399), file(50, 60, 3), file(100, 199), file(200, 299)});
    facts.index = IndexPositions{1, 0};
    const RingOrder order = findRingOrder(facts);
    EXPECT_EQ(order.source, Source::Unclear);
    EXPECT_EQ(
        order.evidence,
        "the index names 0.csv as the newest, but that is full, and the ring may have ended with 1.csv");
    facts.files[2].startsCleared = true;
    EXPECT_EQ(findRingOrder(facts).source, Source::Index);
}

/// The last one may have been left by the clearing after which the ring began at 0 again.
TEST(RingEvidence, EveryFileButTheLastIsFullAndTheFirstBeginsCleared_NumbersTellNothing) {
    RingFacts facts = ringOf({file(400, 499), file(100, 199), file(200, 299), file(300, 310, 3)});
    facts.files[0].startsCleared = true;
    EXPECT_EQ(findRingOrder(facts).source, Source::Unclear);
}

TEST(RingEvidence, TimesTellNothingAndTheFileWithRoomWasLeftByAClearing_Unclear) {
    RingFacts facts = ringOf({file(5, 5), file(5, 5, 3), file(5, 5)});
    EXPECT_THAT(findRingOrder(facts).files, ElementsAre(2, 0, 1));
    facts.files[2].startsCleared = true;
    EXPECT_EQ(findRingOrder(facts).source, Source::Unclear);
}

TEST(RingEvidence, IndexNamesAllButTheFileAfterAnotherWasJustBegun_Contradicted) {
    RingFacts facts = ringOf({file(300, 399), empty(), file(100, 199), file(200, 299)});
    facts.index = IndexPositions{0, 3};
    RingOrder order = findRingOrder(facts);
    EXPECT_EQ(order.source, Source::Files);
    EXPECT_THAT(order.files, ElementsAre(2, 3, 0));
    facts.files[0] = file(50, 99);
    order = findRingOrder(facts);
    EXPECT_EQ(order.source, Source::Unclear);
    EXPECT_EQ(
        order.evidence,
        "the index names 3.csv as the newest, but that is full, and the ring may have ended with 0.csv");
}

/// It may as well be the oldest, which the ring comes to next.
TEST(RingEvidence, NewestByTimesIsTheFullFileAfterThatOfTheBackup_StaysInDoubt) {
    RingFacts facts = ringOf({file(300, 399), file(400, 499), file(100, 199), file(250, 299)});
    facts.backup = IndexPositions{1, 0};
    EXPECT_NE(findRingOrder(facts).doubt, "");
    facts.files[1].items = 3;
    EXPECT_EQ(findRingOrder(facts).doubt, "");
    facts.files[1].items = kFull;
    facts.backup = IndexPositions{2, 1};
    EXPECT_EQ(findRingOrder(facts).doubt, "");
    facts.files[2].startsCleared = true;
    EXPECT_NE(findRingOrder(facts).doubt, "");
}

/// That it is the last of files filled by number is less than what a whole index says.
TEST(RingEvidence, IndexNamesAllAndOnlyTheFillIsAgainstIt_Unclear) {
    RingFacts facts = ringOf({file(5, 5), file(5, 5), file(5, 5, 3)});
    facts.index = IndexPositions{1, 0};
    EXPECT_EQ(findRingOrder(facts).source, Source::Unclear);
    facts.files[0] = file(1, 2);
    facts.files[1] = file(3, 4);
    EXPECT_THAT(findRingOrder(facts).files, ElementsAre(0, 1, 2));
}

TEST(RingEvidence, BackupOfASmallerRing_UnclearIfThatHasMovedOn) {
    RingFacts facts = ringOf({file(5, 5), file(5, 5), file(5, 5)});
    facts.backup = IndexPositions{0, 2};
    facts.ringSize = 10;
    facts.files[9] = {true, 0, 0, 0, false};
    facts.files[0].items = 3;
    EXPECT_EQ(findRingOrder(facts).source, Source::Files);
    facts.files[9] = {};
    EXPECT_THAT(findRingOrder(facts).evidence, HasSubstr("index.bak names 0,2, but 2.csv is full and 0.csv"));
}

TEST(RingPlacement, RingTooSmall_Nothing) {
    RingFacts facts = ringOf({file(1, 2), file(3, 4), file(5, 6)});
    facts.ringSize = 2;
    EXPECT_FALSE(placeFiles(facts, {0, 1, 2}));
}

TEST(RingPlacement, EmptyFileBehindTheNewest_DroppedWhereALargerRingWouldMoveIt) {
    RingFacts facts = ringOf({file(1, 2), file(3, 4), empty()});
    const auto placement = placeFiles(facts, {0, 1});
    ASSERT_TRUE(placement);
    EXPECT_EQ(placement->positions, (IndexPositions{0, 1}));
    EXPECT_THAT(placement->moves, IsEmpty());
    EXPECT_THAT(placement->dropped, ElementsAre(2));
}

TEST(RingPlacement, EmptyFileBehindTheNewestOfRingThatCameRound_Stays) {
    const RingFacts facts = ringOf({file(5, 6), empty(), file(1, 2), file(3, 4)});
    const auto placement = placeFiles(facts, {2, 3, 0});
    ASSERT_TRUE(placement);
    EXPECT_EQ(placement->positions, (IndexPositions{2, 0}));
    EXPECT_TRUE(placement->keepsFiles());
}

TEST(RingPlacement, EmptyFileInTheMidst_ClosedUp) {
    RingFacts facts = ringOf({file(1, 2), empty(), file(3, 4)});
    facts.index = IndexPositions{0, 2};
    const auto placement = placeFiles(facts, {0, 2});
    ASSERT_TRUE(placement);
    EXPECT_EQ(placement->positions, (IndexPositions{0, 1}));
    EXPECT_EQ(placement->targetOf(2), 1);
    EXPECT_THAT(placement->dropped, ElementsAre(1));
}

/// The cleared files of a ring of 4 that had come round stay where they are; else they go out of the way
/// first.
TEST(RingPlacement, FilesWereCleared_OutOfViewAndNotLost) {
    RingFacts facts = ringOf({file(3, 4), file(5, 6), file(7, 8), file(1, 2)});
    auto placement = placeFiles(facts, {1, 2}, {0, 3});
    ASSERT_TRUE(placement);
    EXPECT_TRUE(placement->keepsFiles());
    EXPECT_EQ(placement->positions, (IndexPositions{1, 2}));
    placement = placeFiles(facts, {2, 1}, {0, 3});
    ASSERT_TRUE(placement);
    EXPECT_EQ(placement->positions, (IndexPositions{2, 3}));
    EXPECT_EQ(placement->targetOf(3), 1);
    EXPECT_EQ(placement->targetOf(1), 3);
    facts.ringSize = 3;
    EXPECT_FALSE(placeFiles(facts, {1, 2}, {0, 3}));
}

TEST(ListFiles, Runs_AreNamedByTheirEnds) {
    EXPECT_EQ(tool::listFiles({0, 1, 2, 5, 7, 8}), "0.csv to 2.csv, 5.csv, 7.csv to 8.csv");
    EXPECT_EQ(tool::listFiles({}), "");
}

}  // namespace
}  // namespace test
