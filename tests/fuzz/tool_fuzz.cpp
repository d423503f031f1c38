// SPDX-License-Identifier: Apache-2.0
// The reading commands of the tool over any directory: what they count and how many items they show, that
// nothing in the directory changes, that no control byte reaches standard output, and the exit code. What a
// check finds is not compared, only how it ends.
#include <sys/mman.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Error.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "fuzz/byte_reader.h"
#include "fuzz/finding.h"
#include "fuzz/ring_input.h"
#include "model/line_model.h"
#include "model/ring_files.h"
#include "model/start_model.h"

extern "C" {

/// A damaged index is looked at again after a pause. Nothing comes of waiting here.
int usleep(useconds_t) { return 0; }

/// Where the sanitizers report to; not there without them.
void __sanitizer_set_report_fd(void *) __attribute__((weak));
}

namespace fuzz {
namespace {

namespace fs = std::filesystem;

constexpr int32_t kSlots = 8;
constexpr int32_t kSecondsPerDay = 86400;
constexpr int kOutputs = 2;  ///< Standard output and standard error.

/// Puts memory in place of standard output and standard error. The sanitizers go on reporting where they did.
class CapturedOutput {
public:
    CapturedOutput() {
        fflush(stdout);
        for (int fd = STDOUT_FILENO; fd <= STDERR_FILENO; ++fd) {
            saved_[fd - 1] = dup(fd);
            taken_[fd - 1] = memfd_create("output", MFD_CLOEXEC);
            dup2(taken_[fd - 1], fd);
        }
        report(saved_[STDERR_FILENO - 1]);
    }
    ~CapturedOutput() {
        for (int fd = STDOUT_FILENO; fd <= STDERR_FILENO; ++fd) {
            dup2(saved_[fd - 1], fd);
            close(saved_[fd - 1]);
            close(taken_[fd - 1]);
        }
        report(STDERR_FILENO);
    }
    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;

    /// What went to standard output.
    std::string text() const {
        const int taken = taken_[0];
        std::string bytes(static_cast<size_t>(lseek(taken, 0, SEEK_END)), '\0');
        const ssize_t count = pread(taken, bytes.data(), bytes.size(), 0);
        expectNumber("bytes of captured output", count, static_cast<int64_t>(bytes.size()));
        return bytes;
    }

private:
    static void report(int fd) {
        if (__sanitizer_set_report_fd != nullptr) {
            __sanitizer_set_report_fd(reinterpret_cast<void *>(static_cast<intptr_t>(fd)));
        }
    }

    int saved_[kOutputs]{};
    int taken_[kOutputs]{};
};

/// The directory of this process, gone at its end.
class Directory {
public:
    Directory() {
        char name[] = "/tmp/jornXXXXXX";
        expectThat(mkdtemp(name) != nullptr, "a directory can be made");
        path_ = name;
    }
    ~Directory() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    const std::string &path() const { return path_; }

    /// Leaves these files in it and no others.
    void fill(const test::NamedFiles &files) {
        for (const auto &[name, bytes] : present_) {
            fs::remove(path_ + "/" + name);
        }
        for (const auto &[name, bytes] : files) {
            std::ofstream(path_ + "/" + name, std::ios::binary) << bytes;
        }
        present_ = files;
    }

