// SPDX-License-Identifier: Apache-2.0
#include "model/store_model.h"

#include <algorithm>

#include "model/line_model.h"
#include "model/ring_files.h"
#include "model/start_model.h"

namespace test {
namespace {

constexpr uint32_t kItemsOfFile = 5000;

/// What a C string in a buffer holds, from a position on.
std::string untilNul(const std::string &buffer, size_t position = 0) {
    return buffer.substr(position, buffer.find('\0', position) - position);
}

}  // namespace

void StoreModel::pass(const std::vector<std::string> &waiting) {
    for (const std::string &message : waiting) {
        handle(message);
    }
    if (waiting.empty()) {
        openFile_.clear();
    }
}

void StoreModel::handle(const std::string &message) {
    std::copy(message.begin(), message.end(), buffer_.begin());
    if (message.empty() || message.size() > 271) {
        messages_.emplace_back("msg receive eror!");
        return;
    }
    const std::string text = untilNul(buffer_);
    const size_t start = text.find_first_not_of(',');
    if (start == text.npos) {
        buffer_[message.size()] = '\0';
        messages_.push_back("msg handle_id eror: " + untilNul(buffer_));
        return;
    }
    const size_t end = std::min(text.find(',', start), text.size());
    buffer_[end] = '\0';
    const std::string line = untilNul(buffer_, end + 1);
    if (line.empty() || line.size() > 256) {
        messages_.push_back("msg eror: " + line);
        return;
    }
    if (select(modelNumber(text.substr(start, end - start)))) {
        write(line);
    }
}

bool StoreModel::select(int32_t handle) {
    if (handle == served_ && served_ != 0) {
        return true;
    }
    openFile_.clear();
    served_ = objects_.count(handle) != 0 ? handle : 0;
    if (served_ == 0) {
        messages_.push_back("handle_id = " + std::to_string(handle) + ", not found!");
    }
    return served_ != 0;
}

void StoreModel::rotate(ModelStoreObject *object) {
    const int32_t next = (object->latest + 1) % object->csvNum;
    openFile_ = csvName(next);
    object->files[openFile_].clear();
    object->latest = next;
    if (object->oldest == next) {
        object->oldest = (next + 1) % object->csvNum;
    }
    object->files["index.csv"] = modelIndexText(object->oldest, object->latest);
    object->files.erase("index.bak");
    object->summaries[static_cast<size_t>(next)] = {};
}

void StoreModel::write(const std::string &line) {
    ModelStoreObject &object = objects_.at(served_);
    const uint32_t count = object.summaries[static_cast<size_t>(object.latest)].itemCount;
    if (count >= kItemsOfFile) {
        rotate(&object);
    } else if (openFile_.empty()) {
        openFile_ = csvName(object.latest);
        if (count == 0) {
            object.files[openFile_].clear();
        }
    }
    object.files[openFile_] += line;
    const ModelParse item = modelParse(line);
    if (!item.isItem()) {
        messages_.push_back(item.message);
        messages_.emplace_back(" Error: update CSV info failed!");
        return;
    }
    JORN_CSV_INFO &info = object.summaries[static_cast<size_t>(object.latest)];
    modelAppend({*item.time, *item.level, *item.slot, line}, object.slotMax, &info);
    if (info.itemCount >= kItemsOfFile) {
        openFile_.clear();
    }
}

}  // namespace test
