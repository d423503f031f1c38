// SPDX-License-Identifier: Apache-2.0
// The forms in which the lines of other logs begin with their time, and some with their severity:
//
// - iso: "2026-11-21T06:47:08.123+01:00 text"; "T" or a blank; fraction, zone and brackets optional
// - syslog: "<13>Nov 21 06:47:08 host text" of RFC 3164; priority optional
// - rfc5424: "<13>1 2026-11-21T06:47:08Z host ..." of RFC 5424
// - kmsg: "<6>[    5.123456] text" of dmesg, dmesg -r, dmesg -x; "6,339,5140900,-;text" of /dev/kmsg
// - logcat: "11-21 06:47:08.123  1  2 I Tag: text"; threadtime, time, brief, year, zone, uid, epoch
// - epoch: "1795240028.123 text"; "@" before it optional; 13 digits are milliseconds
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
    int64_t bootMicroseconds = 0;  ///< When the kernel of the log booted, since 1970.
};

/// Returns a reader of line heads in that form. A line without a valid time begins with its text, apart from
/// a priority. Throws Failure, as a usage error, when there is no such form.
std::unique_ptr<LineHeadReader> makeStampReader(const StampOptions &options);

/// Returns a reader that first removes a syslog severity, "<0>" to "<7>". `next`, which may be null, reads
/// what follows it.
std::unique_ptr<LineHeadReader> makePrefixReader(std::unique_ptr<LineHeadReader> next);

/// When this machine's kernel booted, in microseconds since 1970.
int64_t bootMicroseconds();

}  // namespace tool

#endif
