/* SPDX-License-Identifier: Apache-2.0 */
#include "flash.h"

#include <common.h>
#include <semLib.h>
#include <yaffs_guts.h>
#include <yaffs_packedtags2.h>
#include <yaffsfs.h>

#include "clock.h"
#include "machine.h"

enum { PAGE = 2048, SPARE = 64, BLOCK = 64, BLOCKS = 16, PAGES = BLOCK * BLOCKS, RESERVED = 5, CACHES = 10 };
/* The first bytes of the spare area are the mark for bad blocks. */
enum { TAGS = 2 };

/* What the chip's controller reports about a page: one that a cut hit in the middle cannot be corrected. */
enum state { UNREADABLE, ERASED, GOOD };

struct chip {
    struct {
        uint8_t data[PAGE], spare[SPARE];
        uint32_t state;
    } pages[PAGES];
};

static BOARD_KEPT struct chip chip, keptChip;
static struct yaffs_dev device;
static SEM_ID fileSystem;
static uint32_t operations, erases, cutAt;

/* What the file system needs from its environment. */
unsigned yaffs_trace_mask = 0;
void yaffsfs_SetError(int error) { errno = -error; }
int yaffsfs_GetLastError(void) { return errno; }
void yaffsfs_Lock(void) { semTake(fileSystem, WAIT_FOREVER); }
void yaffsfs_Unlock(void) { semGive(fileSystem); }
u32 yaffsfs_CurrentTime(void) { return boardTime(); }

static void broken(const char *rule, int place) {
    printf("NAND: %s, %d\n", rule, place);
    boardExit(4);
}

static void countOperation(void) {
    if (++operations == cutAt) {
        boardPowerCut();
    }
}

static int writePage(struct yaffs_dev *unused, int number, const u8 *data,
                     const struct yaffs_ext_tags *tags) {
    struct yaffs_packed_tags2 packed;
    (void)unused;
    for (int later = number; later < PAGES && (later == number || later % BLOCK != 0); ++later) {
        if (chip.pages[later].state != ERASED) {
            broken("page programmed twice or out of order", number);
        }
    }
    memset(&packed, 0, sizeof packed);
    yaffs_pack_tags2(&packed, tags, 1);
    chip.pages[number].state = UNREADABLE;
    if (data != NULL) {
        memcpy(chip.pages[number].data, data, PAGE);
    }
    countOperation();
    memcpy(chip.pages[number].spare + TAGS, &packed, sizeof packed);
    chip.pages[number].state = GOOD;
    return YAFFS_OK;
}

static int readPage(struct yaffs_dev *unused, int number, u8 *data, struct yaffs_ext_tags *tags) {
    const int isReadable = chip.pages[number].state != UNREADABLE;
    (void)unused;
    if (data != NULL) {
        memcpy(data, chip.pages[number].data, PAGE);
    }
    if (tags != NULL) {
        struct yaffs_packed_tags2 packed;
        memcpy(&packed, chip.pages[number].spare + TAGS, sizeof packed);
        yaffs_unpack_tags2(tags, &packed, 1);
        tags->ecc_result = isReadable ? YAFFS_ECC_RESULT_NO_ERROR : YAFFS_ECC_RESULT_UNFIXED;
    }
    return isReadable ? YAFFS_OK : YAFFS_FAIL;
}

static void erasePages(int first, int end) {
    for (int page = first; page < end; ++page) {
        chip.pages[page].state = UNREADABLE;
    }
    for (int page = first; page < end; ++page) {
        memset(chip.pages[page].data, 0xff, PAGE);
        memset(chip.pages[page].spare, 0xff, SPARE);
    }
}

static int eraseBlock(struct yaffs_dev *unused, int block) {
    (void)unused;
    erasePages(block * BLOCK, (block + 1) * BLOCK);
    ++erases;
    countOperation();
    for (int page = block * BLOCK; page < (block + 1) * BLOCK; ++page) {
        chip.pages[page].state = ERASED;
    }
    return YAFFS_OK;
}

static int initialise(struct yaffs_dev *unused) {
    (void)unused;
    return YAFFS_OK;
}

static int markBad(struct yaffs_dev *unused, int block) {
    (void)unused;
    broken("the file system retired a block", block);
    return YAFFS_FAIL;
}

static int queryBlock(struct yaffs_dev *unused, int block, enum yaffs_block_state *state, u32 *sequence) {
    const int first = block * BLOCK;
    struct yaffs_ext_tags tags;
    *sequence = 0;
    *state = YAFFS_BLOCK_STATE_EMPTY;
    if (chip.pages[first].state == ERASED) {
        return YAFFS_OK;
    }
    *state = YAFFS_BLOCK_STATE_NEEDS_SCAN;
    *sequence = YAFFS_LOWEST_SEQUENCE_NUMBER;
    if (readPage(unused, first, NULL, &tags) == YAFFS_OK) {
        *sequence = tags.seq_number;
    }
    return YAFFS_OK;
}

void boardFlashErase(void) {
    erasePages(0, PAGES);
    for (int page = 0; page < PAGES; ++page) {
        chip.pages[page].state = ERASED;
    }
}

void boardFlashMount(void) {
    struct yaffs_param *const param = &device.param;
    fileSystem = semMCreate(SEM_Q_PRIORITY | SEM_INVERSION_SAFE);
    param->name = "/";
    param->total_bytes_per_chunk = PAGE;
    param->spare_bytes_per_chunk = SPARE;
    param->chunks_per_block = BLOCK;
    param->end_block = BLOCKS - 1;
    param->n_reserved_blocks = RESERVED;
    param->n_caches = CACHES;
    param->use_nand_ecc = 1;
    param->is_yaffs2 = 1;
    param->write_chunk_tags_fn = writePage;
    param->read_chunk_tags_fn = readPage;
    param->erase_fn = eraseBlock;
    param->initialise_flash_fn = initialise;
    param->bad_block_fn = markBad;
    param->query_block_fn = queryBlock;
    yaffs_add_device(&device);
    if (yaffs_mount("/") != 0) {
        broken("the file system cannot be mounted", errno);
    }
}

void boardFlashKeep(void) { keptChip = chip; }
void boardFlashRestore(void) { chip = keptChip; }

uint32_t boardFlashOperations(void) { return operations; }
uint32_t boardFlashErases(void) { return erases; }
void boardFlashCutAt(uint32_t operation) { cutAt = operation; }
