// SPDX-License-Identifier: Apache-2.0
// The model of the store, written from what is required of it and not from its source: which calls it makes
// in which order, what it prints and returns, and what is in memory and on the medium. It has no tasks, no
// clock and no files; everything is a value. Nothing fails in it unless the listener to its calls says so.
//
// Not modelled: what is printed above level 1, arguments that a creation refuses, and the messages of queries
// whose day limits match no file.
#ifndef JORN_TESTS_MODEL_STORE_MODEL_H
#define JORN_TESTS_MODEL_STORE_MODEL_H

#include <cstdint>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "csvfile/file_summary.h"
#include "model/index_model.h"
#include "model/line_model.h"
#include "model/query_model.h"
#include "support/probe.h"

namespace test {

/// Is notified of each platform call and its purpose.
class ModelListener {
public:
    virtual ~ModelListener() = default;
    /// Returns how the call fails; nothing when it does not.
    virtual std::optional<probe::Way> onCall(const std::string &call, const std::string &role) = 0;
};

/// An object with its directory and its memory.
struct ModelStoreObject {
    int32_t csvNum;
    int32_t slotMax;
    int32_t oldest;
    int32_t latest;
    std::vector<JORN_CSV_INFO> summaries;
    NamedFiles files;
};

/// A live object of the store.
struct ModelObject {
    int32_t handle;
    std::string dir;
    int32_t csvNum;
    int32_t slotMax;
    ModelIndex index;
    std::vector<JORN_CSV_INFO> summaries;
    uint32_t finalTime;   ///< As the last start found it.
    bool isIndexRefused;  ///< At the last start there was no valid index.

    std::string path(int32_t position) const { return dir + "/" + std::to_string(position) + ".csv"; }
    JORN_CSV_INFO &at(int32_t position) { return summaries[static_cast<size_t>(position)]; }
    const JORN_CSV_INFO &at(int32_t position) const { return summaries[static_cast<size_t>(position)]; }
    int32_t next(int32_t position) const { return (position + 1) % csvNum; }
    /// Positions of the valid range, newest first.
    std::vector<int32_t> newestFirst() const;
};

/// A file that a start removed.
struct ModelRemoval {
    std::string bytes;
    bool isRenamedOver;  ///< Otherwise it was deleted as surplus.
};

/// A line of a page.
struct ModelShown {
    std::string line;
    bool isTimeShown;  ///< The time could be turned into text.
};

class StoreModel {
public:
    /// `root` comes before the directories' names in messages.
    explicit StoreModel(std::string root = "", ModelListener *listener = nullptr)
        : root_(std::move(root)), listener_(listener) {}
    /// A store at rest with these objects, by handle.
    explicit StoreModel(const std::map<int32_t, ModelStoreObject> &objects);

    // The store's calls.
    int32_t create(const std::string &dir, int32_t csvNum, int32_t slotMax);
    /// All of a creation but its first item.
    int32_t start(const std::string &dir, int32_t csvNum, int32_t slotMax);
    int32_t destroy(int32_t handle);
    int32_t add(int32_t handle, int32_t level, int32_t slot, const std::string &text);
    int32_t count(int32_t handle, const JORN_REQUIRE &require);
    /// The page's lines come newest first.
    int32_t page(int32_t handle, const JORN_REQUIRE &require, std::vector<ModelShown> *shown);
    int32_t clear(int32_t handle, bool isLogged);

    /// A pass of the store task over the waiting messages, or over these.
    void pass();
    void pass(const std::vector<std::string> &waiting);
    /// Passes until nothing waits and no file is open.
    void settle();

    // What is around it.
    void setTime(uint32_t seconds) { now_ = seconds; }
    void put(const std::string &path, const std::string &bytes);
    void take(const std::string &path) { files_.erase(path); }
    /// Makes a summary count `items` items.
    void setCount(int32_t handle, int32_t position, uint32_t items) {
        change(handle)->at(position).itemCount = items;
    }
    /// Fills the queue up to `waiting` messages, for the handle.
    void fillQueue(int32_t handle, int waiting);
    void limitRoom(int64_t bytes) { room_ = bytes; }
    void addRoom(int64_t bytes) { room_ += bytes; }

