// SPDX-License-Identifier: Apache-2.0
// What was submitted, line by line, and what the bytes of a data file are: which submitted items, and how a
// reader understands each line.
#ifndef JORN_TESTS_FAULTS_FLASH_LEDGER_H
#define JORN_TESTS_FAULTS_FLASH_LEDGER_H

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "model/line_model.h"

namespace flash {

/// An item that was submitted.
struct Item {
    size_t object;   ///< number of its object
    size_t ordinal;  ///< number within its object
    std::string line;
};

constexpr int kUnknownItem = -1;

/// One line of a data file, or a piece of 256 characters of a longer one.
struct Line {
    std::string_view text;    ///< all its bytes
    std::string_view seen;    ///< those before the first NUL
    int item = kUnknownItem;  ///< the submitted item that equals it, byte for byte
    bool isItem = false;      ///< has time, level and slot
    bool isShown = false;     ///< its level is not above the debug level
};

struct ParsedFile {
    std::shared_ptr<const test::ModelText> text;
    std::vector<Line> lines;
};

class Ledger {
public:
    /// Notes an item of an object. Submitting the same line again gives the same number: the life after the
    /// cut is the same for every cut.
    int submit(size_t object, const std::string &line);

    const Item &item(int number) const { return items_[static_cast<size_t>(number)]; }
    size_t items() const { return items_.size(); }
    /// Items of one object so far.
    size_t itemsOf(size_t object) const;

    /// The file's lines. A file that is requested repeatedly is parsed once.
    std::shared_ptr<const ParsedFile> parse(const std::string &bytes) const;

private:
    std::vector<Item> items_;
    std::unordered_map<std::string, int> numbers_;
    std::vector<size_t> counts_;
    mutable std::unordered_map<std::string, std::shared_ptr<const ParsedFile>> parsed_;
};

}  // namespace flash

#endif
