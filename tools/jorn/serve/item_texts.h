// SPDX-License-Identifier: Apache-2.0
// The texts of items, read from the files: as JSON for the page, and as files for other programs.
#ifndef JORN_TOOLS_ITEM_TEXTS_H
#define JORN_TOOLS_ITEM_TEXTS_H

#include <re2/re2.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "http/request.h"
#include "log/stored_line.h"
#include "output/item_format.h"
#include "serve/row_walk.h"
#include "serve/served_logs.h"
#include "serve/text_matches.h"
#include "serve/view_filter.h"

namespace tool {

/// Where an expression is found in a text, as "[[begin,end],...]"; empty where it is not, matches without a
/// length left out. The offsets count bytes of the text as JSON has it, in which what is no UTF-8 is
/// replaced. Throws RequestError.
std::string marksIn(std::string_view text, const RE2 &pattern, const Deadline &deadline);

/// An item has the members that `jorn show -o json` prints, then the name of the log and the cursor; where an
/// expression is searched for and found, also the marks.
class ItemJson {
public:
    /// No expression: null.
    explicit ItemJson(bool isUtc, std::shared_ptr<const RE2> pattern = nullptr)
        : isUtc_(isUtc), pattern_(std::move(pattern)) {}

    /// One object, without a line feed. Throws RequestError.
    std::string format(const LogView &view, const LogBlock &block, const Line &line,
                       const Deadline &deadline);

private:
    const bool isUtc_;
    const std::shared_ptr<const RE2> pattern_;
    std::map<const ServedLog *, ItemFormatter> formatters_;
};

/// Calls take(view, block, line) with the line of each item, in the given order; best from older to newer.
/// Nothing that was taken counts when it throws StaleView.
void readRows(const Snapshot &snapshot, const std::vector<RowRef> &rows,
              const std::function<void(const LogView &, const LogBlock &, const Line &)> &take);

/// The objects of items, in the given order. Throws StaleView, RequestError.
std::vector<std::string> jsonOf(const Snapshot &snapshot, const std::vector<RowRef> &rows, ItemJson json,
                                const Deadline &deadline);

struct DownloadForm {
    bool isCsv = false;  ///< Else JSON Lines.
    bool isUtc = false;
};

/// The oldest first, as `jorn show` prints them with -o csv or -o json; of several logs each item has the
/// name of its own. What is sent is what is in view now; where the ring passes it meanwhile, the sending is
/// cut off.
WebAnswer downloadOf(std::shared_ptr<const Snapshot> snapshot, const ViewFilter &filter, TextMatches *matches,
                     const DownloadForm &form);

}  // namespace tool

#endif
