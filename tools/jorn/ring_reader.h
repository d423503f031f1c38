// SPDX-License-Identifier: Apache-2.0
// Read-only view of a log object's directory: the module's own queries over an object that never went
// through creation, so that nothing in the directory is renamed, rewritten or logged.
#ifndef JORN_TOOLS_RING_READER_H
#define JORN_TOOLS_RING_READER_H

#include <stdint.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "csvfile/file_summary.h"
#include "failure.h"
#include "jorn.h"
#include "link_directory.h"
#include "registry/log_object.h"
#include "ring_survey.h"
#include "store_directory.h"

namespace tool {

/// One page, and how many items there are in all.
struct PageResult {
    int32_t number = 0;  ///< 0 when nothing matches.
    int32_t total = 0;
    JORN_LOG_PAGE page{};
};

/// One at a time in a process: it stands in the module's registry while it lives.
class RingReader {
public:
    /// Looks at the directory and reads its files once. `ringSize` tells the ring's number of files where
    /// the directory does not tell it. Throws Failure.
    RingReader(const StoreDirectory &directory, std::optional<int> ringSize);
    ~RingReader();
    RingReader(const RingReader &) = delete;
    RingReader &operator=(const RingReader &) = delete;

    /// Items that match, 0 or more.
    int32_t count(const JORN_REQUIRE &require) const;

    PageResult page(const JORN_REQUIRE &require) const;

    /// Whether index and files are still those that were read; false when a writer has moved on to
    /// another file meanwhile.
    bool isCurrent() const;

    /// What the user should know about the state of the directory, one text a line.
    const std::vector<std::string> &notes() const { return notes_; }

private:
    void placeFiles(const jorn::TidyingPlan &plan);
    void summarise();
    void enterRegistry();
    void noteState(const jorn::TidyingPlan &plan);

    const StoreDirectory &directory_;
    RingSurvey survey_;
    std::unique_ptr<LinkDirectory> links_;
    std::vector<JORN_CSV_INFO> summaries_;
    JORN_OBJ object_{};
    std::vector<std::string> notes_;
};

/// Runs a query over a fresh view until no writer has moved on during it. When the writer is too fast for
/// that, the answer is the last one, and the user is told.
template <class Query>
auto queryStable(const StoreDirectory &directory, std::optional<int> ringSize, const Query &query) {
    constexpr int kTries = 20;
    for (int tries = 1;; ++tries) {
        const RingReader reader(directory, ringSize);
        auto result = query(reader);
        if (reader.isCurrent()) {
            return result;
        }
        if (tries == kTries) {
            printMessage("note: " + directory.path() +
                         ": written faster than it can be read; items may be missing here");
            return result;
        }
    }
}

}  // namespace tool

#endif