    // What there is.
    /// Files by "directory/name".
    const NamedFiles &files() const { return files_; }
    NamedFiles filesIn(const std::string &dir) const;
    /// The bytes of an object's file; empty when it is not there.
    const std::string &bytesOf(int32_t handle, int32_t position) const;
    /// Live objects, newest first.
    const std::vector<ModelObject> &objects() const { return objects_; }
    const ModelObject *find(int32_t handle) const;
    const ModelObject &at(int32_t handle) const { return *find(handle); }
    ModelStoreObject object(int32_t handle) const;
    /// The largest time that any start found.
    uint32_t maxTime() const { return maxTime_; }
    /// Data files that the last start removed.
    const std::vector<ModelRemoval> &removals() const { return removals_; }
    const std::vector<std::string> &messages() const { return messages_; }
    void clearMessages() { messages_.clear(); }

    /// The positions that can hold items of the days of a requirement, newest first.
    static std::vector<int32_t> dayRange(const ModelObject &object, const JORN_REQUIRE &require);

private:
    /// An open file, with what has not left its buffer.
    struct Stream {
        std::string path;
        std::string pending;
    };

    /// What a query counted: matches by position along its range, newest first.
    struct Tally {
        std::vector<std::pair<int32_t, int32_t>> files;
        int32_t total = 0;
    };

    /// The object, to be changed; null when there is none.
    ModelObject *change(int32_t handle) { return const_cast<ModelObject *>(find(handle)); }

    using Pieces = std::initializer_list<std::string_view>;
    using IsTaken = std::function<bool(const ModelLine &)>;

    /// Makes a call, whose name is made up of these pieces.
    std::optional<probe::Way> fault(Pieces call, const char *role);
    bool passes(Pieces call, const char *role) { return !fault(call, role); }
    void say(std::string message) { messages_.push_back(std::move(message)); }
    std::string full(const std::string &dir) const { return root_ + "/" + dir; }

    // The medium.
    bool open(const std::string &path, const char *mode, const char *role);
    void write(Stream *stream, std::string_view bytes, const char *role);
    void close(Stream *stream, const char *role);
    bool exists(const std::string &path, const char *role);
    void removeFile(const std::string &path, const char *role);
    void renameFile(const std::string &from, const std::string &to, const char *role);
    void giveRoom(const std::string &path);
    void readLines(const std::string &path, const char *role, int32_t most, const IsTaken &isTaken);

    // The service.
    int32_t refuse(const char *message);
    bool provideDirectory(const std::string &dir);
    bool startService();
    void stopService();

    // Start-up.
    int32_t readIndex(ModelObject *object);
    int32_t rewriteIndex(const ModelObject &object, int32_t oldest, int32_t latest);
    void tidy(ModelObject *object);
    void analyse(ModelObject *object);
    void analyseFile(ModelObject *object, int32_t position);

    // The store task.
    void batch(size_t messages);
    bool storeMessage();
    bool handle(const std::string &message);
    bool storeLine(std::string_view line);
    bool select(int32_t handle);
    ModelObject &served() { return *change(served_); }
    bool chooseFile();
    bool rotate();
    bool openForItems(int32_t position, const char *mode, const char *role);
    void closeCurrent(const char *role);

    // Queries.
    bool isWanted(const ModelLine &line, const JORN_REQUIRE &require);
    int32_t countAll(const ModelObject &object, const JORN_REQUIRE &require, Tally *tally);
    int32_t countFile(const ModelObject &object, int32_t position, const JORN_REQUIRE &require);
    void fillPage(const ModelObject &object, const JORN_REQUIRE &require, const Tally &tally,
                  std::pair<int32_t, int32_t> numbers, std::vector<ModelShown> *shown);
    void readRecords(const ModelObject &object, const JORN_REQUIRE &require, int32_t position,
                     std::pair<int32_t, int32_t> items, std::vector<ModelShown> *shown);

    std::string root_;
    ModelListener *listener_ = nullptr;
    uint32_t now_ = 1700000000;
    NamedFiles files_;
    std::vector<std::string> dirs_;
    int64_t room_ = probe::Probe::kUnlimited;

    std::vector<ModelObject> objects_;  ///< Newest first.
    int32_t filesCounted_ = 0;
    uint32_t maxTime_ = 0;
    std::vector<ModelRemoval> removals_;

    std::deque<std::string> queue_;
    bool hasTask_ = false;
    std::string buffer_;  ///< Of the store task: what a shorter message leaves of a longer one stays.
    std::optional<Stream> current_;
    int32_t served_ = 0;

    std::vector<std::string> messages_;
};

}  // namespace test

#endif
