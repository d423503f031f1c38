// SPDX-License-Identifier: Apache-2.0
/**
 * @file jorn.h
 * @brief JORN log store: the only header that firmware includes. (For C++17, jorn.hpp offers it as types.)
 *
 * A log object binds one directory to a ring of 2 to 90 numbered CSV files. Any task submits items
 * (a level, a slot and a text) without ever waiting; the store task `tLogStore` appends them to the
 * ring within about 100 ticks; queries count the items that match a requirement and read them back
 * page by page, newest first.
 *
 * Rules that hold for every function below:
 * - They are called from task context, never from an interrupt handler. Those that say so wait for the
 *   store's file mutex; the others never wait.
 * - A task must not be deleted or suspended while it is in one of them, and the store task never. What such a
 *   task holds is not released: a destruction then waits for ever, rather than free what may still be read,
 *   and prints a message once, after 1,000 ticks; if the task held the file mutex, every call that needs it
 *   waits for ever, without a message.
 * - The result is a signed 32-bit status: a handle, a count, a page number or 0 for success, and -1
 *   for every failure. What went wrong is printed on the console, with few exceptions; see
 *   jorn_SetDebugPrintLevel().
 * - Creation and destruction of an object must not run at the same time as any other call for that
 *   same object, and two calls of creation or destruction never run at the same time. All other
 *   calls may run at the same time, for one object or for several, unless a function says otherwise.
 * - Times are unsigned 32-bit seconds since 1970-01-01 00:00:00 UTC. Storing, filtering and counting are
 *   good until the year 2106. The printed time of a record is as good as the platform's ctime(): where time_t
 *   is a signed 32-bit number, times from 2038-01-19 on are printed as if they were 1901 and later.
 * - "Stack of the caller" is what a call was measured to use, all that it calls included, on an emulated ARM
 *   board with YAFFS and newlib as its C library. Leave a margin: other platforms, and messages, may need
 *   more.
 *
 * The header compiles as C99 and as C++17.
 */
#ifndef JORN_H
#define JORN_H

#include <stdint.h>

/** Marks the functions that the module exports; everything else stays hidden. */
#if defined(__GNUC__)
#define JORN_API __attribute__((visibility("default")))
#else
#define JORN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Levels of an object: valid levels are below this number. */
#define JORN_LEVEL_MAX 4
/** The debug level: left out of a query that names no level. */
#define JORN_LEVEL_DEBUG 3
/** Most slots that an object may have. */
#define JORN_SLOT_MAX 8
/** Fewest data files of one object. */
#define JORN_CSV_NUM_MIN 2
/** Most data files of all objects together. */
#define JORN_CSV_NUM_MAX 90
/** Items in a data file after which the next file of the ring is started. */
#define JORN_CSV_ITEM_MAX 5000
/** Bytes of an item's text that are kept. */
#define JORN_TEXT_MAX 198
/** Store messages that can wait between two passes of the store task. */
#define JORN_QUEUE_MAX 512
/** Ticks between two passes of the store task. */
#define JORN_STORE_TICKS 100
/** Longest directory name in characters, without its NUL. */
#define JORN_DIR_NAME_MAX 31
/** Most records of one page. */
#define JORN_REQUIRE_PAGE_MAX 20

/**
 * @brief What a query asks for. Passed by value; the caller's record is never changed.
 *
 * Start from all fields -1 and set what is wanted; retrieval needs itemsPerPage and pageDisp too. Day
 * limits that contradict each other, or what is stored, make a query fail. A level of 4 or more, or a slot
 * that the object does not have, is not checked and gives meaningless counts: files between the ends of the
 * range are then counted over levels 0 to 2, or over all slots.
 */
typedef struct {
    int32_t itemsPerPage; /**< Items per page, 1 or more; more than 20 counts as 20. Retrieval only. */
    int32_t pageDisp;     /**< Page to show, 1 = newest items; negative, or at or beyond the last
                               page = the last page; 0 is refused. Retrieval only. */
    int32_t dayDwLimit;   /**< First day wanted, inclusive, in days since 1970-01-01 UTC (seconds
                               divided by 86400); negative = no lower limit. */
    int32_t dayUpLimit;   /**< Last day wanted, inclusive, same unit; negative = no upper limit. */
    int32_t level;        /**< Level wanted; negative = every level below the debug level 3. */
    int32_t levelMode;    /**< With a level of 0 or more: 0 or less = that level and all below it,
                               1 or more = exactly that level. */
    int32_t slot;         /**< Slot wanted; negative = any slot. */
} JORN_REQUIRE;

