// SPDX-License-Identifier: Apache-2.0
#include "terminal/progress_bar.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "terminal/escape.h"
#include "terminal/terminal.h"

namespace tool {
namespace {

constexpr uint64_t kWhole = 100;
constexpr std::chrono::milliseconds kPause(100);
constexpr size_t kNameMax = 24;
constexpr int kBarMax = 40;

/// Characters besides name and bar: " [", "] 100%" and the last column, which makes some terminals wrap.
constexpr int kBeside = 9;

bool canRedraw() {
    const char *const term = getenv("TERM");
    return isatty(STDERR_FILENO) == 1 && (term == nullptr || strcmp(term, "dumb") != 0);
}

}  // namespace

ProgressBar::ProgressBar(bool isWanted) : isWanted_(isWanted && canRedraw()) {}

void ProgressBar::start(const std::string &name, uint64_t total) {
    name_ = escaped(name);
    if (name_.size() > kNameMax) {
        name_.clear();
    }
    total_ = total;
    if (isWanted_) {
        draw(0);
    }
}

void ProgressBar::show(uint64_t done) {
    if (isWanted_ && Clock::now() - lastDrawn_ >= kPause) {
        draw(total_ == 0 ? kWhole : std::min(done, total_) * kWhole / total_);
    }
}

void ProgressBar::draw(uint64_t percent) {
    const int room = terminalWidth(STDERR_FILENO) - static_cast<int>(name_.size()) - kBeside;
    const auto width = static_cast<size_t>(std::clamp(room, 1, kBarMax));
    const size_t filled = width * static_cast<size_t>(percent) / kWhole;
    const std::string bar = std::string(filled, '#') + std::string(width - filled, ' ');
    fprintf(stderr, "\r%s [%s] %3u%%\x1b[K", name_.c_str(), bar.c_str(), static_cast<unsigned>(percent));
    isDrawn_ = true;
    lastDrawn_ = Clock::now();
}

void ProgressBar::clear() {
    if (isDrawn_) {
        fputs("\r\x1b[K", stderr);
        isDrawn_ = false;
    }
}

}  // namespace tool
