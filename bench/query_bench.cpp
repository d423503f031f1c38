// SPDX-License-Identifier: Apache-2.0
// Start-up, counts and pages of the module, in process, compared with SQLite's library on the same items.
// Each answer is reported with its time, so that bench/run can check that all were asked the same.
//
// There is no store task here: it would write the item of each creation, which makes a full ring lose a file.
#include <benchmark/benchmark.h>
#include <jorn.h>
#include <taskLib.h>
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "arguments.h"
#include "created_ring.h"
#include "database.h"
#include "item_source.h"

namespace {

int filesOpened;

}  // namespace

extern "C" {

// The linker's names for wrapped calls and what replaces them.
// NOLINTBEGIN(readability-identifier-naming)
FILE *__real_fopen(const char *path, const char *mode);
FILE *__real_fopen64(const char *path, const char *mode);

FILE *__wrap_fopen(const char *path, const char *mode) {
    ++filesOpened;
    return __real_fopen(path, mode);
}

FILE *__wrap_fopen64(const char *path, const char *mode) {
    ++filesOpened;
    return __real_fopen64(path, mode);
}

/// The module works without its task.
TASK_ID __wrap_taskSpawn(char *, int, int, int, FUNCPTR, _Vx_usr_arg_t, _Vx_usr_arg_t, _Vx_usr_arg_t,
                         _Vx_usr_arg_t, _Vx_usr_arg_t, _Vx_usr_arg_t, _Vx_usr_arg_t, _Vx_usr_arg_t,
                         _Vx_usr_arg_t, _Vx_usr_arg_t) {
    return ERROR;
}
// NOLINTEND(readability-identifier-naming)
}

namespace {

constexpr int32_t kPerPage = JORN_REQUIRE_PAGE_MAX;
constexpr int32_t kSlot = 5;
constexpr size_t kLineBufferSize = 257;
constexpr JORN_REQUIRE kEverything = {kPerPage, 1, -1, -1, JORN_LEVEL_DEBUG, 0, -1};

std::string ringOf(const std::string &folder, int files) { return folder + "/r" + std::to_string(files); }

double cpuSeconds() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// One object at a time, since all together may have 90 files: the benchmarks run one after the other and
/// mostly query the same ring.
const bench::Ring &openRing(const std::string &folder, int files) {
    static std::unique_ptr<bench::Ring> ring;
    static int filesOfRing = 0;
    if (files != filesOfRing) {
        ring.reset();
        ring = std::make_unique<bench::Ring>(ringOf(folder, files), files);
        filesOfRing = files;
    }
    return *ring;
}

void startUp(benchmark::State &state, const std::string &folder, int files) {
    double cpu = 0;
    int32_t answer = 0;
    for ([[maybe_unused]] auto iteration : state) {
        const double cpuStart = cpuSeconds();
        const auto ring = std::make_unique<bench::Ring>(ringOf(folder, files), files);
        cpu += cpuSeconds() - cpuStart;
        state.PauseTiming();
        answer = JORN_CountRequireTotalNum(ring->handle(), kEverything);
        state.ResumeTiming();
    }
    state.counters["cpu"] = cpu * 1e9 / static_cast<double>(state.iterations());
    state.counters["answer"] = answer;
}

/// What the C library alone takes to read these files of a ring line by line, as the module has to.
void readLines(benchmark::State &state, const std::string &folder, int files,
               const std::vector<int> &positions) {
    int lines = 0;
    for ([[maybe_unused]] auto iteration : state) {
        lines = 0;
        for (const int position : positions) {
            const std::string path = ringOf(folder, files) + "/" + std::to_string(position) + ".csv";
            FILE *const file = fopen(path.c_str(), "r");
            char line[kLineBufferSize];
            while (fgets(line, sizeof line, file) != nullptr) {
                ++lines;
            }
            fclose(file);
        }
    }
    state.counters["lines"] = lines;
}

void countInStore(benchmark::State &state, const std::string &folder, int files,
                  const JORN_REQUIRE &require) {
    const bench::Ring &ring = openRing(folder, files);
    filesOpened = 0;
    state.counters["answer"] = JORN_CountRequireTotalNum(ring.handle(), require);
    state.counters["files_read"] = filesOpened;
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(JORN_CountRequireTotalNum(ring.handle(), require));
    }
}

void pageOfStore(benchmark::State &state, const std::string &folder, int files, const JORN_REQUIRE &require) {
    const bench::Ring &ring = openRing(folder, files);
    JORN_LOG_PAGE page = {};
    filesOpened = 0;
    JORN_GetRequireLog(ring.handle(), require, &page);
    state.counters["files_read"] = filesOpened;
    state.counters["answer"] = page.itemsNum > 0 ? atoi(page.disp[0].logStr) : -1;
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(JORN_GetRequireLog(ring.handle(), require, &page));
    }
}

void askNumber(benchmark::State &state, const std::string &path, const std::string &text) {
    const bench::Database database(path);
    bench::Question question(database.get(), text);
    state.counters["answer"] = static_cast<double>(question.number());
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(question.number());
    }
}

