// SPDX-License-Identifier: Apache-2.0
#include "faults/expected_store.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "model/line_model.h"
#include "support/module_test.h"

namespace faults {

namespace {

constexpr size_t kTimeMax = 27;

/// A record as RealStore reports it, in local time.
std::string recordOf(const test::ModelShown &shown) {
    const test::ModelFields line = test::modelFields(shown.line, shown.line.size(), 3);
    const auto time = static_cast<time_t>(atoll(line.fields[0].c_str()));
    const char *const text = shown.isTimeShown ? ctime(&time) : nullptr;
    const std::string date = text != nullptr ? text : "";
    return date.substr(0, std::min(date.find('\n'), kTimeMax)) + "|" + line.fields[1].substr(0, 15) + "|" +
           line.fields[2].substr(0, 11) + "|" + line.rest.substr(0, 199);
}

}  // namespace

std::optional<probe::Way> ExpectedStore::onCall(const std::string &call, const std::string &role) {
    calls_.push_back(call);
    roles_.push_back(role);
    for (Fault &fault : faults_) {
        if (call.compare(0, fault.call.size(), fault.call) != 0 || fault.count == 0) {
            continue;
        }
        if (fault.skip > 0) {
            --fault.skip;
            continue;
        }
        --fault.count;
        return fault.way;
    }
    return std::nullopt;
}

void ExpectedStore::clearLog() {
    calls_.clear();
    roles_.clear();
    store_.clearMessages();
}

std::vector<std::string> ExpectedStore::memory() const {
    std::vector<std::string> all;
    for (const test::ModelObject &object : store_.objects()) {
        all.push_back("range " + std::to_string(object.index.oldest) + " to " +
                      std::to_string(object.index.latest));
        for (const JORN_CSV_INFO &info : object.summaries) {
            all.push_back(describe(info));
        }
    }
    return all;
}

int32_t ExpectedStore::create(const std::string &dir, int32_t csvNum) {
    return report("create " + dir, store_.create(dir, csvNum, 8));
}

int32_t ExpectedStore::add(int32_t handle, const std::string &text) {
    const int32_t result = store_.add(handle, 1, 2, text);
    if (result == 0) {
        accepted_.push_back(text);
    }
    return report("add " + text, result);
}

int32_t ExpectedStore::count(int32_t handle) {
    return report("count", store_.count(handle, test::everything()));
}

int32_t ExpectedStore::page(int32_t handle, int32_t page, int32_t itemsPerPage) {
    lastPage_.clear();
    std::vector<test::ModelShown> lines;
    const int32_t result = store_.page(handle, test::everything(page, itemsPerPage), &lines);
    for (const test::ModelShown &line : lines) {
        reportRecord(recordOf(line), test::modelFields(line.line, line.line.size(), 3).rest);
    }
    return report("page", result);
}

}  // namespace faults
