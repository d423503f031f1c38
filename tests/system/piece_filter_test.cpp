// SPDX-License-Identifier: Apache-2.0
// Compares the search for words that comes before the match of a pattern with a plain search.
#include "query/piece_filter.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "common_values.h"
#include "log/segment_reader.h"
#include "tool_run.h"

namespace test {
namespace {

using tool::ItemFilter;

/// Texts of a block of lines that match a pattern, with a search for words first.
std::vector<std::string> passing(const std::string &block, const std::string &pattern, bool isCaseHeeded) {
    RE2::Options options(RE2::Quiet);
    options.set_case_sensitive(isCaseHeeded);
    ItemFilter filter;
    filter.pattern = std::make_shared<const RE2>(pattern, options);
    tool::PieceFilter pieceFilter(filter);
    pieceFilter.enter(block);
    std::vector<std::string> texts;
    tool::forEachLine({block, 0}, [&](const tool::Line &line) {
        if (pieceFilter.passes(line.bytes, {})) {
            texts.emplace_back(tool::textIn(line.bytes));
        }
        return true;
    });
    return texts;
}

const char *const kSearchedTexts[] = {
    "door open",         "DOOR",          "",          "do\nor",      "gate, shut",
    "1700006400",        "caf\xc3\xa9",   "\xff door", "CAF\xc3\x89", "\xe2\x84\xaa 5",
    "\xc5\xbf and salt", "ends with gate"};

const char *const kPatterns[] = {"door",        "^door", "gate$",     "door|gate",  "(?i)Door",
                                 "[dD]o+r",     "17000", "",          "x*",         "a.*t",
                                 "caf\xc3\xa9", "k",     "\xc5\xbf",  "\\bopen\\b", "o\\nr",
                                 "gate.",       ",",     "(?:do|DO)", "\\C\\C",     "shut|[0-9]"};

TEST(PieceFilterTest, Passes_AnyPattern_WhatAPlainSearchOfTheTextsFinds) {
    std::string block;
    for (const std::string text : kSearchedTexts) {
        block += dataLine(kMidnight, 1, 5, text);
    }
    for (const std::string pattern : kPatterns) {
        for (const bool isCaseHeeded : {true, false}) {
            RE2::Options options(RE2::Quiet);
            options.set_case_sensitive(isCaseHeeded);
            const RE2 expression(pattern, options);
            std::vector<std::string> expected;
            tool::forEachLine({block, 0}, [&](const tool::Line &line) {
                const std::string text(tool::textIn(line.bytes));
                if (RE2::PartialMatch(text, expression)) {
                    expected.push_back(text);
                }
                return true;
            });
            EXPECT_EQ(passing(block, pattern, isCaseHeeded), expected) << pattern;
        }
    }
}

TEST(PieceFilterTest, Passes_WordsThatAreRareOrFrequent_EveryMatch) {
    for (const int distance : {1, 2, 3, 50, 999}) {
        std::string block;
        std::vector<std::string> expected;
        for (int i = 0; i < 1000; ++i) {
            const std::string text = numberedText(i % distance == 0 ? "with motor " : "without ", i);
            block += dataLine(kMidnight, 1, 5, text);
            if (i % distance == 0) {
                expected.push_back(text);
            }
        }
        EXPECT_EQ(passing(block, "mot[o]r", true), expected) << distance;
    }
}

TEST(PieceFilterTest, Enter_OtherContentInTheSameMemory_IsSearchedAnew) {
    ItemFilter filter;
    filter.pattern = std::make_shared<const RE2>("motor");
    tool::PieceFilter pieceFilter(filter);
    std::string block = dataLine(kMidnight, 1, 5, "a valve");
    pieceFilter.enter(block);
    EXPECT_FALSE(pieceFilter.passes(block, {}));
    block.replace(block.find("valve"), 5, "motor");
    pieceFilter.enter(block);
    EXPECT_TRUE(pieceFilter.passes(block, {}));
}

}  // namespace
}  // namespace test
