// SPDX-License-Identifier: Apache-2.0
// Real lines, recorded and exported in every format: each comes back as it went in.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "database.h"
#include "tool_run.h"

namespace test {
namespace {

using Texts = std::vector<std::string>;

constexpr size_t kTextMax = 198;

std::string bytesOf(const std::string &file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// What a recording keeps of its input's lines.
Texts keptTexts(const std::string &input) {
    Texts texts;
    for (std::string line : linesOf(input)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        std::replace(line.begin(), line.end(), '\r', ' ');
        texts.push_back(line.substr(0, kTextMax));
    }
    return texts;
}

/// Fields of a file by RFC 4180, line by line.
std::vector<Texts> csvLines(const std::string &file) {
    std::vector<Texts> lines;
    Texts fields(1);
    bool isQuoted = false;
    for (size_t i = 0; i < file.size(); ++i) {
        const char c = file[i];
        if (c == '"' && isQuoted && i + 1 < file.size() && file[i + 1] == '"') {
            fields.back() += '"';
            ++i;
        } else if (c == '"') {
            isQuoted = !isQuoted;
        } else if (c == ',' && !isQuoted) {
            fields.emplace_back();
        } else if (c == '\n' && !isQuoted) {
            lines.push_back(fields);
            fields.assign(1, "");
        } else {
            fields.back() += c;
        }
    }
    EXPECT_FALSE(isQuoted);
    return lines;
}

/// Decodes base64.
std::string decoded(const std::string &text) {
    const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    EXPECT_EQ(text.size() % 4, 0U);
    std::string bytes;
    uint32_t bits = 0;
    int bitCount = 0;
    for (const char c : text.substr(0, text.find('='))) {
        bits = bits << 6 | static_cast<uint32_t>(digits.find(c));
        bitCount += 6;
        if (bitCount >= 8) {
            bitCount -= 8;
            bytes += static_cast<char>(bits >> bitCount & 0xff);
        }
    }
    return bytes;
}

/// The text after the structured data, which contains neither names nor brackets here.
std::string messageIn(const std::string &line) {
    const size_t end = line.find("\"]");
    EXPECT_NE(end, std::string::npos) << line;
    const std::string text = line.substr(std::min(line.size(), end + 3));
    return text.rfind("\xef\xbb\xbf", 0) == 0 ? text.substr(3) : text;
}

class RoundTripTest : public ToolTest {
protected:
    void record(const std::string &input) const {
        const Outcome run = jorn({"record", "log", "--files", "20", "-l", "2"}, {input, "", {}, {}});
        ASSERT_EQ(run.status, 0) << run.err;
    }

    /// Without the store's own start item, which has level 3.
    std::string exported(const std::string &form) const {
        const Outcome run = jorn({"export", "log", "-p", "2", "-o", form});
        EXPECT_EQ(run.status, 0) << run.err;
        return run.out;
    }

    void expectInEveryForm(const Texts &texts) const {
        ASSERT_FALSE(texts.empty());
        expectInJsonLines(texts);
        expectInCsv(texts);
        Texts messages;
        for (const std::string &line : linesOf(exported("syslog"))) {
            messages.push_back(messageIn(line));
        }
        EXPECT_EQ(messages, texts);
        ASSERT_EQ(jorn({"export", "log", "-p", "2", "--to", "x.db"}).status, 0);
        EXPECT_EQ(rowsOf(path("x.db"), "SELECT text FROM log ORDER BY id"), texts);
    }

private:
    void expectInJsonLines(const Texts &texts) const {
        const Texts lines = linesOf(exported("jsonl"));
        ASSERT_EQ(lines.size(), texts.size());
        for (size_t i = 0; i < lines.size(); ++i) {
            const nlohmann::json item = nlohmann::json::parse(lines[i]);
            EXPECT_EQ(item["level"], 2);
            if (item.contains("text_base64")) {
                EXPECT_EQ(decoded(item["text_base64"]), texts[i]);
            } else {
                EXPECT_EQ(item["text"], texts[i]);
            }
        }
    }

    void expectInCsv(const Texts &texts) const {
        const std::vector<Texts> lines = csvLines(exported("csv"));
        ASSERT_EQ(lines.size(), texts.size() + 1);
        for (size_t i = 0; i < texts.size(); ++i) {
            ASSERT_EQ(lines[i + 1].size(), 4U);
            EXPECT_EQ(lines[i + 1][1], "2");
            EXPECT_EQ(lines[i + 1][3], texts[i]);
        }
    }
};

TEST_F(RoundTripTest, RecordAndExport_LinesOfADevice_ComeBackInEveryForm) {
    const std::string input = bytesOf(JORN_SAMPLES "/device.log");
    record(input);
    expectInEveryForm(keptTexts(input));
}

TEST_F(RoundTripTest, RecordAndExport_LogOfThisMachine_ComesBackInEveryForm) {
    constexpr size_t kMostLines = 10000;
    Texts lines = linesOf(bytesOf("/var/log/dpkg.log"));
    if (lines.empty()) {
        GTEST_SKIP() << "this machine has no such log";
    }
    lines.resize(std::min(lines.size(), kMostLines));
    std::string input;
    for (const std::string &line : lines) {
        input += line + "\n";
    }
    record(input);
    expectInEveryForm(keptTexts(input));
}

}  // namespace
}  // namespace test
