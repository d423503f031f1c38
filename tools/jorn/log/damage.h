// SPDX-License-Identifier: Apache-2.0
// What was found damaged while the rest was shown.
#ifndef JORN_TOOLS_DAMAGE_H
#define JORN_TOOLS_DAMAGE_H

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

namespace tool {

/// Lines of one file that are no items.
struct BadLines {
    uint64_t count = 0;
    uint64_t firstOffset = 0;  ///< The one nearest to the file's begin.

    void add(uint64_t offset) {
        firstOffset = count == 0 || offset < firstOffset ? offset : firstOffset;
        ++count;
    }
};

/// Collects what readers meet, each thing once however often it is met.
class DamageLog {
public:
    /// Lines that one reading of a file met. Of several readings the one that met most counts.
    void addLines(const std::string &file, const BadLines &lines);

    /// Anything else, as a whole sentence that names the file and says what to do.
    void addText(const std::string &text);

    bool isEmpty() const { return lines_.empty() && texts_.empty(); }

    /// One text each.
    std::vector<std::string> texts() const;

private:
    std::map<std::string, BadLines> lines_;
    std::vector<std::string> texts_;
};

}  // namespace tool

#endif
