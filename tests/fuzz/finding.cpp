// SPDX-License-Identifier: Apache-2.0
#include "fuzz/finding.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace fuzz {

void reportFinding(const std::string &what, const std::string &seen, const std::string &wanted) {
    fprintf(stderr, "FINDING: %s\n  seen:   %s\n  wanted: %s\n", what.c_str(), seen.c_str(), wanted.c_str());
    abort();
}

std::string readable(const std::string &bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "\"";
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7f) {
            text += c;
        } else {
            text += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xf]};
        }
    }
    return text + "\" (" + std::to_string(bytes.size()) + " bytes)";
}

void expectSummaries(const JORN_CSV_INFO *seen, const std::vector<JORN_CSV_INFO> &wanted) {
    for (size_t position = 0; position < wanted.size(); ++position) {
        if (memcmp(&seen[position], &wanted[position], sizeof wanted[position]) != 0) {
            reportFinding("summary of position " + std::to_string(position), readable(seen[position]),
                          readable(wanted[position]));
        }
    }
}

}  // namespace fuzz
