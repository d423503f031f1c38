// SPDX-License-Identifier: Apache-2.0
#include "live/change_watch.h"

#include <linux/magic.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

namespace tool {
namespace {

/// File systems that other machines may write to, where the system's headers do not name them.
constexpr uint32_t kCifsMagic = 0xff534d42;
constexpr uint32_t kSmb2Magic = 0xfe534d42;

bool hasOtherWriters(const std::string &path) {
    struct statfs status;
    if (statfs(path.c_str(), &status) < 0) {
        return false;
    }
    constexpr std::array<uint32_t, 8> kShared = {NFS_SUPER_MAGIC, SMB_SUPER_MAGIC, FUSE_SUPER_MAGIC,
                                                 V9FS_MAGIC,      AFS_SUPER_MAGIC, CEPH_SUPER_MAGIC,
                                                 kCifsMagic,      kSmb2Magic};
    const auto type = static_cast<uint32_t>(status.f_type);
    return std::find(kShared.begin(), kShared.end(), type) != kShared.end();
}

}  // namespace

ChangeWatch::ChangeWatch(std::vector<std::string> paths, const StopSignals &signals, bool isPolling,
                         Reader reader)
    : paths_(std::move(paths)),
      signals_(signals),
      isPolling_(isPolling),
      reader_(reader),
      watched_(paths_.size(), -1) {
    if (!isPolling_) {
        notices_ = Descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    }
}

void ChangeWatch::arm() {
    if (!notices_.isOpen()) {
        return;
    }
    for (size_t i = 0; i < paths_.size(); ++i) {
        const int former = watched_[i];
        watched_[i] = watchOn(paths_[i]);
        // Two paths may come to lead to one directory, or to change places.
        if (former >= 0 && !isWatching(former)) {
            inotify_rm_watch(notices_.get(), former);
        }
    }
}

/// Returns the same number for a directory that is already watched.
int ChangeWatch::watchOn(const std::string &path) const {
    constexpr uint32_t kChanges =
        IN_MODIFY | IN_CREATE | IN_DELETE | IN_MOVE | IN_MOVE_SELF | IN_DELETE_SELF | IN_ONLYDIR;
    return hasOtherWriters(path) ? -1 : inotify_add_watch(notices_.get(), path.c_str(), kChanges);
}

bool ChangeWatch::isWatching(int watch) const {
    return std::find(watched_.begin(), watched_.end(), watch) != watched_.end();
}

ChangeWatch::Reason ChangeWatch::wait(bool isSoon, std::optional<int> limit) {
    const int longest = isSoon || isWatching(-1) ? kPollMilliseconds : kLongestMilliseconds;
    const int timeout = std::min(limit.value_or(longest), longest);
    std::array<pollfd, 3> events = {{{signals_.descriptor(), POLLIN, 0},
                                     {reader_ == Reader::Needed ? STDOUT_FILENO : -1, 0, 0},
                                     {notices_.get(), POLLIN, 0}}};
    poll(events.data(), events.size(), timeout);
    std::array<char, 4096> notices;
    while (notices_.isOpen() && read(notices_.get(), notices.data(), notices.size()) > 0) {
    }
    return events[0].revents != 0 || events[1].revents != 0 ? Reason::Stop : Reason::Look;
}

}  // namespace tool