void askPage(benchmark::State &state, const std::string &path, const std::string &text,
             const std::string &total) {
    const bench::Database database(path);
    bench::Question question(database.get(), text);
    const auto count = total.empty() ? nullptr : std::make_unique<bench::Question>(database.get(), total);
    state.counters["answer"] = static_cast<double>(question.firstOfPage());
    for ([[maybe_unused]] auto iteration : state) {
        if (count != nullptr) {
            benchmark::DoNotOptimize(count->number());
        }
        benchmark::DoNotOptimize(question.firstOfPage());
    }
}

template <class Run>
void add(const std::string &name, const Run &run) {
    benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kNanosecond);
}

/// One query, for the module and in SQL.
struct Query {
    std::string name;
    JORN_REQUIRE require;
    std::string condition;
};

/// A range of days in the middle third of a ring; the time condition for it.
Query daysOf(int files) {
    const uint32_t items = static_cast<uint32_t>(files) * JORN_CSV_ITEM_MAX;
    const uint32_t firstDay = (bench::kFirstTime + items / 3 * bench::kSecondsApart) / 86400;
    const uint32_t lastDay = (bench::kFirstTime + items / 3 * 2 * bench::kSecondsApart) / 86400;
    JORN_REQUIRE require = kEverything;
    require.dayDwLimit = static_cast<int32_t>(firstDay);
    require.dayUpLimit = static_cast<int32_t>(lastDay);
    return {"days", require,
            " WHERE time BETWEEN " + std::to_string(firstDay * 86400) + " AND " +
                std::to_string(lastDay * 86400 + 86399)};
}

std::vector<Query> countQueries(int files) {
    return {{"level", {kPerPage, 1, -1, -1, 1, 0, -1}, " WHERE level <= 1"},
            {"level_slot", {kPerPage, 1, -1, -1, 1, 1, kSlot}, " WHERE level = 1 AND slot = 5"},
            daysOf(files),
            {"all", kEverything, ""}};
}

void addCounts(const bench::Arguments &arguments) {
    const std::string path = arguments.folder + "/items.db";
    for (const Query &query : countQueries(arguments.files)) {
        const std::string name = "count/" + query.name;
        for (const int files : {2, arguments.files}) {
            if (files == arguments.files || query.name != "days") {
                add((files == arguments.files ? name : "two_" + name) + "/jorn",
                    [=](benchmark::State &state) {
                        countInStore(state, arguments.folder, files, query.require);
                    });
            }
        }
        add(name + "/sqlite", [=](benchmark::State &state) {
            askNumber(state, path, "SELECT count(*) FROM items" + query.condition);
        });
        add(name + "/sqlite_scan", [=](benchmark::State &state) {
            askNumber(state, path, "SELECT count(*) FROM items NOT INDEXED" + query.condition);
        });
    }
}

/// A page, by the number of items before it.
void addPage(const bench::Arguments &arguments, const std::string &name, int32_t slot, int32_t number) {
    JORN_REQUIRE require = kEverything;
    require.slot = slot;
    require.pageDisp = number;
    const std::string path = arguments.folder + "/items.db";
    const std::string where = slot < 0 ? "" : " WHERE slot = " + std::to_string(slot);
    const std::string text = "SELECT time, level, slot, text FROM items" + where +
                             " ORDER BY rowid DESC LIMIT 20 OFFSET " +
                             std::to_string((number - 1) * kPerPage);
    add("page/" + name + "/jorn",
        [=](benchmark::State &state) { pageOfStore(state, arguments.folder, arguments.files, require); });
    add("page/" + name + "/sqlite", [=](benchmark::State &state) { askPage(state, path, text, ""); });
    add("page/" + name + "/sqlite_total",
        [=](benchmark::State &state) { askPage(state, path, text, "SELECT count(*) FROM items" + where); });
}

/// The reading that a start, a count and a page take: all files; those at both ends; and those with the
/// newest read twice.
void addReading(const bench::Arguments &arguments) {
    std::vector<int> all(static_cast<size_t>(arguments.files));
    std::iota(all.begin(), all.end(), 0);
    const int oldest = 0;
    const int newest = arguments.files - 1;
    const std::vector<std::pair<std::string, std::vector<int>>> readings = {
        {"startup", all}, {"count", {oldest, newest}}, {"page", {oldest, newest, newest}}};
    for (const auto &[name, positions] : readings) {
        add("reading/" + name, [=, positions = positions](benchmark::State &state) {
            readLines(state, arguments.folder, arguments.files, positions);
        });
    }
}

}  // namespace

int main(int argc, char **argv) {
    const bench::Arguments arguments = bench::parseArguments(argc, argv);
    const int32_t pages = arguments.files * (JORN_CSV_ITEM_MAX / kPerPage);
    add("startup/jorn", [=](benchmark::State &state) { startUp(state, arguments.folder, arguments.files); });
    addReading(arguments);
    addCounts(arguments);
    addPage(arguments, "first", -1, 1);
    addPage(arguments, "middle", -1, pages / 2);
    addPage(arguments, "last", -1, pages);
    addPage(arguments, "slot", kSlot, 1);
    return bench::runBenchmarks();
}
