// SPDX-License-Identifier: Apache-2.0
// What was found damaged while the rest was shown, and what a writer took away meanwhile.
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

    /// A writer started a file afresh, and what was not read of it before is left out. That is no damage.
    void addLoss(const std::string &file);

    /// Whether anything is damaged.
    bool isEmpty() const { return lines_.empty() && texts_.empty(); }

    /// What is damaged, one text each.
    std::vector<std::string> texts() const;

    /// What was lost, one text a file.
    const std::vector<std::string> &losses() const { return losses_; }

private:
    std::map<std::string, BadLines> lines_;
    std::vector<std::string> texts_;
    std::vector<std::string> losses_;
};

}  // namespace tool

#endif
