// SPDX-License-Identifier: Apache-2.0
// How far a stream of new items has come, as a text that another one goes on from.
#ifndef JORN_TOOLS_STREAM_POSITION_H
#define JORN_TOOLS_STREAM_POSITION_H

#include <stdint.h>

#include <string>
#include <vector>

#include "serve/served_logs.h"

namespace tool {

/// For each log, how far its items have been seen.
class StreamPosition {
public:
    /// After all items in view.
    static StreamPosition newest(const Snapshot &snapshot);

    /// Longest text: with it, a request keeps within the limits that the server has.
    static constexpr size_t kMostBytes = size_t{16} * 1024;

    /// How long the text can become for logs of these names.
    static size_t mostBytesFor(const std::vector<std::string> &names);

    /// From a text. Logs that it does not name are at their newest, and so are those of which it names an
    /// item that is not in view any more, or that had none and have lost some since. Whether there is a log
    /// of the last two kinds is stored in `isPassed`. Throws StaleView.
    static StreamPosition find(const std::string &text, const Snapshot &snapshot, bool *isPassed);

    /// Whether find() can make something of a text.
    static bool isText(const std::string &text);

    /// The cursors of the items before the place in each log, with commas between; "LOG~-~N" where a log has
    /// none, with the number of its next item. Throws StaleView.
    std::string text(const Snapshot &snapshot) const;

    struct Place {
        uint64_t epoch = 0;
        int64_t next = 0;  ///< The number of the first item not seen.
    };
    std::vector<Place> places;
};

}  // namespace tool

#endif
