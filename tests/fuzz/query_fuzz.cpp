// SPDX-License-Identifier: Apache-2.0
// Requirements of any values over a ring with files of any bytes: the count, the page, and that nothing but
// the page is written.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/byte_reader.h"
#include "fuzz/finding.h"
#include "fuzz/memory_platform.h"
#include "fuzz/ring_input.h"
#include "jorn.h"
#include "model/line_model.h"
#include "model/start_model.h"

namespace fuzz {
namespace {

constexpr unsigned char kUntouched = 0xAA;

struct GuardedPage {
    char before[64];
    JORN_LOG_PAGE page;
    char after[64];
};

JORN_REQUIRE takeRequirement(ByteReader *input) {
    JORN_REQUIRE require = {0, 0, 0, 0, 0, 0, 0};
    for (int32_t *const field : {&require.itemsPerPage, &require.pageDisp, &require.dayDwLimit,
                                 &require.dayUpLimit, &require.level, &require.levelMode, &require.slot}) {
        *field = input->number();
    }
    return require;
}

bool isUntouched(const void *bytes, size_t size) {
    const auto *const first = static_cast<const unsigned char *>(bytes);
    return std::all_of(first, first + size, [](unsigned char byte) { return byte == kUntouched; });
}

void expectRecord(const JORN_LOG_DISP &seen, const std::string &line) {
    const test::ModelRecord wanted = test::modelRecord(line);
    expectSame("time text of " + line, std::string(seen.timeStr), wanted.time.value_or("?"));
    expectSame("level text of " + line, std::string(seen.levelStr), wanted.level.value_or("?"));
    expectSame("slot text of " + line, std::string(seen.slotStr), wanted.slot.value_or("?"));
    expectSame("text of " + line, std::string(seen.logStr), wanted.text.value_or("?"));
}

/// Checks the number of items of a page, which is not written for page 0.
void expectItemsNum(const JORN_LOG_PAGE &page, const test::ModelPage &wanted) {
    if (wanted.result == 0) {
        expectThat(isUntouched(&page.itemsNum, sizeof page.itemsNum), "page 0 leaves the number of items");
    } else {
        expectNumber("number of items", page.itemsNum, static_cast<int64_t>(wanted.texts.size()));
    }
}

void checkPage(int32_t handle, const JORN_REQUIRE &require, const test::ModelRing &ring) {
    GuardedPage guarded;
    memset(&guarded, kUntouched, sizeof guarded);
    const test::ModelPage wanted = test::modelPage(ring, require);
    const int32_t result = JORN_GetRequireLog(handle, require, &guarded.page);
    expectNumber("result of retrieval", result, wanted.result);
    expectItemsNum(guarded.page, wanted);
    for (size_t i = 0; i < wanted.texts.size(); ++i) {
        expectRecord(guarded.page.disp[i], wanted.texts[i]);
    }
    const JORN_LOG_DISP *const unused = guarded.page.disp + wanted.texts.size();
    const size_t unusedSize = (JORN_REQUIRE_PAGE_MAX - wanted.texts.size()) * sizeof *unused;
    expectThat(isUntouched(unused, unusedSize), "records beyond the page are untouched");
    expectThat(isUntouched(guarded.before, sizeof guarded.before), "bytes before the page are untouched");
    expectThat(isUntouched(guarded.after, sizeof guarded.after), "bytes behind the page are untouched");
}

void checkCount(int32_t handle, const JORN_REQUIRE &require, const test::ModelRing &ring) {
    const auto wanted = test::modelCount(ring, require);
    expectNumber("count", JORN_CountRequireTotalNum(handle, require), wanted ? wanted->total : -1);
}

/// A wrapped ring of five files, each with some days of items of every level and slot.
test::NamedFiles fixedDirectory() {
    test::NamedFiles files = {{"index.csv", test::modelIndexText(3, 1)}};
    uint32_t time = 86400U * static_cast<uint32_t>(ByteReader::kFirstDay);
    for (const char *const name : {"3.csv", "4.csv", "0.csv", "1.csv"}) {
        for (int i = 0; i < 12; ++i) {
            files[name] += std::to_string(time) + "," + std::to_string(i % 4) + "," + std::to_string(i % 5) +
                           ",item " + std::to_string(i) + "\n";
            time += 20000;
        }
    }
    return files;
}

void run(ByteReader *input) {
    constexpr int32_t kFixedRing = 5;
    const bool isFixed = input->below(4) == 0;
    const int32_t csvNum = isFixed ? kFixedRing : 2 + input->below(6);
    const int32_t slotMax = 1 + input->below(8);
    std::vector<JORN_REQUIRE> requirements(static_cast<size_t>(1 + input->below(4)));
    std::generate(requirements.begin(), requirements.end(), [&] { return takeRequirement(input); });
    const test::NamedFiles files = isFixed ? fixedDirectory() : takeDirectory(input, csvNum);

    MemoryPlatform::get().put("/a", files);
    const test::ModelStart start = test::modelStart(files, csvNum, slotMax);
    const test::ModelRing ring = test::modelRingOf(start, csvNum, slotMax);
    const int32_t handle = JORN_Create("/a", slotMax, csvNum);
    expectNumber("handle", handle, 1);
    for (const JORN_REQUIRE &require : requirements) {
        checkCount(handle, require, ring);
        checkPage(handle, require, ring);
    }
    expectSame("files", MemoryPlatform::get().filesIn("/a"), start.files);
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::ByteReader input(data, size);
    fuzz::MemoryPlatform::get().reset();
    jorn_SetDebugPrintLevel(input.below(9));
    fuzz::run(&input);
    fuzz::destroyAll();
    return 0;
}
