// SPDX-License-Identifier: Apache-2.0
// Any bytes as index and backup, each present or not, given to the reader of the index.
#include <cstring>
#include <string>

#include "fuzz/byte_reader.h"
#include "fuzz/finding.h"
#include "fuzz/memory_platform.h"
#include "model/index_model.h"
#include "store/index_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::ByteReader input(data, size);
    fuzz::MemoryPlatform &platform = fuzz::MemoryPlatform::get();
    platform.reset();
    jorn_SetDebugPrintLevel(1);

    const bool hasIndex = input.flag();
    const bool hasBackup = input.flag();
    const test::ModelIndex before = {input.number(), input.number(), input.number()};
    const size_t indexSize = input.byte();
    test::NamedFiles files;
    if (hasIndex) {
        files["index.csv"] = input.bytes(indexSize);
    }
    if (hasBackup) {
        files["index.bak"] = input.rest();
    }
    platform.put("/a", files);

    JORN_OBJ object = {};
    strncpy(object.dirName, "/a", sizeof object.dirName - 1);
    object.index_version = before.version;
    object.csv_oldest = before.oldest;
    object.csv_latest = before.latest;

    const test::ModelIndexRead wanted = test::modelReadIndex(files, before, "/a");
    fuzz::expectNumber("result", jorn_ReadCsvIndexFile(&object), wanted.result);
    fuzz::expectNumber("version", object.index_version, wanted.fields.version);
    fuzz::expectNumber("oldest position", object.csv_oldest, wanted.fields.oldest);
    fuzz::expectNumber("latest position", object.csv_latest, wanted.fields.latest);
    fuzz::expectSame("messages", platform.takeMessages(), wanted.messages);
    fuzz::expectSame("files", platform.filesIn("/a"), wanted.files);
    return 0;
}
