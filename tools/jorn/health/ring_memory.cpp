// SPDX-License-Identifier: Apache-2.0
#include "health/ring_memory.h"

#include "health/diagnosis.h"
#include "jorn.h"
#include "log/directory_look.h"
#include "log/regular_file.h"
#include "system/failure.h"
#include "system/file_bytes.h"
#include "system/file_replacement.h"
#include "terminal/number_text.h"

namespace tool {
namespace {

constexpr std::string_view kBegin = "version:1\nfiles:";

std::string textFor(int files) { return std::string(kBegin) + std::to_string(files) + "\n"; }

/// The size in a text that is written as above.
std::optional<int> sizeIn(const std::string &text) {
    if (text.size() <= kBegin.size() + 1) {
        return std::nullopt;
    }
    const std::string digits = text.substr(kBegin.size(), text.size() - kBegin.size() - 1);
    const std::optional<int32_t> files = numberBelow(digits, JORN_CSV_NUM_MAX + 1);
    const bool isWritten = files && *files >= JORN_CSV_NUM_MIN && text == textFor(*files);
    return isWritten ? std::optional<int>(*files) : std::nullopt;
}

/// Whether a text is one of ours that was cut off, or nothing but zeros, as a cut of the power can leave a
/// file.
bool isDamaged(const std::string &text) {
    const bool isBegun = text.compare(0, kBegin.size(), kBegin) == 0 || kBegin.substr(0, text.size()) == text;
    return isBegun || text.find_first_not_of('\0') == std::string::npos;
}

}  // namespace

RingMemory::RingMemory(const StoreDirectory &directory) {
    try {
        const Entry entry = lookAtEntry(directory, kRingMemoryName);
        if (!entry.isPresent()) {
            return;
        }
        mayBeReplaced_ = entry.isFile();
        const Descriptor file = openRegular(directory, kRingMemoryName);
        constexpr size_t kMost = 4096;
        judge(bytesAt(file.get(), 0, kMost));
    } catch (const Failure &failure) {
        problem_ = std::string("cannot be read: ") + failure.what();
        mayBeReplaced_ = false;
    }
}

void RingMemory::judge(const std::string &text) {
    files_ = sizeIn(text);
    if (files_) {
        return;
    }
    if (isDamaged(text)) {
        problem_ = "is damaged";
    } else {
        problem_ = "does not hold the size of a ring, and is left unchanged";
        mayBeReplaced_ = false;
    }
}

std::optional<int> RingMemory::filesFor(int smallestRing) const {
    return files_ && *files_ >= smallestRing ? files_ : std::nullopt;
}

std::string RingMemory::problemFor(int smallestRing) const {
    if (!files_ || *files_ >= smallestRing) {
        return problem_;
    }
    return "says that the ring has " + std::to_string(*files_) + " files, but it has " +
           std::to_string(smallestRing) + " or more";
}

std::optional<int> hintedRingSize(const StoreDirectory &directory, std::optional<int> requested) {
    const RingMemory memory(directory);
    return requested || !memory.files() ? requested : memory.filesFor(smallestRing(lookAtAll(directory)));
}

void rememberRingSize(const StoreDirectory &directory, int files) {
    const RingMemory former(directory);
    if (former.files() != files && former.mayBeReplaced()) {
        replaceFile(directory.descriptor(), kRingMemoryName, directory.pathOf(kRingMemoryName),
                    textFor(files));
    }
}

}  // namespace tool
