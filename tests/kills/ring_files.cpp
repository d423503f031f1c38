// SPDX-License-Identifier: Apache-2.0
#include "kills/ring_files.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <unordered_set>

namespace test {

const char kStartText[] = "Log start init!";

namespace {

namespace fs = std::filesystem;

constexpr char kTextPrefix[] = "item";
constexpr size_t kDigits = 7;
constexpr size_t kTimeSize = sizeof "1700000000" - 1;

std::string contentOf(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool isNumber(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return isdigit(c); });
}

/// N in a name that consists of PREFIX, N and SUFFIX.
std::optional<int> numberIn(std::string_view name, std::string_view prefix, std::string_view suffix) {
    if (name.size() <= prefix.size() + suffix.size() || name.substr(0, prefix.size()) != prefix ||
        name.substr(name.size() - suffix.size()) != suffix) {
        return std::nullopt;
    }
    const std::string digits(name.substr(prefix.size(), name.size() - prefix.size() - suffix.size()));
    return isNumber(digits) && digits.size() < 9 ? std::make_optional(std::stoi(digits)) : std::nullopt;
}

RingFile parse(int number, const std::string &content) {
    RingFile file;
    file.number = number;
    size_t start = 0;
    for (size_t end = 0; (end = content.find('\n', start)) != std::string::npos; start = end + 1) {
        file.lines.push_back(content.substr(start, end - start));
    }
    file.piece = content.substr(start);
    return file;
}

/// What follows the third comma; nothing where there are fewer.
std::optional<std::string_view> textOf(std::string_view line) {
    for (int field = 0; field < 3; ++field) {
        const size_t comma = line.find(',');
        if (comma == std::string_view::npos) {
            return std::nullopt;
        }
        line.remove_prefix(comma + 1);
    }
    return line;
}

/// The number in the text of a line.
std::optional<int> itemNumber(const std::string &line) {
    const std::optional<std::string_view> text = textOf(line);
    const size_t prefix = sizeof kTextPrefix - 1;
    if (!text || text->size() < prefix + kDigits || text->substr(0, prefix) != kTextPrefix ||
        !isNumber(text->substr(prefix, kDigits))) {
        return std::nullopt;
    }
    return std::stoi(std::string(text->substr(prefix, kDigits)));
}

int ageOf(const RingFile &file) {
    int newest = -1;
    for (const std::string &line : file.lines) {
        newest = std::max(newest, itemNumber(line).value_or(-1));
    }
    return newest < 0 ? INT_MAX : newest;
}

/// What a line has after its time.
std::string afterTime(const std::string &text) { return (text == kStartText ? ",3,0," : ",2,0,") + text; }

bool isLineOf(const std::string &line, const std::string &text) {
    return line.size() > kTimeSize && isNumber(std::string_view(line).substr(0, kTimeSize)) &&
           line.compare(kTimeSize, std::string::npos, afterTime(text)) == 0;
}

/// Whether a torn line can be the beginning of this item's line.
bool isPieceOf(const std::string &piece, const std::string &text) {
    const std::string time = piece.substr(0, kTimeSize);
    return isNumber(time) &&
           (piece.size() <= kTimeSize ||
            afterTime(text).compare(0, piece.size() - kTimeSize, piece, kTimeSize, std::string::npos) == 0);
}

/// Whether the store accepts it as an item.
bool isWholeItem(const std::string &piece) {
    return piece.size() > kTimeSize && isNumber(std::string_view(piece).substr(0, kTimeSize)) &&
           piece[kTimeSize] == ',' && textOf(piece).has_value();
}

/// The ring as it must be at any moment of a run.
class Expected {
public:
    Expected(const RingFiles &before, const RingSize &size) : size_(size) {
        for (const RingFile &file : before.files) {
            files_.emplace_back(file.lines.begin(), file.lines.end());
        }
    }

    void append(const std::string &line) {
        if (files_.empty() || isFull()) {
            startFile();
        }
        files_.back().emplace_back(line);
    }

    bool isFull() const { return !files_.empty() && files_.back().size() >= size_.itemsInFile; }

    void startFile() {
        if (files_.size() >= size_.files) {
            overwritten_ += files_.front().size();
            files_.pop_front();
        }
        files_.emplace_back();
    }

    std::vector<std::string_view> lines() const {
        std::vector<std::string_view> all;
        for (const auto &file : files_) {
            all.insert(all.end(), file.begin(), file.end());
        }
        return all;
    }

    size_t overwritten() const { return overwritten_; }

private:
    const RingSize size_;
    std::deque<std::vector<std::string_view>> files_;
    size_t overwritten_ = 0;
};

class Judge {
public:
    Judge(const RingFiles &before, const std::vector<std::string> &texts, const RingFiles &after,
          bool wasKilled, const RingSize &size)
        : before_(before),
          texts_(texts),
          after_(after),
          afterLines_(after.lines()),
          piece_(before.piece()),
          wasKilled_(wasKilled),
          size_(size) {}

