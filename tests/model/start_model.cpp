// SPDX-License-Identifier: Apache-2.0
#include "model/start_model.h"

#include <algorithm>

#include "model/line_model.h"
#include "model/tidying_model.h"

namespace test {
namespace {

void countByLevelAndSlot(const ModelItem &item, int32_t slotMax, JORN_CSV_INFO *info) {
    if (item.level < 0 || item.level > 3) {
        return;
    }
    ++info->levelStat[item.level].levelCount;
    if (item.slot >= 0 && item.slot < slotMax) {
        ++info->levelStat[item.level].slotCount[item.slot];
    }
}

DataFiles dataFilesOf(const NamedFiles &files) {
    DataFiles found;
    for (int position = 0; position < 90; ++position) {
        const auto file = files.find(csvName(position));
        if (file != files.end()) {
            found[position] = file->second;
        }
    }
    return found;
}

/// Puts the data files of a ring in place of those of a directory.
void replaceDataFiles(const DataFiles &dataFiles, NamedFiles *files) {
    for (int position = 0; position < 90; ++position) {
        files->erase(csvName(position));
    }
    for (const auto &[position, bytes] : dataFiles) {
        (*files)[csvName(position)] = bytes;
    }
}

void writeIndex(int64_t oldest, int64_t latest, NamedFiles *files) {
    (*files)["index.csv"] = modelIndexText(oldest, latest);
    files->erase("index.bak");
}

}  // namespace

JORN_CSV_INFO modelSummary(const ModelFile &items, int32_t slotMax) {
    JORN_CSV_INFO info = {};
    for (const ModelItem &item : items) {
        info.timeMin = info.timeMin == 0 ? item.time : std::min(info.timeMin, item.time);
        info.timeMax = std::max(info.timeMax, item.time);
        info.timeLast = item.time;
        ++info.itemCount;
        countByLevelAndSlot(item, slotMax, &info);
    }
    return info;
}

void modelAppend(const ModelItem &item, int32_t slotMax, JORN_CSV_INFO *info) {
    const bool isEmpty = info->itemCount == 0;
    info->timeMin = isEmpty ? item.time : std::min(info->timeMin, item.time);
    info->timeMax = isEmpty ? item.time : std::max(info->timeMax, item.time);
    info->timeLast = item.time;
    ++info->itemCount;
    countByLevelAndSlot(item, slotMax, info);
}

ModelStart modelStart(const NamedFiles &files, int32_t csvNum, int32_t slotMax) {
    ModelIndexRead index = modelReadIndex(files, {0, 0, 0}, "");
    if (index.result < 0) {
        index.fields = {1, 0, 0};
        writeIndex(0, 0, &index.files);
    }
    const TidyRing tidy =
        tidyStepByStep({index.fields.oldest, index.fields.latest, csvNum, dataFilesOf(index.files)});
    ModelStart start = {static_cast<int32_t>(tidy.oldest),
                        static_cast<int32_t>(tidy.latest),
                        {},
                        0,
                        0,
                        index.files,
                        tidy.isFileReplaced};
    replaceDataFiles(tidy.files, &start.files);
    if (tidy.isIndexRewritten) {
        writeIndex(tidy.oldest, tidy.latest, &start.files);
    }
    start.summaries.resize(static_cast<size_t>(csvNum));
    const ModelRing ring = modelRingOf(start, csvNum, slotMax);
    for (const int32_t position : ring.newestFirst()) {
        const JORN_CSV_INFO info = modelSummary(ring.at(position), slotMax);
        start.summaries[static_cast<size_t>(position)] = info;
        start.finalTime = start.finalTime == 0 ? info.timeLast : start.finalTime;
        start.maxTime = std::max(start.maxTime, info.timeMax);
    }
    return start;
}

ModelRing modelRingOf(const ModelStart &start, int32_t csvNum, int32_t slotMax) {
    ModelRing ring = {csvNum, slotMax, start.oldest, start.latest, {}, true};
    for (const auto &[position, bytes] : dataFilesOf(start.files)) {
        ring.files[position] = modelItems(bytes);
    }
    return ring;
}

}  // namespace test
