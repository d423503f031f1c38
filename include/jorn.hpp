// SPDX-License-Identifier: Apache-2.0
/**
 * @file jorn.hpp
 * @brief JORN log store for C++17: the functions of jorn.h as types.
 *
 *     enum class Severity { Alarm, Fault, Event, Trace };
 *     enum class Door { Front, Back };
 *
 *     jorn::Log doors = jorn::Log::open("/yaffs/doors", 2, 10);
 *     doors.log(Severity::Event, Door::Back, "open");
 *     doors.logf(Severity::Fault, Door::Front, "motor at %d degrees", 71);
 *
 *     JORN_LOG_PAGE room;
 *     for (const jorn::Page page : doors.pages(jorn::Query().slot(Door::Back), room)) {
 *         for (const JORN_LOG_DISP &item : page) {
 *             printf("%s %s", item.timeStr, item.logStr);
 *         }
 *     }
 *
 * Header only. It throws nothing and needs neither exceptions, type information nor the heap: errors are
 * values. In an optimised build each call is the call of jorn.h that it stands for, without one instruction
 * more, except Log::logf(), which first formats a text.
 *
 * The rules at the head of jorn.h hold: task context only, never an interrupt handler; no task deleted or
 * suspended in a call. A call takes the stack of the function of jorn.h that it names.
 */
#ifndef JORN_HPP
#define JORN_HPP

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>

#include <optional>
#include <type_traits>

#include "jorn.h"

namespace jorn {

/// What a Level or a Slot can be made from: an enumerator of any enumeration of at most 32 bits, or an
/// integer of a type whose values all fit an int32_t. A bool is neither.
template <typename T>
constexpr bool kIsNumber = (std::is_enum_v<T> && sizeof(T) <= sizeof(int32_t)) ||
                           (std::is_integral_v<T> && !std::is_same_v<T, bool> &&
                            (sizeof(T) < sizeof(int32_t) ||
                             (sizeof(T) == sizeof(int32_t) && std::is_signed_v<T>)));

/// An application's own number where the store takes an int32_t. Made implicitly from an enumerator or from
/// an integer; its range is not checked here. @p Of keeps levels and slots apart.
template <typename Of>
class Number {
public:
    template <typename T, typename = std::enable_if_t<kIsNumber<T>>>
    constexpr Number(T value) noexcept : number_(static_cast<int32_t>(value)) {}

    constexpr int32_t number() const noexcept { return number_; }

private:
    int32_t number_;
};

/// A level: 0 to 3, lower is more important by convention, 3 (JORN_LEVEL_DEBUG) is the debug level.
using Level = Number<struct OfLevel>;

/// A slot: 0 to one less than the log's number of slots.
using Slot = Number<struct OfSlot>;

/// The day, as queries count them, of a time in seconds since 1970-01-01 00:00:00 UTC: 0 to 49710. Where
/// time_t is wider: dayOf(static_cast<uint32_t>(time(nullptr))).
constexpr int32_t dayOf(uint32_t seconds) noexcept { return static_cast<int32_t>(seconds / 86400U); }

/// @brief Which items are wanted. By default, every item of every day and slot below the debug level.
///
/// A plain value; a setter changes its query and returns it, so that they can be chained. What a setter sets
/// stays until it is set again:
///
///     const jorn::Query faults = jorn::Query().levelsUpTo(Severity::Fault).days(today - 6, today);
///
/// Nothing is checked here. Days that contradict each other, or what is stored, make a query fail; a level of
/// 4 or more, or a slot that the log does not have, gives meaningless counts (JORN_REQUIRE in jorn.h).
class Query {
public:
    /// Items of the days from @p first to @p last, both included, in days since 1970-01-01 UTC (dayOf());
    /// a negative number opens that side.
    constexpr Query &days(int32_t first, int32_t last) noexcept {
        firstDay_ = first;
        lastDay_ = last;
        return *this;
    }

    /// Items of one day.
    constexpr Query &day(int32_t wanted) noexcept { return days(wanted, wanted); }

    /// Items of @p first and all later days.
    constexpr Query &since(int32_t first) noexcept { return days(first, -1); }

    /// Items of exactly this level; of every level below the debug level when it is negative.
    constexpr Query &level(Level wanted) noexcept {
        level_ = wanted.number();
        levelMode_ = 1;
        return *this;
    }

