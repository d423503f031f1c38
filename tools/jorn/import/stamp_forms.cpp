// SPDX-License-Identifier: Apache-2.0
#include "import/stamp_forms.h"

#include <algorithm>
#include <array>
#include <utility>

#include "import/device_stamps.h"
#include "import/pattern_stamp.h"
#include "import/stamp_clock.h"
#include "import/stamp_scan.h"
#include "output/syslog_format.h"
#include "system/failure.h"

namespace tool {
namespace {

constexpr int64_t kMicroseconds = 1000000;

/// "UTC" or "+0100" after a blank, as some programs write zones; shorter offsets are just as likely
/// part of the text.
bool takeDistantZone(StampScan *scan, Offset *offset) {
    constexpr size_t kLeast = sizeof "+0100" - 1;
    if (!scan->take(' ')) {
        return false;
    }
    const size_t begin = scan->taken();
    if (scan->takeText("UTC")) {
        *offset = 0;
        return true;
    }
    return scan->takeZone(offset) && scan->taken() - begin >= kLeast;
}

void takeAnyZone(StampScan *scan, Offset *offset) {
    StampScan adjacent = *scan;
    StampScan distant = *scan;
    if (adjacent.takeZone(offset)) {
        *scan = adjacent;
    } else if (takeDistantZone(&distant, offset) &&
               (distant.rest().empty() || distant.rest().front() != ':')) {
        *scan = distant;
    } else {
        offset->reset();
    }
}

LineHead readIso(std::string_view line, StampClock *clock) {
    StampScan scan(line);
    const bool isBracketed = scan.take('[');
    Civil civil;
    Offset offset;
    const bool isDated =
        scan.takeDate(&civil) && (scan.take('T') || scan.take(' ')) && scan.takeTimeOfDay(&civil);
    scan.takeFraction();
    takeAnyZone(&scan, &offset);
    if (!isDated || (isBracketed && !scan.take(']')) || !scan.takeGap()) {
        return {};
    }
    const std::optional<uint32_t> time = clock->at(civil, offset);
    return time ? LineHead{time, std::nullopt, scan.taken()} : LineHead{};
}

/// Takes a priority, if there is one, and returns its level.
LineHead readPriority(StampScan *scan) {
    StampScan after = *scan;
    int priority = 0;
    if (!after.takePriority(&priority)) {
        return {};
    }
    *scan = after;
    return {std::nullopt, levelOfSeverity(priority % kSeverityCount), after.taken()};
}

LineHead readSyslog(std::string_view line, StampClock *clock) {
    StampScan scan(line);
    LineHead head = readPriority(&scan);
    Civil civil;
    const bool isDated = scan.takeNamedDate(&civil) && scan.take(' ') && scan.takeTimeOfDay(&civil);
    scan.takeFraction();
    if (isDated && scan.takeGap()) {
        head.time = clock->newest(civil, std::nullopt);
        head.length = head.time ? scan.taken() : head.length;
    }
    return head;
}

bool takeRfc3339(StampScan *scan, Civil *civil, Offset *offset) {
    if (!scan->takeDate(civil) || !scan->take('T') || !scan->takeTimeOfDay(civil)) {
        return false;
    }
    scan->takeFraction();
    return scan->takeZone(offset);
}

LineHead readRfc5424(std::string_view line, StampClock *clock) {
    StampScan scan(line);
    LineHead head = readPriority(&scan);
    int version = 0;
    if (!head.level || !scan.takeNumber(1, 2, &version) || !scan.take(' ')) {
        return {};
    }
    Civil civil;
    Offset offset;
    StampScan dated = scan;
    if (scan.take('-') && scan.takeGap()) {
        head.length = scan.taken();
    } else if (takeRfc3339(&dated, &civil, &offset) && dated.takeGap()) {
        head.time = clock->at(civil, offset);
        head.length = head.time ? dated.taken() : 0;
    } else {
        head.length = 0;
    }
    return head.length > 0 ? head : LineHead{};
}

LineHead readEpoch(std::string_view line, StampClock * /*clock*/) {
    StampScan scan(line);
    scan.take('@');
    const size_t begin = scan.taken();
    int64_t number = 0;
    constexpr size_t kMillisecondDigits = 13;
    if (!scan.takeNumber(1, kMillisecondDigits, &number)) {
        return {};
    }
    const bool isMilliseconds = scan.taken() - begin == kMillisecondDigits;
    scan.takeFraction();
    const std::optional<uint32_t> time = itemTime(isMilliseconds ? number / 1000 : number);
    return time && scan.takeGap() ? LineHead{time, std::nullopt, scan.taken()} : LineHead{};
}

using Read = LineHead (*)(std::string_view line, StampClock *clock);

class ClockReader : public LineHeadReader {
public:
    ClockReader(Read form, std::function<time_t()> now) : form_(form), clock_(std::move(now)) {}

    LineHead read(std::string_view line) override { return form_(line, &clock_); }

private:
    const Read form_;
    StampClock clock_;
};

class KernelReader : public LineHeadReader {
public:
    explicit KernelReader(int64_t bootMicroseconds) : boot_(bootMicroseconds) {}

    LineHead read(std::string_view line) override { return readKernelHead(line, boot_); }

private:
    const int64_t boot_;
};

class PrefixReader : public LineHeadReader {
public:
    explicit PrefixReader(std::unique_ptr<LineHeadReader> next) : next_(std::move(next)) {}

    LineHead read(std::string_view line) override {
        const bool isPrefix = line.size() >= 3 && line[0] == '<' && line[1] >= '0' &&
                              line[1] < '0' + kSeverityCount && line[2] == '>';
        if (!isPrefix) {
            return next_ != nullptr ? next_->read(line) : LineHead{};
        }
        LineHead head = next_ != nullptr ? next_->read(line.substr(3)) : LineHead{};
        head.length += 3;
        head.level = levelOfSeverity(line[1] - '0');
        return head;
    }

private:
    const std::unique_ptr<LineHeadReader> next_;
};

}  // namespace

std::unique_ptr<LineHeadReader> makeStampReader(const StampOptions &options) {
    static constexpr std::array<std::pair<std::string_view, Read>, 5> kForms = {{{"iso", readIso},
                                                                                 {"syslog", readSyslog},
                                                                                 {"rfc5424", readRfc5424},
                                                                                 {"logcat", readLogcatHead},
                                                                                 {"epoch", readEpoch}}};
    const auto *const form = std::find_if(kForms.begin(), kForms.end(),
                                          [&](const auto &each) { return each.first == options.form; });
    if (form != kForms.end()) {
        return std::make_unique<ClockReader>(form->second, options.now);
    }
    if (options.form == "kmsg") {
        return std::make_unique<KernelReader>(options.bootMicroseconds);
    }
    if (options.form.find('%') == std::string::npos) {
        refuse("--times: '" + options.form +
               "' is neither iso, syslog, rfc5424, kmsg, logcat, epoch nor a strptime pattern such as "
               "\"%d.%m.%Y "
               "%H:%M:%S\"");
    }
    return makePatternReader(options.form, options.now);
}

std::unique_ptr<LineHeadReader> makePrefixReader(std::unique_ptr<LineHeadReader> next) {
    return std::make_unique<PrefixReader>(std::move(next));
}

int64_t bootMicroseconds() {
    const auto microsecondsOf = [](clockid_t clock) {
        timespec time = {};
        clock_gettime(clock, &time);
        return time.tv_sec * kMicroseconds + time.tv_nsec / 1000;
    };
    return microsecondsOf(CLOCK_REALTIME) - microsecondsOf(CLOCK_BOOTTIME);
}

}  // namespace tool
