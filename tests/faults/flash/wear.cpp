// SPDX-License-Identifier: Apache-2.0
#include "wear.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

/// What the programmed pages held, by the tags that the file system gave them.
class PageCount {
public:
    void add(const std::vector<Operation> &journal) {
        for (const Operation &operation : journal) {
            if (!operation.isErase) {
                addPage(operation.page);
            }
        }
    }
    size_t data() const { return data_; }
    size_t headers() const { return headers_; }
    size_t summaries() const { return summaries_; }
    size_t moved() const { return moved_; }

private:
    using Place = std::pair<uint32_t, uint32_t>;  ///< object and part of it

    static uint32_t word(const Page &page, size_t number) {
        constexpr size_t kTagsOffset = 2;  // after the mark for bad blocks
        uint32_t value = 0;
        memcpy(&value, page.spare.data() + kTagsOffset + number * sizeof value, sizeof value);
        return value;
    }

    void addPage(const Page &page) {
        constexpr uint32_t kHeaderBit = 0x80000000;
        constexpr uint32_t kObjectBits = 0x0FFFFFFF;
        constexpr uint32_t kSummaryObject = 0x10;
        const bool isHeader = (word(page, 2) & kHeaderBit) != 0;
        const Place place = {word(page, 1) & kObjectBits, isHeader ? 0 : word(page, 2)};
        if (place.first == kSummaryObject) {
            ++summaries_;
            return;
        }
        const size_t bytes = hash(page);
        const auto [known, isNew] = last_.try_emplace(place, bytes);
        const bool isMoved = !isNew && known->second == bytes;
        known->second = bytes;
        ++(isMoved ? moved_ : isHeader ? headers_ : data_);
    }

    static size_t hash(const Page &page) {
        return std::hash<std::string_view>()(
            {reinterpret_cast<const char *>(page.data.data()), page.data.size()});
    }

    std::map<Place, size_t> last_;  ///< what each place held when it was last programmed
    size_t data_ = 0;
    size_t headers_ = 0;
    size_t summaries_ = 0;
    size_t moved_ = 0;
};

/// Bursts of a size, each followed by passes until its file is closed.
void storeBursts(Life &life, size_t burst, std::vector<Operation> *journal, PageCount *pages) {
    const auto settle = [&] {
        Life::settle();
        pages->add(*journal);
        journal->clear();
    };
    for (size_t item = 0; item < kItems; ++item) {
        life.add(0, 1, std::string(kTextBytes, static_cast<char>('a' + item % 26)));
        if (item % burst == burst - 1) {
            settle();
        }
    }
    settle();
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
    std::vector<Operation> journal;
    PageCount pages;
    chip.record(&journal);
    {
        Life life(&ledger, 1700000000, {});
        life.create(0, kObject);
        Life::settle();
        storeBursts(life, burst, &journal, &pages);
    }
    chip.record(nullptr);
    pages.add(journal);
    const double perItem = 1000.0 / kItems;
    const size_t programs = chip.operations() - chip.erases();
    printf("%6zu %7zu %7d %12.1f %9.2f", burst, deviceBuffer, caches, static_cast<double>(programs) * perItem,
           static_cast<double>(chip.erases()) * perItem);
    for (const size_t kind : {pages.data(), pages.headers(), pages.moved(), pages.summaries()}) {
        printf(" %9.1f", static_cast<double>(kind) * perItem);
    }
    printf("\n");
    Volume::powerOff();
}

}  // namespace

void printWear() {
    printf("For 1,000 items of %zu bytes of text, in a ring of %d files on a chip of %zu blocks:\n",
           kTextBytes, kObject.csvNum, kBlocks);
    printf("%6s %7s %7s %12s %9s %9s %9s %9s %9s\n", "burst", "buffer", "caches", "programmed", "erased",
           "data", "headers", "moved", "summaries");
    for (const size_t burst : {1U, 10U, 100U, 512U}) {
        for (const int caches : {10, 0}) {
            printRow(burst, 1024, caches);
        }
    }
}

}  // namespace flash
