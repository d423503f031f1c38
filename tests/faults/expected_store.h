// SPDX-License-Identifier: Apache-2.0
// A model of the store, written from what is required of it and not from its source: which calls it makes in
// which order, what it prints and returns, and what is on the medium, when any of those calls fails. It has
// no tasks, no clock and no files; everything is a value.
#ifndef JORN_TESTS_FAULTS_EXPECTED_STORE_H
#define JORN_TESTS_FAULTS_EXPECTED_STORE_H

#include <array>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "faults/store_driver.h"

namespace faults {

class ExpectedStore : public StoreDriver {
public:
    /// `root` is the directory that holds the objects' directories.
    explicit ExpectedStore(std::string root) : root_(std::move(root)) {}

    int32_t create(const std::string &dir, int32_t csvNum) override;
    int32_t destroy(int32_t handle) override;
    int32_t add(int32_t handle, const std::string &text) override;
    void pass() override;
    int32_t count(int32_t handle) override;
    int32_t page(int32_t handle, int32_t page, int32_t itemsPerPage) override;
    int32_t clear(int32_t handle) override;
    void put(const std::string &path, const std::string &bytes) override;
    void take(const std::string &path) override { files_.erase(path); }
    void setCount(int32_t handle, int32_t position, int32_t items) override;
    void fillQueue(int32_t handle, int waiting) override;
    void limitRoom(int64_t bytes) override { room_ = bytes; }
    void addRoom(int64_t bytes) override { room_ += bytes; }
    void fail(const Fault &fault) override { faults_.push_back(fault); }
    void heal() override { faults_.clear(); }
    std::vector<std::string> calls() const override { return calls_; }
    std::vector<std::string> messages() const override { return messages_; }
    Files files() const override { return files_; }
    std::vector<std::string> memory() const override;
    void clearLog() override;

    /// What each call is for, beside calls().
    const std::vector<std::string> &roles() const { return roles_; }

private:
    struct Summary {
        int32_t items = 0;
        int32_t ofLevels = 0;  ///< Items of level 0 to 3.
        uint32_t timeMin = 0;
        uint32_t timeMax = 0;
    };

    struct Object {
        int32_t handle;
        std::string dir;
        int32_t csvNum;
        int32_t version;
        int32_t oldest;
        int32_t latest;
        std::vector<Summary> files;

        std::string path(int32_t position) const { return dir + "/" + std::to_string(position) + ".csv"; }
        Summary &at(int32_t position) { return files[static_cast<size_t>(position)]; }
        int32_t next(int32_t position) const { return (position + 1) % csvNum; }
    };

    /// An open file, with what has not left its buffer.
    struct Stream {
        std::string path;
        std::string pending;
    };

    struct Item {
        uint32_t time;
        int32_t level;
        int32_t slot;
        std::string text;
    };

    struct Tally {
        std::array<int32_t, 90> inFile{};
        int32_t total = 0;
        int32_t oldest = -1;
        int32_t latest = -1;
    };

    std::optional<probe::Way> fault(const std::string &call, const std::string &role);
    bool passes(const std::string &call, const std::string &role) { return !fault(call, role); }
    void say(const std::string &message) { messages_.push_back(message); }
    std::string full(const std::string &dir) const { return root_ + "/" + dir; }

    bool open(const std::string &path, const char *mode, const std::string &role);
    void write(Stream *stream, const std::string &bytes, const std::string &role);
    void close(Stream *stream, const std::string &role);
    bool exists(const std::string &path, const std::string &role);
    void removeFile(const std::string &path, const std::string &role);
    void renameFile(const std::string &from, const std::string &to, const std::string &role);
    void giveRoom(const std::string &path);
    std::vector<std::string> readLines(const std::string &path, const std::string &role, int32_t most,
                                       const std::function<bool(const std::string &)> &isTaken);

    Object *find(int32_t handle);
    bool startService();
    void stopService();

    int32_t readIndex(Object *obj);
    int32_t rewriteIndex(const Object &obj, int32_t oldest, int32_t latest);
    void tidy(Object *obj);
    void analyse(Object *obj);
    void analyseFile(Object *obj, int32_t position);

    int32_t submit(int32_t handle, int32_t level, int32_t slot, const std::string &text);
    void batch(int messages);
    bool storeMessage();
    bool select(int32_t handle);
    bool chooseFile(int32_t *position);
    bool rotate(int32_t *position);
    bool openForItems(int32_t position, const char *mode, const std::string &role);
    void closeCurrent(const std::string &role);

    std::optional<Item> parse(const std::string &line);
    bool isWanted(const std::string &line);
    bool isDayRangeGood(Object *obj);
    int32_t countAll(Object *obj, Tally *tally);
    int32_t countFile(Object *obj, int32_t position);
    void fillPage(Object *obj, const Tally &tally, int32_t start, int32_t end);
    void readRecords(Object *obj, int32_t position, int32_t first, int32_t last);
    std::string record(const std::string &line);

    std::string root_;
    Files files_;
    std::vector<std::string> dirs_;
    std::deque<std::unique_ptr<Object>> objects_;  ///< Newest first.
    int32_t filesCounted_ = 0;
    std::deque<std::string> queue_;
    bool hasTask_ = false;
    std::optional<Stream> current_;
    Object *served_ = nullptr;
    int32_t servedHandle_ = 0;
    int64_t room_ = probe::Probe::kUnlimited;

    std::vector<Fault> faults_;
    std::vector<std::string> calls_;
    std::vector<std::string> roles_;
    std::vector<std::string> messages_;
};

}  // namespace faults

#endif
