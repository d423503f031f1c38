// SPDX-License-Identifier: Apache-2.0
#include "nand.h"

#include <algorithm>

namespace flash {

namespace {

constexpr uint8_t kBlank = 0xFF;

/// The page that a torn program leaves.
Page tornPage(const Page &full, Torn torn) {
    Page page;
    const bool isHalfData = torn == Torn::HalfDataNoTags || torn == Torn::HalfDataFullTags;
    const size_t dataBytes = isHalfData ? kPageBytes / 2 : kPageBytes;
    size_t spareBytes = kSpareBytes;
    if (torn == Torn::HalfDataNoTags) {
        spareBytes = 0;
    } else if (torn == Torn::FullDataHalfTags) {
        // Half of the tags, which are 28 bytes after the mark for bad blocks.
        constexpr size_t kHalfOfTags = 16;
        spareBytes = kHalfOfTags;
    }
    std::copy_n(full.data.begin(), dataBytes, page.data.begin());
    std::copy_n(full.spare.begin(), spareBytes, page.spare.begin());
    return page;
}

bool isEqual(const Page &one, const Page &other) {
    return one.data == other.data && one.spare == other.spare;
}

/// What a half-erased cell array reads as: neither blank nor what it held.
Page garbledPage(size_t number) {
    Page page;
    uint32_t noise = static_cast<uint32_t>(number) * 2654435761U + 1U;
    for (uint8_t &byte : page.data) {
        noise = noise * 1664525U + 1013904223U;
        byte = static_cast<uint8_t>(noise >> 24U);
    }
    std::copy_n(page.data.begin(), page.spare.size(), page.spare.begin());
    return page;
}

}  // namespace

void Page::clear() {
    data.fill(kBlank);
    spare.fill(kBlank);
}

const char *nameOf(Torn torn) {
    constexpr std::array<const char *, 5> kNames = {"nothing", "half-data-no-tags", "full-data-half-tags",
                                                    "half-data-full-tags", "block-garbled"};
    return kNames[static_cast<size_t>(torn)];
}

std::vector<Torn> waysToTear(const Operation &operation) {
    if (operation.isErase) {
        return {Torn::Nothing, Torn::BlockGarbled};
    }
    return {Torn::Nothing, Torn::HalfDataNoTags, Torn::FullDataHalfTags, Torn::HalfDataFullTags};
}

void Nand::set(size_t number, const Page &page, PageState state) {
    touched_.push_back(number);
    pages_[number] = page;
    states_[number] = state;
}

void Nand::eraseBlock(size_t block) {
    for (size_t number = block * kPagesPerBlock; number < (block + 1) * kPagesPerBlock; ++number) {
        if (states_[number] != PageState::Erased) {
            set(number, Page(), PageState::Erased);
        }
    }
}

void Nand::checkProgram(size_t number) {
    if (states_[number] != PageState::Erased) {
        brokenRules_ += "page " + std::to_string(number) + " programmed again without an erase; ";
    }
    const size_t blockEnd = (number / kPagesPerBlock + 1) * kPagesPerBlock;
    for (size_t later = number + 1; later < blockEnd; ++later) {
        if (states_[later] != PageState::Erased) {
            brokenRules_ += "page " + std::to_string(number) + " programmed after a later one; ";
            return;
        }
    }
}

void Nand::perform(const Operation &operation) {
    ++operations_;
    if (journal_ != nullptr) {
        journal_->push_back(operation);
    }
    if (operation.isErase) {
        ++erases_;
        eraseBlock(operation.place);
        return;
    }
    checkProgram(operation.place);
    set(operation.place, operation.page, PageState::Good);
}

void Nand::tear(const Operation &operation, Torn torn) {
    if (torn == Torn::Nothing) {
        return;
    }
    if (torn == Torn::BlockGarbled) {
        const size_t first = operation.place * kPagesPerBlock;
        for (size_t number = first; number < first + kPagesPerBlock; ++number) {
            set(number, garbledPage(number), PageState::Unreadable);
        }
        return;
    }
    const Page page = tornPage(operation.page, torn);
    if (isEqual(page, Page())) {
        return;
    }
    set(operation.place, page, isEqual(page, operation.page) ? PageState::Good : PageState::Unreadable);
}

void Nand::restore(const Nand &image) {
    for (const size_t number : touched_) {
        pages_[number] = image.pages_[number];
        states_[number] = image.states_[number];
    }
    touched_.clear();
    operations_ = 0;
    erases_ = 0;
    brokenRules_.clear();
}

}  // namespace flash
