// SPDX-License-Identifier: Apache-2.0
#include "import/pattern_stamp.h"

#include <array>
#include <utility>

#include "import/stamp_clock.h"
#include "import/stamp_scan.h"
#include "system/failure.h"

namespace tool {
namespace {

/// Whether the pattern has a conversion with one of these letters.
bool converts(const std::string &pattern, const std::string &letters) {
    for (size_t i = 0; i + 1 < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            continue;
        }
        ++i;
        // Modifiers for the locale's alternative forms.
        i += pattern[i] == 'E' || pattern[i] == 'O' ? 1 : 0;
        if (i < pattern.size() && letters.find(pattern[i]) != std::string::npos) {
            return true;
        }
    }
    return false;
}

class PatternReader : public LineHeadReader {
public:
    PatternReader(std::string pattern, std::function<time_t()> now)
        : pattern_(std::move(pattern)),
          isEpoch_(converts(pattern_, "s")),
          hasYear_(converts(pattern_, "YyCGgDFcx")),
          hasDate_(converts(pattern_, "dejmbBhDFcxUW")),
          hasZone_(converts(pattern_, "z")),
          clock_(std::move(now)) {}

    LineHead read(std::string_view line) override {
        // strptime() ends at a NUL; lines have none.
        line_.assign(line);
        tm date = {};
        date.tm_mday = 1;
        const char *const end = strptime(line_.c_str(), pattern_.c_str(), &date);
        if (end == nullptr) {
            return {};
        }
        StampScan scan(line.substr(static_cast<size_t>(end - line_.c_str())));
        scan.takeFraction();
        const std::optional<uint32_t> time = timeOf(date);
        if (!time || !scan.takeGap()) {
            return {};
        }
        return {time, std::nullopt, static_cast<size_t>(end - line_.c_str()) + scan.taken()};
    }

private:
    std::optional<uint32_t> timeOf(tm date) {
        if (isEpoch_) {
            return itemTime(mktime(&date));  // Undoes the conversion to local time.
        }
        constexpr int kLeapSecond = 60;
        Civil civil = civilOf(date);
        civil.second -= civil.second == kLeapSecond ? 1 : 0;
        const Offset offset = hasZone_ ? Offset(date.tm_gmtoff) : std::nullopt;
        if (hasYear_) {
            return clock_.at(civil, offset);
        }
        return hasDate_ ? clock_.newest(civil, offset) : clock_.newestTimeOfDay(civil, offset);
    }

    const std::string pattern_;
    const bool isEpoch_;
    const bool hasYear_;
    const bool hasDate_;
    const bool hasZone_;
    StampClock clock_;
    std::string line_;
};

/// Whether strptime() reads what strftime() writes by the pattern. Both take an unknown conversion literally.
bool isReadable(const std::string &pattern) {
    tm date = {};
    date.tm_year = 126;
    date.tm_mday = 1;
    std::array<char, kMostHead> text{};
    if (strftime(text.data(), text.size(), pattern.c_str(), &date) == 0) {
        return false;
    }
    tm read = {};
    const char *const end = strptime(text.data(), pattern.c_str(), &read);
    return end != nullptr && *end == '\0';
}

}  // namespace

std::unique_ptr<LineHeadReader> makePatternReader(const std::string &pattern, std::function<time_t()> now) {
    if (!isReadable(pattern) || !converts(pattern, "HIklTRrcXs")) {
        refuse("--times: '" + pattern + "' is not a strptime pattern with a time of day");
    }
    return std::make_unique<PatternReader>(pattern, std::move(now));
}

}  // namespace tool
