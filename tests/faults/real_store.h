// SPDX-License-Identifier: Apache-2.0
// The module itself, below a test's directory, on the hand-driven clock and with the probe between it and its
// platform.
#ifndef JORN_TESTS_FAULTS_REAL_STORE_H
#define JORN_TESTS_FAULTS_REAL_STORE_H

#include "faults/store_driver.h"

namespace faults {

class RealStore : public StoreDriver {
public:
    explicit RealStore(std::string root) : root_(std::move(root)) {}

    int32_t create(const std::string &dir, int32_t csvNum) override;
    int32_t destroy(int32_t handle) override;
    int32_t add(int32_t handle, const std::string &text) override;
    void pass() override;
    int32_t count(int32_t handle) override;
    int32_t page(int32_t handle, int32_t page, int32_t itemsPerPage) override;
    int32_t clear(int32_t handle) override;
    void put(const std::string &path, const std::string &bytes) override;
    void take(const std::string &path) override;
    void setCount(int32_t handle, int32_t position, int32_t items) override;
    void fillQueue(int32_t handle, int waiting) override;
    void limitRoom(int64_t bytes) override;
    void addRoom(int64_t bytes) override;
    void fail(const Fault &fault) override;
    void heal() override;
    std::vector<std::string> calls() const override;
    std::vector<std::string> messages() const override;
    Files files() const override;
    std::vector<std::string> memory() const override;
    void clearLog() override;

private:
    std::string root_;
};

}  // namespace faults

#endif