    Verdict judge() {
        if (after_.isSetAside && !before_.isSetAside) {
            return found(Fault::SetAside, "the ring was set aside");
        }
        // Anything that none of these leads to is a fault.
        for (const bool endsPiece : {false, true}) {
            for (const size_t stored : possibleCounts()) {
                for (const bool startsNext : {false, true}) {
                    if (fits(endsPiece, stored, startsNext)) {
                        return judgePieces();
                    }
                }
            }
        }
        return explain();
    }

private:
    Verdict found(Fault fault, const std::string &detail) {
        verdict_.fault = fault;
        verdict_.detail = detail;
        return verdict_;
    }

    /// How many of the new items there can be, judging by the last line.
    std::vector<size_t> possibleCounts() const {
        if (!wasKilled_) {
            return {texts_.size()};
        }
        std::vector<size_t> counts = {0};
        for (size_t at = 0; !afterLines_.empty() && at < texts_.size(); ++at) {
            if (isLineOf(afterLines_.back(), texts_[at])) {
                counts.push_back(at + 1);
            }
        }
        return counts;
    }

    /// Whether the files are those of a run that had stored `stored` items and, if `startsNext`, begun the
    /// next file.
    bool fits(bool endsPiece, size_t stored, bool startsNext) {
        if (endsPiece && !isWholeItem(piece_)) {
            return false;
        }
        Expected expected(before_, size_);
        if (endsPiece) {
            expected.append(piece_);
        }
        for (size_t at = 0; at < stored; ++at) {
            expected.append(texts_[at]);
        }
        if (startsNext && !(expected.isFull() && wasKilled_)) {
            return false;
        }
        if (startsNext) {
            expected.startFile();
        }
        if (!areEqual(expected.lines(), stored)) {
            return false;
        }
        verdict_.stored = stored;
        verdict_.hasEndedPiece = endsPiece;
        verdict_.overwritten = expected.overwritten();
        return true;
    }

    /// Of the new items the text is known, not the time.
    bool areEqual(const std::vector<std::string_view> &expected, size_t newOnes) const {
        const size_t count = expected.size();
        if (count != afterLines_.size()) {
            return false;
        }
        for (size_t at = 0; at < count; ++at) {
            const std::string &line = afterLines_[at];
            const bool isEqual =
                at + newOnes < count ? line == expected[at] : isLineOf(line, std::string(expected[at]));
            if (!isEqual) {
                return false;
            }
        }
        return true;
    }

    Verdict judgePieces() {
        for (size_t at = 0; at + 1 < after_.files.size(); ++at) {
            if (!after_.files[at].piece.empty()) {
                return found(Fault::LineGlued, "torn within the ring: " + after_.files[at].piece);
            }
        }
        const auto isKept = [this](const std::string &piece) {
            return std::find(after_.tornPieces.begin(), after_.tornPieces.end(), piece) !=
                   after_.tornPieces.end();
        };
        for (const std::string &former : before_.tornPieces) {
            if (!isKept(former)) {
                return found(Fault::PieceLost, "a torn line that was kept is gone: " + former);
            }
        }
        const bool isThere = verdict_.stored == 0 && after_.piece() == piece_;
        verdict_.hasMovedPiece = !piece_.empty() && !isThere && (isKept(piece_) || isKept(piece_ + "\n"));
        if (!piece_.empty() && !verdict_.hasEndedPiece && !verdict_.hasMovedPiece && !isThere) {
            return found(Fault::PieceLost, "the torn line is gone: " + piece_);
        }
        return judgeNewPiece(isThere);
    }

    Verdict judgeNewPiece(bool isFormer) {
        const std::string piece = after_.piece();
        if (piece.empty() || isFormer) {
            return verdict_;
        }
        const size_t next = verdict_.stored;
        if (!wasKilled_ || next >= texts_.size() || !isPieceOf(piece, texts_[next])) {
            return found(Fault::LineGlued, "the last line is torn: " + piece);
        }
        return verdict_;
    }

    bool isGlued(const std::string &line, const std::unordered_set<std::string> &former) const {
        return !piece_.empty() && line.size() > piece_.size() &&
               line.compare(0, piece_.size(), piece_) == 0 && former.count(line) == 0 &&
               std::none_of(texts_.begin(), texts_.end(),
                            [&line](const std::string &text) { return isLineOf(line, text); });
    }