    /// Items of this level and of all that are more important, that is, of lower number.
    constexpr Query &levelsUpTo(Level least) noexcept {
        level_ = least.number();
        levelMode_ = 0;
        return *this;
    }

    /// Items of every level, the debug level included.
    constexpr Query &everyLevel() noexcept { return levelsUpTo(JORN_LEVEL_DEBUG); }

    /// Items of this slot; of any slot when it is negative.
    constexpr Query &slot(Slot wanted) noexcept {
        slot_ = wanted.number();
        return *this;
    }

    /// The record of jorn.h that requests one page of these items; counting reads neither argument. jorn.h
    /// describes both, at pageDisp and itemsPerPage.
    constexpr JORN_REQUIRE page(int32_t number, int32_t itemsPerPage) const noexcept {
        return {itemsPerPage, number, firstDay_, lastDay_, level_, levelMode_, slot_};
    }

private:
    int32_t firstDay_ = -1;
    int32_t lastDay_ = -1;
    int32_t level_ = -1;
    int32_t levelMode_ = -1;
    int32_t slot_ = -1;
};

/// @brief One page of items, newest first: a view of the caller's JORN_LOG_PAGE, good until that is filled
/// again.
class Page {
public:
    constexpr Page(int32_t number, const JORN_LOG_PAGE &items) noexcept : number_(number), items_(&items) {}

    /// Its number; 1 is the newest.
    constexpr int32_t number() const noexcept { return number_; }
    /// Its items, 0 to 20.
    constexpr int32_t size() const noexcept { return items_->itemsNum; }
    constexpr const JORN_LOG_DISP *begin() const noexcept { return items_->disp; }
    constexpr const JORN_LOG_DISP *end() const noexcept { return items_->disp + items_->itemsNum; }

private:
    int32_t number_;
    const JORN_LOG_PAGE *items_;
};

/// @brief The pages of a query, for a range-based for loop; made by Log::pages(), which states the rules.
///
/// Only one loop can use it at a time, as all pages share one record.
class Pages {
public:
    /// Where the loop ends.
    class End {};

    /// The page that the loop is at.
    class Iterator {
    public:
        explicit Iterator(Pages &pages) noexcept : pages_(&pages) {}

        Page operator*() const noexcept { return {pages_->require_.pageDisp, *pages_->room_}; }
        Iterator &operator++() noexcept {
            pages_->turnTo(pages_->require_.pageDisp + 1);
            return *this;
        }
        bool operator!=(End /*unused*/) const noexcept { return pages_->isFilled_; }

    private:
        Pages *pages_;
    };

    Pages(int32_t handle, const JORN_REQUIRE &require, JORN_LOG_PAGE &room) noexcept
        : handle_(handle), require_(require), room_(&room) {}

    /// Reads the first page, the newest.
    Iterator begin() noexcept {
        turnTo(1);
        return Iterator(*this);
    }

    static constexpr End end() noexcept { return {}; }

private:
    /// Beyond the last page the store shows the last one again, by its own number: that ends the range.
    void turnTo(int32_t number) noexcept {
        require_.pageDisp = number;
        isFilled_ = JORN_GetRequireLog(handle_, require_, room_) == number;
    }

    int32_t handle_;
    JORN_REQUIRE require_;
    JORN_LOG_PAGE *room_;
    bool isFilled_ = false;
};

/// @brief Owns a log object: the handle from JORN_Create(), released by JORN_Destroy().
///
/// It can be moved but not copied. Every call is allowed on a log that is not open (made by default, moved
/// from, closed, or not opened because of an error): it fails like one for an unknown handle, with the same
/// message on the console.
///
/// Threads: any number of tasks may call the const functions of one log at the same time, with the exception
/// that Log::clear() names. The caller keeps opening, closing, moving, assigning and destruction apart: from
/// each other for all logs, since two calls of creation or destruction must never run at the same time, and
/// from every other call for the same log.
///
/// A log that is a global, or a local static, closes itself when the program or the loaded module ends, if
/// the platform runs destructors then; on a device that is switched off, nothing runs. Keep the log for as
/// long as any task may still use it.
class Log {
public:
    /// A log that is not open. Constant-initialised: a global needs no code at start-up.
    constexpr Log() noexcept = default;

    /// Takes over a handle that JORN_Create() returned. 0 or less: not open.
    constexpr explicit Log(int32_t handle) noexcept : handle_(handle) {}

