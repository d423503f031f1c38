// SPDX-License-Identifier: Apache-2.0
#include "output/stats_report.h"

#include <nlohmann/json.hpp>

#include "output/item_format.h"
#include "terminal/escape.h"
#include "terminal/text_table.h"
#include "terminal/time_text.h"

namespace tool {
namespace {

using Json = nlohmann::ordered_json;

std::string nameOr(const NameTable &names, size_t number, const std::string &prefix) {
    const std::string *const name = names.nameOf(static_cast<int32_t>(number));
    return name != nullptr ? *name : prefix + std::to_string(number);
}

/// The answer for people.
class TextReport {
public:
    TextReport(const StatsSubject &subject, const StatsAnswer &answer, const StatsStyle &style)
        : subject_(subject), answer_(answer), style_(style), time_(TimeForm::Plain, style.isUtc) {}

    std::string text() {
        addRing();
        addFiles();
        addLevels();
        addBars();
        if (style_.hasDiskUsage) {
            addDiskUsage();
        }
        return text_;
    }

private:
    void add(const std::string &label, const std::string &value) {
        constexpr size_t kLabelWidth = 8;
        text_ += label + std::string(kLabelWidth - label.size(), ' ') + value + "\n";
    }

    void addLines(const std::vector<std::string> &lines) {
        for (const std::string &line : lines) {
            text_ += line + "\n";
        }
    }

    std::string spanText(const ItemSpan &span) {
        if (span.items == 0) {
            return "";
        }
        const std::string from = " from " + time_.format(span.earliest);
        return from + " to " + time_.format(span.latest);
    }

    void addRing() {
        const RingStats &stats = answer_.stats;
        if (subject_.logs > 1) {
            add("logs", std::to_string(subject_.logs));
        } else {
            addPlace();
        }
        add("items", std::to_string(stats.span.items) + spanText(stats.span));
        add("bytes", std::to_string(stats.bytes));
    }

    void addPlace() {
        const RingStats &stats = answer_.stats;
        add("log", escaped(subject_.path));
        add("ring", (stats.isRingSizeKnown ? "" : "at least ") + std::to_string(stats.ringSize) +
                        " files; oldest at position " + std::to_string(stats.oldest) + ", newest at " +
                        std::to_string(stats.newest));
        add("index", stats.index);
    }

    void addFiles() {
        TableRows rows = {{"file", "position", "items", "earliest", "latest", "bytes"}};
        for (const FileStats &file : answer_.stats.files) {
            const bool isEmpty = file.span.items == 0;
            rows.push_back({dataFileName(file.number), std::to_string(file.position),
                            std::to_string(file.span.items), isEmpty ? "-" : time_.format(file.span.earliest),
                            isEmpty ? "-" : time_.format(file.span.latest), std::to_string(file.bytes)});
        }
        if (rows.size() > 1) {
            text_ += "\n";
            addLines(tableLines(rows));
        }
    }

    std::vector<size_t> slotsWithItems() const {
        std::vector<size_t> slots;
        for (size_t slot = 0; slot <= LevelTable::kOtherSlot; ++slot) {
            if (answer_.stats.table.totalOfSlot(slot) > 0) {
                slots.push_back(slot);
            }
        }
        return slots;
    }

    void addLevels() {
        if (answer_.stats.span.items == 0) {
            return;
        }
        const LevelTable &table = answer_.stats.table;
        const std::vector<size_t> slots = slotsWithItems();
        TableRows rows = {{"level"}};
        for (const size_t slot : slots) {
            rows[0].push_back(slot == LevelTable::kOtherSlot ? "other"
                                                             : nameOr(subject_.names->slots, slot, "slot "));
        }
        rows[0].emplace_back("total");
        std::vector<int32_t> levels = {jorn::kLevelMax};
        for (size_t level = 0; level < table.cells.size(); ++level) {
            if (subject_.levels.has(static_cast<int32_t>(level))) {
                rows.push_back(levelRow(level, slots));
                levels.push_back(static_cast<int32_t>(level));
            }
        }
        addOtherAndTotal(slots, &rows);
        addLevelLines(tableLines(rows), levels);
    }

    std::vector<std::string> levelRow(size_t level, const std::vector<size_t> &slots) const {
        const LevelTable &table = answer_.stats.table;
        std::vector<std::string> row = {nameOr(subject_.names->levels, level, "")};
        for (const size_t slot : slots) {
            row.push_back(std::to_string(table.cells[level][slot]));
        }
        row.push_back(std::to_string(table.totalOfLevel(level)));
        return row;
    }

    void addOtherAndTotal(const std::vector<size_t> &slots, TableRows *rows) const {
        const LevelTable &table = answer_.stats.table;
        if (table.otherLevels > 0) {
            std::vector<std::string> other(slots.size() + 2);
            other.front() = "other";
            other.back() = std::to_string(table.otherLevels);
            rows->push_back(other);
        }
        std::vector<std::string> total = {"total"};
        for (const size_t slot : slots) {
            total.push_back(std::to_string(table.totalOfSlot(slot)));
        }
        total.push_back(std::to_string(answer_.stats.span.items));
        rows->push_back(total);
    }

    /// Each level in its colour, as its items are shown.
    void addLevelLines(const std::vector<std::string> &lines, const std::vector<int32_t> &levels) {
        text_ += "\n";
        for (size_t i = 0; i < lines.size(); ++i) {
            const bool isLevel = style_.isColored && i < levels.size();
            text_ += (isLevel ? colored(lines[i], levels[i]) : lines[i]) + "\n";
        }
    }

