// SPDX-License-Identifier: Apache-2.0
// Any directory, given to creation: what is renamed, deleted and rewritten, every summary, and the times.
// Then a second creation on what the first one left.
#include <string>

#include "fuzz/byte_reader.h"
#include "fuzz/finding.h"
#include "fuzz/memory_platform.h"
#include "fuzz/ring_input.h"
#include "jorn.h"
#include "model/start_model.h"
#include "registry/registry.h"

namespace fuzz {
namespace {

constexpr char kDirectory[] = "/a";

struct Ring {
    int32_t csvNum;
    int32_t slotMax;
};

/// Creates an object over a directory, compares all of it, and destroys it again.
void checkStart(const std::string &which, const Ring &ring, const test::ModelStart &wanted) {
    const int32_t handle = JORN_Create(kDirectory, ring.slotMax, ring.csvNum);
    expectNumber(which + ": handle", handle, 1);
    const JORN_OBJ &object = *FindObj(handle);
    expectNumber(which + ": oldest position", object.csv_oldest, wanted.oldest);
    expectNumber(which + ": latest position", object.csv_latest, wanted.latest);
    expectSummaries(object.csv_info, wanted.summaries);
    uint32_t time = 0;
    expectNumber(which + ": result of the final time", JORN_GetFinalCsvTime(handle, &time), 0);
    expectNumber(which + ": final time", time, wanted.finalTime);
    expectNumber(which + ": result of the largest time", JORN_GetMaxCsvTime(&time), 0);
    expectNumber(which + ": largest time", time, wanted.maxTime);
    expectSame(which + ": files", MemoryPlatform::get().filesIn(kDirectory), wanted.files);
    destroyAll();
    expectSame(which + ": files after destruction", MemoryPlatform::get().filesIn(kDirectory), wanted.files);
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::ByteReader input(data, size);
    fuzz::MemoryPlatform &platform = fuzz::MemoryPlatform::get();
    platform.reset();
    jorn_SetDebugPrintLevel(input.below(9));
    const int32_t smallRing = 2 + input.below(6);
    const fuzz::Ring ring = {input.flag() ? smallRing : 2 + input.below(89), 1 + input.below(8)};
    const int32_t positions = input.flag() ? smallRing + 2 : 90;
    const test::NamedFiles files = fuzz::takeDirectory(&input, positions);

    platform.put(fuzz::kDirectory, files);
    const test::ModelStart first = test::modelStart(files, ring.csvNum, ring.slotMax);
    fuzz::checkStart("first start", ring, first);
    const test::ModelStart second = test::modelStart(first.files, ring.csvNum, ring.slotMax);
    fuzz::checkStart("second start", ring, second);
    if (!first.isFileReplaced) {
        fuzz::expectSame("files after a second start", platform.filesIn(fuzz::kDirectory), first.files);
    }
    return 0;
}
