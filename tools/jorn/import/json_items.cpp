// SPDX-License-Identifier: Apache-2.0
#include "import/json_items.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "import/text_length.h"
#include "module_limits.h"
#include "terminal/base64.h"

namespace tool {
namespace {

/// Far more than any item needs. No more than this is held of a longer line.
constexpr size_t kMostLine = 65536;

/// The members of a line's object.
struct Members {
    std::optional<int64_t> time;
    std::optional<int64_t> level;
    std::optional<int64_t> slot;
    std::optional<std::string> levelName;
    std::optional<std::string> slotName;
    std::optional<std::string> text;
    std::optional<std::string> base64;
};

/// Receives the parts of a line as the parser reaches them and keeps those that matter, without building a
/// tree.
class MemberReader : public nlohmann::json_sax<nlohmann::json> {
public:
    bool null() override { return isInObject(); }
    bool boolean(bool /*value*/) override { return refuse(); }
    bool number_integer(number_integer_t value) override { return takeNumber(value); }
    bool number_unsigned(number_unsigned_t value) override {
        constexpr number_unsigned_t kMost = std::numeric_limits<int64_t>::max();
        return takeNumber(static_cast<int64_t>(std::min(value, kMost)));
    }
    bool number_float(number_float_t /*value*/, const string_t & /*text*/) override { return refuse(); }
    bool binary(binary_t & /*value*/) override { return refuse(); }
    bool string(string_t &value) override {
        std::optional<std::string> *const member = depth_ == 1 ? textNamed(key_) : nullptr;
        if (member == nullptr) {
            return refuse();
        }
        *member = std::move(value);
        return true;
    }
    bool start_object(size_t /*elements*/) override {
        refuse();
        ++depth_;
        return true;
    }
    bool key(string_t &value) override {
        if (depth_ == 1) {
            key_ = value;
        }
        return true;
    }
    bool end_object() override {
        --depth_;
        return true;
    }
    bool start_array(size_t /*elements*/) override { return isInObject() && start_object(0); }
    bool end_array() override { return end_object(); }
    bool parse_error(size_t /*position*/, const std::string & /*token*/,
                     const nlohmann::detail::exception & /*error*/) override {
        return false;
    }

    const Members &members() const { return members_; }

    /// The first member with a value of the wrong kind; empty when there is none.
    const std::string &misfit() const { return misfit_; }

private:
    /// False for a bare value, which is not an object.
    bool isInObject() const { return depth_ > 0; }

    /// Handles a value of the wrong kind for its member. Members that do not matter may have any value.
    bool refuse() {
        const bool matters = depth_ == 1 && (numberNamed(key_) != nullptr || textNamed(key_) != nullptr);
        if (matters && misfit_.empty()) {
            misfit_ = key_;
        }
        return isInObject();
    }

    bool takeNumber(int64_t value) {
        std::optional<int64_t> *const member = depth_ == 1 ? numberNamed(key_) : nullptr;
        if (member == nullptr) {
            return refuse();
        }
        *member = value;
        return true;
    }

    std::optional<int64_t> *numberNamed(std::string_view key) {
        return key == "time"    ? &members_.time
               : key == "level" ? &members_.level
               : key == "slot"  ? &members_.slot
                                : nullptr;
    }

    std::optional<std::string> *textNamed(std::string_view key) {
        return key == "text"          ? &members_.text
               : key == "text_base64" ? &members_.base64
               : key == "level_name"  ? &members_.levelName
               : key == "slot_name"   ? &members_.slotName
                                      : nullptr;
    }

