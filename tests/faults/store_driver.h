// SPDX-License-Identifier: Apache-2.0
// What a script does with a store. The same script runs on the module and on the model of what is required of
// it, and both produce the same report.
#ifndef JORN_TESTS_FAULTS_STORE_DRIVER_H
#define JORN_TESTS_FAULTS_STORE_DRIVER_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "csvfile/file_summary.h"
#include "support/probe.h"

namespace faults {

/// One call that fails, as Probe::fail() takes it.
struct Fault {
    std::string call;
    int skip = 0;
    int count = 1;
    probe::Way way = probe::Way::kPlain;
};

/// Files by "directory/name", with their bytes.
using Files = std::map<std::string, std::string>;

class StoreDriver {
public:
    virtual ~StoreDriver() = default;

    /// Directories are named by one letter below the test's own.
    virtual int32_t create(const std::string &dir, int32_t csvNum) = 0;
    virtual int32_t destroy(int32_t handle) = 0;
    /// Submits an item of level 1, slot 2.
    virtual int32_t add(int32_t handle, const std::string &text) = 0;
    virtual void pass() = 0;
    /// Count everything, or show a page of it; a page is reported with all its fields.
    virtual int32_t count(int32_t handle) = 0;
    virtual int32_t page(int32_t handle, int32_t page, int32_t itemsPerPage) = 0;
    virtual int32_t clear(int32_t handle) = 0;

    /// Write a file; remove one.
    virtual void put(const std::string &path, const std::string &bytes) = 0;
    virtual void take(const std::string &path) = 0;
    /// Makes a file's summary count `items` items, so that a rotation is near.
    virtual void setCount(int32_t handle, int32_t position, int32_t items) = 0;
    /// Fills the queue up to `waiting` messages, for the handle.
    virtual void fillQueue(int32_t handle, int waiting) = 0;
    virtual void limitRoom(int64_t bytes) = 0;
    virtual void addRoom(int64_t bytes) = 0;
    virtual void fail(const Fault &fault) = 0;
    virtual void heal() = 0;

    virtual std::vector<std::string> calls() const = 0;
    virtual std::vector<std::string> messages() const = 0;
    virtual Files files() const = 0;
    /// What is in memory: ring positions of each object, newest first, and its files' summaries.
    virtual std::vector<std::string> memory() const = 0;
    virtual void clearLog() = 0;

    /// Everything that the calls above returned, and the records of the pages, in order.
    const std::vector<std::string> &results() const { return results_; }
    /// Texts that add() put into the queue, by its result.
    const std::vector<std::string> &accepted() const { return accepted_; }
    /// Texts of the last page, newest first.
    const std::vector<std::string> &lastPage() const { return lastPage_; }

protected:
    int32_t report(const std::string &what, int32_t result) {
        results_.push_back(what + " = " + std::to_string(result));
        return result;
    }

    /// What memory() reports for a file.
    static std::string describe(const JORN_CSV_INFO &info) {
        uint32_t ofLevels = 0;
        for (const JORN_LEVEL_STAT &stat : info.levelStat) {
            ofLevels += stat.levelCount;
        }
        return std::to_string(info.itemCount) + " items, " + std::to_string(ofLevels) + " of levels, " +
               std::to_string(info.timeMin) + " to " + std::to_string(info.timeMax);
    }

    /// One record of a page, with its text.
    void reportRecord(const std::string &record, const std::string &text) {
        results_.push_back(record);
        lastPage_.push_back(text.substr(0, text.find('\n')));
    }

    std::vector<std::string> results_;
    std::vector<std::string> accepted_;
    std::vector<std::string> lastPage_;
};

}  // namespace faults

#endif
