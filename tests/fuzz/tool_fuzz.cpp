// SPDX-License-Identifier: Apache-2.0
// The commands of the tool over any directory: what they count, show, follow and export, that nothing in the
// directory changes, that no control byte reaches a terminal, and the exit code; and what a clearing leaves.
// What a check finds is not compared, only its exit code.
#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "fuzz/byte_reader.h"
#include "fuzz/finding.h"
#include "fuzz/ring_input.h"
#include "fuzz/tool_filter.h"
#include "fuzz/tool_process.h"
#include "model/line_model.h"
#include "model/ring_files.h"
#include "model/start_model.h"
#include "system/failure.h"

namespace fuzz {
namespace {

std::string tableLine(const char *label, int64_t items) {
    char line[64];
    snprintf(line, sizeof line, "%5s %10lld\n", label, static_cast<long long>(items));
    return line;
}

/// The table of `count`.
std::string countTable(const std::vector<test::ModelItem> &matches) {
    std::string table = "level      items\n";
    for (int32_t level = 0; level < JORN_LEVEL_MAX; ++level) {
        const auto items =
            std::count_if(matches.begin(), matches.end(),
                          [level](const test::ModelItem &item) { return item.level == level; });
        table += tableLine(std::to_string(level).c_str(), items);
    }
    const auto strays = std::count_if(matches.begin(), matches.end(), isStray);
    if (strays > 0) {
        table += tableLine("other", strays);
    }
    return table + tableLine("total", static_cast<int64_t>(matches.size()));
}

/// Whether a file has a line that is not an item. The end of the newest file may be a line that is being
/// written.
bool hasBadLine(const std::string &bytes, bool isNewest) {
    std::vector<std::string> lines = test::modelLines(bytes);
    if (isNewest && !lines.empty() && bytes.back() != '\n') {
        lines.pop_back();
    }
    return std::any_of(lines.begin(), lines.end(), [](const std::string &line) {
        return !test::isModelBlank(line) && !test::modelParse(line).isItem();
    });
}

/// The exit code of a valid query, derived from what is damaged in view.
int exitCodeOver(const test::NamedFiles &files, const test::ModelStart &start, const test::ModelRing &ring) {
    const bool isIndexRead = test::modelReadIndex(files, {0, 0, 0}, "").result >= 0;
    const bool hasData =
        std::any_of(files.begin(), files.end(), [](const auto &file) { return isdigit(file.first[0]) != 0; });
    bool isDamaged = !isIndexRead && hasData;
    for (const int32_t position : ring.newestFirst()) {
        const auto file = start.files.find(test::csvName(position));
        isDamaged =
            isDamaged || (file != start.files.end() && hasBadLine(file->second, position == ring.latest));
    }
    return isDamaged ? tool::kExitDamage : tool::kExitDone;
}

void expectQuiet(const std::string &output) {
    for (const char c : output) {
        const auto byte = static_cast<unsigned char>(c);
        if (c != '\n' && (byte < 0x20 || byte == 0x7f)) {
            reportFinding("control byte on standard output", readable(output), "none but line feeds");
        }
    }
    for (size_t i = output.find('\xc2'); i != output.npos; i = output.find('\xc2', i + 1)) {
        const auto next = static_cast<unsigned char>(i + 1 < output.size() ? output[i + 1] : '\0');
        if (next >= 0x80 && next < 0xa0) {
            reportFinding("control character on standard output", readable(output), "none");
        }
    }
}

std::vector<std::string> commandLine(const std::string &command, const Filter &filter,
                                     const std::vector<std::string> &options, const std::string &directory) {
    std::vector<std::string> all = {command};
    all.insert(all.end(), filter.arguments.begin(), filter.arguments.end());
    all.insert(all.end(), options.begin(), options.end());
    all.push_back(directory);
    return all;
}

/// What the commands see; they only read, so that no rename loses a file.
struct Seen {
    test::ModelStart start;
    test::ModelRing ring;

