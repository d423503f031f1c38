// SPDX-License-Identifier: Apache-2.0
#include "log/data_file_scan.h"

#include <algorithm>
#include <string_view>

#include "csvfile/line.h"
#include "log/piece_reader.h"
#include "log/run_together.h"
#include "module_limits.h"

namespace tool {
namespace {

/// Garbage can make a flaw of every line; nobody reads more than this.
constexpr size_t kFlawsKept = 200;

bool isMended(FlawKind kind) {
    return kind == FlawKind::Zeros || kind == FlawKind::Unparsable || kind == FlawKind::TornEnd;
}

bool isInTables(const LineNumbers &item) {
    return item.level >= 0 && item.level < jorn::kLevelMax && item.slot >= 0 && item.slot < jorn::kSlotMax;
}

class Scan {
public:
    void take(const Piece &piece) {
        result_.size = piece.offset + static_cast<int64_t>(piece.bytes.size());
        isOpenEnd_ = piece.kind == PieceKind::Item && isCut(piece);
        if (piece.kind == PieceKind::Zeros) {
            note(FlawKind::Zeros, piece);
            return;
        }
        if (piece.kind == PieceKind::Item) {
            takeItem(piece);
        }
        // Only the end of the file makes a piece that is neither a line nor full.
        if (!piece.hasLineEnd() && !isCut(piece)) {
            note(FlawKind::TornEnd, piece);
        } else if (piece.kind == PieceKind::Item) {
            judgeItem(piece);
        } else if (piece.kind == PieceKind::Unparsable) {
            note(FlawKind::Unparsable, piece);
        }
    }

    FileScan finish() {
        if (isOpenEnd_) {
            keep({FlawKind::TornEnd, result_.size, 0, 1});
        }
        return std::move(result_);
    }

private:
    static bool isCut(const Piece &piece) {
        return !piece.hasLineEnd() && piece.bytes.size() == jorn::kLineMax;
    }

    void takeItem(const Piece &piece) {
        const uint32_t time = piece.numbers.time;
        if (result_.items == 0) {
            result_.firstTime = time;
            result_.startsCleared = textIn(piece.bytes) == jorn::kClearedText;
        } else if (time < result_.lastTime) {
            stepBack(piece.offset, result_.lastTime - time);
        }
        result_.lastTime = time;
        ++result_.items;
    }

    void judgeItem(const Piece &piece) {
        if (isCut(piece)) {
            note(FlawKind::LongLine, piece);
        } else if (piece.bytes.find('\0') != std::string_view::npos) {
            note(FlawKind::InnerZeros, piece);
        } else if (looksRunTogether(piece.bytes)) {
            note(FlawKind::RunTogether, piece);
        } else if (!holdsNumbers(piece.bytes)) {
            note(FlawKind::NoNumber, piece);
        } else if (!isInTables(piece.numbers)) {
            note(FlawKind::OutOfTable, piece);
        }
    }

    void stepBack(int64_t offset, uint32_t seconds) {
        BackSteps &steps = result_.backSteps;
        if (steps.count++ == 0) {
            steps.firstOffset = offset;
        }
        steps.largest = std::max(steps.largest, seconds);
    }

    void note(FlawKind kind, const Piece &piece) {
        const auto length = static_cast<int64_t>(piece.bytes.size());
        if (!result_.flaws.empty() && result_.moreFlaws == 0) {
            Flaw &before = result_.flaws.back();
            if (before.kind == kind && before.offset + before.length == piece.offset) {
                before.length += length;
                ++before.lines;
                return;
            }
        }
        keep({kind, piece.offset, length, 1});
    }

    /// What a repair mends is never left out: at worst it takes the place of another.
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
    PieceReader reader(fd);
    Scan scan;
    Piece piece;
    while (reader.next(&piece)) {
        scan.take(piece);
    }
    return scan.finish();
}

}  // namespace tool
