// SPDX-License-Identifier: Apache-2.0
// Compares the search for words that comes before the match of a pattern with a plain search.
#include "query/piece_filter.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "common_values.h"
#include "log/segment_reader.h"
#include "query/item_scanner.h"
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
        const bool isOut = pieceFilter.isOut(line.bytes);
        if (pieceFilter.passes(line.bytes, {})) {
            EXPECT_FALSE(isOut);
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

const char *const kPatterns[] = {
    "door",       "door|gate|17", "no such", "x|", " ",         ",1,5,",  "^door",       "gate$", "door|gate",
    "(?i)Door",   "[dD]o+r",      "17000",   "",   "x*",        "a.*t",   "caf\xc3\xa9", "k",     "\xc5\xbf",
    "\\bopen\\b", "o\\nr",        "gate.",   ",",  "(?:do|DO)", "\\C\\C", "shut|[0-9]"};

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
        for (const char *const pattern :
             {"mot[o]r", "[wW]ith m.*[0-9]", "ith.*otor|moto[^a]", "(?i)WITH.?MOTOR"}) {
            EXPECT_EQ(passing(block, pattern, true), expected) << distance << " " << pattern;
        }
    }
}

/// Lines of which some are no items, and of those that are some look strange.
std::string strangeLines(std::mt19937 *random) {
    const auto below = [random](uint32_t most) { return static_cast<uint32_t>((*random)()) % most; };
    std::string block;
    for (int i = 0; i < 300; ++i) {
        std::string line = dataLine(kMidnight + below(9), static_cast<int>(below(5)), 0,
                                    below(50) == 0 ? "with a motor" : "without");
        for (uint32_t changes = below(3) == 0 ? below(4) : 0; changes > 0; --changes) {
            constexpr char kBytes[] = ",\n\0-+ 1x/:\xb9";
            line[below(20)] = kBytes[below(sizeof kBytes - 1)];
        }
        block += below(40) == 0 ? line.substr(0, below(16)) + "\n" : line;
    }
    return block;
}

/// What is passed over unread is no damage, and no match.
TEST(PieceFilterTest, ForEachMatch_LinesOfAllKinds_MatchesAndDamageOfReadingEachLine) {
    std::mt19937 random(1);
    for (const char *const pattern : {"motor", "motor|no such", "(?i)MOTOR", "mo.or", ",1,0,w"}) {
        for (int round = 0; round < 40; ++round) {
            const std::string block = strangeLines(&random);
            ItemFilter filter;
            filter.pattern = std::make_shared<const RE2>(pattern);
            filter.isInverted = round % 4 == 3;
            tool::RingFile file;
            const tool::Segment segment = {block, 0};
            std::vector<uint64_t> expected;
            tool::BadLines expectedBad;
            tool::forEachLine(segment, [&](const tool::Line &line) {
                if (line.isBad()) {
                    expectedBad.add(line.offset);
                } else if (line.isItem() && filter.hasText(tool::textIn(line.bytes))) {
                    expected.push_back(line.offset);
                }
                return true;
            });
            tool::PieceFilter pieceFilter(filter);
            std::vector<uint64_t> found;
            tool::BadLines bad;
            tool::forEachMatch(file, segment, &pieceFilter, &bad,
                               [&](const tool::Line &line) { found.push_back(line.offset); });
            EXPECT_EQ(found, expected) << pattern;
            EXPECT_EQ(bad.count, expectedBad.count);
            EXPECT_EQ(bad.firstOffset, expectedBad.firstOffset);
            EXPECT_GT(bad.count, 0U);
        }
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
