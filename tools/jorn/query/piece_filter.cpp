// SPDX-License-Identifier: Apache-2.0
#include "query/piece_filter.h"

#include <re2/filtered_re2.h>
#include <string.h>

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

/// What a pattern finds that is nothing but characters, or several such with bars between; nothing where it
/// is more. Bytes stand for themselves in UTF-8 where the case counts.
std::vector<std::string> literalsOf(const RE2 &pattern) {
    const std::string &text = pattern.pattern();
    if (!pattern.options().case_sensitive() || text.find_first_of("\\^$.?*+()[]{}") != std::string::npos) {
        return {};
    }
    std::vector<std::string> literals;
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find('|', begin), text.size());
        if (end == begin) {
            return {};  // Nothing is in every text.
        }
        literals.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return literals;
}

/// The place of the byte of a word that texts probably hold least often.
size_t rarestIn(const std::string &word) {
    // Letters by how often they are in texts; what is not among them, but for digits and blanks, is rarer.
    constexpr std::string_view kCommon = " e0123456789taoinsrhdlucmfygpwbvk,.";
    size_t rarest = 0;
    for (size_t i = 1; i < word.size(); ++i) {
        // Nothing found is the highest place.
        rarest = kCommon.find(word[i]) > kCommon.find(word[rarest]) ? i : rarest;
    }
    return rarest;
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
    for (const std::string &literal : literalsOf(*filter.pattern)) {
        literals_.push_back({literal, rarestIn(literal)});
    }
    const std::vector<std::string> words =
        literals_.empty() ? wordsOf(*filter.pattern) : std::vector<std::string>();
    if (!words.empty()) {
        words_ = std::make_unique<const RE2>(expressionOf(words), RE2::Quiet);
    }
    if (words_ != nullptr && !words_->ok()) {
        words_.reset();
    }
}

void PieceFilter::enter(std::string_view block) {
    blockEnd_ = block.data() + block.size();
    nextWord_ = nullptr;
    lastPiece_ = nullptr;
    for (Literal &literal : literals_) {
        literal.next = nullptr;
    }
}

bool PieceFilter::mayHaveWord(std::string_view piece) {
    if (nextWord_ == nullptr || nextWord_ < piece.data()) {
        findWord(piece.data());
    }
    const bool hasWord = nextWord_ < piece.data() + piece.size();
    if (lastPiece_ != piece.data()) {
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
        literals_.clear();
    }
}

void PieceFilter::findWord(const char *begin) {
    if (!literals_.empty()) {
        nextWord_ = findLiteral(begin);
        return;
    }
    const re2::StringPiece rest(begin, static_cast<size_t>(blockEnd_ - begin));
    re2::StringPiece word;
    const bool isFound = words_->Match(rest, 0, rest.size(), RE2::UNANCHORED, &word, 1);
    nextWord_ = isFound ? word.data() : blockEnd_;
}

const char *PieceFilter::findLiteral(const char *begin) {
    const char *next = blockEnd_;
    for (Literal &literal : literals_) {
        if (literal.next == nullptr || literal.next < begin) {
            literal.next = find(&literal, begin, blockEnd_);
        }
        next = std::min(next, literal.next);
    }
    return next;
}

/// Where it is, else the end. One byte is found much faster than several, as long as it is rare.
const char *PieceFilter::find(Literal *literal, const char *begin, const char *end) {
    constexpr uint64_t kMostStrays = 1000;
    const std::string &bytes = literal->bytes;
    while (literal->strays < kMostStrays && static_cast<size_t>(end - begin) >= bytes.size()) {
        const size_t places = static_cast<size_t>(end - begin) - bytes.size() + 1;
        const auto *const byte =
            static_cast<const char *>(memchr(begin + literal->rarest, bytes[literal->rarest], places));
        if (byte == nullptr) {
            return end;
        }
        const char *const place = byte - literal->rarest;
        if (memcmp(place, bytes.data(), bytes.size()) == 0) {
            return place;
        }
        ++literal->strays;
        begin = place + 1;
    }
    const void *const found = memmem(begin, static_cast<size_t>(end - begin), bytes.data(), bytes.size());
    return found != nullptr ? static_cast<const char *>(found) : end;
}

}  // namespace tool
