// SPDX-License-Identifier: Apache-2.0
// Reads items from JSON Lines, as an export writes them: an object on each line with the members "time",
// "level", "slot" and "text", or "text_base64" where the text is not UTF-8. Other members are ignored.
#ifndef JORN_TOOLS_JSON_ITEMS_H
#define JORN_TOOLS_JSON_ITEMS_H

#include <stdint.h>

#include <string>
#include <string_view>

#include "import/input_item.h"
#include "import/item_source.h"
#include "log/names.h"

namespace tool {

/// A line that is not an item is skipped and counted.
class JsonItems : public ItemSource {
public:
    struct Settings {
        LongText longText = LongText::Cut;
        int slots = 0;                    ///< Of the log that the items go to.
        const Names *names = &noNames();  ///< For "level_name" and "slot_name" where the numbers are missing.
    };

    JsonItems(const Settings &settings, ItemSink sink);

    void feed(std::string_view block) override;
    void finish() override;
    uint64_t lines() const override { return lines_; }
    uint64_t cutLines() const override { return cutLines_; }

    uint64_t badLines() const { return badLines_; }

    /// The number of the first such line, from 1, and what is wrong with it: "line 3 is not an item: ...".
    const std::string &firstBadLine() const { return firstBadLine_; }

private:
    void take(std::string_view piece);
    void endLine(std::string_view line);
    void passOn(InputItem item, std::string text);

    const Settings settings_;
    const ItemSink sink_;
    std::string begun_;  ///< A line whose end has not been read yet.
    uint64_t lines_ = 0;
    uint64_t cutLines_ = 0;
    uint64_t badLines_ = 0;
    std::string firstBadLine_;
};

}  // namespace tool

#endif
