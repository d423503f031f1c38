// SPDX-License-Identifier: Apache-2.0
#include "log/data_file_scan.h"

#include <algorithm>
#include <string_view>

#include "csvfile/line.h"
#include "log/run_together.h"
#include "log/segment_reader.h"
#include "module_limits.h"

namespace tool {
namespace {

/// Garbage can make every line a flaw; nobody reads more than this.
constexpr size_t kFlawsKept = 200;

bool isMended(FlawKind kind) {
    return kind == FlawKind::Zeros || kind == FlawKind::Unparsable || kind == FlawKind::TornEnd;
}

bool isInTables(const LineNumbers &item) {
    return item.level >= 0 && item.level < jorn::kLevelMax && item.slot >= 0 && item.slot < jorn::kSlotMax;
}

class Scan {
public:
    void take(const Line &line) {
        result_.size = static_cast<int64_t>(line.end());
        isOpenEnd_ = line.isItem() && line.isFull();
        if (line.kind == LineKind::Zeros) {
            note(FlawKind::Zeros, line);
            return;
        }
        if (line.isItem()) {
            takeItem(line);
        }
        // Only at the end of the file can a piece be neither a line nor full.
        if (!line.hasLineEnd() && !line.isFull()) {
            note(FlawKind::TornEnd, line);
        } else if (line.isItem()) {
            judgeItem(line);
        } else if (line.kind == LineKind::Damaged) {
            note(FlawKind::Unparsable, line);
        }
    }

    FileScan finish() {
        if (isOpenEnd_) {
            Flaw missingEnd;
            missingEnd.kind = FlawKind::TornEnd;
            missingEnd.offset = result_.size;
            keep(missingEnd);
        }
        return std::move(result_);
    }

private:
    void takeItem(const Line &line) {
        const uint32_t time = line.numbers.time;
        if (result_.items == 0) {
            result_.firstTime = time;
            result_.startsCleared = textIn(line.bytes) == jorn::kClearedText;
        } else if (time < result_.lastTime) {
            stepBack(static_cast<int64_t>(line.offset), result_.lastTime - time);
        }
        result_.lastTime = time;
        ++result_.items;
    }

    void judgeItem(const Line &line) {
        if (line.isFull()) {
            note(FlawKind::LongLine, line);
        } else if (line.bytes.find('\0') != std::string_view::npos) {
            note(FlawKind::InnerZeros, line);
        } else if (looksRunTogether(line.bytes)) {
            note(FlawKind::RunTogether, line);
        } else if (!holdsNumbers(line.bytes)) {
            note(FlawKind::NoNumber, line);
        } else if (!isInTables(line.numbers)) {
            note(FlawKind::OutOfTable, line);
        }
    }

    void stepBack(int64_t offset, uint32_t seconds) {
        BackSteps &steps = result_.backSteps;
        if (steps.count++ == 0) {
            steps.firstOffset = offset;
        }
        steps.largest = std::max(steps.largest, seconds);
    }

    void note(FlawKind kind, const Line &line) {
        Flaw flaw;
        flaw.kind = kind;
        flaw.offset = static_cast<int64_t>(line.offset);
        flaw.length = static_cast<int64_t>(line.bytes.size());
        if (!result_.flaws.empty() && result_.moreFlaws == 0) {
            Flaw &before = result_.flaws.back();
            if (before.kind == kind && before.offset + before.length == flaw.offset) {
                before.length += flaw.length;
                ++before.lines;
                return;
            }
        }
        keep(flaw);
    }

    /// A flaw that a repair mends is never left out: at worst it replaces another.
    void keep(const Flaw &flaw) {
        if (result_.flaws.size() < kFlawsKept) {
            result_.flaws.push_back(flaw);
            return;
        }
        ++result_.moreFlaws;
        if (isMended(flaw.kind) && !result_.needsMending()) {
            result_.flaws.back() = flaw;
        }
    }

    FileScan result_;
    bool isOpenEnd_ = false;
};

}  // namespace

bool FileScan::needsMending() const {
    return std::any_of(flaws.begin(), flaws.end(), [](const Flaw &flaw) { return isMended(flaw.kind); });
}

FileScan scanDataFile(int fd) {
    Scan scan;
    forEachLineToEnd(fd, 0, [&scan](const Line &line) { scan.take(line); });
    return scan.finish();
}

}  // namespace tool
