// SPDX-License-Identifier: Apache-2.0
#include "cursor/written_ring.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr char kCleared[] = "Log all cleared!";
constexpr char kStarted[] = "Log start init!";

void writeBytes(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

}  // namespace

WrittenRing::WrittenRing(std::string directory, std::mt19937 *random, int64_t *nextId)
    : directory_(std::move(directory)),
      random_(random),
      nextId_(nextId),
      size_(pick(2, 5)),
      itemsOfFile_(pick(6, 70)),
      hasClock_(pick(0, 3) > 0),
      time_(hasClock_ ? 1700000000U + static_cast<uint32_t>(pick(0, 1000000)) : 0) {
    fs::create_directories(directory_);
    begin(0);
    writeChanged();
    restart();
}

void WrittenRing::writeFile(int number) const {
    std::string bytes;
    for (const WrittenLine &line : files_.at(number)) {
        bytes += line.bytes;
    }
    writeBytes(directory_ + "/" + std::to_string(number) + ".csv", bytes);
}

void WrittenRing::writeIndex() const {
    if (hasIndex_) {
        writeBytes(directory_ + "/index.new",
                   "version:1\n" + std::to_string(oldest_) + "," + std::to_string(latest_) + "\n");
        fs::rename(directory_ + "/index.new", directory_ + "/index.csv");
    }
}

void WrittenRing::writeChanged() {
    for (const int number : changed_) {
        writeFile(number);
    }
    changed_.clear();
    writeIndex();
}

void WrittenRing::moveOn() {
    latest_ = (latest_ + 1) % size_;
    oldest_ = latest_ == oldest_ ? (oldest_ + 1) % size_ : oldest_;
    begin(latest_);
}

/// Afresh. Each file that is begun has a number of its own.
void WrittenRing::begin(int number) {
    static int64_t begun = 0;
    files_[number] = {};
    generations_[number] = ++begun;
    changed_.insert(number);
    written_.clear();
}

void WrittenRing::add(const std::string &text) {
    WrittenFile &file = files_[latest_];
    const auto items =
        std::count_if(file.begin(), file.end(), [](const WrittenLine &line) { return line.id >= 0; });
    if (items >= itemsOfFile_) {
        moveOn();
    }
    time_ += pick(0, 2) == 0 ? 1 : 0;
    WrittenLine line{std::to_string(time_) + ",1,0," + text + "\n", -1};
    std::string begin;
    for (const std::string &before : lines(latest_)) {
        begin += before;
    }
    begin += line.bytes;
    const auto [written, isNew] = written_.emplace(begin, *nextId_);
    *nextId_ += isNew ? 1 : 0;
    line.id = written->second;
    files_[latest_].push_back(line);
    changed_.insert(latest_);
}

void WrittenRing::append(int count) {
    for (int i = 0; i < count; ++i) {
        add("text " + std::to_string(pick(0, 9)));
    }
    writeChanged();
}

void WrittenRing::clear() {
    latest_ = oldest_ = (latest_ + 1) % size_;
    begin(latest_);
    add(kCleared);
    writeChanged();
}

/// A device without a clock begins with the same time and the same texts each time, after a clearing.
void WrittenRing::restart() {
    if (!hasClock_) {
        time_ = 0;
        const bool isFirst = files_[latest_].empty();
        if (!isFirst) {
            clear();
        }
    }
    add(kStarted);
    for (int i = 0; !hasClock_ && i < 4; ++i) {
        add("boot");
    }
    writeChanged();
}

void WrittenRing::crash(int count) {
    WrittenFile &file = files_[latest_];
    for (int i = 0; i < count && !file.empty(); ++i) {
        file.pop_back();
    }
    changed_.insert(latest_);
    time_ += hasClock_ ? 5 : 0;
    restart();
}

void WrittenRing::damage() {
    auto chosen = files_.begin();
    std::advance(chosen, pick(0, static_cast<int>(files_.size()) - 1));
    WrittenFile &file = chosen->second;
    const std::string bytes =
        pick(0, 1) == 0 ? "junk\n" : std::string(static_cast<size_t>(pick(1, 300)), '\0');
    // The store itself would not take what follows zeros at the very end for an item.
    const int last = static_cast<int>(file.size()) - (bytes.back() == '\n' ? 0 : 1);
    if (last >= 0) {
        file.insert(file.begin() + pick(0, last), WrittenLine{bytes, -1});
        writeFile(chosen->first);
    }
}

void WrittenRing::repair() {
    for (auto &[number, file] : files_) {
        file.erase(
            std::remove_if(file.begin(), file.end(), [](const WrittenLine &line) { return line.id < 0; }),
            file.end());
    }
    hasIndex_ = true;
    copy();
}

void WrittenRing::copy() {
    fs::rename(directory_, directory_ + ".old");
    fs::create_directories(directory_);
    for (const auto &[number, file] : files_) {
        changed_.insert(number);
    }
    writeChanged();
    fs::remove_all(directory_ + ".old");
}

void WrittenRing::loseIndex() {
    hasIndex_ = false;
    fs::remove(directory_ + "/index.csv");
}

void WrittenRing::mendIndex() {
    hasIndex_ = true;
    writeIndex();
}

void WrittenRing::stepClock() {
    if (hasClock_) {
        time_ += static_cast<uint32_t>(pick(-100000, 100000));
    }
}

std::vector<int64_t> WrittenRing::inView() const {
    std::vector<int64_t> ids;
    for (int number = oldest_;; number = (number + 1) % size_) {
        for (const WrittenLine &line : files_.at(number)) {
            if (line.id >= 0) {
                ids.push_back(line.id);
            }
        }
        if (number == latest_) {
            return ids;
        }
    }
}

int64_t WrittenRing::idAt(int number, uint64_t offset) const {
    uint64_t begin = 0;
    for (const WrittenLine &line : files_.at(number)) {
        if (begin == offset) {
            return line.id;
        }
        begin += line.bytes.size();
    }
    return -1;
}

std::vector<std::string> WrittenRing::lines(int number, size_t most) const {
    std::vector<std::string> lines;
    const auto file = files_.find(number);
    for (size_t i = 0; file != files_.end() && i < file->second.size() && lines.size() < most; ++i) {
        if (file->second[i].id >= 0) {
            lines.push_back(file->second[i].bytes);
        }
    }
    return lines;
}

int64_t WrittenRing::generation(int number) const {
    const auto found = generations_.find(number);
    return found == generations_.end() ? 0 : found->second;
}

}  // namespace test
