// SPDX-License-Identifier: Apache-2.0
#include "query/piece_filter.h"

#include <re2/filtered_re2.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tool {
namespace {

/// Words of which every match of the pattern holds one; none where there are no such.
std::vector<std::string> wordsOf(const RE2 &pattern) {
    std::vector<std::string> words;
    re2::FilteredRE2 analysis;
    int ignored = 0;
    if (analysis.Add(pattern.pattern(), pattern.options(), &ignored) == RE2::NoError) {
        analysis.Compile(&words);
    }
    return words;
}

/// Whether characters stand for nothing but themselves, or for both cases of ASCII letters where the case is
/// ignored. The long s and the sign of Kelvin are cases of s and k.
bool areLiteral(std::string_view characters, bool isCaseIgnored) {
    return characters.find_first_of("\\^$.?*+()[]{}") == std::string_view::npos &&
           (!isCaseIgnored || std::all_of(characters.begin(), characters.end(), [](char c) {
               return static_cast<unsigned char>(c) < 0x80 && c != 's' && c != 'S' && c != 'k' && c != 'K';
           }));
}

/// What a pattern finds that is nothing but characters, or a few such with bars between; nothing where it is
/// more. Bytes stand for themselves in UTF-8.
std::vector<LiteralSearch> literalsOf(const RE2 &pattern) {
    constexpr size_t kMostLiterals = 8;
    const std::string &text = pattern.pattern();
    const bool isCaseIgnored = !pattern.options().case_sensitive();
    std::vector<LiteralSearch> literals;
    for (size_t begin = 0; areLiteral(text, isCaseIgnored) && begin <= text.size();) {
        const size_t end = std::min(text.find('|', begin), text.size());
        const bool isInEveryText = end == begin;
        if (isInEveryText || literals.size() == kMostLiterals) {
            return {};
        }
        literals.emplace_back(text.substr(begin, end - begin), isCaseIgnored);
        begin = end + 1;
    }
    return literals;
}

/// Finds any of the words, whatever its case is.
std::string expressionOf(const std::vector<std::string> &words) {
    std::string choice;
    for (const std::string &word : words) {
        choice += (choice.empty() ? "(?i)" : "|") + RE2::QuoteMeta(word);
    }
    return choice;
}

}  // namespace

PieceFilter::PieceFilter(const ItemFilter &filter) : filter_(filter) {
    if (filter.pattern == nullptr) {
        return;
    }
    literals_ = literalsOf(*filter.pattern);
    const std::vector<std::string> words =
        literals_.empty() ? wordsOf(*filter.pattern) : std::vector<std::string>();
    if (!words.empty()) {
        constexpr int64_t kMostMemory = int64_t{1} << 20;
        RE2::Options options(RE2::Quiet);
        options.set_max_mem(kMostMemory);
        words_ = std::make_unique<const RE2>(expressionOf(words), options);
    }
    if (words_ != nullptr && !words_->ok()) {
        words_.reset();
    }
}

void PieceFilter::enter(std::string_view block) {
    blockEnd_ = block.data() + block.size();
    nextWord_ = nullptr;
    lastPiece_ = nullptr;
    for (LiteralSearch &literal : literals_) {
        literal.enter(blockEnd_);
    }
}

bool PieceFilter::mayHaveWord(std::string_view piece) {
    if (nextWord_ == nullptr || nextWord_ < piece.data()) {
        findWord(piece.data());
    }
    const bool hasWord = nextWord_ < piece.data() + piece.size();
    if (words_ != nullptr && lastPiece_ != piece.data()) {
        lastPiece_ = piece.data();
        countPiece(hasWord);
    }
    return hasWord;
}

/// To look for words that are in many pieces costs more than it saves.
void PieceFilter::countPiece(bool hasWord) {
    constexpr uint64_t kTrial = 64;
    constexpr uint64_t kFrequent = 4;
    ++pieces_;
    if (hasWord && ++piecesWithWord_ > kTrial && piecesWithWord_ > pieces_ / kFrequent) {
        words_.reset();
    }
}

void PieceFilter::findWord(const char *begin) {
    if (!literals_.empty()) {
        nextWord_ = blockEnd_;
        for (LiteralSearch &literal : literals_) {
            nextWord_ = std::min(nextWord_, literal.find(begin));
        }
        return;
    }
    const re2::StringPiece rest(begin, static_cast<size_t>(blockEnd_ - begin));
    re2::StringPiece word;
    const bool isFound = words_->Match(rest, 0, rest.size(), RE2::UNANCHORED, &word, 1);
    nextWord_ = isFound ? word.data() : blockEnd_;
}

/// Of a piece that has a word.
bool PieceFilter::hasMatch(std::string_view piece) {
    const std::string_view text = textIn(piece);
    if (literals_.empty()) {
        return filter_.hasText(text);
    }
    const bool isFound = std::any_of(literals_.begin(), literals_.end(),
                                     [text](LiteralSearch &literal) { return literal.isIn(text); });
    return isFound != filter_.isInverted;
}

}  // namespace tool
