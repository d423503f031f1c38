// SPDX-License-Identifier: Apache-2.0
// The findings of a diagnosis: what is reported about everything that is not as the store leaves it.
#include <time.h>

#include <algorithm>
#include <utility>

#include "health/diagnosis.h"
#include "health/ring_memory.h"
#include "module_limits.h"
#include "terminal/counted.h"

namespace tool {
namespace {

constexpr char kRepair[] = "see what `jorn repair` would do";
constexpr int64_t kQuietSeconds = 60;

std::string seconds(int64_t number) { return std::to_string(number) + " s"; }

class Report {
public:
    explicit Report(const Diagnosis &diagnosis) : diagnosis_(diagnosis) {}

    std::vector<Finding> make() {
        if (!diagnosis_.isSteady) {
            add(Severity::Note, "busy", "", 0, "the ring moved on faster than it could be read",
                "check it when less is being written");
            return std::move(findings_);
        }
        tellEntries();
        tellIndex();
        tellRing();
        for (const auto &[position, scan] : diagnosis_.scans) {
            tellFile(position, scan);
        }
        return std::move(findings_);
    }

private:
    void add(Severity severity, const char *code, const std::string &file, int64_t offset,
             const std::string &what, const std::string &advice = "") {
        Finding &finding = findings_.emplace_back();
        finding.severity = severity;
        finding.code = code;
        finding.file = file;
        finding.offset = offset;
        finding.what = what;
        finding.advice = advice;
    }

    void tellEntry(const std::string &name, const Entry &entry) {
        if (entry.kind == Entry::Kind::Directory) {
            add(Severity::Error, "entry-directory", name, 0, entry.flaw(), "move it elsewhere");
        } else if (entry.kind == Entry::Kind::Link) {
            add(Severity::Error, "entry-link", name, 0, entry.flaw(), "put the file itself in its place");
        } else if (entry.kind == Entry::Kind::Other) {
            add(Severity::Error, "entry-special", name, 0, entry.flaw(), "move it elsewhere");
        }
    }

    void tellSharedFile(const std::string &name, const Entry &entry) {
        if (entry.isFile() && entry.names > 1) {
            add(Severity::Note, "entry-shared", name, 0,
                "has a hard link elsewhere, so what is recorded here would be written there too",
                "before recording, replace it with a copy");
        }
    }

    void tellEntries() {
        tellEntry(kIndexName, diagnosis_.look.index.entry);
        tellEntry(kIndexBackupName, diagnosis_.look.backup.entry);
        for (int position = 0; position < jorn::kSurveySize; ++position) {
            const Entry &entry = diagnosis_.look.files[static_cast<size_t>(position)].itself;
            tellEntry(dataFileName(position), entry);
            tellSharedFile(dataFileName(position), entry);
        }
        for (const auto &[position, reason] : diagnosis_.unreadable) {
            add(Severity::Error, "unreadable", dataFileName(position), 0, "cannot be read: " + reason,
                "check its permissions and its medium");
        }
        for (const std::string &name : diagnosis_.look.otherNames) {
            add(Severity::Note, "other-name", name, 0,
                "is not a name that a ring's file can have; the store ignores it");
        }
        if (!diagnosis_.ringMemoryProblem.empty()) {
            add(Severity::Note, "ring-size", kRingMemoryName, 0, diagnosis_.ringMemoryProblem,
                "`jorn record` relies on the files");
        }
        for (const std::string &name : diagnosis_.leftovers) {
            add(Severity::Note, "left-over", name, 0, "is left over from a command that was cut short",
                "the next one that writes there removes it");
        }
        for (const std::string &name : diagnosis_.look.asides) {
            add(Severity::Note, "aside", name, 0,
                "holds a ring that was put aside, as its order is not known",
                "`jorn check` and `jorn repair` accept it as DIR");
        }
    }

