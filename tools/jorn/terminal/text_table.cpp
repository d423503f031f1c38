// SPDX-License-Identifier: Apache-2.0
#include "terminal/text_table.h"

#include <algorithm>

namespace tool {
namespace {

constexpr char kBetween[] = "  ";

/// Characters of a UTF-8 text.
size_t characterCount(const std::string &text) {
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

std::vector<size_t> widthsOf(const TableRows &rows) {
    std::vector<size_t> widths;
    for (const std::vector<std::string> &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], characterCount(row[i]));
        }
    }
    return widths;
}

}  // namespace

std::vector<std::string> tableLines(const TableRows &rows) {
    const std::vector<size_t> widths = widthsOf(rows);
    std::vector<std::string> lines;
    lines.reserve(rows.size());
    for (const std::vector<std::string> &row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            const std::string blanks(widths[i] - characterCount(row[i]), ' ');
            line += i == 0 ? row[i] + blanks : kBetween + blanks + row[i];
        }
        lines.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
    }
    return lines;
}

}  // namespace tool
