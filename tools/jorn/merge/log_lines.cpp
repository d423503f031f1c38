// SPDX-License-Identifier: Apache-2.0
#include "merge/log_lines.h"

namespace tool {

LogLines::LogLines(const RingView &view, const ItemFilter &filter, const LinesWish &wish, DamageLog *damage)
    : scanner_(view, filter, wish.order, damage, wish.start),
      hasContext_(wish.context.isAny()),
      matchesLeft_(wish.most),
      window_(wish.order == Order::NewestFirst ? wish.context.reversed() : wish.context,
              [this](const Item &item, bool isApart) {
                  lines_.push_back({item, isApart});
                  return true;
              }) {}

void LogLines::advance() {
    if (!hasContext_) {
        head_ = matchesLeft_ > 0 ? scanner_.next() : nullptr;
        matchesLeft_ -= head_ != nullptr ? 1 : 0;
        return;
    }
    if (!lines_.empty()) {
        lines_.pop_front();
    }
    fill();
    head_ = lines_.empty() ? nullptr : &lines_.front().item;
}

/// Reads on until there is something to show. After the last of the matches only its neighbours are.
void LogLines::fill() {
    while (lines_.empty() && (matchesLeft_ > 0 || window_.isOpen())) {
        const Item *const next = scanner_.next();
        if (next == nullptr) {
            return;
        }
        if (matchesLeft_ > 0) {
            matchesLeft_ -= next->isMatch ? 1 : 0;
            window_.take(*next);
        } else {
            Item neighbour = *next;
            neighbour.isMatch = false;
            window_.take(neighbour);
        }
    }
}

}  // namespace tool