/** @brief One item as printable texts; each is NUL-terminated. */
typedef struct {
    char timeStr[28];  /**< Time of submission as the platform's ctime() writes it, in local time,
                            without its line feed; empty when the time cannot be shown. A ctime() with a
                            time_t of 32 bits is right until 2038-01-19 only. */
    char levelStr[16]; /**< Level, as the file holds it: decimal; at most 15 characters. */
    char slotStr[12];  /**< Slot, as the file holds it: decimal; at most 11 characters. */
    char logStr[200];  /**< Text, with the line feed that ends the line in the file; at most 199
                            characters. Empty when the line has no text. */
} JORN_LOG_DISP;

/** @brief One page of items, newest first. Only the first `itemsNum` records are written. */
typedef struct {
    int32_t itemsNum;                          /**< Records filled, 0 to 20. */
    JORN_LOG_DISP disp[JORN_REQUIRE_PAGE_MAX]; /**< The records. */
} JORN_LOG_PAGE;

/**
 * @brief Creates a log object for a directory; logging resumes where it stopped.
 *
 * The directory is created when it is missing (its parent must exist). Its index and files are
 * checked and tidied: gaps in the ring are closed, files beyond the newest @p csv_num are deleted,
 * and every file of the ring's range is read once to summarise it, which takes time in proportion to the
 * items stored. The first object also starts the store task. Finally the item "Log start init!" (level 3,
 * slot 0) is submitted.
 *
 * Blocks on file work and on the file mutex. Call it from one task at a time.
 * Stack of the caller: 1,624 bytes.
 *
 * @param dirName  Absolute path of 2 to 31 characters; trailing slashes are dropped. No other live
 *                 object may use it. Copied.
 * @param slot_max Number of slots, 1 to 8; items go to slots below it.
 * @param csv_num  Number of data files, 2 to 90; all objects together may have 90.
 * @return Handle of the object, 1 or more; -1 when an argument is out of range, the directory cannot be made
 *         or is in use, or memory, the mutex or the queue cannot be obtained. After such a late failure
 *         (memory for the files' summaries, mutex, queue) the files stay counted against the 90 until the
 *         last object is destroyed.
 */
JORN_API int32_t JORN_Create(const char *dirName, int32_t slot_max, int32_t csv_num);

/**
 * @brief Destroys a log object. Its files stay as they are, for the next JORN_Create().
 *
 * Items of this object that are still in the queue are lost or, when its handle is reused before they are
 * stored, stored for the new object: let the store task finish first (300 ticks without new items) where that
 * matters. A file that the store task holds open for the object is closed first, so every item that was
 * written is kept. With the last object, the store task, the queue and the mutex are deleted too.
 *
 * Waits for the file mutex, for a file that is being closed, and until no other task is looking up an object.
 * Call it from one task at a time, when no other call for this handle runs.
 * Stack of the caller: 112 bytes when no file of the object is open. When one has to be closed, leave room
 * for the most that the store task, which closes files too, was measured to use: 1,824 bytes.
 *
 * @param handle_id Handle from JORN_Create(). The newest object's handle can be reused.
 * @return 0, or -1 when there is no such object.
 */
JORN_API int32_t JORN_Destroy(int32_t handle_id);

/**
 * @brief Submits one item. Never waits, takes no lock, touches no file, allocates nothing.
 *
 * The item is stamped with time(NULL) and queued; the store task writes it within about 100 ticks.
 * May be called from any task at any time, by several at once.
 * Stack of the caller: 400 bytes; 924 when the item is refused and a message printed.
 *
 * @param handle_id Handle from JORN_Create().
 * @param level     Below 4; negative values are accepted and stored as they are.
 * @param slot      Below the object's slot_max; negative values are accepted and stored as they are.
 * @param text      NUL-terminated; the first 198 bytes are kept, carriage returns and line feeds
 *                  become blanks, every other byte is stored unchanged.
 * @return 0 when the item is in the queue; -1 when the handle is unknown, level or slot is too
 *         large, the text is null, or the queue is full (512 items); the item is then not stored.
 */
