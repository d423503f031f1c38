// SPDX-License-Identifier: Apache-2.0
// Cuts a stream of bytes into lines, and lines into texts that fit an item.
#ifndef JORN_TOOLS_ITEM_SPLITTER_H
#define JORN_TOOLS_ITEM_SPLITTER_H

#include <stdint.h>

#include <array>
#include <functional>
#include <optional>
#include <string_view>

#include "module_limits.h"

namespace tool {

/// Memory does not grow with the length of a line. A line ends with a line feed, or a carriage return and
/// a line feed. A NUL becomes a blank, for it would end the text. A text that is UTF-8 ends with a whole
/// character, so that one of a long line can be up to three bytes shorter than the most.
class ItemSplitter {
public:
    /// What becomes of a line that is longer than a text.
    enum class LongLine { Cut, Split };

    /// Is given each text, at most 198 bytes and a NUL behind them, with the level that its line asks for.
    using Sink = std::function<void(std::optional<int> level, const char *text)>;

    /// With `hasPrefixes`, a "<N>" at the beginning of a line, N being a severity of syslog, is taken off and
    /// sets the level.
    ItemSplitter(LongLine longLine, bool hasPrefixes, Sink sink);

    void feed(std::string_view block);

    /// Ends a last line that has no line feed.
    void finish();

    uint64_t lines() const { return lines_; }
    uint64_t cutLines() const { return cutLines_; }

private:
    size_t takeWholeLine(std::string_view block);
    void takeByte(char byte);
    void takePrefix();
    void put(char byte);
    void putPendingReturn();
    void cut();
    void emit(size_t length);
    void endLine();

    const LongLine longLine_;
    const bool hasPrefixes_;
    const Sink sink_;
    /// So many bytes beyond a text show whether a character reaches into it.
    static constexpr size_t kAhead = 3;
    std::array<char, jorn::kTextMax + kAhead> text_{};
    size_t size_ = 0;
    bool isLineBegun_ = false;
    bool isReturnPending_ = false;  ///< A carriage return came last; it may belong to the line end.
    bool isCut_ = false;            ///< What is held is all that becomes an item of the line.
    bool isPrefixPossible_;         ///< What is held of the line may be the begin of a prefix.
    std::optional<int> level_;
    uint64_t lines_ = 0;
    uint64_t cutLines_ = 0;
};

}  // namespace tool

#endif