    void addBars() {
        if (!answer_.buckets.empty()) {
            text_ += "\n";
            addLines(barLines(answer_.buckets, answer_.span, style_.bars));
        }
    }

    void addDiskUsage() {
        const std::string files = std::to_string(answer_.disk.files);
        text_ += "\n";
        add("disk", std::to_string(answer_.disk.bytes) + " bytes in " + files + " files, " +
                        std::to_string(answer_.disk.allocated) + " allocated");
        const std::string most = std::to_string(answer_.largest) + " bytes";
        add("at most", subject_.logs > 1 ? most
                                         : most + " with " + std::to_string(answer_.stats.ringSize) +
                                               " files of " + std::to_string(jorn::kCsvItemMax) +
                                               " items of " + std::to_string(jorn::kItemLineMax) +
                                               " bytes, the longest line that the store writes");
    }

    const StatsSubject &subject_;
    const StatsAnswer &answer_;
    const StatsStyle &style_;
    TimeFormatter time_;
    std::string text_;
};

/// The answer for programs.
class JsonReport {
public:
    JsonReport(const StatsSubject &subject, const StatsAnswer &answer, const StatsStyle &style)
        : subject_(subject), answer_(answer), style_(style), time_(TimeForm::Iso, style.isUtc) {}

    std::string text() {
        const RingStats &stats = answer_.stats;
        Json report = subject_.logs > 1 ? Json{{"logs", subject_.logs}} : place();
        addSpan(stats.span, &report);
        report["bytes"] = stats.bytes;
        if (subject_.logs == 1) {
            report["files"] = files();
        }
        report["levels"] = levels();
        report["per"] = answer_.span == Span::Hour ? "hour" : "day";
        report["buckets"] = buckets();
        if (style_.hasDiskUsage) {
            report["disk"] = {{"files", answer_.disk.files},
                              {"bytes", answer_.disk.bytes},
                              {"allocated", answer_.disk.allocated},
                              {"most", answer_.largest}};
        }
        return report.dump(-1, ' ', style_.isEscaped, Json::error_handler_t::replace) + "\n";
    }

private:
    Json place() const {
        const RingStats &stats = answer_.stats;
        Json place = {{"log", subject_.path}};
        if (!subject_.name.empty()) {
            place["name"] = subject_.name;
        }
        place["ring"] = {{"files", stats.ringSize},
                         {"is_exact", stats.isRingSizeKnown},
                         {"oldest", stats.oldest},
                         {"newest", stats.newest}};
        place["index"] = stats.index;
        return place;
    }

    void addSpan(const ItemSpan &span, Json *object) {
        (*object)["items"] = span.items;
        if (span.items > 0) {
            (*object)["earliest"] = time_.format(span.earliest);
            (*object)["latest"] = time_.format(span.latest);
        }
    }

    Json files() {
        Json all = Json::array();
        for (const FileStats &file : answer_.stats.files) {
            Json own = {{"file", dataFileName(file.number)}, {"position", file.position}};
            addSpan(file.span, &own);
            own["bytes"] = file.bytes;
            all.push_back(own);
        }
        return all;
    }

    static void addName(const char *key, const NameTable &names, size_t number, Json *object) {
        if (const std::string *const name = names.nameOf(static_cast<int32_t>(number))) {
            (*object)[key] = *name;
        }
    }

    Json slots(size_t level) const {
        const auto &cells = answer_.stats.table.cells[level];
        Json all = Json::array();
        for (size_t slot = 0; slot < LevelTable::kOtherSlot; ++slot) {
            if (cells[slot] > 0) {
                Json own = {{"slot", slot}};
                addName("slot_name", subject_.names->slots, slot, &own);
                own["items"] = cells[slot];
                all.push_back(own);
            }
        }
        if (cells[LevelTable::kOtherSlot] > 0) {
            all.push_back({{"slot", "other"}, {"items", cells[LevelTable::kOtherSlot]}});
        }
        return all;
    }

    Json levels() const {
        const LevelTable &table = answer_.stats.table;
        Json all = Json::array();
        for (size_t level = 0; level < table.cells.size(); ++level) {
            if (subject_.levels.has(static_cast<int32_t>(level))) {
                Json own = {{"level", level}};
                addName("level_name", subject_.names->levels, level, &own);
                own["items"] = table.totalOfLevel(level);
                own["slots"] = slots(level);
                all.push_back(own);
            }
        }
        if (table.otherLevels > 0) {
            all.push_back({{"level", "other"}, {"items", table.otherLevels}});
        }
        return all;
    }

    Json buckets() {
        Json all = Json::array();
        for (const Bucket &bucket : answer_.buckets) {
            const bool isHour = answer_.span == Span::Hour;
            all.push_back(
                {{"start", isHour ? time_.format(bucket.second) : bucket.label}, {"items", bucket.items}});
        }
        return all;
    }

    const StatsSubject &subject_;
    const StatsAnswer &answer_;
    const StatsStyle &style_;
    TimeFormatter time_;
};

}  // namespace

std::string textOf(const StatsSubject &subject, const StatsAnswer &answer, const StatsStyle &style) {
    return TextReport(subject, answer, style).text();
}

std::string jsonOf(const StatsSubject &subject, const StatsAnswer &answer, const StatsStyle &style) {
    return JsonReport(subject, answer, style).text();
}

}  // namespace tool
