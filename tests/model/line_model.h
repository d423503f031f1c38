// SPDX-License-Identifier: Apache-2.0
// A slow model of reading lines back: how a file splits into lines, how a line splits into fields, and which
// number and time a field gives. Written on strings, without the calls that the module makes.
#ifndef JORN_TESTS_MODEL_LINE_MODEL_H
#define JORN_TESTS_MODEL_LINE_MODEL_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/query_model.h"

namespace test {

/// The lines of a file as its readers get them: pieces of at most 256 bytes that end with their line feed,
/// each seen up to its first NUL.
std::vector<std::string> modelLines(const std::string &bytes);

bool isModelBlank(const std::string &line);

/// The first fields of a line, and what follows the comma that ends the last one.
struct ModelFields {
    std::vector<std::string> fields;
    std::string rest;
};

/// Takes up to `count` fields from the first `maxChars` characters of a line.
ModelFields modelFields(const std::string &line, size_t maxChars, size_t count);

/// The leading decimal number of a text in a signed integer of `bits` bits: leading blanks are skipped and a
/// sign is optional; the nearest number when it does not fit; 0 when there is none.
int64_t modelLeadingNumber(const std::string &text, int bits);

uint32_t modelTime(const std::string &field);
int32_t modelNumber(const std::string &field);

/// What parsing a line stores, field by field, and what it prints when a field is missing.
struct ModelParse {
    std::optional<uint32_t> time;
    std::optional<int32_t> level;
    std::optional<int32_t> slot;
    std::string message;

    bool isItem() const { return slot.has_value(); }
};

ModelParse modelParse(const std::string &line);

/// A line of a file, with what its readers make of it.
struct ModelLine {
    std::string_view piece;  ///< All its bytes, its line feed among them.
    std::string_view seen;   ///< Those before the first NUL.
    bool isBlank;
    ModelParse parse;

    bool isItem() const { return !isBlank && parse.isItem(); }
    /// The item without its text.
    ModelItem item() const { return {*parse.time, *parse.level, *parse.slot, {}}; }
};

struct ModelText {
    std::string bytes;
    std::vector<ModelLine> lines;
};

/// A file's bytes line by line. Bytes that are requested repeatedly are parsed once. For one thread.
std::shared_ptr<const ModelText> modelText(const std::string &bytes);

/// The items of a file, the line of each as its text.
ModelFile modelItems(const std::string &bytes);

/// A record as shown; a missing field and those after it stay as they were.
struct ModelRecord {
    std::optional<std::string> time;
    std::optional<std::string> level;
    std::optional<std::string> slot;
    std::optional<std::string> text;
    std::string message;
};

/// In UTC.
ModelRecord modelRecord(const std::string &line);

/// "Tue Nov 14 22:13:20 2023": seconds since 1970 in UTC, empty when the year is beyond all calendars.
std::string modelCalendar(int64_t seconds);

}  // namespace test

#endif
