// SPDX-License-Identifier: Apache-2.0
// The forms in which the lines of other logs begin with their time, and some with their severity:
//   iso       2026-11-21T06:47:08.123+01:00 text    "T" or a blank, fraction and zone or none, in brackets or
//   not syslog    <13>Nov 21 06:47:08 host text         RFC 3164, the priority or none rfc5424   <13>1
//   2026-11-21T06:47:08Z host ...   RFC 5424 kmsg      <6>[    5.123456] text                dmesg, dmesg -r,
//   dmesg -x; "6,339,5140900,-;text" of /dev/kmsg logcat    11-21 06:47:08.123  1  2 I Tag: text  threadtime,
//   time, brief, year, zone, uid, epoch epoch     1795240028.123 text                   an "@" before it or
//   none; 13 digits are milliseconds
#ifndef JORN_TOOLS_STAMP_FORMS_H
#define JORN_TOOLS_STAMP_FORMS_H

#include <stdint.h>
#include <time.h>

#include <functional>
#include <memory>
#include <string>

#include "import/line_head.h"

namespace tool {

struct StampOptions {
    std::string form;  ///< A name from above, or a pattern of strptime; empty for none.
    std::function<time_t()> now;
    int64_t bootMicroseconds = 0;  ///< When the kernel of the log started, since 1970.
};

/// Reads the heads of lines in that form. Where the time is none, the line begins with its text, but for a
/// priority. Throws Failure, as a usage error, when there is no such form.
std::unique_ptr<LineHeadReader> makeStampReader(const StampOptions &options);

/// Takes a severity of syslog, "<0>" to "<7>", off first. `next`, which may be null, reads what follows it.
std::unique_ptr<LineHeadReader> makePrefixReader(std::unique_ptr<LineHeadReader> next);

/// When this machine's kernel started, in microseconds since 1970.
int64_t bootMicroseconds();

}  // namespace tool

#endif
