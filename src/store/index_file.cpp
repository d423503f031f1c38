// SPDX-License-Identifier: Apache-2.0
#include "store/index_file.h"

#include <stdio.h>
#include <string.h>

#include "csvfile/file_names.h"
#include "diagnostics.h"
#include "guards.h"
#include "module_limits.h"
#include "platform.h"
#include "store/index_text.h"

namespace {

/// Where the file system is mounted; its own calls take paths relative to it.
constexpr char kFileSystemRoot[] = "/yaffs";

bool fileExists(const char *path) {
    const jorn::FileGuard file(path, "r");
    return static_cast<bool>(file);
}

/// Keeps the present index as the backup, replacing a backup that may be left from before.
void setBackup(const char *indexPath, const char *backupPath) {
    if (!fileExists(indexPath)) {
        return;
    }
    if (fileExists(backupPath)) {
        rm(backupPath);
    }
    jorn_RenameFile(indexPath, backupPath);
}

/// A path as the file system's own calls take it.
const char *withoutRoot(const char *path) {
    constexpr size_t kRootLength = sizeof kFileSystemRoot - 1;
    return strncmp(path, kFileSystemRoot, kRootLength) == 0 ? path + kRootLength : path;
}

}  // namespace

int32_t jorn_ReadCsvIndexFile(JORN_OBJ *obj) {
    if (obj == nullptr) {
        return -1;
    }
    const jorn::IndexPath indexPath(obj->dirName, jorn::kIndexName);
    const jorn::IndexPath backupPath(obj->dirName, jorn::kBackupName);
    bool isBackup = false;

    jorn::FileGuard index(indexPath.get(), "r");
    if (!index) {
        JORN_PRINT(jorn::kPrintError, "%s: Open index file error!", obj->dirName);
        isBackup = true;
        index.reopen(backupPath.get(), "r");
    }
    if (!index) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Open index backup file error!");
        return -1;
    }
    const int32_t result =
        jorn::scanIndexText(index.get(), &obj->index_version, &obj->csv_oldest, &obj->csv_latest);
    if (result == jorn::kWrongVersion) {
        index.close();
        JORN_PRINT(jorn::kPrintError, "%s: index.csv version error!", obj->dirName);
        return -1;
    }
    if (result < 0) {
        JORN_PRINT(jorn::kPrintError, "%s: read index error!", obj->dirName);
    }
    index.close();
    if (isBackup) {
        jorn_RenameFile(backupPath.get(), indexPath.get());
    }
    return result;
}

int32_t jorn_UpdateCsvIndexFile(JORN_OBJ *obj, int32_t oldest, int32_t latest) {
    if (obj == nullptr) {
        return -1;
    }
    const jorn::IndexPath indexPath(obj->dirName, jorn::kIndexName);
    const jorn::IndexPath backupPath(obj->dirName, jorn::kBackupName);
    setBackup(indexPath.get(), backupPath.get());

    char text[jorn::kIndexTextSize];
    const int length = jorn::buildIndexText(text, oldest, latest);

    jorn::FileGuard index(indexPath.get(), "w");
    if (!index) {
        JORN_PRINT_TEXT(jorn::kPrintError, "Create index.csv error!");
        return -1;
    }
    // Results are ignored on purpose: whatever is on the medium now, the next start copes with it.
    fwrite(text, static_cast<size_t>(length), 1, index.get());
    index.close();
    rm(backupPath.get());
    return 0;
}

int32_t jorn_NewCsvIndexFile(JORN_OBJ *obj) {
    const int32_t result = jorn_UpdateCsvIndexFile(obj, 0, 0);
    if (result >= 0) {
        obj->index_version = jorn::kIndexVersion;
        obj->csv_latest = 0;
        obj->csv_oldest = 0;
    }
    return result;
}

int32_t jorn_RenameFile(const char *src, const char *dst) {
    if (src != nullptr && dst != nullptr) {
        // A failed rename leaves the file under its old name, where the next start finds it.
        yaffs_rename(withoutRoot(src), withoutRoot(dst));
    }
    return 0;
}
