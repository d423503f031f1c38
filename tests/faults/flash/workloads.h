// SPDX-License-Identifier: Apache-2.0
// What the module is doing when the power is cut.
#ifndef JORN_TESTS_FAULTS_FLASH_WORKLOADS_H
#define JORN_TESTS_FAULTS_FLASH_WORKLOADS_H

#include <functional>
#include <string>
#include <vector>

#include "life.h"

namespace flash {

/// The scene before the first life: files in place, their items in the ledger.
class Scene {
public:
    explicit Scene(Ledger *ledger) : ledger_(ledger) {}

    void makeDirectory(const std::string &path);
    void write(const std::string &path, const std::string &bytes);
    /// A data file of an object with `count` items; the texts name file and item. Oldest files first.
    void dataFile(size_t object, const std::string &directory, int position, size_t count);
    void index(const std::string &directory, int oldest, int latest);

private:
    Ledger *ledger_;
    uint32_t time_ = 1600000000;
};

struct Workload {
    std::string name;
    /// By object number; the size of a ring is that of its last creation.
    std::vector<ObjectShape> objects;
    /// Start-up is expected to rename or delete data files, because of the scene or of what the script does.
    bool tidies = false;
    size_t blocks = 16;
    std::function<void(Scene &)> setScene;
    std::function<void(Life &)> run;
};

/// All workloads; `scale` 1 is the usual length; more lengthens those that can be longer, with other texts.
std::vector<Workload> allWorkloads(size_t scale);

}  // namespace flash

#endif