    void tellIndex() {
        const IndexEntry &index = diagnosis_.look.index;
        if (index.entry.isFile()) {
            tellIndexText(index);
        } else if (!index.entry.isPresent()) {
            tellMissingIndex();
        }
    }

    void tellMissingIndex() {
        if (diagnosis_.look.backup.entry.isFile() && diagnosis_.facts.index) {
            add(Severity::Warning, "index-backup-only", kIndexBackupName, 0,
                "serves as the index: a rewrite was cut short", "the store's next start puts it back");
        } else if (diagnosis_.facts.backup) {
            add(Severity::Error, "index-missing", kIndexName, 0,
                "is missing, and the ring has moved on since index.bak was written: the store's next "
                "start would rely on it",
                kRepair);
        } else if (diagnosis_.look.highestFile() >= 0) {
            add(Severity::Error, "index-missing", kIndexName, 0,
                "is missing: the store's next start would begin again at 0.csv", kRepair);
        } else if (!diagnosis_.look.backup.entry.isPresent()) {
            add(Severity::Note, "no-log", "", 0, "holds no log, neither an index nor a data file",
                "is the log in another directory?");
        }
    }

    void tellIndexText(const IndexEntry &index) {
        const auto positions = index.positions();
        if (index.entry.mark.size == 0) {
            add(Severity::Error, "index-empty", kIndexName, 0,
                "is empty, as when power is cut during its rewrite: the store's next start would begin again "
                "at "
                "0.csv",
                kRepair);
        } else if (!positions) {
            add(Severity::Error, "index-partial", kIndexName, static_cast<int64_t>(index.text.size()),
                "is not a complete index: \"" + index.text + "\"", kRepair);
        } else if (!diagnosis_.isIndexWhole()) {
            add(Severity::Error, "index-range", kIndexName, 0,
                "names " + textOf(*positions) + ", which lie outside a ring of " +
                    std::to_string(diagnosis_.facts.ringSize) + " files",
                kRepair);
        } else if (index.surplus() > 0) {
            add(Severity::Note, "index-surplus", kIndexName, index.entry.mark.size - index.surplus(),
                counted(index.surplus(), "byte", "bytes") + " after the index, which the store ignores",
                "its next rewrite leaves them out");
        }
        if (diagnosis_.look.backup.entry.isFile()) {
            add(Severity::Warning, "index-backup-left", kIndexBackupName, 0,
                "is left over from a rewrite that was cut short", "the store deletes it at its next rewrite");
        }
    }

    void tellRing() {
        if (diagnosis_.hasStrangeEntries()) {
            return;
        }
        tellRange();
        switch (diagnosis_.order.source) {
            case RingOrder::Source::Index:
                tellUntidy();
                break;
            case RingOrder::Source::Cleared:
                tellOutside(Severity::Note, "cleared",
                            "items that were cleared: " + diagnosis_.order.evidence, "");
                break;
            case RingOrder::Source::Files:
                tellOutside(Severity::Error, "out-of-view", "items that no query sees", kRepair);
                tellLeftBehind();
                break;
            case RingOrder::Source::Unclear:
                add(diagnosis_.facts.index ? Severity::Warning : Severity::Error, "order-unclear", "", 0,
                    diagnosis_.order.evidence, "give `jorn repair` --files, or --oldest and --latest");
                break;
        }
        tellFalls();
    }

    /// Files in the index's range that are missing or hold nothing.
    void tellRange() {
        if (!diagnosis_.facts.index || diagnosis_.look.highestFile() < 0) {
            return;
        }
        const IndexPositions range = *diagnosis_.facts.index;
        bool areItemsBehind = false;
        for (const int position : positionsInRange(range, diagnosis_.facts.ringSize)) {
            const FileFacts &file = diagnosis_.facts.files[static_cast<size_t>(position)];
            if (!file.isPresent) {
                add(Severity::Error, "gap", dataFileName(position), 0,
                    "is missing from the ring: the store's next start would move files, and may overwrite "
                    "some",
                    kRepair);
            } else if (!file.hasItems() && areItemsBehind) {
                tellEmptyFile(position, position == range.latest);
            }
            areItemsBehind = areItemsBehind || file.hasItems();
        }
    }

