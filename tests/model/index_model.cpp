// SPDX-License-Identifier: Apache-2.0
#include "model/index_model.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>

#include "model/line_model.h"

namespace test {
namespace {

/// Scans text as the scanning formats do.
class Scanner {
public:
    Scanner(const std::string &bytes, size_t *place) : bytes_(bytes), place_(place) {}

    bool takeLiteral(const std::string &literal) {
        const bool isThere = bytes_.compare(*place_, literal.size(), literal) == 0;
        *place_ += isThere ? literal.size() : 0;
        return isThere;
    }

    void skipBlanks() { *place_ = std::min(bytes_.find_first_not_of(" \t\n\v\f\r", *place_), bytes_.size()); }

    /// A decimal number after blanks; nothing when there is none.
    std::optional<int32_t> takeNumber() {
        skipBlanks();
        size_t end = *place_;
        if (end < bytes_.size() && (bytes_[end] == '-' || bytes_[end] == '+')) {
            ++end;
        }
        const size_t firstDigit = end;
        end = std::min(bytes_.find_first_not_of("0123456789", end), bytes_.size());
        if (end == firstDigit) {
            return std::nullopt;
        }
        const int64_t number = modelLeadingNumber(bytes_.substr(*place_, end - *place_), 64);
        *place_ = end;
        return static_cast<int32_t>(std::clamp<int64_t>(number, std::numeric_limits<int32_t>::min(),
                                                        std::numeric_limits<int32_t>::max()));
    }

private:
    const std::string &bytes_;
    size_t *place_;
};

}  // namespace

bool modelTakeVersion(const std::string &bytes, size_t *place, ModelIndex *fields) {
    Scanner scanner(bytes, place);
    if (!scanner.takeLiteral("version:")) {
        return false;
    }
    const std::optional<int32_t> version = scanner.takeNumber();
    fields->version = version.value_or(fields->version);
    scanner.skipBlanks();
    return version && *version == 1;
}

int32_t modelTakePositions(const std::string &bytes, size_t *place, int most, ModelIndex *fields) {
    Scanner scanner(bytes, place);
    int32_t taken = 0;
    if (const std::optional<int32_t> oldest = scanner.takeNumber()) {
        fields->oldest = *oldest;
        taken = 1;
        if (most > 1 && scanner.takeLiteral(",")) {
            if (const std::optional<int32_t> latest = scanner.takeNumber()) {
                fields->latest = *latest;
                taken = 2;
            }
        }
    }
    return taken == 0 || fields->oldest >= 90 || fields->latest >= 90 ? -1 : taken;
}

ModelIndexRead modelReadIndex(const NamedFiles &files, const ModelIndex &before, const std::string &dirName) {
    ModelIndexRead read = {-1, before, files, {}};
    auto source = files.find("index.csv");
    const bool isBackup = source == files.end();
    if (isBackup) {
        read.messages.push_back(dirName + ": Open index file error!");
        source = files.find("index.bak");
    }
    if (source == files.end()) {
        read.messages.emplace_back("Open index backup file error!");
        return read;
    }
    size_t place = 0;
    if (!modelTakeVersion(source->second, &place, &read.fields)) {
        read.messages.push_back(dirName + ": index.csv version error!");
        return read;
    }
    read.result = modelTakePositions(source->second, &place, 2, &read.fields);
    if (read.result < 0) {
        read.messages.push_back(dirName + ": read index error!");
    }
    if (isBackup) {
        read.files["index.csv"] = source->second;
        read.files.erase("index.bak");
    }
    return read;
}

std::string modelIndexText(int64_t oldest, int64_t latest) {
    return "version:1\n" + std::to_string(oldest) + "," + std::to_string(latest) + "\n";
}

}  // namespace test
