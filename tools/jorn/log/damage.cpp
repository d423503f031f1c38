// SPDX-License-Identifier: Apache-2.0
#include "log/damage.h"

#include <algorithm>

#include "terminal/counted.h"

namespace tool {

void DamageLog::addText(const std::string &text) {
    if (std::find(texts_.begin(), texts_.end(), text) == texts_.end()) {
        texts_.push_back(text);
    }
}

void DamageLog::addLines(const std::string &file, const BadLines &lines) {
    if (lines.count == 0) {
        return;
    }
    BadLines &known = lines_[file];
    if (lines.count >= known.count) {
        known = lines;
    }
}

void DamageLog::addLoss(const std::string &file) {
    const std::string text =
        file + ": started over by a writer while it was being read; items may be missing here";
    if (std::find(losses_.begin(), losses_.end(), text) == losses_.end()) {
        losses_.push_back(text);
    }
}

std::vector<std::string> DamageLog::texts() const {
    std::vector<std::string> all;
    for (const auto &[file, lines] : lines_) {
        all.push_back(file + ": " +
                      counted(lines.count, "line that is not an item", "lines that are not items") +
                      ", at offset " + std::to_string(lines.firstOffset) +
                      (lines.count == 1 ? "" : " and after") + "; left out");
    }
    all.insert(all.end(), texts_.begin(), texts_.end());
    return all;
}

}  // namespace tool
