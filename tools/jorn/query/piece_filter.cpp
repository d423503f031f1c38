// SPDX-License-Identifier: Apache-2.0
#include "query/piece_filter.h"

#include <re2/filtered_re2.h>

#include <string>
#include <vector>

namespace tool {
namespace {

/// Words of which every match of the pattern contains at least one; empty where there are none.
std::vector<std::string> wordsOf(const RE2 *pattern) {
    std::vector<std::string> words;
    re2::FilteredRE2 analysis;
    int ignored = 0;
    if (pattern != nullptr &&
        analysis.Add(pattern->pattern(), pattern->options(), &ignored) == RE2::NoError) {
        analysis.Compile(&words);
    }
    return words;
}

/// An expression that finds any of the words, ignoring case.
std::string expressionOf(const std::vector<std::string> &words) {
    std::string choice;
    for (const std::string &word : words) {
        choice += (choice.empty() ? "(?i)" : "|") + RE2::QuoteMeta(word);
    }
    return choice;
}

}  // namespace

PieceFilter::PieceFilter(const ItemFilter &filter) : filter_(filter) {
    const std::vector<std::string> words = wordsOf(filter.pattern.get());
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
}

bool PieceFilter::mayHaveWord(std::string_view piece) {
    constexpr uint64_t kTrial = 64;
    constexpr uint64_t kFrequent = 4;
    if (nextWord_ == nullptr || nextWord_ < piece.data()) {
        findWord(piece.data());
    }
    ++pieces_;
    if (nextWord_ >= piece.data() + piece.size()) {
        return false;
    }
    // Looking for words that are in many pieces costs more than it saves.
    if (++piecesWithWord_ > kTrial && piecesWithWord_ > pieces_ / kFrequent) {
        words_.reset();
    }
    return true;
}

void PieceFilter::findWord(const char *begin) {
    const re2::StringPiece rest(begin, static_cast<size_t>(blockEnd_ - begin));
    re2::StringPiece word;
    const bool isFound = words_->Match(rest, 0, rest.size(), RE2::UNANCHORED, &word, 1);
    nextWord_ = isFound ? word.data() : blockEnd_;
}

}  // namespace tool