    Seen(const test::NamedFiles &files, int32_t ringSize)
        : start(test::modelStart(files, ringSize, kSlots)),
          ring(test::modelRingOf(start, ringSize, kSlots)) {}
};

Seen seenBy(const Filter &filter, const test::NamedFiles &files) {
    return {files, filter.files != 0 ? filter.files : smallestRing(files)};
}

void checkCount(const test::NamedFiles &files, const Filter &filter, const std::string &directory) {
    const Run run = fuzz::run(commandLine("count", filter, {}, directory));
    if (isContradicting(filter.require)) {
        expectNumber("exit code of count", run.exitCode, tool::kExitUsage);
        return;
    }
    const Seen seen = seenBy(filter, files);
    if (!seen.start.isFileReplaced) {
        expectNumber("exit code of count", run.exitCode, exitCodeOver(files, seen.start, seen.ring));
        expectSame("table", run.output, countTable(matchesOf(seen.ring, filter.require)));
    }
}

/// How many items are on a page. With items of levels that the module cannot be queried for, the page is made
/// without it.
size_t itemsOnPage(const test::ModelRing &ring, JORN_REQUIRE require, int32_t perPage, int32_t page) {
    require.level = JORN_LEVEL_DEBUG;
    require.levelMode = 0;
    require.itemsPerPage = perPage;
    require.pageDisp = page;
    const std::vector<test::ModelItem> all = matchesOf(ring, {0, 0, -1, -1, -1, 0, -1});
    if (std::none_of(all.begin(), all.end(), isStray)) {
        return test::modelPage(ring, require).texts.size();
    }
    const auto total = static_cast<int32_t>(matchesOf(ring, require).size());
    const int32_t pages = (total + perPage - 1) / perPage;
    const int32_t before = (page < 0 ? pages - 1 : std::min(page, pages) - 1) * perPage;
    return total == 0 ? 0 : static_cast<size_t>(std::min(perPage, total - before));
}

void checkShown(const test::NamedFiles &files, const Run &run, const Seen &seen, size_t wanted) {
    expectQuiet(run.output);
    if (!seen.start.isFileReplaced) {
        expectNumber("exit code of show", run.exitCode, exitCodeOver(files, seen.start, seen.ring));
        expectNumber("items shown", std::count(run.output.begin(), run.output.end(), '\n'),
                     static_cast<int64_t>(wanted));
    }
}

void checkPage(const test::NamedFiles &files, const Filter &filter, int32_t perPage, int32_t page,
               const std::string &directory) {
    const std::vector<std::string> options = {
        "--escape", "--utc", "--per-page", std::to_string(perPage), "--page", std::to_string(page)};
    const Run run = fuzz::run(commandLine("show", filter, options, directory));
    if (isContradicting(filter.require) || page == 0 || perPage < 1 || perPage > JORN_REQUIRE_PAGE_MAX) {
        expectNumber("exit code of show", run.exitCode, tool::kExitUsage);
        return;
    }
    const Seen seen = seenBy(filter, files);
    checkShown(files, run, seen, itemsOnPage(seen.ring, filter.require, perPage, page));
}

void checkNewest(const test::NamedFiles &files, const Filter &filter, int32_t most,
                 const std::string &directory) {
    const Run run =
        fuzz::run(commandLine("show", filter, {"--escape", "--utc", "-n", std::to_string(most)}, directory));
    if (isContradicting(filter.require)) {
        expectNumber("exit code of show", run.exitCode, tool::kExitUsage);
        return;
    }
    const Seen seen = seenBy(filter, files);
    expectQuiet(run.output);
    if (!seen.start.isFileReplaced) {
        const size_t matches = matchesOf(seen.ring, filter.require).size();
        expectNumber("newest items shown", std::count(run.output.begin(), run.output.end(), '\n'),
                     static_cast<int64_t>(std::min(matches, static_cast<size_t>(most))));
    }
}

void checkCheck(const std::string &directory) {
    const Run run = fuzz::run({"check", directory});
    expectQuiet(run.output);
    expectThat(run.exitCode == tool::kExitDone || run.exitCode == tool::kExitDamage,
               "check tells whether there is damage");
}

int64_t linesOf(const std::string &text) { return std::count(text.begin(), text.end(), '\n'); }

/// The text of an item as it is shown.
std::string textOf(const test::ModelItem &item) {
    std::string text = test::modelRecord(item.text).text.value_or("");
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

/// Compares one line of JSON with its item.
void expectItem(const std::string &line, const test::ModelItem &item) {
    const nlohmann::json object = nlohmann::json::parse(line);
    expectNumber("level", object.at("level").get<int64_t>(), item.level);
    expectNumber("slot", object.at("slot").get<int64_t>(), item.slot);
    expectNumber("time", static_cast<uint32_t>(object.at("time").get<int64_t>()), item.time);
    if (!object.contains("text_base64")) {
        expectSame("text", object.at("text").get<std::string>(), textOf(item));
    }
}

void expectItems(const std::string &output, const std::vector<test::ModelItem> &items) {
    expectNumber("items in JSON", linesOf(output), static_cast<int64_t>(items.size()));
    size_t begin = 0;
    for (const test::ModelItem &item : items) {
        const size_t end = output.find('\n', begin);
        expectItem(output.substr(begin, end - begin), item);
        begin = end + 1;
    }
}

/// Checks that what is exported is what is shown, and that no item is missing.
void checkExport(const test::NamedFiles &files, const Filter &filter, const std::string &form,
                 bool isOnTerminal, const std::string &directory) {
    const auto runIt = isOnTerminal ? runOnTerminal : fuzz::run;
    const Run run = runIt(commandLine("export", filter, {"--utc", "-o", form}, directory));
    if (isContradicting(filter.require)) {
        expectNumber("exit code of export", run.exitCode, tool::kExitUsage);
        return;
    }
    if (isOnTerminal) {
        expectQuiet(run.output);
    }
    const Seen seen = seenBy(filter, files);
    if (!seen.start.isFileReplaced) {
        expectNumber("exit code of export", run.exitCode, exitCodeOver(files, seen.start, seen.ring));
    }
    const std::vector<test::ModelItem> matches = matchesOf(seen.ring, filter.require);
    if (form != "syslog") {
        const std::string shownForm = form == "jsonl" ? "json" : form;
        const std::vector<std::string> options = {"--utc", "-o", shownForm, "--no-pager", "--color=never"};
        expectSame("export", run.output, runIt(commandLine("show", filter, options, directory)).output);
    }
    if (!seen.start.isFileReplaced && form == "jsonl") {
        expectItems(run.output, matches);
    } else if (!seen.start.isFileReplaced) {
        expectNumber("items exported", linesOf(run.output) - (form == "csv" ? 1 : 0),
                     static_cast<int64_t>(matches.size()));
    }
}

/// The sum of the "items" of the objects of an array.
int64_t itemsIn(const nlohmann::json &array) {
    int64_t sum = 0;
    for (const nlohmann::json &object : array) {
        sum += object.at("items").get<int64_t>();
    }
    return sum;
}

/// Checks that each way of dividing the items accounts for all of them.
void expectStats(const std::string &output, int64_t items) {
    const nlohmann::json report = nlohmann::json::parse(output);
    expectNumber("items of the statistics", report.at("items").get<int64_t>(), items);
    expectNumber("items by file", itemsIn(report.at("files")), items);
    expectNumber("items by level", itemsIn(report.at("levels")), items);
    for (const nlohmann::json &level : report.at("levels")) {
        if (level.contains("slots")) {
            expectNumber("items by slot", itemsIn(level.at("slots")), level.at("items").get<int64_t>());
        }
    }
    expectNumber("items by time", itemsIn(report.at("buckets")), items);
}

void checkStats(const test::NamedFiles &files, const Filter &filter, bool isOnTerminal,
                const std::string &directory) {
    const std::vector<std::string> options = isOnTerminal
                                                 ? std::vector<std::string>{"--no-pager", "--color=never"}
                                                 : std::vector<std::string>{"-o", "json", "--disk-usage"};
    const Run run =
        (isOnTerminal ? runOnTerminal : fuzz::run)(commandLine("stats", filter, options, directory));
    if (isContradicting(filter.require)) {
        expectNumber("exit code of stats", run.exitCode, tool::kExitUsage);
        return;
    }
    expectQuiet(run.output);
    const Seen seen = seenBy(filter, files);
    if (seen.start.isFileReplaced) {
        return;
    }
    expectNumber("exit code of stats", run.exitCode, exitCodeOver(files, seen.start, seen.ring));
    const auto items = static_cast<int64_t>(matchesOf(seen.ring, filter.require).size());
    if (isOnTerminal) {
        const std::string told = "\nitems   " + std::to_string(items) + (items > 0 ? " from " : "\n");
        expectThat(run.output.find(told) != run.output.npos, "the statistics tell the number of items");
    } else {
        expectStats(run.output, items);
    }
}

/// The ring as a reader sees it who waits for the rest of an unended last line.
test::ModelRing withoutOpenEnd(const Seen &seen) {
    test::ModelRing ring = seen.ring;
    const auto newest = seen.start.files.find(test::csvName(ring.latest));
    if (newest != seen.start.files.end()) {
        constexpr size_t kPiece = 256;  // Whole pieces of a longer line are not waited for.
        const std::string &bytes = newest->second;
        const size_t begin = bytes.rfind('\n') + 1;
        const size_t waitedFor = (bytes.size() - begin) % kPiece;
        ring.files[ring.latest] = test::modelItems(bytes.substr(0, bytes.size() - waitedFor));
    }
    return ring;
}

/// Follows to a time that has passed, so that it ends when all was read.
void checkFollow(const test::NamedFiles &files, Filter filter, const std::string &directory) {
    constexpr int32_t kLastDay = ByteReader::kFirstDay + 100;
    if (filter.require.dayUpLimit < 0) {
        filter.require.dayUpLimit = kLastDay;
        addOption("--until", timeText(kLastDay, kSecondsPerDay - 1), &filter);
    }
    const Run run =
        runOnTerminal(commandLine("follow", filter, {"--utc", "-n", "all", "--color=never"}, directory));
    if (isContradicting(filter.require)) {
        expectNumber("exit code of follow", run.exitCode, tool::kExitUsage);
        return;
    }
    expectQuiet(run.output);
    const Seen seen = seenBy(filter, files);
    if (!seen.start.isFileReplaced) {
        expectNumber("exit code of follow", run.exitCode, exitCodeOver(files, seen.start, seen.ring));
        expectNumber("items followed", linesOf(run.output),
                     static_cast<int64_t>(matchesOf(withoutOpenEnd(seen), filter.require).size()));
    }
}

/// The position that a cleared log goes on with, which is the only one in view. Without --files, the ring may
/// be as large as the newest file's place needs, or larger.
int32_t clearedPosition(const test::NamedFiles &before, const test::NamedFiles &after, int32_t ringSize) {
    const int32_t next = test::modelReadIndex(before, {0, 0, 0}, "").fields.latest + 1;
    if (ringSize != 0) {
        return next % ringSize;
    }
    const test::ModelIndexRead index = test::modelReadIndex(after, {0, 0, 0}, "");
    return index.fields.latest == next ? next : 0;
}

struct Seconds {
    int64_t begin;
    int64_t end;
};

/// Checks that nothing has changed but the index and the file that the log goes on with.
void expectCleared(const test::NamedFiles &before, const test::NamedFiles &after, int32_t position,
                   const Seconds &span) {
    const std::string name = test::csvName(position);
    const std::string line = after.count(name) != 0 ? after.at(name) : "";
    const size_t digits = std::min(line.find(','), line.size());
    const int64_t seconds = test::modelLeadingNumber(line.substr(0, digits), 64);
    expectThat(seconds >= span.begin && seconds <= span.end, "the clearing has its time");
    test::NamedFiles wanted = before;
    wanted.erase("index.bak");
    wanted["index.csv"] = test::modelIndexText(position, position);
    wanted[name] = std::to_string(seconds) + ",3,0,Log all cleared!\n";
    expectSame("files of a cleared log", after, wanted);
}

void checkClear(const test::NamedFiles &files, const Filter &filter, const Directory &directory) {
    std::vector<std::string> arguments = {"clear", "--yes", directory.path()};
    if (filter.files != 0) {
        arguments.insert(arguments.end(), {"--files", std::to_string(filter.files)});
    }
    const int64_t begin = time(nullptr);
    const Run run = fuzz::run(arguments);
    const test::NamedFiles after = directory.files();
    expectQuiet(run.output);
    if (run.exitCode != tool::kExitDone || run.output.find(": nothing to clear\n") != run.output.npos) {
        expectSame("files of a log that was not cleared", after, files);
        return;
    }
    const int32_t position = clearedPosition(files, after, filter.files);
    expectCleared(files, after, position, {begin, time(nullptr)});
    const Run shown = fuzz::run({"show", "-o", "short", "--utc", directory.path()});
    expectNumber("exit code of show behind a clearing", shown.exitCode, tool::kExitDone);
    expectThat(linesOf(shown.output) == 1 && shown.output.find(" Log all cleared!\n") != shown.output.npos,
               "a cleared log shows that it was cleared and nothing else");
}

/// What is done with a directory.
struct Task {
    enum class Kind { Count, Show, Export, Stats, Follow, Clear };

    Kind kind;
    int32_t perPage;
    int32_t page;

    bool isOnTerminal() const { return page % 2 != 0; }
};

/// Half of all tasks are counts and shows.
Task::Kind kindOf(uint8_t choice) {
    constexpr int kFormer = 4;
    constexpr std::array<Task::Kind, 4> kLater = {Task::Kind::Export, Task::Kind::Stats, Task::Kind::Follow,
                                                  Task::Kind::Clear};
    const int kind = choice / 2 % (kFormer + static_cast<int>(kLater.size()));
    if (kind < kFormer) {
        return choice % 2 != 0 ? Task::Kind::Show : Task::Kind::Count;
    }
    return kLater.at(static_cast<size_t>(kind - kFormer));
}

void checkShow(const test::NamedFiles &files, const Filter &filter, const Task &task,
               const std::string &directory) {
    constexpr int32_t kNoPage = 4;
    if (task.page == kNoPage) {
        checkNewest(files, filter, task.perPage, directory);
    } else {
        checkPage(files, filter, task.perPage, task.page, directory);
    }
}

/// Does the task, with what the directory holds.
void check(const test::NamedFiles &files, const Filter &filter, const Task &task,
           const Directory &directory) {
    constexpr std::array<const char *, 3> kForms = {"jsonl", "csv", "syslog"};
    const std::string &path = directory.path();
    switch (task.kind) {
        case Task::Kind::Count:
            return checkCount(files, filter, path);
        case Task::Kind::Show:
            return checkShow(files, filter, task, path);
        case Task::Kind::Export:
            return checkExport(files, filter, kForms.at(static_cast<size_t>(task.perPage) % kForms.size()),
                               task.isOnTerminal(), path);
        case Task::Kind::Stats:
            return checkStats(files, filter, task.isOnTerminal(), path);
        case Task::Kind::Follow:
            return checkFollow(files, filter, path);
        case Task::Kind::Clear:
            return checkClear(files, filter, directory);
    }
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static fuzz::Directory directory;
    fuzz::ByteReader input(data, size);
    const fuzz::Filter filter = fuzz::takeFilter(&input);
    const int32_t perPage = input.below(22);
    const int32_t page = input.below(6) - 1;
    const fuzz::Task task = {fuzz::kindOf(input.byte()), perPage, page};
    const int32_t positions = input.flag() ? 4 : 90;
    const bool isIndexLikely = input.below(8) != 0;
    const int32_t latest = input.below(positions);
    test::NamedFiles files = fuzz::takeDirectory(&input, positions);
    if (isIndexLikely) {
        // Without an index the commands read the directory again and again, which takes time.
        files.emplace("index.csv", test::modelIndexText(0, latest));
    }
    directory.fill(files);
    const std::map<std::string, std::string> times = directory.times();
    fuzz::checkCheck(directory.path());
    fuzz::check(files, filter, task, directory);
    if (task.kind != fuzz::Task::Kind::Clear) {
        fuzz::expectSame("files", directory.files(), files);
        fuzz::expectSame("times of files", directory.times(), times);
    }
    return 0;
}
