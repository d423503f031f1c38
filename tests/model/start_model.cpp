// SPDX-License-Identifier: Apache-2.0
#include "model/start_model.h"

#include <algorithm>

#include "model/line_model.h"
#include "model/ring_files.h"
#include "model/store_model.h"

namespace test {

ModelStart modelStart(const NamedFiles &files, int32_t csvNum, int32_t slotMax) {
    constexpr char kDirectory[] = "log";
    StoreModel store;
    for (const auto &[name, bytes] : files) {
        store.put(std::string(kDirectory) + "/" + name, bytes);
    }
    const ModelObject &object = store.at(store.start(kDirectory, csvNum, slotMax));
    const std::vector<ModelRemoval> &removals = store.removals();
    const bool isFileReplaced = std::any_of(
        removals.begin(), removals.end(), [](const ModelRemoval &removal) { return removal.isRenamedOver; });
    return {object.index.oldest, object.index.latest,       object.summaries, object.finalTime,
            store.maxTime(),     store.filesIn(kDirectory), isFileReplaced};
}

ModelRing modelRingOf(const ModelStart &start, int32_t csvNum, int32_t slotMax) {
    ModelRing ring = {csvNum, slotMax, start.oldest, start.latest, {}, true};
    for (int position = 0; position < 90; ++position) {
        const auto file = start.files.find(csvName(position));
        if (file != start.files.end()) {
            ring.files[position] = modelItems(file->second);
        }
    }
    return ring;
}

}  // namespace test
