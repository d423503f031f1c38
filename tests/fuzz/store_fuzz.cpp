// SPDX-License-Identifier: Apache-2.0
// Any bytes on the queue of the store task, in any batches, with two live objects whose files may be about to
// be full: files, summaries, ring positions and messages.
#include <msgQLib.h>

#include <map>
#include <string>
#include <vector>

#include "fuzz/byte_reader.h"
#include "fuzz/finding.h"
#include "fuzz/memory_platform.h"
#include "jorn.h"
#include "model/store_model.h"
#include "registry/registry.h"

namespace fuzz {
namespace {

constexpr size_t kLongestMessage = 272;
constexpr size_t kMostWaiting = 100;

std::string directoryOf(int32_t handle) { return handle == 1 ? "/a" : "/b"; }

/// Creates an object whose files already hold something and count any number of items.
test::ModelStoreObject create(int32_t wantedHandle, ByteReader *input) {
    const int32_t csvNum = 2 + input->below(3);
    const int32_t slotMax = 1 + input->below(8);
    const std::string directory = directoryOf(wantedHandle);
    const int32_t handle = JORN_Create(directory.c_str(), slotMax, csvNum);
    expectNumber("handle", handle, wantedHandle);
    JORN_OBJ &object = *FindObj(handle);
    object.csv_oldest = input->below(csvNum);
    object.csv_latest = input->below(csvNum);
    for (int32_t position = 0; position < csvNum; ++position) {
        constexpr uint32_t kCounts[] = {0, 1, 4997, 4998, 4999, 5000, 5001, 0};
        object.csv_info[position].itemCount = kCounts[input->below(8)];
        MemoryPlatform::get().put(directory, {{std::to_string(position) + ".csv", "former\n"}});
    }
    return {csvNum,
            slotMax,
            object.csv_oldest,
            object.csv_latest,
            {object.csv_info, object.csv_info + csvNum},
            MemoryPlatform::get().filesIn(directory)};
}

/// Messages that creation and submission make.
std::string wellFormed(int32_t handle, int32_t level, int32_t slot, const std::string &text) {
    return std::to_string(handle) + "," + std::to_string(kNow) + "," + std::to_string(level) + "," +
           std::to_string(slot) + "," + text + "\n" + '\0';
}

/// Raw bytes, with or without a handle before them, or the same bytes repeated.
std::string takeMessage(ByteReader *input) {
    const int32_t kind = input->below(6);
    std::string message;
    if (kind < 3) {
        message = std::to_string(input->below(4)) + ",";
    }
    if (kind == 2) {
        const std::string text = input->bytes(static_cast<size_t>(input->below(40)));
        message = wellFormed(1 + input->below(2), input->below(4), input->below(8), text);
    } else if (kind == 3) {
        const size_t size = static_cast<size_t>(input->byte()) + 17;
        const std::string unit = input->bytes(1 + static_cast<size_t>(input->below(4)));
        while (message.size() < size && !unit.empty()) {
            message += unit;
        }
    } else {
        message += input->bytes(input->byte());
    }
    return message.substr(0, kLongestMessage);
}

void send(std::string message) {
    expectNumber("sending",
                 msgQSend(logMsgCsvStore_ID, message.data(), static_cast<UINT>(message.size()), NO_WAIT,
                          MSG_PRI_NORMAL),
                 OK);
}

void expectObject(int32_t handle, const test::ModelStoreObject &wanted) {
    const JORN_OBJ &object = *FindObj(handle);
    expectNumber("oldest position", object.csv_oldest, wanted.oldest);
    expectNumber("latest position", object.csv_latest, wanted.latest);
    expectSummaries(object.csv_info, wanted.summaries);
}

/// Runs both sides over the waiting messages, and compares all that is in memory.
void passBoth(test::StoreModel *model, std::vector<std::string> *waiting) {
    passOfStoreTask();
    model->pass(*waiting);
    waiting->clear();
    expectObject(1, model->object(1));
    expectObject(2, model->object(2));
}

void run(ByteReader *input) {
    std::map<int32_t, test::ModelStoreObject> objects;
    objects[1] = create(1, input);
    objects[2] = create(2, input);
    static_cast<void>(MemoryPlatform::get().takeMessages());
    test::StoreModel model(objects);
    std::vector<std::string> waiting = {wellFormed(1, 3, 0, "Log start init!"),
                                        wellFormed(2, 3, 0, "Log start init!")};
    while (!input->isEmpty()) {
        if (waiting.size() == kMostWaiting || input->below(5) == 0) {
            passBoth(&model, &waiting);
        } else {
            waiting.push_back(takeMessage(input));
            send(waiting.back());
        }
    }
    passBoth(&model, &waiting);
    passBoth(&model, &waiting);
    for (const int32_t handle : {1, 2}) {
        expectSame("files of object " + std::to_string(handle),
                   MemoryPlatform::get().filesIn(directoryOf(handle)), model.object(handle).files);
    }
    expectSame("messages", MemoryPlatform::get().takeMessages(), model.messages());
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::ByteReader input(data, size);
    fuzz::MemoryPlatform::get().reset();
    jorn_SetDebugPrintLevel(1);
    fuzz::run(&input);
    fuzz::destroyAll();
    return 0;
}