    /// @brief Opens the log of a directory, which resumes where it stopped: JORN_Create().
    ///
    /// Blocks on file work and on the file mutex; takes time in proportion to the items stored.
    /// @param directory  Absolute path of 2 to 31 characters, of no other open log. Copied.
    /// @param slots      Number of slots, 1 to 8.
    /// @param files      Number of data files of 5000 items, 2 to 90; all logs together may have 90.
    /// @return The log; not open when an argument is out of range, the directory cannot be made or is in use,
    ///         or memory, the mutex or the queue cannot be obtained. The reason is on the console.
    [[nodiscard]] static Log open(const char *directory, int32_t slots, int32_t files) noexcept {
        return Log(JORN_Create(directory, slots, files));
    }

    /// Closes the log, as close() does.
    ~Log() { close(); }

    Log(const Log &) = delete;
    Log &operator=(const Log &) = delete;

    Log(Log &&other) noexcept : handle_(other.release()) {}

    /// Closes the log that was here.
    Log &operator=(Log &&other) noexcept {
        const int32_t handle = other.release();
        close();
        handle_ = handle;
        return *this;
    }

    /// @brief Destroys the log object: JORN_Destroy(). The files stay, for the next open().
    ///
    /// Items still in the queue are lost; wait 300 ticks without new ones first where that matters. Waits for
    /// the file mutex and for a file that is being closed.
    /// @return Whether there was an object to destroy. Afterwards the log is not open either way.
    bool close() noexcept { return isOpen() && JORN_Destroy(release()) == 0; }

    /// Whether there is a log object. Waits for nothing; any task.
    constexpr bool isOpen() const noexcept { return handle_ > 0; }
    constexpr explicit operator bool() const noexcept { return isOpen(); }

    /// The handle, for the functions of jorn.h: 1 or more, or another number when the log is not open. This
    /// log keeps it.
    constexpr int32_t handle() const noexcept { return handle_; }

    /// Gives the handle away: the caller owns it from now on, and the log is not open.
    constexpr int32_t release() noexcept {
        const int32_t handle = handle_;
        handle_ = kNone;
        return handle;
    }

    /// @brief Submits one item: JORN_AddOneLog(). Never waits, takes no lock; any task, several at once.
    ///
    /// @param level  Below 4; negative ones are stored as they are.
    /// @param slot   Below the log's number of slots; negative ones are stored as they are.
    /// @param text   NUL-terminated; the first 198 bytes are kept, blanks in place of line ends.
    /// @return Whether the item is in the queue. false when the log is not open, level or slot is too large,
    ///         the text is null, or the queue is full: the item is then not stored.
    bool log(Level level, Slot slot, const char *text) const noexcept {
        return JORN_AddOneLog(handle_, level.number(), slot.number(), text) == 0;
    }

    /// @brief Submits one item whose text is formatted as by printf(). Never waits; any task, several at
    /// once.
    ///
    /// The text is cut after 198 bytes, as in log(). Arguments are checked against the format where the
    /// compiler can. Takes 200 bytes of stack and what the platform's vsnprintf() takes, in addition to that
    /// of JORN_AddOneLog(). Some platforms' vsnprintf() allocates for floating-point numbers; nothing here
    /// does.
    /// @param level   As for log().
    /// @param slot    As for log().
    /// @param format  Format of printf(), and its arguments after it.
    /// @return As for log(); false as well when the text cannot be formatted.
    [[gnu::format(printf, 4, 5)]] bool logf(Level level, Slot slot, const char *format, ...) const noexcept;

    /// @brief Counts the items that match: JORN_CountRequireTotalNum(). Any task.
    ///
    /// Items in the queue, and the last lines of a file that is open for writing, are not seen yet. Waits for
    /// the file mutex and holds it during the count.
    /// @return Number of items, 0 or more. None when the log is not open, the days contradict each other, or
    ///         no file can hold an item of them, which is so when nothing is stored.
    [[nodiscard]] std::optional<int32_t> count(const Query &query) const noexcept {
        return valueUnlessNegative(JORN_CountRequireTotalNum(handle_, query.page(1, JORN_REQUIRE_PAGE_MAX)));
    }

