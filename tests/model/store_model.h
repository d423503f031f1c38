// SPDX-License-Identifier: Apache-2.0
// A slow model of the store task: its buffer byte by byte, the object that it serves, the file that it holds
// open, and what each message does to files and summaries. No file operation fails here.
#ifndef JORN_TESTS_MODEL_STORE_MODEL_H
#define JORN_TESTS_MODEL_STORE_MODEL_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "csvfile/file_summary.h"
#include "model/index_model.h"

namespace test {

/// A live object as the store task sees it.
struct ModelStoreObject {
    int32_t csvNum;
    int32_t slotMax;
    int32_t oldest;
    int32_t latest;
    std::vector<JORN_CSV_INFO> summaries;
    NamedFiles files;
};

class StoreModel {
public:
    explicit StoreModel(std::map<int32_t, ModelStoreObject> objects) : objects_(std::move(objects)) {}

    /// One pass over the messages that wait.
    void pass(const std::vector<std::string> &waiting);

    const ModelStoreObject &object(int32_t handle) const { return objects_.at(handle); }
    const std::vector<std::string> &messages() const { return messages_; }

private:
    void handle(const std::string &message);
    bool select(int32_t handle);
    void write(const std::string &line);
    void rotate(ModelStoreObject *object);

    std::map<int32_t, ModelStoreObject> objects_;
    std::vector<std::string> messages_;
    std::string buffer_ = std::string(274, '\0');
    int32_t served_ = 0;
    std::string openFile_;
};

}  // namespace test

#endif
