// SPDX-License-Identifier: Apache-2.0
// Any line, given to the parser, the filter of a requirement and the maker of display records, and, as the
// text of an item, to submission.
#include <msgQLib.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "csvfile/item_parser.h"
#include "fuzz/byte_reader.h"
#include "fuzz/finding.h"
#include "fuzz/memory_platform.h"
#include "jorn.h"
#include "model/library_model.h"
#include "model/line_model.h"
#include "query/requirement_filter.h"
#include "query/retrieval.h"
#include "registry/registry.h"

namespace fuzz {
namespace {

constexpr int32_t kErrorLevel = 1;
constexpr int32_t kLineFateLevel = 8;
constexpr unsigned char kUntouched = 0xAA;

using Messages = std::vector<std::string>;

/// A message, when it has one and the print level is high enough.
Messages printed(int32_t printLevel, int32_t messageLevel, const std::string &message) {
    return message.empty() || printLevel < messageLevel ? Messages{} : Messages{message};
}

void checkParser(const std::string &line, int32_t printLevel) {
    constexpr uint32_t kTime = 77;
    constexpr int32_t kNumber = 88;
    const test::ModelParse wanted = test::modelParse(line);
    JORN_ITEM_INFO item = {kTime, kNumber, kNumber, nullptr};
    expectNumber("result of parsing", jorn_AnalyseOneItemInfo(line.c_str(), &item), wanted.isItem() ? 0 : -1);
    expectNumber("time", item.time, wanted.time.value_or(kTime));
    expectNumber("level", item.level, wanted.level.value_or(kNumber));
    expectNumber("slot", item.slot, wanted.slot.value_or(kNumber));
    expectThat((item.text != nullptr) == wanted.isItem(), "a text is given with an item only");
    expectSame("messages of parsing", MemoryPlatform::get().takeMessages(),
               printed(printLevel, kErrorLevel, wanted.message));
    expectNumber("day", jorn_TimeToDay(item.time), item.time / 86400U);
}

/// The same again, compared with the C library's calls on this machine.
void checkParserAgainstLibrary(const std::string &line) {
    const test::ModelParse wanted = test::libraryParse(line.c_str());
    JORN_ITEM_INFO item = {};
    expectNumber("result of parsing", jorn_AnalyseOneItemInfo(line.c_str(), &item), wanted.isItem() ? 0 : -1);
    expectNumber("time of the library", item.time, wanted.time.value_or(0));
    expectNumber("level of the library", item.level, wanted.level.value_or(0));
    expectNumber("slot of the library", item.slot, wanted.slot.value_or(0));
    if (wanted.isItem()) {
        expectNumber("begin of the text", item.text - line.c_str(), test::libraryTextOffset(line.c_str()));
    }
    static_cast<void>(MemoryPlatform::get().takeMessages());
}

/// The message of an item with these numbers and this text.
void checkSubmission(const std::string &text, const JORN_REQUIRE &numbers) {
    JORN_OBJ object = {};
    object.handle_id = numbers.dayDwLimit;
    object.level_max = 4;
    object.slot_max = 8;
    jorn_obj_ptr = &object;
    logMsgCsvStore_ID = msgQCreate(1, 272, MSG_Q_FIFO);
    const int32_t level = std::min(numbers.level, 3);
    const int32_t slot = std::min(numbers.slot, 7);
    char message[272];
    expectNumber("result of submission", JORN_AddOneLog(object.handle_id, level, slot, text.c_str()), 0);
    const int length = msgQReceive(logMsgCsvStore_ID, message, sizeof message, NO_WAIT);
    expectThat(length > 0, "a message is sent");
    expectSame("message", std::string(message, static_cast<size_t>(length)),
               test::libraryMessage(object.handle_id, kNow, level, slot, text.c_str()));
    msgQDelete(logMsgCsvStore_ID);
    logMsgCsvStore_ID = nullptr;
    jorn_obj_ptr = nullptr;
}

/// Why an item is not wanted; empty when it is.
std::string refusal(const test::ModelParse &item, const JORN_REQUIRE &require) {
    const int64_t day = *item.time / 86400U;
    if (require.dayDwLimit >= 0 && day < require.dayDwLimit) {
        return "Not require because of dayDwLimit!";
    }
    if (require.dayUpLimit >= 0 && day > require.dayUpLimit) {
        return "Not require because of dayUpLimit!";
    }
    if (require.level < 0 && *item.level >= 3) {
        return "Not require because level=" + std::to_string(*item.level) + ", >=debug-level!";
    }
    const bool isLevel = require.level < 0 || *item.level == require.level ||
                         (require.levelMode <= 0 && *item.level < require.level);
    if (!isLevel) {
        return "Not require because of level!";
    }
    return require.slot >= 0 && *item.slot != require.slot ? "Not require because of slot!" : "";
}

void checkFilter(const std::string &line, const JORN_REQUIRE &require, int32_t printLevel) {
    int32_t result = -1;
    Messages messages;
    const test::ModelParse item = test::modelParse(line);
    if (!test::isModelBlank(line) && item.isItem()) {
        const std::string reason = refusal(item, require);
        result = reason.empty() ? 0 : -1;
        messages = printed(printLevel, kLineFateLevel, reason);
    } else if (!test::isModelBlank(line) && printLevel >= kErrorLevel) {
        messages = {item.message, "Error: item info analyse failed: " + line};
    }
    expectNumber("result of the filter", jorn_WhetherItemRequireOrNot(line.c_str(), &require), result);
    expectSame("messages of the filter", MemoryPlatform::get().takeMessages(), messages);
}

/// Compares a text of a record; all of its bytes when it must be untouched.
template <size_t size>
void expectText(const std::string &what, const char (&seen)[size], const std::optional<std::string> &wanted) {
    if (wanted) {
        expectThat(memchr(seen, '\0', size) != nullptr, what + " ends");
        expectSame(what, std::string(seen), *wanted);
    } else {
        expectSame(what, std::string(seen, size), std::string(size, static_cast<char>(kUntouched)));
    }
}

void checkRecord(const std::string &line, int32_t printLevel) {
    struct {
        char before[16];
        JORN_LOG_DISP record;
        char after[16];
    } guarded;
    memset(&guarded, kUntouched, sizeof guarded);
    const test::ModelRecord wanted = test::modelRecord(line);
    expectNumber("result of breaking down", jorn_BreakDownOneItemString(line.c_str(), &guarded.record),
                 wanted.text ? 0 : -1);
    expectText("time text", guarded.record.timeStr, wanted.time);
    expectText("level text", guarded.record.levelStr, wanted.level);
    expectText("slot text", guarded.record.slotStr, wanted.slot);
    expectText("text", guarded.record.logStr, wanted.text);
    expectText("bytes before the record", guarded.before, std::nullopt);
    expectText("bytes behind the record", guarded.after, std::nullopt);
    expectSame("messages of breaking down", MemoryPlatform::get().takeMessages(),
               printed(printLevel, kErrorLevel, wanted.message));
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::ByteReader input(data, size);
    fuzz::MemoryPlatform::get().reset();
    const int32_t printLevel = input.below(10);
    jorn_SetDebugPrintLevel(printLevel);
    JORN_REQUIRE require = {20, 1, 0, 0, 0, 0, 0};
    for (int32_t *const field :
         {&require.dayDwLimit, &require.dayUpLimit, &require.level, &require.levelMode, &require.slot}) {
        *field = input.number();
    }
    const std::string bytes = input.rest();
    const std::string line = bytes.substr(0, bytes.find('\0'));  // as the module sees it
    fuzz::checkParser(line, printLevel);
    fuzz::checkParserAgainstLibrary(line);
    fuzz::checkSubmission(line, require);
    fuzz::checkFilter(line, require, printLevel);
    fuzz::checkRecord(line, printLevel);
    return 0;
}
