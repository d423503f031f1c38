// SPDX-License-Identifier: Apache-2.0
#include "store/index_file.h"

#include <stdio.h>
#include <string.h>

#include "csvfile/file_names.h"
#include "diagnostics.h"
#include "guards.h"
#include "module_limits.h"
#include "platform.h"

namespace {

/// Where the file system is mounted; its own calls take paths from there.
constexpr char kFileSystemRoot[] = "/yaffs";

bool fileExists(const char *path) {
    const jorn::FileGuard file(path, "r");
    return static_cast<bool>(file);
}

/// Numbers are scanned as wide as the format is, which differs between machines. One that does not fit is
/// seen as what it is, far outside any ring, on each of them.
int32_t saturated(int64_t number) {
    if (number > INT32_MAX) {
        return INT32_MAX;
    }
    return number < INT32_MIN ? INT32_MIN : static_cast<int32_t>(number);
}

/// Reads the version line. What was read stays in the object even when it is refused.
bool readVersion(JORN_OBJ *obj, FILE *index) {
    long version = obj->index_version;
    const int converted = fscanf(index, "version:%ld\n", &version);
    obj->index_version = saturated(version);
    return converted > 0 && obj->index_version == jorn::kIndexVersion;
}

/// Reads the positions into the object, where they stay even when they are refused. Returns how many
/// were read, -1 when there is none or one is too large.
int32_t readPositions(JORN_OBJ *obj, FILE *index) {
    long oldest = obj->csv_oldest;
    long latest = obj->csv_latest;
    const int converted = fscanf(index, "%ld,%ld", &oldest, &latest);
    obj->csv_oldest = saturated(oldest);
    obj->csv_latest = saturated(latest);
    const bool isRefused =
        converted <= 0 || obj->csv_oldest >= jorn::kCsvNumMax || obj->csv_latest >= jorn::kCsvNumMax;
    return isRefused ? -1 : converted;
}

/// Keeps the present index as the backup, in place of a backup that may be left from before.
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
    if (!readVersion(obj, index.get())) {
        index.close();
        JORN_PRINT(jorn::kPrintError, "%s: index.csv version error!", obj->dirName);
        return -1;
    }
    const int32_t result = readPositions(obj, index.get());
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

    char text[256];
    const int length = sprintf(text, "version:%d\n%ld,%ld\n", static_cast<int>(jorn::kIndexVersion),
                               jorn::asLong(oldest), jorn::asLong(latest));

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