    Members members_;
    std::string key_;
    std::string misfit_;
    int depth_ = 0;
};

/// Takes a number below a limit, or the number that a name stands for. False for a number out of range or an
/// unknown name.
bool takeNumber(const std::optional<int64_t> &number, const std::optional<std::string> &name,
                const NameTable &table, int limit, std::optional<int> *taken) {
    if (number) {
        *taken = static_cast<int>(std::clamp<int64_t>(*number, -1, limit));
        return **taken >= 0 && **taken < limit;
    }
    if (name) {
        *taken = table.numberOf(*name);
        return taken->has_value();
    }
    return true;
}

/// Returns what is wrong; empty when the members are an item.
std::string takeMembers(const Members &members, const JsonItems::Settings &settings, InputItem *item,
                        std::string *text) {
    if (members.time && (*members.time < 0 || *members.time > std::numeric_limits<uint32_t>::max())) {
        return "\"time\" is not from 0 to 4294967295";
    }
    if (members.time) {
        item->time = static_cast<uint32_t>(*members.time);
    }
    if (!takeNumber(members.level, members.levelName, settings.names->levels, jorn::kLevelMax,
                    &item->level)) {
        return "\"level\" is not a level";
    }
    if (!takeNumber(members.slot, members.slotName, settings.names->slots, settings.slots, &item->slot)) {
        return "\"slot\" is not a slot of this log";
    }
    if (!members.base64 && !members.text) {
        return "\"text\" is missing";
    }
    const std::optional<std::string> bytes = members.base64 ? fromBase64(*members.base64) : members.text;
    if (!bytes) {
        return "\"text_base64\" is not base64";
    }
    *text = *bytes;
    return "";
}

/// Returns what is wrong; empty when the line is an item.
std::string takeLine(std::string_view line, const JsonItems::Settings &settings, InputItem *item,
                     std::string *text) {
    if (line.size() > kMostLine) {
        return "it is longer than " + std::to_string(kMostLine) + " bytes";
    }
    MemberReader reader;
    if (!nlohmann::json::sax_parse(line, &reader)) {
        return "it is not a JSON object";
    }
    return reader.misfit().empty() ? takeMembers(reader.members(), settings, item, text)
                                   : '"' + reader.misfit() + "\" has a value of the wrong kind";
}

}  // namespace

JsonItems::JsonItems(const Settings &settings, ItemSink sink) : settings_(settings), sink_(std::move(sink)) {}

void JsonItems::feed(std::string_view block) {
    for (;;) {
        const size_t feed = block.find('\n');
        if (feed == std::string_view::npos) {
            take(block);
            return;
        }
        if (begun_.empty()) {
            endLine(block.substr(0, feed));
        } else {
            take(block.substr(0, feed));
            endLine(std::exchange(begun_, {}));
        }
        block.remove_prefix(feed + 1);
    }
}

void JsonItems::finish() {
    if (!begun_.empty()) {
        endLine(std::exchange(begun_, {}));
    }
}

/// Holds at most one byte more than a line may have, to show that it is too long.
void JsonItems::take(std::string_view piece) {
    begun_ += piece.substr(0, kMostLine + 1 - std::min(begun_.size(), kMostLine + 1));
}

void JsonItems::endLine(std::string_view line) {
    ++lines_;
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) {
        return;
    }
    InputItem item;
    std::string text;
    const std::string problem = takeLine(line, settings_, &item, &text);
    if (problem.empty()) {
        passOn(item, std::move(text));
        return;
    }
    if (badLines_++ == 0) {
        firstBadLine_ = "line " + std::to_string(lines_) + " is not an item: " + problem;
    }
}

/// Cuts texts as lines are cut. Each NUL becomes a blank, as it would end the text.
void JsonItems::passOn(InputItem item, std::string text) {
    std::replace(text.begin(), text.end(), '\0', ' ');
    std::string_view rest = text;
    while (rest.size() > jorn::kTextMax) {
        const std::string first(rest.substr(0, textLength(rest)));
        item.text = first.c_str();
        sink_(item);
        if (settings_.longText == LongText::Cut) {
            ++cutLines_;
            return;
        }
        item.time.reset();
        rest.remove_prefix(first.size());
    }
    item.text = text.c_str() + (text.size() - rest.size());
    sink_(item);
}

}  // namespace tool
