// SPDX-License-Identifier: Apache-2.0
#include "record/own_files.h"

#include "log/directory_look.h"
#include "log/regular_file.h"
#include "log/stored_line.h"
#include "module_limits.h"
#include "system/failure.h"
#include "system/file_bytes.h"

namespace tool {
namespace {

Entry refuseForeign(const StoreDirectory &directory, const std::string &name) {
    const Entry entry = lookAtEntry(directory, name);
    const std::string flaw = entry.flaw();
    if (!flaw.empty()) {
        throw Failure(directory.pathOf(name) + ": " + flaw);
    }
    return entry;
}

/// Index files may have other hard links, as nothing is written into an existing one.
void refuseForeignIndex(const StoreDirectory &directory) {
    refuseForeign(directory, kIndexName);
    refuseForeign(directory, kIndexBackupName);
}

void refuseForeignDataFile(const StoreDirectory &directory, int position) {
    const std::string name = dataFileName(position);
    if (refuseForeign(directory, name).names > 1) {
        throw Failure(
            directory.pathOf(name) +
            ": has a hard link elsewhere, so items would be written there too; replace it with a copy");
    }
}

enum class Content { Nothing, Lines, Items };

/// Judges a file by its beginning. What a power cut leaves, zeros and an unterminated line, counts as
/// Nothing.
Content contentOf(const StoreDirectory &directory, const std::string &name) {
    constexpr size_t kLooked = 65536;
    const Descriptor file = openRegular(directory, name);
    const std::string bytes = file.isOpen() ? bytesAt(file.get(), 0, kLooked) : "";
    Content content = Content::Nothing;
    size_t begin = 0;
    for (size_t end = 0; (end = bytes.find('\n', begin)) != std::string::npos; begin = end + 1) {
        const std::string_view line = std::string_view(bytes).substr(begin, end + 1 - begin);
        const LineKind kind = readLine(line.substr(0, jorn::kLineMax), begin).kind;
        if (kind == LineKind::Item && holdsNumbers(line)) {
            return Content::Items;
        }
        content = kind == LineKind::Item || kind == LineKind::Damaged ? Content::Lines : content;
    }
    return content;
}

}  // namespace

std::string strangeDataFile(const StoreDirectory &directory) {
    std::string strange;
    if (lookAtIndex(directory, Extent::Ring).hasAny()) {
        return strange;
    }
    for (int position = 0; position < jorn::kCsvNumMax; ++position) {
        const Content content = contentOf(directory, dataFileName(position));
        if (content == Content::Items) {
            return "";
        }
        if (content == Content::Lines && strange.empty()) {
            strange = dataFileName(position);
        }
    }
    return strange;
}

void refuseForeignFiles(const StoreDirectory &directory) {
    refuseForeignIndex(directory);
    for (int position = 0; position < jorn::kCsvNumMax; ++position) {
        refuseForeignDataFile(directory, position);
    }
}

void refuseForeignFilesOfRotation(const StoreDirectory &directory, int position) {
    refuseForeignIndex(directory);
    refuseForeignDataFile(directory, position);
}

}  // namespace tool
