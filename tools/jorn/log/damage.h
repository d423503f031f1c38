// SPDX-License-Identifier: Apache-2.0
// Damage found while everything else was shown, and items lost to a writer meanwhile.
#ifndef JORN_TOOLS_DAMAGE_H
#define JORN_TOOLS_DAMAGE_H

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

namespace tool {

/// Lines of one file that are not items.
struct BadLines {
    uint64_t count = 0;
    uint64_t firstOffset = 0;  ///< Of the one nearest to the start of the file.

    void add(uint64_t offset) {
        firstOffset = count == 0 || offset < firstOffset ? offset : firstOffset;
        ++count;
    }
};

/// Collects what readers find, each thing once however often it is found.
class DamageLog {
public:
    /// Lines that one reading of a file found. Of several readings, the one that found most counts.
    void addLines(const std::string &file, const BadLines &lines);

    /// Anything else, as a whole sentence that names the file and says what to do.
    void addText(const std::string &text);

    /// A writer restarted a file, and what had not been read of it is left out. That is not damage.
    void addLoss(const std::string &file);

    /// Whether anything is damaged.
    bool isEmpty() const { return lines_.empty() && texts_.empty(); }

    /// What is damaged, one text each.
    std::vector<std::string> texts() const;

    /// What was lost, one text per file.
    const std::vector<std::string> &losses() const { return losses_; }

private:
    std::map<std::string, BadLines> lines_;
    std::vector<std::string> texts_;
    std::vector<std::string> losses_;
};

}  // namespace tool

#endif
