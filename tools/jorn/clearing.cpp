// SPDX-License-Identifier: Apache-2.0
#include "clearing.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "csvfile/line.h"
#include "failure.h"
#include "item_query.h"
#include "ring.h"
#include "ring_fit.h"

namespace tool {
namespace {

/// A file beside the one whose place it will take, gone again unless it took it.
class NewFile {
public:
    NewFile(const StoreDirectory &directory, std::string name, std::string_view bytes)
        : directory_(directory), name_(std::move(name)), newName_(name_ + ".new") {
        constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
        unlinkat(directory_.descriptor(), newName_.c_str(), 0);  // Of a clearing that was cut.
        const Descriptor file(openat(directory_.descriptor(), newName_.c_str(), kFlags, 0600));
        if (!file.isOpen()) {
            fail();
        }
        isLeft_ = true;
        copyAttributes(file.get());
        const ssize_t written = write(file.get(), bytes.data(), bytes.size());
        if (written >= 0 && static_cast<size_t>(written) < bytes.size()) {
            errno = ENOSPC;
        }
        if (written < static_cast<ssize_t>(bytes.size()) || fsync(file.get()) < 0) {
            const int reason = errno;
            remove();
            errno = reason;
            fail();
        }
    }
    ~NewFile() { remove(); }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    void takePlace() {
        const int fd = directory_.descriptor();
        if (renameat(fd, newName_.c_str(), fd, name_.c_str()) < 0) {
            fail();
        }
        isLeft_ = false;
    }

private:
    [[noreturn]] void fail() const { throw systemFailure(directory_.pathOf(name_), errno); }

    void remove() {
        if (std::exchange(isLeft_, false)) {
            unlinkat(directory_.descriptor(), newName_.c_str(), 0);
        }
    }

    /// Of the index, as the log's other writers made it. Another owner can be given by the superuser only.
    void copyAttributes(int file) const {
        struct stat status;
        if (fstatat(directory_.descriptor(), kIndexName, &status, 0) < 0 &&
            fstatat(directory_.descriptor(), kIndexBackupName, &status, 0) < 0) {
            fail();
        }
        if ((fchown(file, status.st_uid, status.st_gid) < 0 && errno != EPERM) ||
            fchmod(file, status.st_mode & 0777) < 0) {
            fail();
        }
    }

    const StoreDirectory &directory_;
    const std::string name_;
    const std::string newName_;
    bool isLeft_ = false;
};

Failure damaged(const StoreDirectory &directory, const std::string &what) {
    return Failure(directory.path() + ": " + what + "; nothing was changed. See jorn check and jorn repair",
                   kExitDamage);
}

void countItemsInView(const StoreDirectory &directory, int ringSize, ClearingPlan *plan) {
    const RingView view(directory, ringSize);
    DamageLog ignored;  // Damaged lines go out of view as well, and are no items.
    plan->items = countItems(view, {}, &ignored).tally.total();
    for (const RingFile &file : view.files()) {
        if (file.number == plan->target) {
            plan->overwritten = digestOf(file, &ignored).info.itemCount;
        }
    }
}

std::string firstLine(uint32_t now) {
    std::array<char, jorn::kLineSize> line;
    jorn::appendLine(line.data(), now, jorn::kLevelDebug, 0, jorn::kClearedText);
    return line.data();
}

}  // namespace

ClearingPlan planClearing(const StoreDirectory &directory, std::optional<int> ringSize) {
    const RingSurvey survey = surveyRing(directory);
    ClearingPlan plan;
    if (survey.isFresh()) {
        return plan;
    }
    if (!survey.index) {
        throw damaged(directory, "the index is missing or damaged");
    }
    plan.former = survey.positions();
    const int files = chooseRingSize(directory, survey, ringSize, false);
    if (!isInRing(plan.former, files)) {
        throw damaged(directory, "the index names files beyond a ring of " + std::to_string(files));
    }
    plan.target = jorn::ringSuccessor(files, plan.former.latest);
    countItemsInView(directory, files, &plan);
    return plan;
}

void clearLog(const StoreDirectory &directory, const ClearingPlan &plan, uint32_t now) {
    NewFile data(directory, dataFileName(plan.target), firstLine(now));
    NewFile index(directory, kIndexName, indexTextOf({plan.target, plan.target}));
    // In the store's own order: a cut between the two leaves what a cut of its clearing leaves.
    index.takePlace();
    data.takePlace();
    unlinkat(directory.descriptor(), kIndexBackupName, 0);
    fsync(directory.descriptor());
}

}  // namespace tool
