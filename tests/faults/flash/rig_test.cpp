// SPDX-License-Identifier: Apache-2.0
// The rig itself: the chip enforces its rules, a cut loses what was not programmed, and each check fails when
// the module, the file system or the chip does wrong.
#include <gtest/gtest.h>
#include <jorn.h>
#include <sysLib.h>

#include <cstdlib>

#include "cut_run.h"
#include "nand.h"
#include "ring_model.h"
#include "volume.h"
#include "workloads.h"

namespace {

using flash::Check;
using flash::CutOptions;
using flash::CutRun;
using flash::Directory;
using flash::Figures;
using flash::Ledger;
using flash::Life;
using flash::Nand;
using flash::Operation;
using flash::PageState;
using flash::RingModel;
using flash::Sabotage;
using flash::Torn;
using flash::Volume;
using flash::Workload;

constexpr size_t kBlocks = 16;
constexpr int kCaches = 10;

Operation programOf(size_t page, uint8_t byte) {
    Operation operation;
    operation.place = page;
    operation.page.data.fill(byte);
    operation.page.spare.fill(byte);
    return operation;
}

Operation eraseOf(size_t block) {
    Operation operation;
    operation.isErase = true;
    operation.place = block;
    return operation;
}

TEST(Nand, Program_PageNotErased_BreaksRules) {
    Nand chip(2);
    chip.perform(programOf(3, 1));
    EXPECT_EQ(chip.brokenRules(), "");
    chip.perform(programOf(3, 1));
    EXPECT_NE(chip.brokenRules(), "");
}

TEST(Nand, Program_EarlierPageOfBlock_BreaksRules) {
    Nand chip(2);
    chip.perform(programOf(3, 1));
    chip.perform(programOf(2, 1));
    EXPECT_NE(chip.brokenRules(), "");
}

TEST(Nand, Program_AfterErase_KeepsRules) {
    Nand chip(2);
    chip.perform(programOf(3, 1));
    chip.perform(programOf(64, 1));
    chip.perform(eraseOf(0));
    chip.perform(programOf(0, 2));
    EXPECT_EQ(chip.brokenRules(), "");
    EXPECT_EQ(chip.state(3), PageState::Erased);
    EXPECT_EQ(chip.state(64), PageState::Good);
}

TEST(Nand, Tear_EachWayToCutProgram_LeavesWhatItSays) {
    const Operation program = programOf(0, 0x5A);
    const struct {
        Torn torn;
        uint8_t lastOfData, firstOfSpare, lastOfSpare;
        PageState state;
    } rows[] = {{Torn::Nothing, 0xFF, 0xFF, 0xFF, PageState::Erased},
                {Torn::HalfDataNoTags, 0xFF, 0xFF, 0xFF, PageState::Unreadable},
                {Torn::FullDataHalfTags, 0x5A, 0x5A, 0xFF, PageState::Unreadable},
                {Torn::HalfDataFullTags, 0xFF, 0x5A, 0x5A, PageState::Unreadable}};
    for (const auto &row : rows) {
        Nand chip(1);
        chip.tear(program, row.torn);
        EXPECT_EQ(chip.page(0).data.back(), row.lastOfData) << nameOf(row.torn);
        EXPECT_EQ(chip.page(0).spare.front(), row.firstOfSpare) << nameOf(row.torn);
        EXPECT_EQ(chip.page(0).spare.back(), row.lastOfSpare) << nameOf(row.torn);
        EXPECT_EQ(chip.state(0), row.state) << nameOf(row.torn);
    }
}

TEST(Nand, Tear_Erase_LeavesBlockOrGarbage) {
    Nand chip(1);
    chip.perform(programOf(0, 1));
    chip.tear(eraseOf(0), Torn::Nothing);
    EXPECT_EQ(chip.state(0), PageState::Good);
    chip.tear(eraseOf(0), Torn::BlockGarbled);
    EXPECT_EQ(chip.state(0), PageState::Unreadable);
    EXPECT_EQ(chip.state(63), PageState::Unreadable);
}

TEST(Nand, Restore_AfterAnything_GivesImageBack) {
    Nand image(2);
    image.perform(programOf(0, 1));
    Nand chip = image;
    chip.restore(image);
    chip.perform(programOf(1, 2));
    chip.tear(eraseOf(0), Torn::BlockGarbled);
    chip.restore(image);
    EXPECT_EQ(chip.state(0), PageState::Good);
    EXPECT_EQ(chip.page(0).data, image.page(0).data);
    EXPECT_EQ(chip.state(1), PageState::Erased);
}

TEST(Volume, PowerOff_FileNotClosed_LosesItsBytes) {
    Nand chip(kBlocks);
    ASSERT_TRUE(Volume::powerOn(&chip, kCaches));
    ASSERT_TRUE(Volume::write("/yaffs/closed", "sure"));
    const int open = Volume::open("/yaffs/open", 01 | 0100);
    ASSERT_GE(open, 0);
    ASSERT_EQ(Volume::write(open, "lost", 4), 4);
    Volume::powerOff();
    ASSERT_TRUE(Volume::powerOn(&chip, kCaches));
    const Directory files = Volume::readAll("/yaffs");
    EXPECT_EQ(files.at("closed"), "sure");
    EXPECT_EQ(files.at("open"), "");
    Volume::powerOff();
}

TEST(Volume, PowerOff_ProgramTorn_GivesFormerFile) {
    Nand chip(kBlocks);
    ASSERT_TRUE(Volume::powerOn(&chip, kCaches));
    ASSERT_TRUE(Volume::write("/yaffs/file", "former"));
    Nand image = chip;
    std::vector<Operation> journal;
    chip.record(&journal);
    ASSERT_TRUE(Volume::write("/yaffs/file", "present"));
    Volume::powerOff();
    ASSERT_FALSE(journal.empty());
    for (const Torn torn : waysToTear(journal.front())) {
        Nand cut = image;
        cut.tear(journal.front(), torn);
        ASSERT_TRUE(Volume::powerOn(&cut, kCaches));
        // A page whose other half is blank is complete with half of it: the file is then truncated.
        const bool isComplete = cut.state(journal.front().place) == PageState::Good;
        EXPECT_EQ(Volume::readAll("/yaffs").at("file"), isComplete ? "" : "former") << nameOf(torn);
        Volume::powerOff();
    }
}

/// Compares the model of a directory with the format's examples, worked out by hand.
TEST(RingModel, Start_EmptyIndexBesideBackup_SeesRingFromZero) {
    Ledger ledger;
    RingModel model(ledger, 4);
    model.start({{"index.csv", ""},
                 {"index.bak", "version:1\n1,2\n"},
                 {"1.csv", "9,1,0,a\n"},
                 {"2.csv", "9,1,0,b\n"}});
    EXPECT_TRUE(model.wasIndexLost());
    const Directory expected = {
        {"index.csv", "version:1\n0,0\n"}, {"0.csv", "9,1,0,b\n"}, {"3.csv", "9,1,0,a\n"}};
    EXPECT_EQ(model.files(), expected);
}

TEST(RingModel, Start_BackupOnly_TakesItsPositions) {
    Ledger ledger;
    RingModel model(ledger, 4);
    model.start({{"index.bak", "version:1\n1,2\n"}, {"1.csv", "9,1,0,a\n"}, {"2.csv", "9,1,0,b\n"}});
    EXPECT_FALSE(model.wasIndexLost());
    EXPECT_EQ(model.files().at("index.csv"), "version:1\n1,2\n");
    EXPECT_EQ(model.files().count("index.bak"), 0U);
    ASSERT_EQ(model.view().items.size(), 2U);
    EXPECT_EQ(model.view().items[0]->text, "9,1,0,b\n");
}

TEST(RingModel, Start_FilesBelowGap_RenamesOverThem) {
    Ledger ledger;
    RingModel model(ledger, 8);
    const int first = ledger.submit(0, "1,1,0,a\n");
    const int second = ledger.submit(0, "2,1,0,b\n");
    model.start({{"index.csv", "version:1\n0,3\n"},
                 {"0.csv", "1,1,0,a\n"},
                 {"1.csv", "2,1,0,b\n"},
                 {"3.csv", "3,1,0,c\n"}});
    EXPECT_EQ(model.removed().count(first), 0U);
    EXPECT_EQ(model.removed().at(second), flash::Reason::RenamedOver);
    const Directory expected = {
        {"index.csv", "version:1\n1,3\n"}, {"2.csv", "1,1,0,a\n"}, {"3.csv", "3,1,0,c\n"}};
    EXPECT_EQ(model.files(), expected);
}

/// A few items in two files: short enough to cut everywhere.
Workload shortWorkload() {
    Workload workload;
    workload.name = "short";
    workload.objects = {{"/yaffs/log", 4}};
    workload.setScene = [](flash::Scene &scene) {
        scene.makeDirectory("/yaffs/log");
        scene.dataFile(0, "/yaffs/log", 0, 30);
        scene.dataFile(0, "/yaffs/log", 1, 4995);
        scene.index("/yaffs/log", 0, 1);
    };
    workload.run = [](Life &life) {
        life.create(0, {"/yaffs/log", 4});
        for (int round = 0; round < 4; ++round) {
            for (int item = 0; item < 3; ++item) {
                life.add(0, 1, "round " + std::to_string(round) + " item " + std::to_string(item));
            }
            Life::settle();
        }
    };
    return workload;
}

Figures runShort(Sabotage sabotage, bool losesOperations = false) {
    Figures figures;
    CutOptions options;
    options.sabotage = sabotage;
    options.losesOperations = losesOperations;
    CutRun(shortWorkload(), {1024, kCaches}, options, &figures).run();
    return figures;
}

size_t faultsOf(const Figures &figures, Check check) { return figures.faults[static_cast<size_t>(check)]; }

TEST(CutRun, Run_ModuleAsItIs_FindsNoFault) {
    const Figures figures = runShort(Sabotage::None);
    for (size_t check = 0; check < flash::kChecks; ++check) {
        EXPECT_EQ(figures.faults[check], 0U) << check << ": " << figures.fault.data();
    }
    EXPECT_GT(figures.images, 60U);
}

struct Fault {
    const char *name;
    Sabotage sabotage;
    Check check;
};

class SabotagedCutRun : public ::testing::TestWithParam<Fault> {};

TEST_P(SabotagedCutRun, Run_ModuleDoesWrong_IsFound) {
    EXPECT_GT(faultsOf(runShort(GetParam().sabotage), GetParam().check), 0U);
}

INSTANTIATE_TEST_SUITE_P(Faults, SabotagedCutRun,
                         ::testing::Values(Fault{"DroppedLineInOrder", Sabotage::DropLine, Check::Order},
                                           Fault{"DroppedLineInFiles", Sabotage::DropLine, Check::Life},
                                           Fault{"DuplicateLine", Sabotage::DuplicateLine, Check::Order},
                                           Fault{"AlteredLine", Sabotage::AlterLine, Check::Order},
                                           Fault{"SwappedLines", Sabotage::SwapLines, Check::Order},
                                           Fault{"WrongIndexInFiles", Sabotage::WrongIndex, Check::Life},
                                           Fault{"WrongIndexLosesItems", Sabotage::WrongIndex, Check::Loss},
                                           Fault{"LostClose", Sabotage::LoseClose, Check::Medium},
                                           Fault{"AlteredRead", Sabotage::AlterRead, Check::Life},
                                           Fault{"ExtraFile", Sabotage::ExtraFile, Check::Medium},
                                           Fault{"RestlessStart", Sabotage::RestlessStart,
                                                 Check::SecondStart}),
                         [](const auto &fault) { return std::string(fault.param.name); });

TEST(CutRun, Run_OperationsReportedButNotDone_IsFound) {
    EXPECT_GT(faultsOf(runShort(Sabotage::None, true), Check::Medium), 0U);
}

TEST(CutRunDeathTest, Run_ModuleNeverEnds_IsEnded) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(runShort(Sabotage::Spin), "calls without end");
}

