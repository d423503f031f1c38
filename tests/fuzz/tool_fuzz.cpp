// SPDX-License-Identifier: Apache-2.0
// The reading commands of the tool over any directory: what they count and how many items they show, that
// nothing in the directory changes, that no control byte reaches standard output, and the exit code.
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
    tool::addShowCommand(&app);
    tool::addCountCommand(&app);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError &) {
        return tool::kExitUsage;
    } catch (const tool::Failure &failure) {
        return failure.exitCode();
    }
    return tool::kExitDone;
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

void addOption(const std::string &name, int32_t value, Filter *filter) {
    filter->arguments.insert(filter->arguments.end(), {name, std::to_string(value)});
}

Filter takeFilter(ByteReader *input) {
    Filter filter;
    if (input->below(3) == 0) {
        filter.files = 2 + input->below(89);
        addOption("--files", filter.files, &filter);
    }
    if (input->below(3) == 0) {
        filter.require.dayDwLimit = ByteReader::kFirstDay + input->below(40);
        addOption("--since", filter.require.dayDwLimit, &filter);
    }
    if (input->below(3) == 0) {
        filter.require.dayUpLimit = ByteReader::kFirstDay + input->below(40);
        addOption("--until", filter.require.dayUpLimit, &filter);
    }
    if (input->below(3) == 0) {
        filter.require.slot = input->below(kSlots);
        addOption("--slot", filter.require.slot, &filter);
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

/// The table of `count`, from the model's counts.
std::string countTable(const test::ModelRing &ring, JORN_REQUIRE require) {
    std::string table = "level      items\n";
    int32_t total = 0;
    char line[64];
    for (require.level = 0; require.level < JORN_LEVEL_MAX; ++require.level) {
        const auto count = test::modelCount(ring, require);
        const int32_t items = count ? count->total : 0;
        snprintf(line, sizeof line, "%5d %10d\n", require.level, items);
        table += line;
        total += items;
    }
    snprintf(line, sizeof line, "total %10d\n", total);
    return table + line;
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

/// The ring that the commands see; they only look, so that no file is lost to a rename.
test::ModelRing ringSeen(const test::NamedFiles &files, int32_t ringSize) {
    const test::ModelStart start = test::modelStart(files, ringSize, kSlots);
    return test::modelRingOf(start, ringSize, kSlots);
}

void checkCount(const test::NamedFiles &files, const Filter &filter, const std::string &directory) {
    const Run seen = run(commandLine("count", filter, {}, directory));
    if (isContradicting(filter.require)) {
        expectNumber("exit code of count", seen.exitCode, tool::kExitUsage);
        return;
    }
    expectNumber("exit code of count", seen.exitCode, tool::kExitDone);
    const int32_t ringSize = filter.files != 0 ? filter.files : smallestRing(files);
    if (!test::modelStart(files, ringSize, kSlots).isFileReplaced) {
        expectSame("table", seen.output, countTable(ringSeen(files, ringSize), filter.require));
    }
}

void checkShow(const test::NamedFiles &files, const Filter &filter, int32_t perPage, int32_t page,
               const std::string &directory) {
    const std::vector<std::string> options = {
        "--escape", "--all", "--utc", "--per-page", std::to_string(perPage), "--page", std::to_string(page)};
    const Run seen = run(commandLine("show", filter, options, directory));
    const bool isUsage = isContradicting(filter.require) || page == 0 || perPage < 1 || perPage > 20;
    expectNumber("exit code of show", seen.exitCode, isUsage ? tool::kExitUsage : tool::kExitDone);
    expectQuiet(seen.output);
    const int32_t ringSize = filter.files != 0 ? filter.files : smallestRing(files);
    if (isUsage || test::modelStart(files, ringSize, kSlots).isFileReplaced) {
        return;
    }
    JORN_REQUIRE require = filter.require;
    require.level = JORN_LEVEL_DEBUG;
    require.levelMode = 0;
    require.itemsPerPage = perPage;
    require.pageDisp = page;
    const test::ModelPage wanted = test::modelPage(ringSeen(files, ringSize), require);
    expectNumber("items shown", std::count(seen.output.begin(), seen.output.end(), '\n'),
                 static_cast<int64_t>(wanted.texts.size()));
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
    if (isShow) {
        fuzz::checkShow(files, filter, perPage, page, directory.path());
    } else {
        fuzz::checkCount(files, filter, directory.path());
    }
    fuzz::expectSame("files", directory.files(), files);
    return 0;
}
