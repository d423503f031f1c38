// SPDX-License-Identifier: Apache-2.0
#include "model/library_model.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace test {
namespace {

constexpr size_t kParsedChars = 255;
constexpr size_t kMessageSize = 272;
constexpr size_t kTextMax = 198;

uint32_t timeOf(const std::string &field) {
    return static_cast<uint32_t>(sizeof(long) >= 8 ? atol(field.c_str()) : atoll(field.c_str()));
}

}  // namespace

ModelFields libraryFields(const char *line, size_t maxChars, size_t count) {
    std::string copy(line, strnlen(line, maxChars));
    ModelFields split;
    char *start = copy.data();
    char *save = nullptr;
    while (split.fields.size() < count) {
        const char *const field = strtok_r(start, ",", &save);
        if (field == nullptr) {
            return split;
        }
        split.fields.emplace_back(field);
        start = nullptr;
    }
    split.rest = save;
    return split;
}

ptrdiff_t libraryTextOffset(const char *line) {
    const size_t seen = strnlen(line, kParsedChars);
    return static_cast<ptrdiff_t>(seen - libraryFields(line, kParsedChars, 3).rest.size());
}

ModelParse libraryParse(const char *line) {
    const ModelFields split = libraryFields(line, kParsedChars, 3);
    ModelParse parse;
    if (split.fields.empty()) {
        parse.message = "Time info error!";
        return parse;
    }
    parse.time = timeOf(split.fields[0]);
    if (split.fields.size() < 2) {
        parse.message = "Level info error!";
        return parse;
    }
    parse.level = atoi(split.fields[1].c_str());
    if (split.fields.size() < 3) {
        parse.message = "Slot info error!";
        return parse;
    }
    parse.slot = atoi(split.fields[2].c_str());
    return parse;
}

std::string libraryMessage(int32_t handle, uint32_t time, int32_t level, int32_t slot, const char *text) {
    char message[kMessageSize];
    char *position = message;
    position += sprintf(position, "%ld%s", static_cast<long>(handle), ",");
    position += sprintf(position, "%lu%s", static_cast<unsigned long>(time), ",");
    position += sprintf(position, "%ld%s", static_cast<long>(level), ",");
    position += sprintf(position, "%ld%s", static_cast<long>(slot), ",");
    for (size_t i = 0; i < strlen(text) && i < kTextMax; ++i) {
        *position++ = text[i] == '\n' || text[i] == '\r' ? ' ' : text[i];
    }
    *position++ = '\n';
    *position++ = '\0';
    return {message, static_cast<size_t>(position - message)};
}

}  // namespace test
