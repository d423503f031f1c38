// SPDX-License-Identifier: Apache-2.0
// Tests that the campaign finds what is done to a log between a kill and the restart.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "kills/record_campaign.h"
#include "trace/traced_run.h"

namespace test {
namespace {

namespace fs = std::filesystem;

/// The largest data file; in every state but a first start, it is full.
fs::path fullFile(const std::string &directory) {
    fs::path largest;
    uintmax_t size = 0;
    for (const fs::directory_entry &entry : fs::directory_iterator(directory)) {
        if (entry.path().extension() == ".csv" && entry.file_size() > size) {
            largest = entry.path();
            size = entry.file_size();
        }
    }
    return largest;
}

/// Removes the second line of a full file.
void dropLine(const std::string &directory) {
    const fs::path path = fs::exists(directory) ? fullFile(directory) : fs::path();
    if (path.empty() || fs::file_size(path) < 100000) {
        return;
    }
    std::ifstream file(path);
    std::string content((std::istreambuf_iterator<char>(file)), {});
    const size_t first = content.find('\n') + 1;
    content.erase(first, content.find('\n', first) + 1 - first);
    std::ofstream(path) << content;
}

TEST(KillCampaignTest, RunRecordCampaign_LineIsTakenOutAfterEachKill_FindsTheLoss) {
    if (!TracedRun::isPossible()) {
        GTEST_SKIP() << TracedRun::obstacle();
    }
    CampaignOptions options;
    options.kills = 4;
    options.seed = 3;
    options.sabotage = dropLine;
    const CampaignResult result = runRecordCampaign(options);
    EXPECT_GE(result.total().kills, options.kills);
    ASSERT_FALSE(result.faults.empty());
    for (const CampaignFault &fault : result.faults) {
        EXPECT_STREQ(nameOf(fault.fault), nameOf(Fault::ItemLost)) << fault.text;
    }
    EXPECT_EQ(result.faults.size(), result.total().faults);
}

}  // namespace
}  // namespace test
