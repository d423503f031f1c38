// SPDX-License-Identifier: Apache-2.0
#include "wear.h"

#include <cstdio>
#include <string>

#include "file_calls.h"
#include "ledger.h"
#include "life.h"
#include "volume.h"

namespace flash {

namespace {

constexpr size_t kBlocks = 16;
constexpr size_t kItems = 20480;
constexpr size_t kTextBytes = 40;
const ObjectShape kObject = {"/yaffs/log", 3};

/// Bursts of a size, each followed by passes until its file is closed.
void storeBursts(Life &life, size_t burst) {
    for (size_t item = 0; item < kItems; ++item) {
        life.add(0, 1, std::string(kTextBytes, static_cast<char>('a' + item % 26)));
        if (item % burst == burst - 1) {
            Life::settle();
        }
    }
    Life::settle();
}

void printRow(size_t burst, size_t deviceBuffer, int caches) {
    Nand chip(kBlocks);
    surroundings() = Surroundings{};
    surroundings().chip = &chip;
    surroundings().deviceBuffer = deviceBuffer;
    if (!Volume::powerOn(&chip, caches)) {
        return;
    }
    Ledger ledger;
    {
        Life life(&ledger, 1700000000, {});
        life.create(0, kObject);
        Life::settle();
        storeBursts(life, burst);
    }
    const double perItem = 1000.0 / kItems;
    const size_t programs = chip.operations() - chip.erases();
    printf("%6zu %7zu %7d %12.1f %9.2f\n", burst, deviceBuffer, caches,
           static_cast<double>(programs) * perItem, static_cast<double>(chip.erases()) * perItem);
    Volume::powerOff();
}

}  // namespace

void printWear() {
    printf("For 1,000 items of %zu bytes of text, in a ring of %d files on a chip of %zu blocks:\n",
           kTextBytes, kObject.csvNum, kBlocks);
    printf("%6s %7s %7s %12s %9s\n", "burst", "buffer", "caches", "programmed", "erased");
    for (const size_t burst : {1U, 10U, 100U, 512U}) {
        for (const int caches : {10, 0}) {
            printRow(burst, 1024, caches);
        }
    }
}

}  // namespace flash