    test::NamedFiles files() const {
        test::NamedFiles found;
        for (const auto &entry : fs::directory_iterator(path_)) {
            std::ifstream file(entry.path(), std::ios::binary);
            found[entry.path().filename()] = {std::istreambuf_iterator<char>(file), {}};
        }
        return found;
    }

private:
    std::string path_;
    test::NamedFiles present_;
};

struct Run {
    int exitCode;
    std::string output;
};

int exitCodeOf(std::vector<std::string> arguments) {
    CLI::App app("reader", "jorn");
    app.require_subcommand(1);
    int exitCode = tool::kExitDone;
    tool::addShowCommand(&app, &exitCode);
    tool::addCountCommand(&app, &exitCode);
    tool::addCheckCommand(&app, &exitCode);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError &) {
        return tool::kExitUsage;
    } catch (const tool::Failure &failure) {
        return failure.exitCode();
    }
    return exitCode;
}

Run run(const std::vector<std::string> &arguments) {
    const CapturedOutput captured;
    const int exitCode = exitCodeOf(arguments);
    return {exitCode, captured.text()};
}

struct Filter {
    std::vector<std::string> arguments;
    JORN_REQUIRE require = {JORN_REQUIRE_PAGE_MAX, 1, -1, -1, -1, 1, -1};
    int32_t files = 0;  ///< 0: as the directory tells.
};

void addOption(const std::string &name, const std::string &value, Filter *filter) {
    filter->arguments.insert(filter->arguments.end(), {name, value});
}

/// A second of a UTC day, as the tool takes times.
std::string timeText(int32_t day, int32_t second) {
    return "@" + std::to_string(int64_t{day} * kSecondsPerDay + second);
}

Filter takeFilter(ByteReader *input) {
    Filter filter;
    if (input->below(3) == 0) {
        filter.files = 2 + input->below(89);
        addOption("--files", std::to_string(filter.files), &filter);
    }
    if (input->below(3) == 0) {
        filter.require.dayDwLimit = ByteReader::kFirstDay + input->below(40);
        addOption("--since", timeText(filter.require.dayDwLimit, 0), &filter);
    }
    if (input->below(3) == 0) {
        filter.require.dayUpLimit = ByteReader::kFirstDay + input->below(40);
        addOption("--until", timeText(filter.require.dayUpLimit, kSecondsPerDay - 1), &filter);
    }
    if (input->below(3) == 0) {
        filter.require.slot = input->below(kSlots);
        addOption("--slot", std::to_string(filter.require.slot), &filter);
    }
    return filter;
}

bool isContradicting(const JORN_REQUIRE &require) {
    return require.dayDwLimit >= 0 && require.dayUpLimit >= 0 && require.dayDwLimit > require.dayUpLimit;
}

/// The smallest ring that files and index fit in.
int32_t smallestRing(const test::NamedFiles &files) {
    const test::ModelIndexRead index = test::modelReadIndex(files, {0, 0, 0}, "");
    const bool isRead = index.result >= 0;
    int32_t smallest = std::max(2, isRead ? std::max(index.fields.oldest, index.fields.latest) + 1 : 1);
    for (int32_t position = 0; position < 90; ++position) {
        smallest = files.count(test::csvName(position)) != 0 ? std::max(smallest, position + 1) : smallest;
    }
    return smallest;
}

bool isStray(const test::ModelItem &item) { return item.level < 0 || item.level >= JORN_LEVEL_MAX; }

/// Items of the ring that pass the filter; of every level.
std::vector<test::ModelItem> matchesOf(const test::ModelRing &ring, const JORN_REQUIRE &require) {
    std::vector<test::ModelItem> matches;
    for (const int32_t position : ring.newestFirst()) {
        for (const test::ModelItem &item : ring.at(position)) {
            const auto day = static_cast<int32_t>(item.time / kSecondsPerDay);
            const bool isDay = (require.dayDwLimit < 0 || day >= require.dayDwLimit) &&
                               (require.dayUpLimit < 0 || day <= require.dayUpLimit);
            if (isDay && (require.slot < 0 || item.slot == require.slot)) {
                matches.push_back(item);
            }
        }
    }
    return matches;
}

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

/// Whether a file has a line that is no item. The end of the newest one may be a line that is being written.
bool hasBadLine(const std::string &bytes, bool isNewest) {
    std::vector<std::string> lines = test::modelLines(bytes);
    if (isNewest && !lines.empty() && bytes.back() != '\n') {
        lines.pop_back();
    }
    return std::any_of(lines.begin(), lines.end(), [](const std::string &line) {
        return !test::isModelBlank(line) && !test::modelParse(line).isItem();
    });
}

/// The exit code of a question that can be asked, from what is damaged in view.
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

/// What the commands see; they only look, so that no file is lost to a rename.
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

/// How many items are on a page. With items of levels that the module cannot be asked for, it is paged
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

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static fuzz::Directory directory;
    fuzz::ByteReader input(data, size);
    const fuzz::Filter filter = fuzz::takeFilter(&input);
    const int32_t perPage = input.below(22);
    const int32_t page = input.below(6) - 1;
    const bool isShow = input.flag();
    const int32_t positions = input.flag() ? 4 : 90;
    const bool isIndexLikely = input.below(8) != 0;
    const int32_t latest = input.below(positions);
    test::NamedFiles files = fuzz::takeDirectory(&input, positions);
    if (isIndexLikely) {
        // Without an index the commands look at the directory again and again, which takes its time.
        files.emplace("index.csv", test::modelIndexText(0, latest));
    }
    directory.fill(files);
    fuzz::checkCheck(directory.path());
    constexpr int32_t kNoPage = 4;
    if (isShow && page == kNoPage) {
        fuzz::checkNewest(files, filter, perPage, directory.path());
    } else if (isShow) {
        fuzz::checkPage(files, filter, perPage, page, directory.path());
    } else {
        fuzz::checkCount(files, filter, directory.path());
    }
    fuzz::expectSame("files", directory.files(), files);
    return 0;
}
