// SPDX-License-Identifier: Apache-2.0
#include "output/syslog_format.h"

#include <algorithm>
#include <string_view>

#include "terminal/escape.h"
#include "terminal/number_text.h"

namespace tool {
namespace {

constexpr std::array<const char *, 24> kFacilities = {
    "kern",   "user",   "mail",     "daemon", "auth",   "syslog", "lpr",    "news",
    "uucp",   "cron",   "authpriv", "ftp",    "ntp",    "audit",  "alert",  "clock",
    "local0", "local1", "local2",   "local3", "local4", "local5", "local6", "local7"};

constexpr size_t kHostNameMax = 255;
constexpr size_t kApplicationNameMax = 48;

/// The last second of the year 9999: later years do not fit the four digits of RFC 3339.
constexpr int64_t kLastSecond = 253402300799;

bool isPrintable(char c) { return c > ' ' && c < '\x7f'; }

/// A log's name as a message can hold it; "-" means none.
std::string applicationName(const std::string &log) {
    std::string name = log.substr(0, kApplicationNameMax);
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !isPrintable(c); }, '_');
    return name.empty() ? "-" : name;
}

std::string parameter(const char *name, const std::string &value) {
    std::string text = " " + std::string(name) + "=\"";
    for (const char c : value) {
        if (c == '"' || c == '\\' || c == ']') {
            text += '\\';
        }
        text += c;
    }
    return text + '"';
}

bool isAscii(const std::string &text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

int levelOfSeverity(int severity) {
    constexpr std::array<int, kSeverityCount> kLevels = {0, 0, 0, 0, 1, 2, 2, 3};
    return kLevels[static_cast<size_t>(severity)];
}

std::optional<int> facilityNumber(const std::string &text) {
    const auto *const found = std::find(kFacilities.begin(), kFacilities.end(), std::string_view(text));
    return found == kFacilities.end() ? numberBelow(text, static_cast<int>(kFacilities.size()))
                                      : std::optional(static_cast<int>(found - kFacilities.begin()));
}

std::optional<Severities> parseSeverities(const std::string &text) {
    Severities severities{};
    std::string_view rest = text;
    for (size_t level = 0; level < severities.size(); ++level) {
        const bool isLast = level + 1 == severities.size();
        const size_t end = isLast ? rest.size() : rest.find(',');
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        const std::optional<int> severity = numberBelow(rest.substr(0, end), kSeverityCount);
        if (!severity) {
            return std::nullopt;
        }
        severities[level] = *severity;
        rest.remove_prefix(isLast ? end : end + 1);
    }
    return severities;
}

bool isHostName(const std::string &text) {
    return !text.empty() && text.size() <= kHostNameMax && std::all_of(text.begin(), text.end(), isPrintable);
}

SyslogFormatter::SyslogFormatter(SyslogStyle style)
    : style_(std::move(style)),
      applicationName_(applicationName(style_.log)),
      time_(TimeForm::Iso, style_.isUtc) {}

std::string SyslogFormatter::format(const Item &item) {
    return "<" + std::to_string(priorityOf(item.level)) + ">1 " + timeOf(item.seconds) + " " +
           style_.hostName + " " + applicationName_ + " - - " + dataOf(item) + messageOf(item) + "\n";
}

/// Levels out of range are as severe as the nearest valid one.
int SyslogFormatter::priorityOf(int32_t level) const {
    const int32_t known = std::clamp<int32_t>(level, 0, jorn::kLevelMax - 1);
    return style_.facility * kSeverityCount + style_.severities[static_cast<size_t>(known)];
}

std::string SyslogFormatter::timeOf(int64_t seconds) {
    return seconds >= 0 && seconds <= kLastSecond ? time_.format(seconds) : "-";
}

std::string SyslogFormatter::dataOf(const Item &item) const {
    std::string data = "[jorn@32473";
    const auto add = [&](const char *key, int32_t number, const NameTable &names) {
        data += parameter(key, std::to_string(number));
        if (const std::string *const name = names.nameOf(number)) {
            data += parameter((std::string(key) + "_name").c_str(), *name);
        }
    };
    add("level", item.level, style_.names->levels);
    add("slot", item.slot, style_.names->slots);
    if (!style_.origin.device.empty()) {
        data += parameter("device", style_.origin.device);
    }
    if (!style_.origin.log.empty()) {
        data += parameter("log", style_.origin.log);
    }
    if (style_.origin.isNumbered()) {
        data += parameter("epoch", std::to_string(style_.origin.epoch));
        data += parameter("seq", std::to_string(item.seq));
    }
    return data + "]";
}

/// A UTF-8 text is marked by a byte order mark; plain ASCII needs none, and other bytes must not have one.
std::string SyslogFormatter::messageOf(const Item &item) const {
    if (item.text.empty()) {
        return "";
    }
    const std::string text = style_.isEscaped ? escaped(item.text) : item.text;
    return (isUtf8(text) && !isAscii(text) ? " \xef\xbb\xbf" : " ") + text;
}

}  // namespace tool
