// SPDX-License-Identifier: Apache-2.0
// What storing costs: the items of a whole ring through the store task, its clock driven by hand, compared
// with a synchronous logger that rotates at the same size; and whether an item costs the same at every place
// in the ring.
#include <benchmark/benchmark.h>
#include <jorn.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "arguments.h"
#include "created_ring.h"
#include "item_source.h"
#include "load/plain_store.h"

namespace {

/// Items of a batch, so that a file is ten batches, each in one part of it.
constexpr int kBatch = 500;
constexpr int kBatchesPerFile = JORN_CSV_ITEM_MAX / kBatch;

/// About the size of a full data file.
constexpr size_t kRotationBytes = size_t{512} * 1024;

double seconds(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Wall time and processor time of all threads, over several stretches.
class Stopwatch {
public:
    void start() {
        cpuStart_ = seconds(CLOCK_PROCESS_CPUTIME_ID);
        wallStart_ = seconds(CLOCK_MONOTONIC);
    }
    /// Ends a stretch and returns its processor time.
    double stop() {
        wall_ += seconds(CLOCK_MONOTONIC) - wallStart_;
        const double stretch = seconds(CLOCK_PROCESS_CPUTIME_ID) - cpuStart_;
        cpu_ += stretch;
        return stretch;
    }
    double wall() const { return wall_; }
    double cpu() const { return cpu_; }

private:
    double wallStart_ = 0;
    double cpuStart_ = 0;
    double wall_ = 0;
    double cpu_ = 0;
};

std::vector<bench::Item> makeItems(int files) {
    std::vector<bench::Item> items;
    const auto count = static_cast<uint32_t>(files * JORN_CSV_ITEM_MAX);
    items.reserve(count);
    for (uint32_t number = 0; number < count; ++number) {
        items.push_back(bench::makeItem(number));
    }
    return items;
}

std::string emptyFolder(const std::string &path) {
    std::filesystem::remove_all(path);
    std::filesystem::create_directory(path);
    return path;
}

void countItems(benchmark::State &state, const Stopwatch &watch, size_t items) {
    const auto count = static_cast<double>(items);
    state.counters["wall_per_item"] = watch.wall() / count * 1e9;
    state.counters["cpu_per_item"] = watch.cpu() / count * 1e9;
    state.counters["items"] = count;
}

/// Processor time per item, in nanoseconds, of the batches at the beginning, in the middle and at the end of
/// a file.
void reportFile(benchmark::State &state, const std::string &name, const double *batches) {
    constexpr double kPerItem = 1e9 / kBatch;
    for (const int batch : {0, 1, kBatchesPerFile / 2 - 1, kBatchesPerFile - 1}) {
        state.counters[name + "_" + std::to_string((batch + 1) * kBatch)] = batches[batch] * kPerItem;
    }
}

bool submit(int32_t handle, const bench::Item *item, int count) {
    int refused = 0;
    for (int i = 0; i < count; ++i) {
        refused += JORN_AddOneLog(handle, item[i].level, item[i].slot, item[i].text.c_str()) == 0 ? 0 : 1;
    }
    return refused == 0;
}

/// Stores a whole ring, and reports what an item cost at which place in it. The item of the creation is the
/// first of the first batch.
void storeRing(benchmark::State &state, const std::string &folder, const std::vector<bench::Item> &items) {
    const bench::Ring ring(emptyFolder(folder + "/store"),
                           static_cast<int32_t>(items.size()) / JORN_CSV_ITEM_MAX);
    Stopwatch storing;
    Stopwatch submitting;
    std::vector<double> batches;
    for (size_t first = 0; first < items.size(); first += kBatch) {
        const int skipped = first == 0 ? 1 : 0;
        submitting.start();
        const bool isTaken =
            submit(ring.handle(), &items[first + static_cast<size_t>(skipped)], kBatch - skipped);
        submitting.stop();
        storing.start();
        load::pass();
        batches.push_back(storing.stop());
        if (!isTaken) {
            state.SkipWithError("an item was refused");
            return;
        }
    }
    countItems(state, storing, items.size());
    state.counters["submit_per_item"] = submitting.wall() / static_cast<double>(items.size()) * 1e9;
    state.counters["submit_cpu_per_item"] = submitting.cpu() / static_cast<double>(items.size()) * 1e9;
    reportFile(state, "first", batches.data());
    reportFile(state, "last", batches.data() + batches.size() - kBatchesPerFile);
    load::settle();
    const JORN_REQUIRE everything = {20, 1, -1, -1, JORN_LEVEL_DEBUG, 0, -1};
    state.counters["answer"] = JORN_CountRequireTotalNum(ring.handle(), everything);
}

void logRing(benchmark::State &state, const std::string &folder, const std::vector<bench::Item> &items) {
    const std::string path = emptyFolder(folder + "/spdlog") + "/log";
    const size_t files = items.size() / JORN_CSV_ITEM_MAX;
    const auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(path, kRotationBytes, files);
    spdlog::logger logger("store", sink);
    logger.set_pattern("%E,1,5,%v");
    Stopwatch watch;
    watch.start();
    for (const bench::Item &item : items) {
        logger.info(item.text);
    }
    logger.flush();
    watch.stop();
    countItems(state, watch, items.size());
}

}  // namespace

int main(int argc, char **argv) {
    const bench::Arguments arguments = bench::parseArguments(argc, argv);
    const std::vector<bench::Item> items = makeItems(arguments.files);
    const auto add = [&](const char *name, auto run) {
        benchmark::RegisterBenchmark(name,
                                     [&, run](benchmark::State &state) {
                                         for ([[maybe_unused]] auto iteration : state) {
                                             run(state, arguments.folder, items);
                                         }
                                     })
            ->Iterations(1)
            ->Repetitions(arguments.repetitions);
    };
    add("storing/jorn", storeRing);
    add("storing/spdlog", logRing);
    return bench::runBenchmarks();
}