    void tellEmptyFile(int position, bool isLatest) {
        if (isLatest && mayBeWritten(position)) {
            add(Severity::Note, "empty-file", dataFileName(position), 0,
                "has just been started and holds no item yet");
        } else {
            add(Severity::Warning, "empty-file", dataFileName(position), 0,
                isLatest ? "holds no item, and is the newest file: queries by day find nothing until it does"
                         : "holds no item, and hides older ones from queries by day",
                kRepair);
        }
    }

    void tellUntidy() {
        const bool isAsItIs =
            !diagnosis_.placement || (diagnosis_.placement->keepsFiles() &&
                                      diagnosis_.placement->positions ==
                                          diagnosis_.facts.index.value_or(diagnosis_.placement->positions));
        const bool isTold =
            !findings_.empty() && (findings_.back().code == "gap" || findings_.back().code == "empty-file");
        if (!isAsItIs && !isTold) {
            add(Severity::Error, "untidy", "", 0, "the store's next start would move or delete files",
                kRepair);
        }
    }

    void tellOutside(Severity severity, const char *code, const std::string &what, const char *advice) {
        const IndexPositions range = diagnosis_.facts.index.value_or(IndexPositions{});
        std::vector<int> outside = filesOutsideRange(diagnosis_.facts, range);
        if (diagnosis_.order.source == RingOrder::Source::Files) {
            const auto &cleared = diagnosis_.order.cleared;
            const auto isCleared = [&cleared](int position) {
                return std::find(cleared.begin(), cleared.end(), position) != cleared.end();
            };
            outside.erase(std::remove_if(outside.begin(), outside.end(), isCleared), outside.end());
        }
        if (!outside.empty()) {
            add(severity, code, "", 0,
                listFiles(outside) + (outside.size() == 1 ? " holds " : " hold ") + what, advice);
        }
    }

    /// An index that leaves nothing out and is still not trusted.
    void tellLeftBehind() {
        const auto &index = diagnosis_.facts.index;
        const int newest = diagnosis_.order.files.empty() ? -1 : diagnosis_.order.files.back();
        if (index && index->latest != newest && filesOutsideRange(diagnosis_.facts, *index).empty()) {
            add(Severity::Error, "index-behind", kIndexName, 0,
                "names " + dataFileName(index->latest) + " as the newest file, but " + dataFileName(newest) +
                    " is: the store's next start would continue in the wrong one",
                kRepair);
        }
    }

    /// Times that fall from one file to the next: the clock was set back.
    void tellFalls() {
        const std::vector<int> &order = diagnosis_.order.files;
        for (size_t i = 0; i + 1 < order.size(); ++i) {
            const int64_t fall = static_cast<int64_t>(diagnosis_.scans.at(order[i]).lastTime) -
                                 diagnosis_.scans.at(order[i + 1]).firstTime;
            if (fall > 0) {
                add(Severity::Note, "time-back", dataFileName(order[i + 1]), 0,
                    "begins " + seconds(fall) + " before the end of " + dataFileName(order[i]));
            }
        }
    }

    void tellFile(int position, const FileScan &scan) {
        const std::string name = dataFileName(position);
        for (const Flaw &flaw : scan.flaws) {
            tellFlaw(position, name, flaw);
        }
        if (scan.moreFlaws > 0) {
            add(Severity::Note, "more", name, 0,
                counted(scan.moreFlaws, "more place", "more places") + " like these");
        }
        if (scan.items > jorn::kCsvItemMax) {
            add(Severity::Note, "overfull", name, 0, "holds " + std::to_string(scan.items) + " items");
        }
        if (scan.backSteps.count > 0) {
            add(Severity::Note, "time-back", name, scan.backSteps.firstOffset,
                "times go backwards here" +
                    (scan.backSteps.count == 1
                         ? ""
                         : " and in " + counted(scan.backSteps.count - 1, "more place", "more places")) +
                    ", by " + seconds(scan.backSteps.largest) + " at most");
        }
    }

