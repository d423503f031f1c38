// SPDX-License-Identifier: Apache-2.0
// What the server keeps of a data file: a few numbers of each item, by column, and enough of the file to
// recognise it. Texts are never kept: they are read from the file when they are asked for.
#ifndef JORN_TOOLS_LOG_BLOCK_H
#define JORN_TOOLS_LOG_BLOCK_H

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "log/ring_view.h"
#include "log/store_directory.h"
#include "log/stored_line.h"
#include "module_limits.h"
#include "system/file_mark.h"

namespace tool {

/// Level and slot of an item in one number below kKinds. Levels outside 0 to 3 and slots outside 0 to 7,
/// which only a damaged file holds, are told apart no further than filters do.
using ItemKind = uint8_t;

inline constexpr size_t kLevelCodes = jorn::kLevelMax + 2;  ///< 0 to 3, then those below 0 and those above 3.
inline constexpr size_t kSlotCodes = jorn::kSlotMax + 1;    ///< 0 to 7, then all others.
inline constexpr size_t kKinds = kLevelCodes * kSlotCodes;

inline ItemKind kindOf(const LineNumbers &numbers) {
    const bool isLevel = numbers.level >= 0 && numbers.level < jorn::kLevelMax;
    const bool isSlot = numbers.slot >= 0 && numbers.slot < jorn::kSlotMax;
    const int strayLevel = numbers.level < 0 ? jorn::kLevelMax : jorn::kLevelMax + 1;
    const auto level = static_cast<size_t>(isLevel ? numbers.level : strayLevel);
    const auto slot = static_cast<size_t>(isSlot ? numbers.slot : jorn::kSlotMax);
    return static_cast<ItemKind>(level * kSlotCodes + slot);
}

inline size_t levelCodeOf(ItemKind kind) { return kind / kSlotCodes; }
inline size_t slotCodeOf(ItemKind kind) { return kind % kSlotCodes; }

/// The items of a file, or of a part of it, in the file's order.
struct ItemColumns {
    uint64_t id = 0;  ///< Of these very columns, for caches.
    std::vector<uint32_t> times;
    std::vector<uint32_t> offsets;  ///< Of their lines in the file.
    std::vector<ItemKind> kinds;
    uint32_t earliest = UINT32_MAX;
    uint32_t latest = 0;

    size_t size() const { return times.size(); }
    void add(const Line &line);
};

/// A file in view, or a part of it that was added to the view at once.
struct LogBlock {
    std::shared_ptr<const StoreDirectory> directory;
    int number = -1;      ///< In the file's name.
    FileMark mark;        ///< As the file was when it was read,
    std::string begin;    ///< with its first bytes
    std::string end;      ///< and its last ones.
    uint64_t readTo = 0;  ///< Where the next line begins.
    std::shared_ptr<const ItemColumns> columns;

    /// Its only line lacks its end: another item may take the place of this one.
    bool isUnfinished = false;

    /// The number of its first item among all that the log has had in view since the server was started. An
    /// item keeps its number; a new one gets a higher one than all before it.
    int64_t firstSerial = 0;

    size_t size() const { return columns->size(); }
    int64_t endSerial() const { return firstSerial + static_cast<int64_t>(size()); }
};

/// Whether an opened file still begins with what the block was made from.
bool continues(const RingFile &file, const LogBlock &block);

enum class LastLine {
    Finished,  ///< One that lacks its end is left out.
    Any,
};

/// Reads the items of an opened file from `readTo` on, which is moved. False when the file was emptied
/// meanwhile; then the columns are of no use.
bool readColumns(const RingFile &file, LastLine last, uint64_t *readTo, ItemColumns *columns);

/// The file that a block was made from, opened to read lines of it.
class BlockReader {
public:
    explicit BlockReader(const LogBlock &block);

    /// The line of the item at an offset, valid until the next call; nothing readable gives an empty line.
    Line lineAt(uint32_t offset);

    /// Whether what was read up to now was the block's. Nothing read is to be used before this is asked.
    bool isStill() const;

    const RingFile &file() const { return file_; }

private:
    RingFile file_;
    uint64_t readTo_ = 0;
    uint64_t windowBegin_ = 0;
    std::string window_;
};

}  // namespace tool

#endif
