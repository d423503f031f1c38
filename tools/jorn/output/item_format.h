// SPDX-License-Identifier: Apache-2.0
// Items as text. Forms, each item on a line of its own:
//   text        2026-11-21 06:47:08 1 5 door open          names instead of numbers where there are any
//   short       2026-11-21 06:47:08 door open
//   short-iso   2026-11-21T06:47:08+01:00 door open
//   cat         door open
//   iso         2026-11-21T06:47:08+01:00 1 5 door open
//   device      Sat Nov 21 06:47:08 2026 1 5 door open     the time as the device prints it
//   csv         1795000000,1,5,door open                   after a line of headings; quoted by RFC 4180
//   json        {"time":1795000000,"iso":"...","level":1,"level_name":"warning","slot":5,"text":"door open"}
// Where an item's origin is given, csv has further columns and json further members after the text: "device",
// "log", and "epoch" and "seq", as far as they are known. The other forms may have the log's name in front.
#ifndef JORN_TOOLS_ITEM_FORMAT_H
#define JORN_TOOLS_ITEM_FORMAT_H

#include <re2/re2.h>

#include <memory>
#include <string>
#include <vector>

#include "log/item.h"
#include "log/names.h"
#include "output/item_origin.h"
#include "terminal/time_text.h"

namespace tool {

enum class ItemForm { Text, Short, ShortIso, Cat, Iso, Device, Csv, Json };

/// The names of the forms on the command line, the default first.
std::vector<std::string> itemFormNames();
ItemForm itemFormOf(const std::string &name);

struct ItemStyle {
    ItemForm form = ItemForm::Text;
    bool isUtc = false;               ///< UTC is the local time of the process; times get a "Z".
    bool isEscaped = false;           ///< For a terminal: texts pass through escaped(), JSON is pure ASCII.
    bool isColored = false;           ///< Levels and matches in colour, in the forms for people.
    const Names *names = &noNames();  ///< Shown in place of numbers.
    std::shared_ptr<const RE2> pattern{};  ///< Its matches in texts are marked; null for none.
    ItemOrigin origin{};                   ///< For csv and json.
    std::string front{};                   ///< In front of each line, in the forms for people.
};

class ItemFormatter {
public:
    explicit ItemFormatter(const ItemStyle &style);

    /// Output before all items: the CSV headings, else nothing.
    std::string heading() const;

    /// Output between items that are not neighbours: a separator line, in the forms for people.
    std::string gap() const;

    /// The item's line with its line feed. Valid until the next call.
    const std::string &format(const Item &item);

private:
    std::string formatForPeople(const Item &item);
    std::string lead(const Item &item);
    std::string highlighted(const std::string &text, const std::string &color) const;
    std::string formatCsv(const Item &item) const;
    void formatJson(const Item &item);
    void addJsonNumber(const char *key, int32_t number, const NameTable &names);
    std::string jsonOrigin() const;
    std::string csvOrigin() const;
    std::string shown(const std::string &text) const;
    std::string shownLevel(const Item &item) const;
    std::string shownSlot(const Item &item) const;

    ItemStyle style_;
    std::string origin_;  ///< What all items have after their texts, except the running number.
    TimeFormatter time_;
    std::string line_;
};

/// The line in the colour of a level, for a terminal.
std::string colored(const std::string &line, int32_t level);

}  // namespace tool

#endif
