// SPDX-License-Identifier: Apache-2.0
// Makes a ring whose files are all full, with the module itself: the item of its creation is the oldest one,
// and the items of bench::makeItem() follow.
#include <jorn.h>
#include <sysLib.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "created_ring.h"
#include "item_source.h"
#include "load/plain_store.h"

namespace {

void fill(const std::string &directory, int32_t files) {
    sysClkDisable();
    jorn_SetDebugPrintLevel(0);
    load::setTime(bench::kFirstTime);
    const bench::Ring ring(directory, files);
    load::settle();
    const auto items = static_cast<uint32_t>(files * JORN_CSV_ITEM_MAX);
    for (uint32_t number = 1; number < items; ++number) {
        const bench::Item item = bench::makeItem(number);
        load::setTime(item.time);
        if (JORN_AddOneLog(ring.handle(), item.level, item.slot, item.text.c_str()) != 0) {
            fprintf(stderr, "%s: item %u was refused\n", directory.c_str(), number);
            exit(EXIT_FAILURE);
        }
        if (load::isQueueFull()) {
            load::pass();
        }
    }
    load::settle();
    const JORN_REQUIRE everything = {20, 1, -1, -1, JORN_LEVEL_DEBUG, 0, -1};
    const int32_t stored = JORN_CountRequireTotalNum(ring.handle(), everything);
    if (stored != static_cast<int32_t>(items)) {
        fprintf(stderr, "%s: %d items stored instead of %u\n", directory.c_str(), stored, items);
        exit(EXIT_FAILURE);
    }
}

int makeRing(int argc, char **argv) {
    std::string directory;
    int32_t files = JORN_CSV_NUM_MAX;
    CLI::App app("Makes a ring of full files.");
    app.add_option("DIR", directory, "fresh directory")->required();
    app.add_option("FILES", files, "files, all full")->check(CLI::Range(JORN_CSV_NUM_MIN, JORN_CSV_NUM_MAX));
    CLI11_PARSE(app, argc, argv);
    fill(directory, files);
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return makeRing(argc, argv);
    } catch (const std::exception &error) {
        fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
}
