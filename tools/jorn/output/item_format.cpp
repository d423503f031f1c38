// SPDX-License-Identifier: Apache-2.0
#include "output/item_format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <string_view>
#include <utility>

#include "output/csv_text.h"
#include "output/form_names.h"
#include "output/json_text.h"
#include "terminal/base64.h"
#include "terminal/color.h"
#include "terminal/escape.h"

namespace tool {
namespace {

constexpr std::array<FormName<ItemForm>, 8> kForms = {{{"text", ItemForm::Text},
                                                       {"short", ItemForm::Short},
                                                       {"short-iso", ItemForm::ShortIso},
                                                       {"cat", ItemForm::Cat},
                                                       {"iso", ItemForm::Iso},
                                                       {"device", ItemForm::Device},
                                                       {"csv", ItemForm::Csv},
                                                       {"json", ItemForm::Json}}};

TimeForm timeFormOf(ItemForm form) {
    switch (form) {
        case ItemForm::Iso:
        case ItemForm::ShortIso:
        case ItemForm::Json:
            return TimeForm::Iso;
        case ItemForm::Device:
            return TimeForm::Device;
        default:
            return TimeForm::Plain;
    }
}

const char *colorOf(int32_t level) {
    constexpr std::array<const char *, 4> kColors = {kUrgent, kWarning, kCommon, kUnimportant};
    return level >= 0 && static_cast<size_t>(level) < kColors.size() ? kColors[static_cast<size_t>(level)]
                                                                     : kCommon;
}

void appendNumber(std::string *text, int64_t number) {
    std::array<char, std::numeric_limits<int64_t>::digits10 + 2> digits{};
    const auto [end, error] = std::to_chars(digits.begin(), digits.end(), number);
    text->append(digits.begin(), end);
}

}  // namespace

std::vector<std::string> itemFormNames() { return namesOf(kForms); }

ItemForm itemFormOf(const std::string &name) { return formNamed(name, kForms).value_or(ItemForm::Text); }

ItemFormatter::ItemFormatter(const ItemStyle &style)
    : style_(style),
      origin_(style.form == ItemForm::Csv ? csvOrigin() : jsonOrigin()),
      time_(timeFormOf(style.form), style.isUtc) {}

std::string ItemFormatter::heading() const {
    if (style_.form != ItemForm::Csv) {
        return "";
    }
    const ItemOrigin &origin = style_.origin;
    return std::string("time,level,slot,text") + (origin.device.empty() ? "" : ",device") +
           (origin.log.empty() ? "" : ",log") + (origin.isNumbered() ? ",epoch,seq" : "") + "\n";
}

std::string ItemFormatter::gap() const {
    return style_.form == ItemForm::Csv || style_.form == ItemForm::Json ? "" : "--\n";
}

const std::string &ItemFormatter::format(const Item &item) {
    switch (style_.form) {
        case ItemForm::Csv:
            line_ = formatCsv(item);
            break;
        case ItemForm::Json:
            formatJson(item);
            break;
        default:
            line_ = formatForPeople(item);
    }
    return line_;
}

std::string ItemFormatter::shown(const std::string &text) const {
    return style_.isEscaped ? escaped(text) : text;
}

std::string ItemFormatter::shownLevel(const Item &item) const {
    const std::string *const name = style_.names->levels.nameOf(item.level);
    return name != nullptr ? *name : shown(item.levelText);
}

std::string ItemFormatter::shownSlot(const Item &item) const {
    const std::string *const name = style_.names->slots.nameOf(item.slot);
    return name != nullptr ? *name : shown(item.slotText);
}

/// What stands before the text.
std::string ItemFormatter::lead(const Item &item) {
    if (style_.form == ItemForm::Cat) {
        return "";
    }
    const std::string line = time_.format(item.seconds) + " ";
    const bool isShort = style_.form == ItemForm::Short || style_.form == ItemForm::ShortIso;
    return isShort ? line : line + shownLevel(item) + " " + shownSlot(item) + " ";
}

std::string ItemFormatter::formatForPeople(const Item &item) {
    if (!style_.isColored) {
        return style_.front + lead(item) + shown(item.text) + "\n";
    }
    const std::string color = colorOf(item.level);
    const std::string text = style_.pattern != nullptr ? highlighted(item.text, color) : shown(item.text);
    return style_.front + colored(lead(item) + text, color) + "\n";
}

/// A text in a coloured line, with the pattern's matches in another colour.
std::string ItemFormatter::highlighted(const std::string &text, const std::string &color) const {
    const std::string begin =
        (color.empty() ? "" : kNoColor) + std::string(color == kUrgent ? kUrgentMatch : kMatch);
    const re2::StringPiece whole(text);
    std::string out;
    size_t done = 0;
    re2::StringPiece found;
    for (size_t from = 0; style_.pattern->Match(whole, from, whole.size(), RE2::UNANCHORED, &found, 1);) {
        const auto at = static_cast<size_t>(found.data() - whole.data());
        if (found.empty()) {
            if (at == whole.size()) {
                break;
            }
            from = at + firstCharacter(std::string_view(text).substr(at)).length;
            continue;
        }
        out += shown(text.substr(done, at - done)) + begin + shown(text.substr(at, found.size())) + kNoColor +
               color;
        done = from = at + found.size();
    }
    return out + shown(text.substr(done));
}

std::string ItemFormatter::formatCsv(const Item &item) const {
    return std::to_string(item.seconds) + "," + std::to_string(item.level) + "," + std::to_string(item.slot) +
           "," + shown(csvField(item.text)) + origin_ +
           (style_.origin.isNumbered() ? std::to_string(item.seq) : "") + "\n";
}

void ItemFormatter::formatJson(const Item &item) {
    line_ = "{\"time\":";
    appendNumber(&line_, item.seconds);
    line_ += ",\"iso\":\"";
    line_ += time_.format(item.seconds);
    line_ += "\",\"level\":";
    addJsonNumber("level", item.level, style_.names->levels);
    line_ += ",\"slot\":";
    addJsonNumber("slot", item.slot, style_.names->slots);
    line_ += ",\"text\":";
    if (!appendJsonText(&line_, item.text, style_.isEscaped)) {
        line_ += ",\"text_base64\":\"" + toBase64(item.text) + '"';
    }
    line_ += origin_;
    if (style_.origin.isNumbered()) {
        appendNumber(&line_, static_cast<int64_t>(item.seq));
    }
    line_ += "}\n";
}

std::string ItemFormatter::jsonOrigin() const {
    const ItemOrigin &origin = style_.origin;
    std::string json;
    for (const auto &[key, name] : {std::pair("device", &origin.device), {"log", &origin.log}}) {
        if (!name->empty()) {
            json += std::string(",\"") + key + "\":";
            appendJsonText(&json, *name, style_.isEscaped);
        }
    }
    return origin.isNumbered() ? json + ",\"epoch\":" + std::to_string(origin.epoch) + ",\"seq\":" : json;
}

std::string ItemFormatter::csvOrigin() const {
    const ItemOrigin &origin = style_.origin;
    std::string fields;
    for (const std::string *const name : {&origin.device, &origin.log}) {
        fields += name->empty() ? "" : "," + csvField(*name);
    }
    return origin.isNumbered() ? fields + "," + std::to_string(origin.epoch) + "," : fields;
}

/// The value of a key just written, and its name, if it has one, as a separate member.
void ItemFormatter::addJsonNumber(const char *key, int32_t number, const NameTable &names) {
    appendNumber(&line_, number);
    if (const std::string *const name = names.nameOf(number)) {
        line_ += std::string(",\"") + key + "_name\":";
        appendJsonText(&line_, *name, style_.isEscaped);
    }
}

std::string colored(const std::string &line, int32_t level) {
    const std::string color = colorOf(level);
    return colored(line, color);
}

}  // namespace tool
