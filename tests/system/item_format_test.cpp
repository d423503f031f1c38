// SPDX-License-Identifier: Apache-2.0
// Items as JSON, compared with what nlohmann::json writes of the same values.
#include "output/item_format.h"

#include <gtest/gtest.h>

#include <array>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "output/json_text.h"
#include "terminal/utf8.h"

namespace test {
namespace {

using nlohmann::ordered_json;
using tool::appendJsonText;
using tool::Item;
using tool::ItemFormatter;
using tool::ItemStyle;

std::string dumped(const ordered_json &value, bool isAscii) {
    return value.dump(-1, ' ', isAscii, ordered_json::error_handler_t::replace);
}

bool isUtf8ByDump(const std::string &text) {
    // What is not UTF-8 is replaced, which changes the text.
    return ordered_json::parse(dumped(text, false)).get<std::string>() == text;
}

void expectAsDumped(const std::string &text) {
    for (const bool isAscii : {false, true}) {
        std::string json = "before";
        const bool isUtf8 = appendJsonText(&json, text, isAscii);
        ASSERT_EQ(json, "before" + dumped(text, isAscii));
        ASSERT_EQ(isUtf8, isUtf8ByDump(text)) << json;
        ASSERT_EQ(isUtf8, tool::isUtf8(text)) << json;
    }
}

TEST(AppendJsonText, EveryByteAtEveryPlaceOfAWord_AsDumped) {
    // Words of eight bytes are checked as a whole.
    for (int byte = 0; byte < 256; ++byte) {
        for (size_t place = 0; place < 17; ++place) {
            std::string text = "of a door of oak.";
            text[place] = static_cast<char>(byte);
            expectAsDumped(text);
        }
    }
}

TEST(AppendJsonText, SequencesOfLimitsOfUtf8_AsDumped) {
    constexpr std::string_view kLimits =
        "\x01 "
        "\"\\~\x7f\x80\x8f\x90\x9f\xa0\xbf\xc0\xc1\xc2\xdf\xe0\xe1\xec\xed\xee\xef\xf0\xf1\xf3\xf4\xf5\xff";
    expectAsDumped("");
    std::vector<std::string> beginnings = {""};
    for (int length = 1; length <= 3; ++length) {
        std::vector<std::string> texts;
        for (const std::string &beginning : beginnings) {
            for (const char c : kLimits) {
                texts.push_back(beginning + c);
                expectAsDumped(texts.back());
            }
        }
        beginnings = texts;
    }
}

TEST(AppendJsonText, FourBytes_AsDumped) {
    for (const char *text :
         {"\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf", "\xf0\x9f\x9a\xaa", "\xf4\x90\x80\x80", "\xf0\x8f\xbf\xbf",
          "a\xf0\x9f\x9a", "\xf0\x9f\x9a\xc3\xbc", "\xf0\x9f\x9az", "\xe2\x82\xac\xed\xa0\x80\xed\x9f\xbf"}) {
        expectAsDumped(text);
    }
}

/// A text made of parts that need various escapes.
std::string randomText(std::mt19937 *random) {
    static const std::array<std::string, 12> kParts = {"door",         " motor current limit reached ",
                                                       "\"",           "\\",
                                                       "\t",           "\x1b[31m",
                                                       "\x7f",         "\xc3\xbc",
                                                       "\xe2\x82\xac", "\xf0\x9f\x9a\xaa",
                                                       "\xed\xa0",     ","};
    std::string text;
    for (auto parts = (*random)() % 12; parts > 0; --parts) {
        const auto kind = (*random)() % 16;
        text +=
            kind < kParts.size() ? kParts[kind] : std::string(1, static_cast<char>((*random)() % 255 + 1));
    }
    return text;
}

Item randomItem(std::mt19937 *random) {
    constexpr std::array<int64_t, 6> kTimes = {0, 1795000000, UINT32_MAX, -1, INT64_MAX, INT64_MIN};
    constexpr std::array<int32_t, 6> kNumbers = {0, 1, 3, 7, INT32_MAX, INT32_MIN};
    Item item;
    item.seconds =
        (*random)() % 8 == 0 ? kTimes[(*random)() % kTimes.size()] : static_cast<int64_t>((*random)());
    item.level = kNumbers[(*random)() % kNumbers.size()];
    item.slot = kNumbers[(*random)() % kNumbers.size()];
    item.text = randomText(random);
    return item;
}

ordered_json valueOf(const Item &item, const ItemStyle &style) {
    tool::TimeFormatter time(tool::TimeForm::Iso, style.isUtc);
    ordered_json value = {{"time", item.seconds}, {"iso", time.format(item.seconds)}, {"level", item.level}};
    if (const std::string *const name = style.names->levels.nameOf(item.level)) {
        value["level_name"] = *name;
    }
    value["slot"] = item.slot;
    if (const std::string *const name = style.names->slots.nameOf(item.slot)) {
        value["slot_name"] = *name;
    }
    value["text"] = item.text;
    return value;
}

TEST(ItemFormatJson, RandomItems_AsDumpedOfTheSameValues) {
    tool::Names names;
    names.levels.add(1, "warning");
    names.levels.add(3, "t\xc3\xbcr \"x\"");
    names.slots.add(7, "door");
    std::mt19937 random(20261121);
    for (int form = 0; form < 8; ++form) {
        ItemStyle style;
        style.form = tool::ItemForm::Json;
        style.isUtc = true;
        style.isEscaped = (form & 1) != 0;
        style.names = (form & 2) != 0 ? &names : &tool::noNames();
        style.origin.log = (form & 4) != 0 ? "unit \xc3\xbc" : "";
        ItemFormatter formatter(style);
        for (int i = 0; i < 500; ++i) {
            const Item item = randomItem(&random);
            const std::string line = formatter.format(item);
            ordered_json value = valueOf(item, style);
            const ordered_json parsed = ordered_json::parse(line);
            // The bytes themselves are in another test.
            ASSERT_EQ(parsed.contains("text_base64"), !isUtf8ByDump(item.text));
            if (parsed.contains("text_base64")) {
                value["text_base64"] = parsed["text_base64"];
            }
            if (!style.origin.log.empty()) {
                value["log"] = style.origin.log;
            }
            ASSERT_EQ(line, dumped(value, style.isEscaped) + "\n");
        }
    }
}

TEST(ItemFormatJson, TextThatIsNoUtf8_HasItsBytesInBase64) {
    ItemStyle style;
    style.form = tool::ItemForm::Json;
    ItemFormatter formatter(style);
    Item item;
    for (const auto &[bytes, text] : {std::pair("\xff", "/w=="), {"a\xff", "Yf8="}, {"ab\xff", "YWL/"}}) {
        item.text = bytes;
        EXPECT_EQ(ordered_json::parse(formatter.format(item))["text_base64"], text);
    }
}

}  // namespace
}  // namespace test
