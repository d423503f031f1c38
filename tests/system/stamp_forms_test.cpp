// SPDX-License-Identifier: Apache-2.0
// The times and severities that lines of other logs begin with.
#include <gmock/gmock.h>
#include <stdlib.h>

#include <optional>

#include "import/stamp_forms.h"
#include "system/failure.h"
#include "terminal/base64.h"

namespace test {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;
using tool::LineHead;

constexpr time_t kNow = 1795348800;      // 2026-11-22 12:00:00 UTC
constexpr uint32_t kNov21 = 1795243628;  // 2026-11-21 06:47:08 UTC

/// By rule, not by a zone file that a machine may lack.
constexpr char kEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

class StampFormsTest : public ::testing::Test {
protected:
    StampFormsTest() { useZone("UTC0"); }
    ~StampFormsTest() override {
        former_ ? setenv("TZ", former_->c_str(), 1) : unsetenv("TZ");
        tzset();
    }

    static void useZone(const char *zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    /// Reads the next line by the form: "TIME LEVEL|TEXT", with "-" for what the line does not say.
    std::string read(const std::string &form, const std::string &line) {
        if (form != form_) {
            tool::StampOptions options;
            options.form = form_ = form;
            options.now = [this] { return now_; };
            options.bootMicroseconds = boot_;
            reader_ = tool::makeStampReader(options);
        }
        const LineHead head = reader_->read(line);
        return (head.time ? std::to_string(*head.time) : "-") + " " +
               (head.level ? std::to_string(*head.level) : "-") + "|" + line.substr(head.length);
    }

    time_t now_ = kNow;
    int64_t boot_ = 0;

private:
    const std::optional<std::string> former_ =
        getenv("TZ") != nullptr ? std::optional<std::string>(getenv("TZ")) : std::nullopt;
    std::string form_;
    std::unique_ptr<tool::LineHeadReader> reader_;
};

std::string at(int64_t time, const std::string &rest) { return std::to_string(time) + rest; }

TEST_F(StampFormsTest, Iso_EveryWriting_IsTakenOff) {
    const std::string expected = at(kNov21, " -|text");
    for (const char *line :
         {"2026-11-21 06:47:08 text", "2026-11-21T06:47:08 text", "2026-11-21T06:47:08Z text",
          "2026-11-21T07:47:08+01:00 text", "2026-11-21T07:47:08+0100 text", "2026-11-21T05:47:08-01 text",
          "2026-11-21 06:47:08.999 text", "2026-11-21 06:47:08,999 text",
          "2026-11-21 06:47:08.123456789Z text", "2026-11-21 06:47:08 UTC text",
          "2026-11-21 12:17:08 +0530 text", "2026-11-21 06:47:08\ttext", "[2026-11-21 06:47:08] text",
          "[2026-11-21T07:47:08.5+01:00] text"}) {
        EXPECT_EQ(read("iso", line), expected) << line;
    }
    EXPECT_EQ(read("iso", "2026-11-21 06:47:08"), at(kNov21, " -|"));
    EXPECT_EQ(read("iso", "2026-11-21 06:47:08   text"), at(kNov21, " -|  text"));
    EXPECT_EQ(read("iso", "2026-11-21 06:47:08 +12 V"), at(kNov21, " -|+12 V"));
    EXPECT_EQ(read("iso", "2026-11-21 06:47:08 UTCtext"), "- -|2026-11-21 06:47:08 UTCtext");
}

TEST_F(StampFormsTest, Iso_Malformed_IsText) {
    for (const char *line : {"",
                             "text",
                             "2026-11-21",
                             "2026-11-21 06:47",
                             "2026-11-21 6:47:08 text",
                             "2026-11-21 06:47:08text",
                             "2026-11-21 24:00:00 text",
                             "2026-11-21 06:60:00 text",
                             "2026-11-21 06:47:61 text",
                             "2026-13-01 00:00:00 t",
                             "2026-02-30 00:00:00 text",
                             "2025-02-29 00:00:00 text",
                             "1900-01-01 00:00:00 text",
                             "2107-01-01 00:00:00 text",
                             "1969-12-31 23:59:59 text",
                             "12026-11-21 06:47:08 text",
                             "[2026-11-21 06:47:08 text",
                             "2026-11-21 06:47:08+1 text",
                             "2026-11-21 06:47:08+25:00 text",
                             " 2026-11-21 06:47:08 text"}) {
        EXPECT_EQ(read("iso", line), std::string("- -|") + line);
    }
}

TEST_F(StampFormsTest, Iso_LeapDayAndLeapSecond_AreTimes) {
    EXPECT_EQ(read("iso", "2024-02-29 00:00:00 x"), "1709164800 -|x");
    EXPECT_EQ(read("iso", "2025-12-31 23:59:60 x"), "1767225599 -|x");
    EXPECT_EQ(read("iso", "2106-02-07 06:28:15 x"), "4294967295 -|x");
    EXPECT_EQ(read("iso", "2106-02-07 06:28:16 x"), "- -|2106-02-07 06:28:16 x");
    EXPECT_EQ(read("iso", "1970-01-01 00:00:00 x"), "0 -|x");
}

TEST_F(StampFormsTest, Iso_ClocksPutBack_SecondHourFollowsTheFirst) {
    useZone(kEurope);
    EXPECT_EQ(read("iso", "2026-10-25 02:30:00 x"), "1792888200 -|x");
    EXPECT_EQ(read("iso", "2026-10-25 02:59:59 x"), "1792889999 -|x");
    // Not before the line before it.
    EXPECT_EQ(read("iso", "2026-10-25 02:30:00 x"), "1792891800 -|x");
    EXPECT_EQ(read("iso", "2026-10-25 02:30:00 x"), "1792891800 -|x");
    EXPECT_EQ(read("iso", "2026-10-25 02:29:59 x"), "1792891799 -|x");
    EXPECT_EQ(read("iso", "2026-10-25 01:59:59 x"), "1792886399 -|x");
}

TEST_F(StampFormsTest, Iso_ClocksPutOn_SkippedTimeIsAsFarIntoTheNextHour) {
    useZone(kEurope);
    EXPECT_EQ(read("iso", "2026-03-29 02:30:00 x"), "1774747800 -|x");
    EXPECT_EQ(read("iso", "2026-03-29 03:30:00 x"), "1774747800 -|x");
}

TEST_F(StampFormsTest, Syslog_NoYear_NewestThatIsNotInTheFuture) {
    EXPECT_EQ(read("syslog", "Nov 21 06:47:08 host x"), at(kNov21, " -|host x"));
    EXPECT_EQ(read("syslog", "Nov 22 12:00:00 x"), at(kNow, " -|x"));
    EXPECT_EQ(read("syslog", "Nov 22 12:00:01 x"), "1763812801 -|x");
    EXPECT_EQ(read("syslog", "Dec 31 23:59:59 x"), "1767225599 -|x");
    EXPECT_EQ(read("syslog", "Jan  1 00:00:00 x"), "1767225600 -|x");
    EXPECT_EQ(read("syslog", "Jan 1 00:00:00 x"), "1767225600 -|x");
    EXPECT_EQ(read("syslog", "Feb 29 00:00:00 x"), "1709164800 -|x");
    now_ = 1767225600;  // The year has turned.
    EXPECT_EQ(read("syslog", "Dec 31 23:59:59 x"), "1767225599 -|x");
    EXPECT_EQ(read("syslog", "Jan  1 00:00:01 x"), at(1767225601 - 365 * 86400, " -|x"));
}

TEST_F(StampFormsTest, Syslog_ClocksPutBack_NotInTheFuture) {
    useZone(kEurope);
    now_ = 1792888300;  // In the first of the two hours.
    EXPECT_EQ(read("syslog", "Oct 25 02:30:10 x"), "1792888210 -|x");
    // Its second time has not come yet.
    EXPECT_EQ(read("syslog", "Oct 25 02:30:00 x"), "1792888200 -|x");
}

TEST_F(StampFormsTest, Syslog_Priority_BecomesTheLevel) {
    EXPECT_EQ(read("syslog", "<13>Nov 21 06:47:08 x"), at(kNov21, " 2|x"));
    EXPECT_EQ(read("syslog", "<0>Nov 21 06:47:08 x"), at(kNov21, " 0|x"));
    EXPECT_EQ(read("syslog", "<131>Nov 21 06:47:08.25 x"), at(kNov21, " 0|x"));
    EXPECT_EQ(read("syslog", "<191>Nov 21 06:47:08 x"), at(kNov21, " 3|x"));
    EXPECT_EQ(read("syslog", "<12>without a time"), "- 1|without a time");
    EXPECT_EQ(read("syslog", "<192>Nov 21 06:47:08 x"), "- -|<192>Nov 21 06:47:08 x");
}

TEST_F(StampFormsTest, Syslog_Malformed_IsText) {
    for (const char *line : {"nov 21 06:47:08 x", "Nov 31 06:47:08 x", "Nov  31 06:47:08 x", "Nov 21 06:47 x",
                             "Nov 21  06:47:08 x", "Nov21 06:47:08 x", "\tat line 4", "Now 21 06:47:08 x"}) {
        EXPECT_EQ(read("syslog", line), std::string("- -|") + line);
    }
}

TEST_F(StampFormsTest, Rfc5424_PriorityAndTime_AreTakenOff) {
    EXPECT_EQ(read("rfc5424", "<165>1 2026-11-21T06:47:08.003Z host app 1 - - x"),
              at(kNov21, " 2|host app 1 - - x"));
    EXPECT_EQ(read("rfc5424", "<132>1 2026-11-21T07:47:08+01:00 host x"), at(kNov21, " 1|host x"));
    EXPECT_EQ(read("rfc5424", "<132>1 - host x"), "- 1|host x");
    for (const char *line :
         {"<132>2026-11-21T06:47:08Z host", "132>1 2026-11-21T06:47:08Z h", "<132>1 2026-11-21 06:47:08Z h",
          "<132>1 2026-11-21T06:47:08 h", "<132>1 2026-02-29T06:47:08Z h", "<132>1 Nov 21 06:47:08 h",
          "<132>1", "<132>1 -host"}) {
        EXPECT_EQ(read("rfc5424", line), std::string("- -|") + line);
    }
}

TEST_F(StampFormsTest, Kmsg_TimeSinceTheStart_IsAddedToIt) {
    boot_ = 1000000500000;  // 1000000.5
    EXPECT_EQ(read("kmsg", "[    5.123456] x"), "1000005 -|x");
    EXPECT_EQ(read("kmsg", "[    5.500000] x"), "1000006 -|x");
    EXPECT_EQ(read("kmsg", "<6>[    0.000000] x"), "1000000 2|x");
    EXPECT_EQ(read("kmsg", "<3>[86400.000000][  T12] x"), "1086400 0|[  T12] x");
    EXPECT_EQ(read("kmsg", "<15>[    1.500000] x"), "1000002 3|x");
    EXPECT_EQ(read("kmsg", "kern  :warn  : [    1.500000] x"), "1000002 1|x");
    EXPECT_EQ(read("kmsg", "daemon:debug : [    1.500000] x"), "1000002 3|x");
    EXPECT_EQ(read("kmsg", "6,339,5140900,-;x, y; z"), "1000005 2|x, y; z");
    EXPECT_EQ(read("kmsg", "30,340,5500000,-,caller=T1;x"), "1000006 2|x");
    EXPECT_EQ(read("kmsg", "<4>no time"), "- 1|no time");
}

TEST_F(StampFormsTest, Kmsg_Malformed_IsText) {
    for (const char *line :
         {" SUBSYSTEM=usb", "[5] x", "[ 5.12] x", "[    5.123456 x", "6,339,5140900 x", "6,339,-;x",
          "word: [    1.000000] x", "kern  :loud  : [    1.000000] x", "[99999999999.000000] x"}) {
        EXPECT_EQ(read("kmsg", line), std::string("- -|") + line);
    }
}

TEST_F(StampFormsTest, Logcat_EveryForm_TimeAndLetter) {
    EXPECT_EQ(read("logcat", "11-21 06:47:08.123  1234  5678 I Tag: x"),
              at(kNov21, " 2|1234  5678 I Tag: x"));
    EXPECT_EQ(read("logcat", "11-21 06:47:08.123 W/Tag( 1234): x"), at(kNov21, " 1|W/Tag( 1234): x"));
    EXPECT_EQ(read("logcat", "11-21 06:47:08.123  root  12  34 D Tag: x"),
              at(kNov21, " 3|root  12  34 D Tag: x"));
    EXPECT_EQ(read("logcat", "2026-11-21 06:47:08.123  12  34 V Tag: x"), at(kNov21, " 3|12  34 V Tag: x"));
    EXPECT_EQ(read("logcat", "11-21 07:47:08.123 +0100  12  34 E Tag: x"), at(kNov21, " 0|12  34 E Tag: x"));
    EXPECT_EQ(read("logcat", "       1795243628.123  12  34 F Tag: x"), at(kNov21, " 0|12  34 F Tag: x"));
    EXPECT_EQ(read("logcat", "E/Tag( 1234): x"), "- 0|E/Tag( 1234): x");
    EXPECT_EQ(read("logcat", "12-31 23:59:59.999  1  2 A Tag: x"), "1767225599 0|1  2 A Tag: x");
    EXPECT_EQ(read("logcat", "--------- beginning of main"), "- -|--------- beginning of main");
    EXPECT_EQ(read("logcat", "02-30 06:47:08.123  1  2 I Tag: x"), "- -|02-30 06:47:08.123  1  2 I Tag: x");
}

TEST_F(StampFormsTest, Epoch_SecondsAndMilliseconds) {
    EXPECT_EQ(read("epoch", "1795243628 x"), at(kNov21, " -|x"));
    EXPECT_EQ(read("epoch", "1795243628.999999 x"), at(kNov21, " -|x"));
    EXPECT_EQ(read("epoch", "@1795243628 x"), at(kNov21, " -|x"));
    EXPECT_EQ(read("epoch", "1795243628123 x"), at(kNov21, " -|x"));
    EXPECT_EQ(read("epoch", "0 x"), "0 -|x");
    EXPECT_EQ(read("epoch", "4294967295 x"), "4294967295 -|x");
    for (const char *line : {"4294967296 x", "1795243628x", "-1 x", "17952436281234 x", "x"}) {
        EXPECT_EQ(read("epoch", line), std::string("- -|") + line);
    }
}

TEST_F(StampFormsTest, Pattern_WholeDate_IsTakenOff) {
    EXPECT_EQ(read("%d.%m.%Y %H:%M:%S", "21.11.2026 06:47:08 x"), at(kNov21, " -|x"));
    EXPECT_EQ(read("%d.%m.%Y %H:%M:%S", "21.11.2026 06:47:08,123 x"), at(kNov21, " -|x"));
    EXPECT_EQ(read("%d.%m.%Y %H:%M:%S", "21.11.2026 06:47:08x"), "- -|21.11.2026 06:47:08x");
    EXPECT_EQ(read("%d.%m.%Y %H:%M:%S", "29.02.2025 06:47:08 x"), "- -|29.02.2025 06:47:08 x");
    EXPECT_EQ(read("[%d/%b/%Y:%H:%M:%S %z]", "[21/Nov/2026:07:47:08 +0100] x"), at(kNov21, " -|x"));
    EXPECT_EQ(read("%a %b %e %H:%M:%S %Y", "Sat Nov 21 06:47:08 2026 x"), at(kNov21, " -|x"));
    EXPECT_EQ(read("%s", "1795243628 x"), at(kNov21, " -|x"));
    useZone(kEurope);
    EXPECT_EQ(read("%Y%m%d-%H%M%S", "20261121-074708 x"), at(kNov21, " -|x"));
    EXPECT_EQ(read("@%s", "@1792891800 x"), "1792891800 -|x");
}

TEST_F(StampFormsTest, Pattern_NoYearOrNoDate_NewestThatIsNotInTheFuture) {
    EXPECT_EQ(read("%m/%d %H:%M:%S", "11/21 06:47:08 x"), at(kNov21, " -|x"));
    EXPECT_EQ(read("%m/%d %H:%M:%S", "12/31 23:59:59 x"), "1767225599 -|x");
    EXPECT_EQ(read("%H:%M:%S", "12:00:00 x"), at(kNow, " -|x"));
    EXPECT_EQ(read("%H:%M:%S", "12:00:01 x"), at(kNow + 1 - 86400, " -|x"));
    EXPECT_EQ(read("%H:%M", "11:59 x"), at(kNow - 60, " -|x"));
}

TEST_F(StampFormsTest, MakeStampReader_NoForm_Refused) {
    const auto make = [](const std::string &form) {
        return [form] { tool::makeStampReader({form, [] { return kNow; }, 0}); };
    };
    EXPECT_THAT(make("isotope"),
                ThrowsMessage<tool::Failure>(HasSubstr("--times: 'isotope' is neither iso, ")));
    EXPECT_THAT(make(""), ThrowsMessage<tool::Failure>(HasSubstr("is neither iso, ")));
    EXPECT_THAT(make("%Q"), ThrowsMessage<tool::Failure>(HasSubstr("'%Q' is not a strptime pattern")));
    EXPECT_THAT(make("%Y-%m-%d"), ThrowsMessage<tool::Failure>(HasSubstr("with a time of day")));
    EXPECT_THAT(make("100%"), ThrowsMessage<tool::Failure>(HasSubstr("is not a strptime pattern")));
}

TEST_F(StampFormsTest, MakePrefixReader_BeforeAnotherForm_BothAreTakenOff) {
    const auto reader = tool::makePrefixReader(tool::makeStampReader({"iso", [] { return kNow; }, 0}));
    const LineHead head = reader->read("<4>2026-11-21 06:47:08 x");
    EXPECT_EQ(head.time, kNov21);
    EXPECT_EQ(head.level, 1);
    EXPECT_EQ(head.length, 23U);
    EXPECT_EQ(reader->read("2026-11-21 06:47:08 x").length, 20U);
}

TEST(BootMicroseconds, ThisMachine_BeforeNow) {
    const int64_t boot = tool::bootMicroseconds() / 1000000;
    EXPECT_GT(boot, 1000000000);
    EXPECT_LE(boot, time(nullptr));
}

TEST(Base64, AnyBytes_ComeBack) {
    std::string bytes;
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(tool::fromBase64(tool::toBase64(bytes)), bytes);
        bytes += static_cast<char>(i * 7);
    }
    EXPECT_EQ(tool::toBase64("\xff\xfe"), "//4=");
}

TEST(Base64, OtherText_IsNone) {
    for (const char *text :
         {"A", "AA", "AAA", "AA=A", "AAB=", "AA==AAAA", "A A=", "AAAA\n", "____", "=AAA"}) {
        EXPECT_EQ(tool::fromBase64(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace test
