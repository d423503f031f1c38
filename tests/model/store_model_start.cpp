// SPDX-License-Identifier: Apache-2.0
// The index, and what a start makes of a directory.
#include <algorithm>
#include <limits>

#include "model/store_model.h"
#include "model/summary_model.h"
#include "model/tidying_model.h"

namespace test {

using probe::Way;

int32_t StoreModel::readIndex(ModelObject *object) {
    const std::string indexPath = object->dir + "/index.csv";
    const std::string backupPath = object->dir + "/index.bak";
    std::string path = indexPath;
    if (!open(path, "r", "open the index")) {
        say(full(object->dir) + ": Open index file error!");
        path = backupPath;
        if (!open(path, "r", "open the backup")) {
            say("Open index backup file error!");
            return -1;
        }
    }
    const std::string bytes = files_[path];
    size_t place = 0;
    if (!passes({"fscanf"}, "read the version") || !modelTakeVersion(bytes, &place, &object->index)) {
        fault({"fclose"}, "close a file that was read");
        say(full(object->dir) + ": index.csv version error!");
        return -1;
    }
    const auto way = fault({"fscanf"}, "read the positions");
    int32_t numbers = -1;
    if (!way || way == Way::kShort) {
        numbers = modelTakePositions(bytes, &place, way ? 1 : 2, &object->index);
    }
    if (numbers < 0) {
        say(full(object->dir) + ": read index error!");
    }
    fault({"fclose"}, "close a file that was read");
    if (path == backupPath) {
        renameFile(backupPath, indexPath, "make the backup the index");
    }
    return numbers;
}

int32_t StoreModel::rewriteIndex(const ModelObject &object, int32_t oldest, int32_t latest) {
    const std::string indexPath = object.dir + "/index.csv";
    const std::string backupPath = object.dir + "/index.bak";
    if (exists(indexPath, "look for the index")) {
        if (exists(backupPath, "look for the backup")) {
            removeFile(backupPath, "delete the former backup");
        }
        renameFile(indexPath, backupPath, "keep the index as backup");
    }
    if (!open(indexPath, "w", "create the index")) {
        say("Create index.csv error!");
        return -1;
    }
    Stream stream{indexPath, ""};
    write(&stream, modelIndexText(oldest, latest), "write the index");
    close(&stream, "close the index");
    removeFile(backupPath, "delete the backup");
    return 0;
}

void StoreModel::tidy(ModelObject *object) {
    const ModelIndex former = object->index;
    const tidying_model::Plan plan = tidying_model::survey(
        former.oldest, former.latest, object->csvNum,
        [&](int position) { return exists(object->path(position), "look for a data file"); });
    removals_.clear();
    const auto remove = [&](int position) {
        const std::string path = object->path(position);
        removals_.push_back({files_[path], false});
        removeFile(path, "delete a surplus data file");
    };
    const auto rename = [&](int position, int target) {
        const std::string path = object->path(target);
        const auto replaced = files_.find(path);
        if (replaced != files_.end()) {
            removals_.push_back({replaced->second, true});
        }
        renameFile(object->path(position), path, "move a data file");
    };
    tidying_model::apply(plan, former.latest, remove, rename);
    object->index.oldest = static_cast<int32_t>(plan.oldest);
    object->index.latest = static_cast<int32_t>(plan.latest);
    if (object->index.latest != former.latest || object->index.oldest != former.oldest) {
        rewriteIndex(*object, object->index.oldest, object->index.latest);
    }
}

void StoreModel::analyseFile(ModelObject *object, int32_t position) {
    JORN_CSV_INFO summary = {};
    if (!open(object->path(position), "r", "open a data file to summarise it")) {
        say("Open file error: " + csvName(position) + "!");
    } else {
        const auto takeIn = [&](const ModelLine &line) {
            if (line.isItem()) {
                modelRead(line.item(), object->slotMax, &summary);
            } else if (!line.isBlank) {
                say(line.parse.message);
            }
            return true;
        };
        readLines(object->path(position), "read a line to summarise it", std::numeric_limits<int32_t>::max(),
                  takeIn);
    }
    object->at(position) = summary;
    if (summary.itemCount == 0) {
        say("Error: analyse " + csvName(position) + " failed!");
    }
    object->finalTime = object->finalTime == 0 ? summary.timeLast : object->finalTime;
    maxTime_ = std::max(maxTime_, summary.timeMax);
}

void StoreModel::analyse(ModelObject *object) {
    object->isIndexRefused = readIndex(object) < 0;
    if (object->isIndexRefused && rewriteIndex(*object, 0, 0) >= 0) {
        object->index = {1, 0, 0};
    }
    tidy(object);
    for (const int32_t position : object->newestFirst()) {
        analyseFile(object, position);
    }
}

}  // namespace test