    void tellFlaw(int position, const std::string &name, const Flaw &flaw) {
        const std::string lines = counted(flaw.lines, "line", "lines");
        switch (flaw.kind) {
            case FlawKind::Zeros:
                add(Severity::Warning, "zeros", name, flaw.offset,
                    counted(flaw.length, "zero byte hides", "zero bytes hide") +
                        " what follows them on their line",
                    kRepair);
                break;
            case FlawKind::Unparsable:
                add(Severity::Warning, "unparsable", name, flaw.offset,
                    lines + " (" + counted(flaw.length, "byte", "bytes") + ") without an item", kRepair);
                break;
            case FlawKind::LongLine:
                add(Severity::Note, "long-line", name, flaw.offset,
                    "a line longer than " + std::to_string(jorn::kLineMax) +
                        " characters, of which each piece counts as a line");
                break;
            case FlawKind::InnerZeros:
                add(Severity::Note, "inner-zeros", name, flaw.offset,
                    lines + " with a zero byte, which ends the text");
                break;
            case FlawKind::RunTogether:
                add(Severity::Note, "run-together", name, flaw.offset,
                    flaw.lines == 1 ? "1 line that looks like two run together, the first one cut off"
                                    : lines + " that each look like two run together, the first one cut off");
                break;
            case FlawKind::NoNumber:
                add(Severity::Note, "no-number", name, flaw.offset,
                    lines + " with a field that is not a number and counts as 0");
                break;
            case FlawKind::OutOfTable:
                add(Severity::Note, "out-of-table", name, flaw.offset,
                    lines + " of a level or slot that no log has");
                break;
            case FlawKind::TornEnd:
                tellTornEnd(position, name, flaw);
                break;
        }
    }

    void tellTornEnd(int position, const std::string &name, const Flaw &flaw) {
        if (mayBeWritten(position)) {
            add(Severity::Note, "torn-end", name, flaw.offset,
                "the last line has no line end: it may still be being written",
                "check again when nothing is being written");
        } else if (isPassed(position)) {
            add(Severity::Warning, "torn-end", name, flaw.offset,
                "the last line has no line end: it was cut off, and the ring has moved on since", kRepair);
        } else {
            add(Severity::Warning, "torn-end", name, flaw.offset,
                "the last line has no line end: the next item would be joined to it", kRepair);
        }
    }

    /// Whether the store is known to have moved on to another file: it writes to this one again only after
    /// emptying it.
    bool isPassed(int position) const {
        const RingOrder &order = diagnosis_.order;
        if (order.source == RingOrder::Source::Files) {
            return !order.files.empty() && order.files.back() != position;
        }
        const bool isByIndex = order.source != RingOrder::Source::Unclear && diagnosis_.facts.index;
        return isByIndex && diagnosis_.facts.index->latest != position;
    }

    /// A writer buffers lines, so a file can stay unchanged for a while with half a line at its end.
    bool mayBeWritten(int position) const {
        const auto &growing = diagnosis_.growing;
        const bool isLatest = !diagnosis_.facts.index || diagnosis_.facts.index->latest == position;
        if (std::find(growing.begin(), growing.end(), position) != growing.end()) {
            return true;
        }
        const int64_t age =
            time(nullptr) - diagnosis_.look.files[static_cast<size_t>(position)].itself.mark.seconds;
        return isLatest && age >= 0 && age < kQuietSeconds;
    }

    const Diagnosis &diagnosis_;
    std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> findingsOf(const Diagnosis &diagnosis) { return Report(diagnosis).make(); }

}  // namespace tool
