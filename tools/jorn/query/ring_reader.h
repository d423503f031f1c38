// SPDX-License-Identifier: Apache-2.0
// The module's own retrieval from a ring, read-only: its log object never went through creation, so that
// nothing in the directory is renamed, rewritten or logged.
#ifndef JORN_TOOLS_RING_READER_H
#define JORN_TOOLS_RING_READER_H

#include <stdint.h>

#include <memory>
#include <vector>

#include "csvfile/file_analysis.h"
#include "jorn.h"
#include "log/ring_view.h"
#include "query/file_digest.h"
#include "query/link_directory.h"
#include "registry/log_object.h"

namespace tool {

/// One page, and how many items there are in all.
struct PageResult {
    int32_t number = 0;  ///< 0 when nothing matches.
    int32_t total = 0;
    JORN_LOG_PAGE page{};  ///< Times are in UTC.
};

/// One at a time in a process: it is in the module's registry during its lifetime.
class RingReader {
public:
    /// `digests` are those of the view's files. Throws Failure.
    RingReader(const RingView &view, const std::vector<FileDigest> &digests);
    ~RingReader();
    RingReader(const RingReader &) = delete;
    RingReader &operator=(const RingReader &) = delete;

    PageResult page(const JORN_REQUIRE &require) const;

private:
    void placeFiles(const RingView &view);
    void enterRegistry();

    std::unique_ptr<LinkDirectory> links_;
    std::vector<JORN_CSV_INFO> summaries_;
    JORN_OBJ object_{};
};

}  // namespace tool

#endif
