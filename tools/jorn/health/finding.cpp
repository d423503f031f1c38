// SPDX-License-Identifier: Apache-2.0
#include "health/finding.h"

#include <nlohmann/json.hpp>

#include "terminal/color.h"
#include "terminal/counted.h"
#include "terminal/escape.h"

namespace tool {
namespace {

using Json = nlohmann::ordered_json;

const char *colorOf(Severity severity) {
    switch (severity) {
        case Severity::Error:
            return kUrgent;
        case Severity::Warning:
            return kWarning;
        case Severity::Note:
            break;
    }
    return kUnimportant;
}

}  // namespace

std::string onOneLine(const Json &json) {
    return json.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

const char *nameOf(Severity severity) {
    switch (severity) {
        case Severity::Error:
            return "error";
        case Severity::Warning:
            return "warning";
        case Severity::Note:
            break;
    }
    return "note";
}

std::string formatFinding(const std::string &directory, const Finding &finding, bool isColored) {
    const std::string severity = nameOf(finding.severity);
    std::string text = escaped(directory);
    if (!finding.file.empty()) {
        text += "/" + escaped(finding.file) + ":" + std::to_string(finding.offset);
    }
    text += ": " + (isColored ? colored(severity, colorOf(finding.severity)) : severity) + ": " +
            escaped(finding.what);
    return text + (finding.advice.empty() ? "" : "; " + escaped(finding.advice)) + "\n";
}

std::string formatFindingJson(const std::string &directory, const Finding &finding) {
    return onOneLine({{"type", "finding"},
                      {"directory", directory},
                      {"file", finding.file},
                      {"offset", finding.offset},
                      {"severity", nameOf(finding.severity)},
                      {"code", finding.code},
                      {"what", finding.what},
                      {"advice", finding.advice}});
}

FindingCounts countFindings(const std::vector<Finding> &findings) {
    FindingCounts counts;
    for (const Finding &finding : findings) {
        switch (finding.severity) {
            case Severity::Error:
                ++counts.errors;
                break;
            case Severity::Warning:
                ++counts.warnings;
                break;
            case Severity::Note:
                ++counts.notes;
                break;
        }
    }
    return counts;
}

std::string formatSummary(const std::string &directory, const FindingCounts &counts, bool isColored) {
    const std::string state = counts.isSound() ? "sound" : "damaged";
    const char *const color = counts.isSound() ? kGood : kUrgent;
    return escaped(directory) + ": " + (isColored ? colored(state, color) : state) + " (" +
           counted(counts.errors, "error", "errors") + ", " +
           counted(counts.warnings, "warning", "warnings") + ", " + counted(counts.notes, "note", "notes") +
           ")\n";
}

std::string formatSummaryJson(const std::string &directory, const FindingCounts &counts) {
    return onOneLine({{"type", "summary"},
                      {"directory", directory},
                      {"sound", counts.isSound()},
                      {"errors", counts.errors},
                      {"warnings", counts.warnings},
                      {"notes", counts.notes}});
}

}  // namespace tool
