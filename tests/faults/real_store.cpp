// SPDX-License-Identifier: Apache-2.0
#include "faults/real_store.h"

#include <gtest/gtest.h>
#include <msgQLib.h>
#include <posixPort.h>
#include <tickLib.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "jorn.h"
#include "registry/registry.h"
#include "support/module_test.h"

namespace faults {

namespace fs = std::filesystem;
using test::platform;

int32_t RealStore::create(const std::string &dir, int32_t csvNum) {
    return report("create " + dir, JORN_Create((root_ + "/" + dir).c_str(), 8, csvNum));
}

int32_t RealStore::destroy(int32_t handle) { return report("destroy", JORN_Destroy(handle)); }

int32_t RealStore::add(int32_t handle, const std::string &text) {
    const int32_t result = JORN_AddOneLog(handle, 1, 2, text.c_str());
    if (result == 0) {
        accepted_.push_back(text);
    }
    return report("add " + text, result);
}

void RealStore::pass() {
    posixPortSettle();
    for (int tick = 0; tick < JORN_STORE_TICKS; ++tick) {
        tickAnnounce();
    }
    posixPortSettle();
}

int32_t RealStore::count(int32_t handle) {
    return report("count", JORN_CountRequireTotalNum(handle, test::everything()));
}

int32_t RealStore::page(int32_t handle, int32_t page, int32_t itemsPerPage) {
    lastPage_.clear();
    JORN_LOG_PAGE out = {};
    const int32_t result = JORN_GetRequireLog(handle, test::everything(page, itemsPerPage), &out);
    for (int32_t i = 0; i < out.itemsNum; ++i) {
        const JORN_LOG_DISP &shown = out.disp[i];
        reportRecord(
            std::string(shown.timeStr) + "|" + shown.levelStr + "|" + shown.slotStr + "|" + shown.logStr,
            shown.logStr);
    }
    return report("page", result);
}

int32_t RealStore::clear(int32_t handle) { return report("clear", JORN_ClearAllLog(handle, 1)); }

void RealStore::put(const std::string &path, const std::string &bytes) {
    fs::create_directories((root_ + "/" + path).substr(0, (root_ + "/" + path).rfind('/')));
    std::ofstream(root_ + "/" + path, std::ios::binary) << bytes;
}

void RealStore::take(const std::string &path) { fs::remove(root_ + "/" + path); }

void RealStore::setCount(int32_t handle, int32_t position, int32_t items) {
    FindObj(handle)->csv_info[position].itemCount = static_cast<uint32_t>(items);
}

void RealStore::fillQueue(int32_t handle, int waiting) {
    std::string message = std::to_string(handle) + ",1700000000,1,2,waiting\n";
    while (msgQNumMsgs(logMsgCsvStore_ID) < waiting) {
        ASSERT_EQ(msgQSend(logMsgCsvStore_ID, message.data(), static_cast<UINT>(message.size() + 1), NO_WAIT,
                           MSG_PRI_NORMAL),
                  OK);
    }
}

void RealStore::limitRoom(int64_t bytes) { platform().limitRoom(bytes); }

void RealStore::addRoom(int64_t bytes) { platform().addRoom(bytes); }

void RealStore::fail(const Fault &fault) { platform().fail(fault.call, fault.count, fault.skip, fault.way); }

void RealStore::heal() { platform().heal(); }

std::vector<std::string> RealStore::calls() const { return platform().calls(); }

std::vector<std::string> RealStore::messages() const { return platform().messages(); }

Files RealStore::files() const {
    Files found;
    for (const auto &entry : fs::recursive_directory_iterator(root_)) {
        if (entry.is_regular_file()) {
            std::ifstream file(entry.path(), std::ios::binary);
            found[fs::relative(entry.path(), root_).string()] = {std::istreambuf_iterator<char>(file),
                                                                 std::istreambuf_iterator<char>()};
        }
    }
    return found;
}

std::vector<std::string> RealStore::memory() const {
    std::vector<std::string> all;
    for (const JORN_OBJ *obj = jorn_obj_ptr; obj != nullptr; obj = obj->next) {
        all.push_back("range " + std::to_string(obj->csv_oldest) + " to " + std::to_string(obj->csv_latest));
        for (int32_t i = 0; i < obj->csv_num; ++i) {
            all.push_back(describe(obj->csv_info[i]));
        }
    }
    return all;
}

void RealStore::clearLog() { platform().clearLog(); }

}  // namespace faults