    /// @brief Reads one page of the items that match, newest first: JORN_GetRequireLog(). Any task.
    ///
    /// Waits for the file mutex and holds it to the last record. Takes 2,200 bytes of stack; a JORN_LOG_PAGE
    /// takes 5,124 bytes more and should not be a local variable of a task with a small stack.
    /// @param query         What is wanted.
    /// @param number        The page: 1 has the newest items; negative, or beyond the last: the last page.
    /// @param room          Receives the page.
    /// @param itemsPerPage  1 or more; more than 20 counts as 20.
    /// @return The number of the page that was filled, from 1. None when the log is not open, @p number is 0,
    ///         @p itemsPerPage is 0 or less, or nothing matches: @p room holds no page then.
    [[nodiscard]] std::optional<int32_t> page(const Query &query, int32_t number, JORN_LOG_PAGE &room,
                                              int32_t itemsPerPage = JORN_REQUIRE_PAGE_MAX) const noexcept {
        const int32_t filled = JORN_GetRequireLog(handle_, query.page(number, itemsPerPage), &room);
        return filled > 0 ? std::optional<int32_t>(filled) : std::nullopt;
    }

    /// @brief All pages of the items that match, newest first, for a range-based for loop. Any task.
    ///
    /// Each page is read into @p room by a JORN_GetRequireLog() of its own when the loop reaches it. The file
    /// mutex is free between two pages, so the store continues meanwhile, and each item that is stored shifts
    /// all others by one place: a page then begins with items that the page before it already showed, and
    /// none is skipped because of it. Items that the ring drops meanwhile are not shown. Where that matters,
    /// take one page(), or stop submitting.
    ///
    /// The loop ends by the page number that the store returns: beyond the last page it is that of the last,
    /// so the last page is read twice. The body of the loop never runs when nothing matches, the log is not
    /// open or @p itemsPerPage is 0 or less; count() distinguishes the first case from the others.
    /// @param query         What is wanted; copied.
    /// @param room          Receives one page after the other; must live as long as the range.
    /// @param itemsPerPage  1 or more; more than 20 counts as 20.
    [[nodiscard]] Pages pages(const Query &query, JORN_LOG_PAGE &room,
                              int32_t itemsPerPage = JORN_REQUIRE_PAGE_MAX) const noexcept {
        return {handle_, query.page(1, itemsPerPage), room};
    }

    /// What clear() leaves in the emptied log.
    enum class Cleared {
        Nothing,  ///< No item.
        WithItem  ///< The item "Log all cleared!" (level 3, slot 0), submitted afterwards.
    };

    /// @brief Empties the log: JORN_ClearAllLog(). Two tasks must not clear the same log at once.
    ///
    /// Clear it when it is idle, that is, when nothing was submitted for 300 ticks; jorn.h says what happens
    /// otherwise. Waits for the file mutex while the index is rewritten.
    /// @return Whether it is empty. false when the log is not open or the index cannot be written.
    bool clear(Cleared leaves = Cleared::WithItem) const noexcept {
        return JORN_ClearAllLog(handle_, static_cast<int32_t>(leaves)) == 0;
    }

    /// @brief Time of the newest item that the directory held when the log was opened, in seconds since 1970
    ///        UTC: JORN_GetFinalCsvTime(). Takes no lock; any task.
    /// @return 0 when there was no item, or the log is not open.
    [[nodiscard]] uint32_t lastTimeAtOpening() const noexcept {
        uint32_t seconds = 0;
        JORN_GetFinalCsvTime(handle_, &seconds);  // leaves the 0 when it fails
        return seconds;
    }

    /// @brief The largest item time that any opening has found since the module was loaded, in seconds since
    ///        1970 UTC; 0 when none was found: JORN_GetMaxCsvTime(). Takes no lock; any task.
    [[nodiscard]] static uint32_t largestTimeFound() noexcept {
        uint32_t seconds = 0;
        JORN_GetMaxCsvTime(&seconds);  // fails only for a null pointer
        return seconds;
    }

private:
    /// What JORN_Create() returns when it fails.
    static constexpr int32_t kNone = -1;

    static std::optional<int32_t> valueUnlessNegative(int32_t result) noexcept {
        return result >= 0 ? std::optional<int32_t>(result) : std::nullopt;
    }

    int32_t handle_ = kNone;
};

// A function with variable arguments is not inlined anyway.
inline bool Log::logf(Level level, Slot slot, const char *format, ...) const noexcept {
    char text[JORN_TEXT_MAX + 1];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return length >= 0 && log(level, slot, text);
}

}  // namespace jorn

#endif
