// SPDX-License-Identifier: Apache-2.0
#include "support/module_test.h"

#include <msgQLib.h>
#include <posixPort.h>
#include <sysLib.h>
#include <tickLib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "diagnostics.h"
#include "registry/registry.h"

namespace test {

namespace fs = std::filesystem;

TempDir::TempDir() {
    char name[] = "/tmp/jornXXXXXX";
    const char *const made = mkdtemp(name);
    EXPECT_NE(made, nullptr);
    path_ = name;
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void TempDir::write(const std::string &fileName, const std::string &bytes) const {
    std::ofstream file(path_ + "/" + fileName, std::ios::binary);
    file << bytes;
    ASSERT_TRUE(file.flush().good()) << fileName;
}

std::string TempDir::read(const std::string &fileName) const {
    std::ifstream file(path_ + "/" + fileName, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << fileName;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool TempDir::has(const std::string &fileName) const { return fs::exists(path_ + "/" + fileName); }

void TempDir::remove(const std::string &fileName) const { fs::remove_all(path_ + "/" + fileName); }

std::vector<std::string> TempDir::names() const {
    std::vector<std::string> found;
    for (const auto &entry : fs::directory_iterator(path_)) {
        found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
}

void TempDir::block(const std::string &fileName) const { fs::create_directory(path_ + "/" + fileName); }

HandMadeObject::HandMadeObject(const std::string &dirName, int32_t csvNum, int32_t slotMax, int32_t handle)
    : obj_{}, infos_(static_cast<size_t>(csvNum)) {
    obj_.handle_id = handle;
    std::copy_n(dirName.c_str(), std::min(dirName.size() + 1, sizeof obj_.dirName), obj_.dirName);
    obj_.level_max = 4;
    obj_.slot_max = slotMax;
    obj_.csv_num = csvNum;
    obj_.index_version = 1;
    obj_.csv_info = infos_.data();
}

void HandMadeObject::setRange(int32_t oldest, int32_t latest) {
    obj_.csv_oldest = oldest;
    obj_.csv_latest = latest;
}

JORN_REQUIRE anything() { return {20, 1, -1, -1, -1, -1, -1}; }

JORN_REQUIRE everything(int32_t page, int32_t itemsPerPage) { return {itemsPerPage, page, -1, -1, 3, 0, -1}; }

std::string line(uint32_t time, int32_t level, int32_t slot, const std::string &text) {
    return std::to_string(time) + "," + std::to_string(level) + "," + std::to_string(slot) + "," + text +
           "\n";
}

std::string lines(int count, uint32_t firstTime, const std::string &prefix, int firstNumber, int32_t level,
                  int32_t slot) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all +=
            line(firstTime + static_cast<uint32_t>(i), level, slot, prefix + std::to_string(firstNumber + i));
    }
    return all;
}

std::vector<std::string> texts(const JORN_LOG_PAGE &page) {
    std::vector<std::string> all;
    for (int32_t i = 0; i < page.itemsNum; ++i) {
        std::string text = page.disp[i].logStr;
        if (!text.empty() && text.back() == '\n') {
            text.pop_back();
        }
        all.push_back(text);
    }
    return all;
}

probe::Probe &platform() { return probe::Probe::get(); }

std::vector<std::string> messages() { return platform().messages(); }

void expectNothingHeld() {
    EXPECT_EQ(platform().liveBlocks(), 0);
    EXPECT_THAT(platform().held(), ::testing::IsEmpty());
}

void expectMessageAt(int32_t level, const std::string &message, const std::function<void()> &action) {
    const auto timesPrinted = [&](int32_t printLevel) {
        jorn_SetDebugPrintLevel(printLevel);
        platform().clearLog();
        action();
        const std::vector<std::string> printed = messages();
        return std::count(printed.begin(), printed.end(), message);
    };
    EXPECT_EQ(timesPrinted(level - 1), 0) << "below its level: " << message;
    EXPECT_EQ(timesPrinted(level), 1)
        << "at its level: " << message << "\nprinted: " << ::testing::PrintToString(messages());
    jorn_SetDebugPrintLevel(1);
}

void ModuleTest::SetUp() {
    sysClkDisable();
    platform().reset();
    jorn_SetDebugPrintLevel(1);
    ASSERT_EQ(jorn_obj_ptr, nullptr);
    jorn_max_csv_time = 0;
    jorn_csv_cnt = 0;
}

void ModuleTest::TearDown() {
    platform().reset();
    while (jorn_obj_ptr != nullptr && JORN_Destroy(jorn_obj_ptr->handle_id) == 0) {
    }
    EXPECT_EQ(jorn_obj_ptr, nullptr);
    expectNothingHeld();
    jorn_csv_cnt = 0;
    jorn_max_csv_time = 0;
}

int32_t ModuleTest::createAtRest(int32_t csvNum, int32_t slotMax) {
    jorn_SetDebugPrintLevel(0);
    const int32_t handle = JORN_Create(dir_.name(), slotMax, csvNum);
    EXPECT_GT(handle, 0);
    settle();
    jorn_SetDebugPrintLevel(1);
    platform().clearLog();
    return handle;
}

void ModuleTest::store(int32_t handle, int count, const std::string &prefix, int firstNumber, int32_t level,
                       int32_t slot) {
    for (int i = 0; i < count; ++i) {
        const std::string text = prefix + std::to_string(firstNumber + i);
        ASSERT_EQ(JORN_AddOneLog(handle, level, slot, text.c_str()), 0) << text;
        if (msgQNumMsgs(logMsgCsvStore_ID) == JORN_QUEUE_MAX) {
            pass();
        }
    }
    if (msgQNumMsgs(logMsgCsvStore_ID) > 0) {
        pass();
    }
}

void ModuleTest::pass() {
    posixPortSettle();  // ticks count from the moment the task waits for them
    for (int i = 0; i < JORN_STORE_TICKS; ++i) {
        tickAnnounce();
    }
    posixPortSettle();
}

void ModuleTest::settle() {
    posixPortSettle();
    while (msgQNumMsgs(logMsgCsvStore_ID) > 0) {
        pass();
    }
    pass();
}

void ModuleTest::sendRaw(const std::string &bytes) {
    std::string copy = bytes;
    ASSERT_EQ(
        msgQSend(logMsgCsvStore_ID, copy.data(), static_cast<UINT>(copy.size()), NO_WAIT, MSG_PRI_NORMAL),
        OK);
}

}  // namespace test
