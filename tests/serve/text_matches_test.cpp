// SPDX-License-Identifier: Apache-2.0
// Compares the search in the files with a plain one item by item, and holds what is remembered of it to its
// bound.
#include "serve/text_matches.h"

#include <gmock/gmock.h>

#include <random>
#include <string_view>
#include <thread>

#include "served_ring.h"

namespace test {
namespace {

using ::testing::HasSubstr;

constexpr std::chrono::minutes kLong(10);

class TextMatchesTest : public ServeTest {
protected:
    static tool::ViewFilter filterOf(const std::string &text, bool isCaseIgnored = false) {
        RE2::Options options(RE2::Quiet);
        options.set_case_sensitive(!isCaseIgnored);
        tool::ViewFilter filter;
        filter.pattern = std::make_shared<const RE2>(text, options);
        filter.isCaseIgnored = isCaseIgnored;
        return filter;
    }

    const std::vector<tool::LogBlock> &blocks() { return logs_->now()->logs[0]->blocks; }

    uint32_t below(uint32_t most) { return static_cast<uint32_t>(random_()) % most; }

    template <class Choices>
    std::string oneOf(const Choices &choices) {
        return std::string(choices[below(static_cast<uint32_t>(std::size(choices)))]);
    }

    std::string randomText();
    std::string randomLine();
    std::string randomExpression();
    static std::vector<bool> plainly(const tool::LogBlock &block, const tool::ViewFilter &filter);
    void compare(const tool::ViewFilter &filter);

