// SPDX-License-Identifier: Apache-2.0
// Shared by the tests of retrieval: a page that reveals what was not written, and rings of numbered items.
#ifndef JORN_TESTS_QUERY_RETRIEVAL_SUPPORT_H
#define JORN_TESTS_QUERY_RETRIEVAL_SUPPORT_H

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "query/query_support.h"
#include "query/retrieval.h"
#include "support/module_test.h"

namespace test {

inline constexpr unsigned char kUntouched = 0xAA;

/// Shows times in UTC during its lifetime.
class UtcTime {
public:
    UtcTime() : before_(getenv("TZ") != nullptr ? std::optional<std::string>(getenv("TZ")) : std::nullopt) {
        set("UTC0");
    }
    ~UtcTime() {
        if (before_) {
            set(before_->c_str());
        } else {
            unsetenv("TZ");
            tzset();
        }
    }
    UtcTime(const UtcTime &) = delete;
    UtcTime &operator=(const UtcTime &) = delete;

    static void set(const char *zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

private:
    std::optional<std::string> before_;
};

/// Whether bytes are as they were before the call.
template <class Record>
bool isUntouched(const Record &record) {
    const auto *const bytes = reinterpret_cast<const unsigned char *>(&record);
    return std::all_of(bytes, bytes + sizeof record, [](unsigned char byte) { return byte == kUntouched; });
}

/// "<prefix><first>", and so on down to "<prefix><last>".
inline std::vector<std::string> countdown(const std::string &prefix, int first, int last) {
    std::vector<std::string> all;
    for (int i = first; i >= last; --i) {
        all.push_back(prefix + std::to_string(i));
    }
    return all;
}

class RetrievalTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        memset(&page_, kUntouched, sizeof page_);
    }

    /// A real object at rest over this ring.
    void createOver(const ModelRing &ring) {
        handle_ = createAtRest(ring.csvNum, ring.slotMax);
        layOut(ring, dir_, object());
        platform().clearLog();
    }

    JORN_OBJ *object() const { return FindObj(handle_); }

    /// Requests a page, into a record that was not touched before.
    int32_t get(const JORN_REQUIRE &require) {
        memset(&page_, kUntouched, sizeof page_);
        return JORN_GetRequireLog(handle_, require, &page_);
    }

    /// Checks that the records after the page's items are unchanged.
    void expectNothingBeyondThePage() {
        ASSERT_TRUE(page_.itemsNum >= 0 && page_.itemsNum <= 20) << page_.itemsNum;
        for (int32_t i = page_.itemsNum; i < 20; ++i) {
            EXPECT_TRUE(isUntouched(page_.disp[i])) << "record " << i;
        }
    }

    UtcTime utc_;
    int32_t handle_ = -1;
    JORN_LOG_PAGE page_;
};

/// Files at these positions, oldest first, each with this number of items; the texts are numbered across the
/// files, so that the oldest item is "n0".
inline ModelRing numberedRing(int32_t csvNum, const std::vector<std::pair<int32_t, int>> &files) {
    ModelRing ring = {csvNum, 8, files.front().first, files.back().first, {}};
    int next = 0;
    for (const auto &[position, number] : files) {
        ModelFile file;
        for (int i = 0; i < number; ++i, ++next) {
            file.push_back({1700000000U + static_cast<uint32_t>(next), 1, 2, "n" + std::to_string(next)});
        }
        ring.files[position] = file;
    }
    return ring;
}

}  // namespace test

#endif