/// Really full: lines are cut short, the store continues, and once there is room again all is well.
TEST(FullChip, Store_NoRoomThenRoom_GoesOn) {
    Nand chip(kBlocks);
    flash::surroundings() = flash::Surroundings{};
    flash::surroundings().chip = &chip;
    flash::surroundings().deviceBuffer = 1024;
    ASSERT_TRUE(Volume::powerOn(&chip, kCaches));
    ASSERT_TRUE(Volume::makeDirectory("/yaffs/log") == 0);
    Ledger ledger;
    const auto storeRounds = [&](Life &life, int rounds) {
        for (int round = 0; round < rounds; ++round) {
            life.add(0, 1, std::string(150, static_cast<char>('a' + round % 26)));
            Life::settle();
        }
    };
    size_t stored = 0;
    {
        Life life(&ledger, 1700000000, {});
        life.create(0, {"/yaffs/log", 3});
        storeRounds(life, 5);
        int fillers = 0;
        while (Volume::write("/yaffs/f" + std::to_string(fillers), std::string(flash::kPageBytes, 'f'))) {
            ++fillers;
        }
        storeRounds(life, 50);
        EXPECT_GT(flash::surroundings().shortWrites, 0U);
        const std::string whileFull = Volume::readAll("/yaffs/log").at("0.csv");
        for (int filler = 0; filler < fillers; filler += 2) {
            Volume::remove(("/yaffs/f" + std::to_string(filler)).c_str());
        }
        storeRounds(life, 5);
        const std::string present = Volume::readAll("/yaffs/log").at("0.csv");
        EXPECT_EQ(present.substr(0, whileFull.size()), whileFull);
        for (const flash::Line &line : ledger.parse(present)->lines) {
            stored += line.item != flash::kUnknownItem ? 1 : 0;
        }
        const auto parsed = ledger.parse(present);
        ASSERT_GE(parsed->lines.size(), 5U);
        EXPECT_EQ(parsed->lines.back().item, static_cast<int>(ledger.items()) - 1);
    }
    Volume::powerOff();
    RecordProperty("submitted", static_cast<int>(ledger.items()));
    RecordProperty("stored", static_cast<int>(stored));
    printf("full chip: %zu items submitted, %zu stored, %zu lost\n", ledger.items(), stored,
           ledger.items() - stored);
    EXPECT_GE(stored, 10U);
    EXPECT_LT(stored, ledger.items());
    EXPECT_EQ(chip.brokenRules(), "");
}

}  // namespace

int main(int argc, char **argv) {
    setenv("TZ", "UTC", 1);
    ::testing::InitGoogleTest(&argc, argv);
    sysClkDisable();
    jorn_SetDebugPrintLevel(0);
    return RUN_ALL_TESTS();
}