    std::mt19937 random_{1};
};

constexpr std::string_view kPieces[] = {"door",
                                        "DOOR",
                                        "Gate",
                                        "gate",
                                        " ",
                                        ",",
                                        "5",
                                        "1,0",
                                        std::string_view("\0", 1),
                                        "\r",
                                        "\xe2\x84\xaa",
                                        "\xff",
                                        "x",
                                        "caf\xc3\xa9",
                                        "overheated",
                                        "\xc5\xbf",
                                        "\xc3",
                                        "e",
                                        "!"};

std::string TextMatchesTest::randomText() {
    std::string text;
    for (uint32_t pieces = below(7); pieces > 0; --pieces) {
        text += oneOf(kPieces);
    }
    return below(60) == 0 ? text + std::string(150 + below(150), 'x') + "door" : text;
}

/// Most are items; others lack fields or have some that look strange.
std::string TextMatchesTest::randomLine() {
    std::string line = ServeTest::line(randomText(), kTime + below(9), static_cast<int>(below(4)),
                                       static_cast<int>(below(8)));
    for (uint32_t changes = below(10) == 0 ? 1 + below(3) : 0; changes > 0; --changes) {
        constexpr char kBytes[] = ",\n\0-+ 1x/:\xb9";
        line[below(20)] = kBytes[below(sizeof kBytes - 1)];
    }
    return below(40) == 0 ? line.substr(0, below(20)) + "\n" : line;
}

std::string TextMatchesTest::randomExpression() {
    constexpr std::string_view kAtoms[] = {
        "^",           "$",        "\\n", "\n",    "x*",    ".",     ".*",   "|",    "|", "\\b",
        "[^a]",        "(?i)gate", "\\C", "[^x]",  "\\pL",  "door",  "Gate", "5",    ",", "1,0,",
        "caf\xc3\xa9", "k",        "s",   "o+r",   "\\r",   "\\x00", "heat", "x{3}", "e", "",
        "\\s",         "\\A",      "\\z", "(?m)^", "(?m)$", "(?s).", "DOOR"};
    std::string text;
    for (uint32_t atoms = 1 + below(4); atoms > 0; --atoms) {
        text += oneOf(kAtoms);
    }
    return text;
}

std::vector<bool> TextMatchesTest::plainly(const tool::LogBlock &block, const tool::ViewFilter &filter) {
    tool::BlockReader reader(block);
    std::vector<bool> bits;
    for (const uint32_t offset : block.columns->offsets) {
        const tool::Line line = reader.lineAt(offset);
        EXPECT_TRUE(line.isItem());
        bits.push_back(RE2::PartialMatch(tool::readItem(line).text, *filter.pattern));
    }
    EXPECT_TRUE(reader.isStill());
    return bits;
}

void TextMatchesTest::compare(const tool::ViewFilter &filter) {
    tool::TextMatches matches;
    const tool::Deadline deadline(kLong);
    for (size_t block = 0; block < blocks().size(); ++block) {
        const auto bits = matches.of(filter, blocks(), block, deadline);
        const std::vector<bool> expected = plainly(blocks()[block], filter);
        for (size_t row = 0; row < expected.size(); ++row) {
            ASSERT_EQ(bits->has(row), expected[row])
                << "'" << filter.pattern->pattern() << "' " << filter.isCaseIgnored << ", block " << block
                << ", row " << row;
        }
    }
}

TEST_F(TextMatchesTest, Of_AnyTextsAndExpressions_WhatAPlainSearchFinds) {
    constexpr int kFiles = 4;
    for (int file = 0; file < kFiles; ++file) {
        std::string bytes;
        for (int i = 0; i < 250; ++i) {
            bytes += randomLine();
        }
        // Damage that is longer than what is read at once.
        bytes += file == 1 ? line("door") + std::string(300000, 'x') + "\n" + line("gate") : "";
        start(file, bytes);
    }
    writeIndex("0," + std::to_string(kFiles - 1));
    serve();
    ASSERT_GT(logs_->now()->logs[0]->items, 800U);
    int compared = 0;
    for (const std::string plain :
         {"door", "gate|x", "GATE", "e", "no such", "overheated", "xdoor", "5|1,0"}) {
        for (const bool isCaseIgnored : {false, true}) {
            ASSERT_NO_FATAL_FAILURE(compare(filterOf(plain, isCaseIgnored)));
        }
    }
    for (int round = 0; round < 600; ++round) {
        const tool::ViewFilter filter = filterOf(randomExpression(), round % 2 == 0);
        if (filter.pattern->ok()) {
            ++compared;
            ASSERT_NO_FATAL_FAILURE(compare(filter));
        }
    }
    EXPECT_GT(compared, 300);
}

/// The characters whose other case is an ASCII letter are why some words are not looked for byte by byte.
TEST_F(TextMatchesTest, Of_CaseIgnored_HeedsAllCasesOfEachLetter) {
    std::string others;
    for (uint32_t code = 0x80; code < 0x10000; ++code) {
        const auto byte = [](uint32_t bits) { return static_cast<char>(bits); };
        if (code < 0x800) {
            others += {byte(0xc0 | code >> 6), byte(0x80 | (code & 0x3f))};
        } else if (code < 0xd800 || code > 0xdfff) {
            others += {byte(0xe0 | code >> 12), byte(0x80 | (code >> 6 & 0x3f)), byte(0x80 | (code & 0x3f))};
        }
    }
    for (size_t begin = 0; begin < others.size();) {
        size_t end = std::min(begin + 180, others.size());
        while (end < others.size() && (others[end] & 0xc0) == 0x80) {
            --end;
        }
        append(0, line(others.substr(begin, end - begin)));
        begin = end;
    }
    append(0, line("ABCDEFGHIJKLMNOPQRSTUVWXYZ") + line("abcdefghijklmnopqrstuvwxyz"));
    writeIndex("0,0");
    serve();
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        ASSERT_NO_FATAL_FAILURE(compare(filterOf({letter}, true)));
    }
}

TEST_F(TextMatchesTest, Of_ManyLargeFiles_TwoThreadsFindTheSame) {
    constexpr int kFiles = 12;
    for (int file = 0; file < kFiles; ++file) {
        std::string bytes;
        for (int i = 0; i < 2500; ++i) {
            bytes +=
                line(numberedText(i % 7 == file % 7 ? "a door " : "some gate ", i) + std::string(40, '.'));
        }
        start(file, bytes);
    }
    writeIndex("0," + std::to_string(kFiles - 1));
    serve();
    for (const std::string text : {"door", "DOOR", "[dg]", "000(1|2)[0-9]*\\.", "^some"}) {
        ASSERT_NO_FATAL_FAILURE(compare(filterOf(text)));
        ASSERT_NO_FATAL_FAILURE(compare(filterOf(text, true)));
    }
    EXPECT_EQ(json("items", {{"q", "^a door"}, {"after", "0"}})["total"], 4286);
    EXPECT_EQ(json("items", {{"q", "^a door"}, {"after", "0"}, {"invert", "1"}})["total"], 30000 - 4286);
    // What is thrown in either thread ends the search.
    start(kFiles - 1, "");
    tool::TextMatches matches;
    const tool::Deadline deadline(kLong);
    EXPECT_THROW(matches.of(filterOf("door"), blocks(), 0, deadline), tool::StaleView);
    const tool::Deadline passed(std::chrono::milliseconds(-1));
    EXPECT_THROW(matches.of(filterOf("door"), blocks(), 0, passed), tool::RequestError);
}

TEST_F(TextMatchesTest, Of_ManyExpressions_RemembersTheLastInBoundedMemory) {
    constexpr size_t kMost = 8000;
    constexpr int kFiles = 3;
    for (int file = 0; file < kFiles; ++file) {
        std::string bytes;
        for (int i = 0; i < 2000; ++i) {
            bytes += line(numberedText("n", i));
        }
        start(file, bytes);
    }
    writeIndex("0," + std::to_string(kFiles - 1));
    serve();
    tool::TextMatches matches(kMost);
    const tool::Deadline deadline(kLong);
    std::vector<std::weak_ptr<const tool::RowBits>> bits;
    for (int i = 0; i < 200; ++i) {
        bits.emplace_back(matches.of(filterOf(numberedText("n", i)), blocks(), 0, deadline));
        EXPECT_LE(matches.bytes(), kMost);
        EXPECT_FALSE(bits.back().expired());
        EXPECT_EQ(matches.of(filterOf(numberedText("n", i)), blocks(), 0, deadline), bits.back().lock());
        EXPECT_EQ(bits[0].expired(), i >= 6) << i;
    }
    EXPECT_GT(matches.bytes(), kMost / 2);
}

TEST_F(TextMatchesTest, Of_NoRoomForOneExpression_FindsAllTheSame) {
    for (int file = 0; file < 3; ++file) {
        start(file, line("a") + line("b") + line("a"));
    }
    writeIndex("0,2");
    serve();
    for (const size_t most : {0U, 200U, 300U, 500U}) {
        tool::TextMatches matches(most);
        const tool::Deadline deadline(kLong);
        for (int turn = 0; turn < 2; ++turn) {
            for (size_t block = 0; block < 3; ++block) {
                const auto bits = matches.of(filterOf("a"), blocks(), block, deadline);
                EXPECT_TRUE(bits->has(0) && !bits->has(1) && bits->has(2));
                EXPECT_LE(matches.bytes(), std::max<size_t>(most, 129));
            }
        }
    }
}

/// Many questions at once, for the thread sanitizer too.
TEST_F(TextMatchesTest, Of_ManyAtOnce_EachFindsItsOwn) {
    for (int file = 0; file < 4; ++file) {
        start(file, line("door 1") + line("gate 2") + line("door 3"));
    }
    writeIndex("0,3");
    serve();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 6; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 20; ++i) {
                const bool isDoor = (thread + i) % 2 == 0;
                EXPECT_EQ(json("items", {{"q", isDoor ? "door" : "gate [0-9]"}})["total"], isDoor ? 8 : 4);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

TEST_F(TextMatchesTest, Api_TooManyLargeExpressionsInUse_OneMoreIsRefusedUntilOneIsGivenBack) {
    makeLog(line("one"));
    serve();
    const auto large = [](int number) { return "\\pL{100}" + std::to_string(number); };
    std::vector<tool::WebAnswer> streams;
    for (int number = 1; number <= 4; ++number) {
        streams.push_back(answer("stream", {{"q", large(number)}}));
        EXPECT_EQ(streams.back().status, 200);
    }
    EXPECT_EQ(refusal("items", {{"q", large(5)}}),
              "503 {\"error\":\"too many expressions are searched for at the same time; try again\"}\n");
    EXPECT_EQ(answer("items", {{"q", large(1)}}).status, 200);
    streams.pop_back();
    EXPECT_EQ(answer("items", {{"q", large(5)}}).status, 200);
    EXPECT_EQ(answer("items", {{"q", "one"}}).status, 200);
    EXPECT_THAT(refusal("items", {{"q", "\\pL{1000}"}}), HasSubstr("pattern too large"));
}

}  // namespace
}  // namespace test
