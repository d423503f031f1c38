// SPDX-License-Identifier: Apache-2.0
#include "serve/item_texts.h"

#include <chrono>
#include <optional>
#include <utility>

#include "serve/cursor.h"
#include "terminal/utf8.h"

namespace tool {
namespace {

ItemFormatter formatterOf(const ServedLog &log, bool isUtc) {
    ItemStyle style;
    style.form = ItemForm::Json;
    style.isUtc = isUtc;
    style.names = &log.names;
    style.origin.log = log.name;
    return ItemFormatter(style);
}

/// A text has some 200 bytes; more marks than this help nobody.
constexpr int kMostMarks = 50;

/// From offsets in a text to those in what JSON makes of it, for offsets that do not decrease.
class ReplacedOffsets {
public:
    explicit ReplacedOffsets(std::string_view text) : text_(text) {}

    size_t at(size_t offset) {
        constexpr size_t kReplacementBytes = 3;
        while (read_ < offset) {
            const Character next = firstCharacter(text_.substr(read_));
            read_ += next.length;
            written_ += next.isValid ? next.length : kReplacementBytes;
        }
        return written_;
    }

private:
    std::string_view text_;
    size_t read_ = 0;
    size_t written_ = 0;
};

}  // namespace

std::string marksIn(std::string_view text, const RE2 &pattern, const Deadline &deadline) {
    ReplacedOffsets offsets(text);
    const re2::StringPiece whole(text.data(), text.size());
    re2::StringPiece found;
    std::string marks;
    int number = 0;
    for (size_t from = 0; number < kMostMarks && from <= whole.size() &&
                          pattern.Match(whole, from, whole.size(), RE2::UNANCHORED, &found, 1);) {
        deadline.check();
        const auto at = static_cast<size_t>(found.data() - whole.data());
        if (found.empty()) {
            from = at + (at < text.size() ? firstCharacter(text.substr(at)).length : 1);
            continue;
        }
        from = at + found.size();
        const size_t begin = offsets.at(at);
        marks += (number++ == 0 ? "[" : ",[") + std::to_string(begin) + "," +
                 std::to_string(offsets.at(from)) + "]";
    }
    return number == 0 ? "" : "[" + marks + "]";
}

std::string ItemJson::format(const LogView &view, const LogBlock &block, const Line &line,
                             const Deadline &deadline) {
    auto formatter = formatters_.find(view.log.get());
    if (formatter == formatters_.end()) {
        formatter = formatters_.emplace(view.log.get(), formatterOf(*view.log, isUtc_)).first;
    }
    const Item item = readItem(line);
    std::string json = formatter->second.format(item);
    json.resize(json.size() - 2);  // The brace and the line feed.
    json += ",\"cursor\":" + jsonText(textOf(cursorTo(view, block, line)));
    const std::string marks = pattern_ != nullptr ? marksIn(item.text, *pattern_, deadline) : "";
    return json + (marks.empty() ? "" : ",\"marks\":" + marks) + "}";
}

void readRows(const Snapshot &snapshot, const std::vector<RowRef> &rows,
              const std::function<void(const LogView &, const LogBlock &, const Line &)> &take) {
    std::optional<BlockReader> reader;
    for (size_t i = 0; i < rows.size(); ++i) {
        const RowRef &row = rows[i];
        const LogView &view = *snapshot.logs[row.log];
        const LogBlock &block = view.blocks[row.block];
        if (!reader) {
            reader.emplace(block);
        }
        const Line line = reader->lineAt(block.columns->offsets[row.row]);
        if (!line.isItem()) {
            throw StaleView();
        }
        take(view, block, line);
        const bool isLast =
            i + 1 == rows.size() || rows[i + 1].log != row.log || rows[i + 1].block != row.block;
        if (isLast && !reader->isStill()) {
            throw StaleView();
        }
        if (isLast) {
            reader.reset();
        }
    }
}

std::vector<std::string> jsonOf(const Snapshot &snapshot, const std::vector<RowRef> &rows, ItemJson json,
                                const Deadline &deadline) {
    std::vector<std::string> items;
    items.reserve(rows.size());
    readRows(snapshot, rows, [&](const LogView &view, const LogBlock &block, const Line &line) {
        items.push_back(json.format(view, block, line, deadline));
    });
    return items;
}

namespace {

/// Items that are read at once.
constexpr size_t kItemsAtOnce = 500;

std::vector<ItemFormatter> formattersOf(const Snapshot &snapshot, const DownloadForm &form) {
    std::vector<ItemFormatter> formatters;
    for (const auto &view : snapshot.logs) {
        ItemStyle style;
        style.form = form.isCsv ? ItemForm::Csv : ItemForm::Json;
        style.isUtc = form.isUtc;
        style.names = &view->log->names;
        style.origin.log = snapshot.logs.size() > 1 ? view->log->name : "";
        formatters.emplace_back(style);
    }
    return formatters;
}

class Download {
public:
    Download(const Snapshot &snapshot, const DownloadForm &form)
        : snapshot_(snapshot), formatters_(formattersOf(snapshot, form)) {}

    bool run(const ViewFilter &filter, TextMatches *matches, const WebWrite &write) {
        constexpr std::chrono::hours kLongest(1);
        const Deadline deadline(kLongest, [&] { requireClientAfterSilence(write); });
        const ViewQuestion question{snapshot_, filter, matches, deadline};
        // Without bytes it would be a question, which one that has closed its sending side does not answer.
        const std::string heading = formatters_.front().heading();
        bool isWanted = heading.empty() || write(heading);
        MergedRows rows(question);
        std::vector<RowRef> next;
        for (const LogRows *row = rows.next(); row != nullptr && isWanted; row = rows.next()) {
            next.push_back(row->place());
            if (next.size() == kItemsAtOnce) {
                deadline.check();
                isWanted = write(textOf(next));
                next.clear();
                lastSent_ = Clock::now();
            }
        }
        return isWanted && (next.empty() || write(textOf(next)));
    }

private:
    using Clock = std::chrono::steady_clock;

    /// A client that has closed its sending side may still want all of it, and one that has gone shows when
    /// it is sent something. Only where nothing is found for long, the former counts as gone too.
    void requireClientAfterSilence(const WebWrite &write) const {
        constexpr std::chrono::seconds kSilence(1);
        if (Clock::now() - lastSent_ > kSilence) {
            requireClient(write)();
        }
    }

    std::string textOf(const std::vector<RowRef> &rows) {
        std::string text;
        size_t next = 0;
        readRows(snapshot_, rows, [&](const LogView &, const LogBlock &, const Line &line) {
            text += formatters_[rows[next++].log].format(readItem(line));
        });
        return text;
    }

    const Snapshot &snapshot_;
    std::vector<ItemFormatter> formatters_;
    Clock::time_point lastSent_ = Clock::now();
};

}  // namespace

WebAnswer downloadOf(std::shared_ptr<const Snapshot> snapshot, const ViewFilter &filter, TextMatches *matches,
                     const DownloadForm &form) {
    WebAnswer answer;
    answer.type = form.isCsv ? "text/csv; charset=utf-8" : "application/x-ndjson";
    answer.add("Content-Disposition",
               std::string("attachment; filename=\"jorn.") + (form.isCsv ? "csv\"" : "jsonl\""));
    answer.send = [snapshot = std::move(snapshot), filter, matches, form](const WebWrite &write) {
        try {
            return Download(*snapshot, form).run(filter, matches, write);
        } catch (const StaleView &) {
            return false;
        } catch (const RequestError &) {
            return false;
        }
    };
    return answer;
}

}  // namespace tool