    /// Which fault it is when nothing fits.
    Verdict explain() {
        const std::vector<std::string> lines = before_.lines();
        const std::unordered_set<std::string> former(lines.begin(), lines.end());
        for (const std::string &line : afterLines_) {
            if (isGlued(line, former)) {
                return found(Fault::LineGlued, line);
            }
        }
        const std::unordered_set<std::string> present(afterLines_.begin(), afterLines_.end());
        Expected expected(before_, size_);
        for (size_t at = 0; at < texts_.size(); ++at) {
            expected.append(texts_[at]);  // The most that the ring may have wrapped onto.
        }
        std::vector<std::string> missing;
        std::copy_if(lines.begin() + static_cast<ptrdiff_t>(std::min(expected.overwritten(), lines.size())),
                     lines.end(), std::back_inserter(missing),
                     [&present](const std::string &line) { return present.count(line) == 0; });
        if (!missing.empty()) {
            return found(Fault::ItemLost,
                         std::to_string(missing.size()) + " items lost, the first: " + missing.front());
        }
        return explainNewOnes(former, present.size());
    }

    Verdict explainNewOnes(const std::unordered_set<std::string> &known, size_t distinct) {
        size_t newOnes = 0;
        for (const std::string &line : afterLines_) {
            if (known.count(line) != 0) {
                continue;
            }
            const bool isGiven = std::any_of(texts_.begin(), texts_.end(), [&line](const std::string &text) {
                return isLineOf(line, text);
            });
            if (!isGiven) {
                return found(Fault::Foreign, line);
            }
            ++newOnes;
        }
        if (!wasKilled_ && newOnes < texts_.size()) {
            return found(Fault::Foreign,
                         "only " + std::to_string(newOnes) + " of the new items are in the files");
        }
        return found(Fault::Order, std::to_string(afterLines_.size()) + " lines, " +
                                       std::to_string(distinct) + " of them distinct");
    }

    const RingFiles &before_;
    const std::vector<std::string> &texts_;
    const RingFiles &after_;
    const std::vector<std::string> afterLines_;
    const std::string piece_;
    const bool wasKilled_;
    const RingSize size_;
    Verdict verdict_;
};

}  // namespace

RingFiles RingFiles::read(const std::string &directory) {
    RingFiles ring;
    if (!fs::exists(directory)) {
        return ring;
    }
    for (const fs::directory_entry &entry : fs::directory_iterator(directory)) {
        const std::string name = entry.path().filename().string();
        if (const std::optional<int> number = numberIn(name, "", ".csv")) {
            ring.files.push_back(parse(*number, contentOf(entry.path())));
        } else if (name == "index.csv") {
            ring.index = contentOf(entry.path());
        } else if (name == "index.bak") {
            ring.backup = contentOf(entry.path());
        } else if (numberIn(name, "torn-", ".txt")) {
            ring.tornPieces.push_back(contentOf(entry.path()));
        } else if (name.rfind("aside-", 0) == 0) {
            ring.isSetAside = true;
        } else {
            ring.otherNames.push_back(name);
        }
    }
    std::sort(ring.files.begin(), ring.files.end(), [](const RingFile &a, const RingFile &b) {
        return std::make_pair(ageOf(a), a.number) < std::make_pair(ageOf(b), b.number);
    });
    return ring;
}

std::vector<std::string> RingFiles::lines() const {
    std::vector<std::string> all;
    for (const RingFile &file : files) {
        all.insert(all.end(), file.lines.begin(), file.lines.end());
    }
    return all;
}

std::string RingFiles::piece() const { return files.empty() ? "" : files.back().piece; }

bool RingFiles::hasUsableIndex() const {
    int oldest = -1;
    int latest = -1;
    char end = 0;
    return index && sscanf(index->c_str(), "version:1 %d,%d%c", &oldest, &latest, &end) == 3 && end == '\n';
}

std::string itemText(int number) {
    char digits[16];
    snprintf(digits, sizeof digits, "%07d", number);
    const auto rest = static_cast<size_t>(number % 23);
    return kTextPrefix + std::string(digits) + (rest > 0 ? " " + std::string(rest, 'x') : "");
}

std::string itemInput(int first, int count) {
    std::string input;
    for (int number = first; number < first + count; ++number) {
        input += itemText(number) + "\n";
    }
    return input;
}

const char *nameOf(Fault fault) {
    switch (fault) {
        case Fault::None:
            return "none";
        case Fault::SetAside:
            return "ring set aside";
        case Fault::ItemLost:
            return "item lost";
        case Fault::LineGlued:
            return "line glued or torn";
        case Fault::PieceLost:
            return "torn line lost";
        case Fault::Order:
            return "wrong order";
        case Fault::Foreign:
            return "foreign or missing new line";
        case Fault::View:
            return "items out of view";
        case Fault::ExitCode:
            return "exit code";
        case Fault::Unsound:
            return "not sound afterwards";
    }
    return "";
}

Verdict judgeRun(const RingFiles &before, const std::vector<std::string> &texts, const RingFiles &after,
                 bool wasKilled, const RingSize &size) {
    return Judge(before, texts, after, wasKilled, size).judge();
}

}  // namespace test
