// SPDX-License-Identifier: Apache-2.0
#include "query/piece_filter.h"

#include <re2/filtered_re2.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace tool {
namespace {

/// Whether a pattern finds nothing in texts that have all of its words but this one.
bool isRequired(const re2::FilteredRE2 &analysis, size_t word, size_t words) {
    std::vector<int> others;
    for (size_t i = 0; i < words; ++i) {
        if (i != word) {
            others.push_back(static_cast<int>(i));
        }
    }
    std::vector<int> found;
    analysis.AllPotentials(others, &found);
    return found.empty();
}

using Words = std::vector<std::string>;

/// Lists of words; every match of the pattern holds one of each list, in whatever case. None where there are
/// no such. What is probably rarest is last: the longest of the words that every match holds.
std::vector<Words> wordsOf(const RE2 &pattern) {
    constexpr size_t kFew = 32;
    Words words;
    re2::FilteredRE2 analysis;
    int ignored = 0;
    if (analysis.Add(pattern.pattern(), pattern.options(), &ignored) == RE2::NoError) {
        analysis.Compile(&words);
    }
    std::vector<Words> lists;
    for (size_t i = 0; i < words.size() && words.size() <= kFew; ++i) {
        if (isRequired(analysis, i, words.size())) {
            lists.push_back({words[i]});
        }
    }
    std::sort(lists.begin(), lists.end(),
              [](const Words &a, const Words &b) { return a.front().size() < b.front().size(); });
    return lists.empty() && !words.empty() ? std::vector<Words>{words} : lists;
}

/// The long s and the sign of Kelvin are cases of s and k.
bool hasAsciiCasesOnly(char c) {
    return static_cast<unsigned char>(c) < 0x80 && c != 's' && c != 'S' && c != 'k' && c != 'K';
}

/// Whether characters stand for nothing but themselves, or for both cases of ASCII letters where the case is
/// ignored.
bool areLiteral(std::string_view characters, bool isCaseIgnored) {
    return characters.find_first_of("\\^$.?*+()[]{}") == std::string_view::npos &&
           (!isCaseIgnored || std::all_of(characters.begin(), characters.end(), hasAsciiCasesOnly));
}

/// The longest part of a word that stands for its characters and, of letters, both of their ASCII cases.
std::string plainPartOf(const std::string &word) {
    std::string longest;
    for (size_t begin = 0; begin < word.size(); ++begin) {
        size_t end = begin;
        while (end < word.size() && hasAsciiCasesOnly(word[end])) {
            ++end;
        }
        if (end - begin > longest.size()) {
            longest = word.substr(begin, end - begin);
        }
        begin = end;
    }
    return longest;
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
std::string expressionOf(const Words &words) {
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
    isDecidedByLiterals_ = !literals_.empty();
    if (!isDecidedByLiterals_) {
        choices_ = wordsOf(*filter.pattern);
        lookForOtherWords();
    }
}

/// Turns to the next choice; to none where there is no other.
void PieceFilter::lookForOtherWords() {
    constexpr size_t kShort = 2;
    literals_.clear();
    words_.reset();
    nextWord_ = nullptr;
    pieces_ = 0;
    piecesWithWord_ = 0;
    if (choices_.empty()) {
        return;
    }
    const Words words = std::move(choices_.back());
    choices_.pop_back();
    const std::string plain = words.size() == 1 ? plainPartOf(words.front()) : "";
    if (plain.size() > kShort) {
        literals_.emplace_back(plain, true);
        literals_.back().enter(blockEnd_);
        return;
    }
    constexpr int64_t kMostMemory = int64_t{1} << 20;
    RE2::Options options(RE2::Quiet);
    options.set_max_mem(kMostMemory);
    words_ = std::make_unique<const RE2>(expressionOf(words), options);
    if (!words_->ok()) {
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
    if (!isDecidedByLiterals_ && lastPiece_ != piece.data()) {
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
        lookForOtherWords();
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
    if (!isDecidedByLiterals_) {
        return filter_.hasText(text);
    }
    const bool isFound = std::any_of(literals_.begin(), literals_.end(),
                                     [text](LiteralSearch &literal) { return literal.isIn(text); });
    return isFound != filter_.isInverted;
}

}  // namespace tool
