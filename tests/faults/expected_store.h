// SPDX-License-Identifier: Apache-2.0
// The model of the store as a script drives it: with a log of its calls and the purpose of each, and with
// calls that fail.
#ifndef JORN_TESTS_FAULTS_EXPECTED_STORE_H
#define JORN_TESTS_FAULTS_EXPECTED_STORE_H

#include <optional>

#include "faults/store_driver.h"
#include "model/store_model.h"

namespace faults {

class ExpectedStore : public StoreDriver, private test::ModelListener {
public:
    /// `root` is the directory that holds the objects' directories.
    explicit ExpectedStore(const std::string &root) : store_(root, this) {}
    ExpectedStore(const ExpectedStore &) = delete;
    ExpectedStore &operator=(const ExpectedStore &) = delete;

    int32_t create(const std::string &dir, int32_t csvNum) override;
    int32_t destroy(int32_t handle) override { return report("destroy", store_.destroy(handle)); }
    int32_t add(int32_t handle, const std::string &text) override;
    void pass() override { store_.pass(); }
    int32_t count(int32_t handle) override;
    int32_t page(int32_t handle, int32_t page, int32_t itemsPerPage) override;
    int32_t clear(int32_t handle) override { return report("clear", store_.clear(handle, true)); }
    void put(const std::string &path, const std::string &bytes) override { store_.put(path, bytes); }
    void take(const std::string &path) override { store_.take(path); }
    void setCount(int32_t handle, int32_t position, int32_t items) override {
        store_.setCount(handle, position, static_cast<uint32_t>(items));
    }
    void fillQueue(int32_t handle, int waiting) override { store_.fillQueue(handle, waiting); }
    void limitRoom(int64_t bytes) override { store_.limitRoom(bytes); }
    void addRoom(int64_t bytes) override { store_.addRoom(bytes); }
    void fail(const Fault &fault) override { faults_.push_back(fault); }
    void heal() override { faults_.clear(); }
    std::vector<std::string> calls() const override { return calls_; }
    std::vector<std::string> messages() const override { return store_.messages(); }
    Files files() const override { return store_.files(); }
    std::vector<std::string> memory() const override;
    void clearLog() override;

    /// The purpose of each call, parallel to calls().
    const std::vector<std::string> &roles() const { return roles_; }

private:
    std::optional<probe::Way> onCall(const std::string &call, const std::string &role) override;

    test::StoreModel store_;
    std::vector<Fault> faults_;
    std::vector<std::string> calls_;
    std::vector<std::string> roles_;
};

}  // namespace faults

#endif