JORN_API int32_t JORN_AddOneLog(int32_t handle_id, int32_t level, int32_t slot, const char *text);

/**
 * @brief Counts the items that match a requirement.
 *
 * Reads the oldest and the newest file of the day range; the files between are counted from memory.
 * Items still in the queue are not seen, nor are the last lines of the file being written until the
 * store task has closed it. Waits for the file mutex and holds it during the count. May be called from any
 * task.
 * Stack of the caller: 1,736 bytes.
 *
 * @param handle  Handle from JORN_Create().
 * @param require What to count; itemsPerPage and pageDisp are not read.
 * @return Number of items, 0 or more; -1 when the handle is unknown, the day limits contradict each
 *         other or no file can hold a day of the range.
 */
JORN_API int32_t JORN_CountRequireTotalNum(int32_t handle, JORN_REQUIRE require);

/**
 * @brief Reads one page of the items that match a requirement, newest first.
 *
 * Waits for the file mutex and holds it from counting to the last record, so that a page is consistent
 * in itself unless the object is cleared meanwhile; items that are stored between two calls shift the
 * pages. May be called from any task. Visibility of fresh items as for JORN_CountRequireTotalNum().
 * Stack of the caller: 2,200 bytes.
 *
 * @param handle  Handle from JORN_Create().
 * @param require What to read, and which page of it.
 * @param out     Receives the page. Untouched when the handle is unknown or 0 is returned.
 * @return Number of the page that was filled, from 1; 0 when page 0 was requested and items match (not
 *         supported); -1 when the handle is unknown, @p out is null, itemsPerPage is 0 or less, or nothing
 *         matches (in the last two cases itemsNum is set to 0).
 */
JORN_API int32_t JORN_GetRequireLog(int32_t handle, JORN_REQUIRE require, JORN_LOG_PAGE *out);

/**
 * @brief Empties an object: its range of files becomes the one file after the current one, which is started
 *        afresh when the store task next writes to it.
 *
 * No file is deleted; the others are overwritten as the ring reaches them. Until an item has been written to
 * the next file, a query, or a creation after a restart, still sees what that file held before, if anything.
 *
 * Clear when the object is idle: nothing submitted for 300 ticks, so that no file is open. Otherwise items
 * up to the next pass that finds the queue empty, the clearing item included, still go to the former file,
 * where no query sees them, and the next file keeps what it held. Waits for the file mutex while the index is
 * rewritten. Two tasks must not clear the same object at once.
 * Stack of the caller: 1,648 bytes.
 *
 * @param handle_id   Handle from JORN_Create().
 * @param addClearLog Greater than 0: submit the item "Log all cleared!" (level 3, slot 0) afterwards.
 * @return 0, or -1 when the handle is unknown or the index file cannot be written (nothing in memory
 *         has changed then).
 */
JORN_API int32_t JORN_ClearAllLog(int32_t handle_id, int32_t addClearLog);

/**
 * @brief Gets the largest item time that any creation has found on the medium since the module was loaded.
 *        Takes no lock; any task.
 *
 * Stack of the caller: 0 bytes.
 *
 * @param csvTime Receives seconds since 1970 UTC, 0 when nothing was found.
 * @return 0, or -1 when @p csvTime is null.
 */
JORN_API int32_t JORN_GetMaxCsvTime(uint32_t *csvTime);

/**
 * @brief Gets the time of the newest item that the object's directory held when it was created. Takes no
 *        lock; any task.
 *
 * Stack of the caller: 32 bytes for its own frames; a message takes more.
 *
 * @param handle_id Handle from JORN_Create().
 * @param csvTime   Receives seconds since 1970 UTC, 0 when there was no item.
 * @return 0, or -1 when @p csvTime is null or the handle is unknown.
 */
JORN_API int32_t JORN_GetFinalCsvTime(int32_t handle_id, uint32_t *csvTime);

/**
 * @brief Sets how much the module prints on the console. Takes no lock; any task.
 *
 * Stack of the caller: 0 bytes.
 *
 * @param level 0 or less: nothing but the line of printErrno() for a refused item; 1 (the default):
 *              errors; 2: counting notes too; 4: information too; 7: traces too; 8: what a query decides
 *              about every line, too.
 */
JORN_API void jorn_SetDebugPrintLevel(int32_t level);

#ifdef __cplusplus
}
#endif

#endif
