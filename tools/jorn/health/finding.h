// SPDX-License-Identifier: Apache-2.0
// What a check reports: one finding for each thing that is not as the store leaves it.
#ifndef JORN_TOOLS_FINDING_H
#define JORN_TOOLS_FINDING_H

#include <stdint.h>

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace tool {

enum class Severity {
    Note,     ///< Worth knowing; nothing is wrong.
    Warning,  ///< Damage that the store can live with.
    Error,    ///< Items are out of view, or the store's next start would destroy some.
};

struct Finding {
    Severity severity = Severity::Note;
    std::string code;    ///< Short and stable, for programs: "index-empty".
    std::string file;    ///< Name in the directory; empty for the directory itself.
    int64_t offset = 0;  ///< Byte in the file.
    std::string what;
    std::string advice;
};

const char *nameOf(Severity severity);

/// "DIR/FILE:OFFSET: severity: what; advice", with nothing in it that a terminal could take for a command. If
/// coloured, the severity is in its colour.
std::string formatFinding(const std::string &directory, const Finding &finding, bool isColored);

/// The same as one JSON object on one line.
std::string formatFindingJson(const std::string &directory, const Finding &finding);

struct FindingCounts {
    int errors = 0;
    int warnings = 0;
    int notes = 0;

    bool isSound() const { return errors == 0 && warnings == 0; }
};

FindingCounts countFindings(const std::vector<Finding> &findings);

std::string formatSummary(const std::string &directory, const FindingCounts &counts, bool isColored);
std::string formatSummaryJson(const std::string &directory, const FindingCounts &counts);

/// A JSON object on one line, in ASCII. Bytes that are not UTF-8 cannot appear in JSON; they become the
/// replacement character.
std::string onOneLine(const nlohmann::ordered_json &json);

}  // namespace tool

#endif
