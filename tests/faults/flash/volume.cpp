// SPDX-License-Identifier: Apache-2.0
#include "volume.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
#include <common.h>
#include <yaffs_guts.h>
#include <yaffs_packedtags2.h>
#include <yaffsfs.h>

// What the file system needs from its environment.
unsigned yaffs_trace_mask = 0;  // NOLINT(readability-identifier-naming): its name for it
static int lastError;
void yaffsfs_SetError(int error) { lastError = error; }
int yaffsfs_GetLastError(void) { return lastError; }
// The rig lets one task work at a time, so there is nothing to lock.
void yaffsfs_Lock(void) {}
void yaffsfs_Unlock(void) {}
// File headers contain times: a constant makes every run program the same bytes.
u32 yaffsfs_CurrentTime(void) { return 1; }
}

namespace flash {

namespace {

constexpr char kMountPoint[] = "/yaffs";
constexpr mode_t kMode = 0666;
constexpr int kReservedBlocks = 5;
/// The first bytes of the spare area are the mark for bad blocks.
constexpr size_t kTagsOffset = 2;

yaffs_dev device;
Nand *chip;

int writePage(yaffs_dev *, int number, const u8 *data, const yaffs_ext_tags *tags) {
    Operation operation;
    operation.place = static_cast<size_t>(number);
    if (data != nullptr) {
        memcpy(operation.page.data.data(), data, kPageBytes);
    }
    yaffs_packed_tags2 packed;
    memset(&packed, 0, sizeof packed);
    yaffs_pack_tags2(&packed, tags, 1);
    memcpy(operation.page.spare.data() + kTagsOffset, &packed, sizeof packed);
    chip->perform(operation);
    return YAFFS_OK;
}

int readPage(yaffs_dev *, int number, u8 *data, yaffs_ext_tags *tags) {
    const Page &page = chip->page(static_cast<size_t>(number));
    const bool isUnreadable = chip->state(static_cast<size_t>(number)) == PageState::Unreadable;
    if (data != nullptr) {
        memcpy(data, page.data.data(), kPageBytes);
    }
    if (tags != nullptr) {
        yaffs_packed_tags2 packed;
        memcpy(&packed, page.spare.data() + kTagsOffset, sizeof packed);
        yaffs_unpack_tags2(tags, &packed, 1);
        tags->ecc_result = isUnreadable ? YAFFS_ECC_RESULT_UNFIXED : YAFFS_ECC_RESULT_NO_ERROR;
    }
    return isUnreadable ? YAFFS_FAIL : YAFFS_OK;
}

int eraseBlock(yaffs_dev *, int block) {
    Operation operation;
    operation.isErase = true;
    operation.place = static_cast<size_t>(block);
    chip->perform(operation);
    return YAFFS_OK;
}

int initialise(yaffs_dev *) { return YAFFS_OK; }

/// Never called on this chip, which has no bad blocks: a retired block would be a loss of its own.
int markBad(yaffs_dev *, int block) {
    fprintf(stderr, "the file system retired block %d\n", block);
    abort();
}

int queryBlock(yaffs_dev *, int block, yaffs_block_state *state, u32 *sequence) {
    const size_t first = static_cast<size_t>(block) * kPagesPerBlock;
    *sequence = 0;
    switch (chip->state(first)) {
        case PageState::Erased:
            *state = YAFFS_BLOCK_STATE_EMPTY;
            // A cut can leave the first page blank and no other: pages are programmed in order.
            return YAFFS_OK;
        case PageState::Unreadable:
            *state = YAFFS_BLOCK_STATE_NEEDS_SCAN;
            *sequence = YAFFS_LOWEST_SEQUENCE_NUMBER;
            return YAFFS_OK;
        case PageState::Good:
            break;
    }
    yaffs_ext_tags tags;
    readPage(nullptr, static_cast<int>(first), nullptr, &tags);
    *state = YAFFS_BLOCK_STATE_NEEDS_SCAN;
    *sequence = tags.seq_number;
    return YAFFS_OK;
}

/// Makes the device fresh, except for its place in the file system's list.
void resetDevice(int caches) {
    const list_head place = device.dev_list;
    memset(static_cast<void *>(&device), 0, sizeof device);
    device.dev_list = place;
    yaffs_param &param = device.param;
    param.name = kMountPoint;
    param.total_bytes_per_chunk = kPageBytes;
    param.spare_bytes_per_chunk = kSpareBytes;
    param.chunks_per_block = kPagesPerBlock;
    param.end_block = static_cast<int>(chip->blocks()) - 1;
    param.n_reserved_blocks = kReservedBlocks;
    param.n_caches = caches;
    param.use_nand_ecc = 1;
    param.is_yaffs2 = 1;
    param.write_chunk_tags_fn = writePage;
    param.read_chunk_tags_fn = readPage;
    param.erase_fn = eraseBlock;
    param.initialise_flash_fn = initialise;
    param.bad_block_fn = markBad;
    param.query_block_fn = queryBlock;
}

std::string readFile(const std::string &path) {
    const int file = yaffs_open(path.c_str(), O_RDONLY, 0);
    if (file < 0) {
        return "(cannot be opened)";
    }
    std::string bytes;
    char buffer[kPageBytes];
    for (int got = yaffs_read(file, buffer, sizeof buffer); got > 0;
         got = yaffs_read(file, buffer, sizeof buffer)) {
        bytes.append(buffer, static_cast<size_t>(got));
    }
    yaffs_close(file);
    return bytes;
}

}  // namespace

bool Volume::powerOn(Nand *on, int caches) {
    chip = on;
    resetDevice(caches);
    yaffs_add_device(&device);
    // The list keeps the device from the first time on, and adding it again sets nothing: what it set must
    // survive resets.
    device.is_mounted = 0;
    static auto *const removeCallback = device.param.remove_obj_fn;
    device.param.remove_obj_fn = removeCallback;
    return yaffs_mount(kMountPoint) == 0;
}

void Volume::powerOff() { yaffs_deinitialise(&device); }

Directory Volume::readAll(const std::string &directory) {
    Directory files;
    yaffs_DIR *const open = yaffs_opendir(directory.c_str());
    if (open == nullptr) {
        return files;
    }
    while (const yaffs_dirent *entry = yaffs_readdir(open)) {
        const std::string path = directory + "/" + entry->d_name;
        struct yaffs_stat status;
        if (yaffs_stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
            files[entry->d_name] = readFile(path);
        }
    }
    yaffs_closedir(open);
    return files;
}

bool Volume::write(const std::string &path, const std::string &bytes) {
    const int file = yaffs_open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, kMode);
    if (file < 0) {
        return false;
    }
    const int written = yaffs_write(file, bytes.data(), static_cast<unsigned>(bytes.size()));
    return yaffs_close(file) == 0 && written == static_cast<int>(bytes.size());
}

int Volume::open(const char *path, int flags) { return yaffs_open(path, flags, kMode); }

ssize_t Volume::read(int file, char *buffer, size_t size) {
    return yaffs_read(file, buffer, static_cast<unsigned>(size));
}

ssize_t Volume::write(int file, const char *bytes, size_t size) {
    return yaffs_write(file, bytes, static_cast<unsigned>(size));
}

off_t Volume::seek(int file, off_t offset, int whence) { return yaffs_lseek(file, offset, whence); }

int Volume::close(int file) { return yaffs_close(file); }

int Volume::rename(const char *from, const char *to) { return yaffs_rename(from, to); }

int Volume::remove(const char *path) { return yaffs_unlink(path); }

int Volume::makeDirectory(const char *path) { return yaffs_mkdir(path, kMode); }

void *Volume::openDirectory(const char *path) { return yaffs_opendir(path); }

int Volume::closeDirectory(void *directory) { return yaffs_closedir(static_cast<yaffs_DIR *>(directory)); }

}  // namespace flash
