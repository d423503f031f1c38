// SPDX-License-Identifier: Apache-2.0
// The memory that creation takes, as sizes of symbols that can be read from the object file: a log object,
// and the summary of one of its files.
#include "csvfile/file_summary.h"
#include "registry/log_object.h"

extern "C" {
char logObject[sizeof(JORN_OBJ)];
char fileSummary[sizeof(JORN_CSV_INFO)];
}
