// SPDX-License-Identifier: Apache-2.0
#include "query/ring_reader.h"

#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <optional>
#include <string>

#include "platform.h"
#include "registry/registry.h"
#include "system/failure.h"
#include "terminal/time_text.h"

namespace tool {
namespace {

constexpr int32_t kReaderHandle = 1;

/// Makes UTC the local time during its lifetime: the module writes local times, and an ambiguous one cannot
/// be converted back to its second.
class UtcScope {
public:
    UtcScope() {
        const char *const zone = getenv("TZ");
        former_ = zone != nullptr ? std::optional<std::string>(zone) : std::nullopt;
        useUtc();
    }
    ~UtcScope() {
        if (former_) {
            setenv("TZ", former_->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    UtcScope(const UtcScope &) = delete;
    UtcScope &operator=(const UtcScope &) = delete;

private:
    std::optional<std::string> former_;
};

}  // namespace

RingReader::RingReader(const RingView &view, const std::vector<FileDigest> &digests)
    : summaries_(static_cast<size_t>(view.ringSize())) {
    object_.handle_id = kReaderHandle;
    object_.level_max = jorn::kLevelMax;
    object_.slot_max = jorn::kSlotMax;
    object_.csv_num = view.ringSize();
    object_.index_version = jorn::kIndexVersion;
    object_.csv_oldest = view.plan().oldest;
    object_.csv_latest = view.plan().latest;
    object_.csv_info = summaries_.data();
    for (size_t i = 0; i < digests.size(); ++i) {
        summaries_[static_cast<size_t>(view.files()[i].position)] = digests[i].info;
    }
    placeFiles(view);
    enterRegistry();
}

RingReader::~RingReader() {
    jorn_obj_ptr = nullptr;
    semDelete(logSemCsvRW_ID);
}

/// Shows the object each file at the position that the store's start-up would give it, and regular files
/// only: opening a pipe would wait for its writer.
void RingReader::placeFiles(const RingView &view) {
    std::string name = view.directory().shortName();
    const auto isOpen = [](const RingFile &file) { return file.file.isOpen(); };
    if (view.isMoved() || !std::all_of(view.files().begin(), view.files().end(), isOpen)) {
        links_ = std::make_unique<LinkDirectory>();
        for (const RingFile &file : view.files()) {
            if (!isOpen(file)) {
                continue;
            }
            links_->add(dataFileName(file.position), name + "/" + dataFileName(file.number));
        }
        name = links_->shortName();
    }
    strncpy(object_.dirName, name.c_str(), sizeof object_.dirName - 1);
}

void RingReader::enterRegistry() {
    logSemCsvRW_ID = semMCreate(SEM_Q_PRIORITY | SEM_INVERSION_SAFE);
    if (logSemCsvRW_ID == nullptr) {
        throw Failure("a semaphore cannot be created");
    }
    jorn_obj_ptr = &object_;
}

PageResult RingReader::page(const JORN_REQUIRE &require) const {
    const UtcScope utc;
    PageResult result;
    result.number = std::max(JORN_GetRequireLog(kReaderHandle, require, &result.page), 0);
    // Counted afterwards: a file that is being written only grows, so the count includes the page.
    result.total = std::max(JORN_CountRequireTotalNum(kReaderHandle, require), 0);
    return result;
}

}  // namespace tool
