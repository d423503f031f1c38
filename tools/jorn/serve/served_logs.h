// SPDX-License-Identifier: Apache-2.0
// All logs that are served, as they are at one moment, and a way to wait until they have changed.
#ifndef JORN_TOOLS_SERVED_LOGS_H
#define JORN_TOOLS_SERVED_LOGS_H

#include <stdint.h>
#include <sys/types.h>
#include <time.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "health/finding.h"
#include "serve/log_index.h"

namespace tool {

/// What a check found in a log; nothing before the first one has ended.
struct LogHealth {
    bool isChecked = false;
    std::vector<Finding> findings;
    std::string failure;  ///< Why it could not be checked.
};

/// A file of a log as a change of anything about it alters it: name, place and size, and when it was changed.
using FileState = std::tuple<std::string, dev_t, ino_t, off_t, time_t, long>;
using DirectoryState = std::vector<FileState>;

/// Never changes; safe to use from any thread.
struct Snapshot {
    uint64_t revision = 0;  ///< Higher with each change.
    std::vector<std::shared_ptr<const LogView>> logs;
    std::vector<std::shared_ptr<const LogHealth>> health;
};

/// Safe to use from any thread.
class ServedLogs {
public:
    explicit ServedLogs(std::vector<ServedLog> logs);

    std::shared_ptr<const Snapshot> now() const;

    /// Looks at a log again, or at all of them. Whether all is seen: false while a writer is at work.
    bool refresh(size_t log, LogIndex::Trust trust = LogIndex::Trust::Marks);
    bool refreshAll(LogIndex::Trust trust = LogIndex::Trust::Marks);

    /// After StaleView: waits a moment and looks at all logs again. Where that gives no other snapshot than
    /// the one of this revision, what is known of the files is not believed any more.
    void lookAgain(uint64_t revision);

    /// Checks a log, which reads all of it, if the view, the directory or a file in it is not what it was
    /// when this was done last. Never throws.
    void check(size_t log);

    /// Waits until there is another snapshot than one of this revision, or the time is up, or for no reason.
    std::shared_ptr<const Snapshot> waitForOther(uint64_t revision, std::chrono::milliseconds longest) const;

    /// Ends all waiting, for good: the server stops.
    void stop();
    bool isStopped() const;

private:
    /// What there was at the last check.
    struct Checked {
        std::optional<DirectoryState> files;
        std::shared_ptr<const LogView> view;
    };

    template <class Change>
    void publish(const Change &change);

    std::mutex looking_;  ///< One look at a time: they use the module, which keeps a print level.
    std::vector<LogIndex> indexes_;

    std::mutex checking_;
    std::vector<Checked> checked_;  ///< By log.

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::shared_ptr<const Snapshot> now_;
    bool isStopped_ = false;
};

}  // namespace tool

#endif
