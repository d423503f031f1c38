// SPDX-License-Identifier: Apache-2.0
#include "cursor/written_ring.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "log/ring_positions.h"

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr char kCleared[] = "Log all cleared!";
/// So many equal items are not the same by chance.
constexpr size_t kNear = 8;

constexpr char kStarted[] = "Log start init!";

void writeBytes(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

/// Whether lines of a file, or those around them, are such.
template <class IsSuch>
bool hasNear(const WrittenFile &file, int begin, int end, const IsSuch &isSuch) {
    const auto near = static_cast<int>(kNear);
    const int size = static_cast<int>(file.size());
    return std::any_of(file.begin() + std::max(0, begin - near), file.begin() + std::min(size, end + near),
                       isSuch);
}

bool hasItem(const WrittenFile &file, int64_t id) {
    return std::any_of(file.begin(), file.end(), [id](const WrittenLine &line) { return line.id == id; });
}

}  // namespace

int64_t idAt(const WrittenFile &file, uint64_t offset) {
    uint64_t begin = 0;
    for (const WrittenLine &line : file) {
        if (begin == offset) {
            return line.id;
        }
        begin += line.bytes.size();
    }
    return -1;
}

WrittenRing::WrittenRing(std::string directory, std::mt19937 *random, int64_t *nextId)
    : directory_(std::move(directory)),
      random_(random),
      nextId_(nextId),
      size_(pick(2, 5)),
      itemsOfFile_(pick(0, 4) == 0 ? pick(71, 300) : pick(6, 70)),
      hasClock_(pick(0, 3) > 0),
      time_(hasClock_ ? 1700000000U + static_cast<uint32_t>(pick(0, 1000000)) : 0) {
    fs::create_directories(directory_);
    begin(0);
    writeChanged();
    restart();
}

void WrittenRing::writeFile(int number) const {
    if (!isReadable(number)) {
        return;
    }
    std::string bytes;
    for (const WrittenLine &line : files_.at(number)) {
        bytes += line.bytes;
    }
    writeBytes(path(number), bytes);
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
    const int next = (latest_ + 1) % size_;
    const Before before = {oldest_, latest_, files_[next], generation(next)};
    latest_ = next;
    oldest_ = latest_ == oldest_ ? (oldest_ + 1) % size_ : oldest_;
    begin(latest_);
    before_ = before;
}

/// Afresh. Each file that is begun has a number of its own.
void WrittenRing::begin(int number) {
    static int64_t begun = 0;
    files_[number] = {};
    generations_[number] = ++begun;
    changed_.insert(number);
    if (unreadable_.erase(number) > 0) {
        fs::remove_all(path(number));
    }
    written_.clear();
    before_.reset();
    former_ = 0;
    left_ = 0;
}

void WrittenRing::add(const std::string &text) {
    if (std::exchange(isToBegin_, false) || files_.count(latest_) == 0) {
        begin(latest_);
    }
    WrittenFile &file = files_[latest_];
    const auto items =
        std::count_if(file.begin(), file.end(), [](const WrittenLine &line) { return line.id >= 0; });
    if (items >= itemsOfFile_) {
        moveOn();
    }
    time_ += pick(0, 2) == 0 ? 1 : 0;
    const std::string level = std::to_string(pick(0, 5) == 0 ? 3 : 1);
    WrittenLine line{std::to_string(time_) + "," + level + ",0," + text + "\n", -1};
    std::string begin;
    for (const std::string &before : lines(latest_)) {
        begin += before;
    }
    begin += line.bytes;
    const auto written = written_.find(begin);
    const bool isNew = written == written_.end() || hasItem(files_[latest_], written->second);
    line.id = isNew ? (*nextId_)++ : written->second;
    written_[begin] = line.id;
    bytes_[line.id] = line.bytes;
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
    if (isToBegin_) {
        add("text");
    }
    latest_ = oldest_ = (latest_ + 1) % size_;
    begin(latest_);
    add(kCleared);
    writeChanged();
}

void WrittenRing::clearSilently() {
    constexpr size_t kFewest = 8;
    const int number = (latest_ + 1) % size_;
    const auto next = files_.find(number);
    const bool isThere = next != files_.end();
    const auto isDamaged = [this](const WrittenLine &line) { return line.id < 0 || isAltered(line.id); };
    const bool isFaint =
        isThere && !hasClock_ &&
        (next->second.size() < kFewest || std::any_of(next->second.begin(), next->second.end(), isDamaged));
    if (isToBegin_ || isFaint || !isReadable(number)) {
        return clear();
    }
    latest_ = oldest_ = (latest_ + 1) % size_;
    before_.reset();
    isToBegin_ = true;
    former_ = files_.count(latest_) == 0 ? 0 : files_[latest_].size();
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
    const bool isFull = files_[latest_].size() >= static_cast<size_t>(itemsOfFile_);
    isToBegin_ = isToBegin_ && (isFull || hasLost(latest_));
    add(kStarted);
    for (int i = 0; !hasClock_ && i < 4; ++i) {
        add("boot");
    }
    writeChanged();
}

/// Whether a file lacks items, so that nobody can tell what was added to it since.
bool WrittenRing::hasLost(int number) {
    const WrittenFile &file = files_[number];
    return mended_.count(generation(number)) > 0 ||
           std::any_of(file.begin(), file.end(),
                       [this](const WrittenLine &line) { return line.id < 0 || isAltered(line.id); });
}

bool WrittenRing::crash(int count) {
    WrittenFile &file = files_[latest_];
    const size_t lost = std::min(static_cast<size_t>(count), file.size() - std::min(former_, file.size()));
    const size_t near = std::min(lost + kNear, file.size());
    const bool isClear = std::none_of(file.end() - static_cast<ptrdiff_t>(near), file.end(),
                                      [this](const WrittenLine &line) { return isAltered(line.id); });
    if (std::any_of(file.end() - static_cast<ptrdiff_t>(lost), file.end(),
                    [](const WrittenLine &line) { return line.id < 0; })) {
        written_.clear();  // Their places were others.
    }
    file.resize(file.size() - lost);
    left_ = file.size();
    cuts_[generation(latest_)] = left_;
    // Without a clock, the same items come again.
    const bool isSame = !hasClock_ && file.empty();
    changed_.insert(latest_);
    time_ += hasClock_ ? 5 : 0;
    restart();
    return isClear && !isSame;
}

void WrittenRing::forgetLost() {
    const WrittenFile &file = files_[latest_];
    for (auto written = written_.begin(); written != written_.end();) {
        written = hasItem(file, written->second) ? std::next(written) : written_.erase(written);
    }
}

WrittenFile *WrittenRing::someFile(int *number) {
    auto chosen = files_.begin();
    std::advance(chosen, pick(0, static_cast<int>(files_.size()) - 1));
    changed_.insert(chosen->first);
    if (number != nullptr) {
        *number = chosen->first;
    }
    return &chosen->second;
}

void WrittenRing::damage() {
    WrittenFile &file = *someFile();
    const std::string bytes =
        pick(0, 1) == 0 ? "junk\n" : std::string(static_cast<size_t>(pick(1, 300)), '\0');
    // The store itself would not take what follows zeros at the very end for an item.
    const int last = static_cast<int>(file.size()) - (bytes.back() == '\n' ? 0 : 1);
    if (last >= 0) {
        file.insert(file.begin() + pick(0, last), WrittenLine{bytes, -1});
    }
    writeChanged();
}

bool WrittenRing::destroy(int count) {
    int number = 0;
    WrittenFile &file = *someFile(&number);
    const int size = static_cast<int>(file.size());
    // Most often near the end, where what was sent and what was not meet.
    const int first = size == 0 ? 0 : pick(pick(0, 1) == 0 ? 0 : std::max(0, size - 40), size - 1);
    const int end = std::min(first + count, size);
    const bool isClear =
        !hasNear(file, first, end, [this](const WrittenLine &line) { return isAltered(line.id); });
    for (int i = first; i < end; ++i) {
        WrittenLine &line = file[static_cast<size_t>(i)];
        line = {std::string(line.bytes.size() - 1, '#') + "\n", -1};
    }
    writeChanged();
    // Without a clock, the few items between damage and a cut may have been written again.
    const auto cut = cuts_.find(generation(number));
    const bool isNearCut =
        !hasClock_ && cut != cuts_.end() && static_cast<size_t>(end) + kNear >= cut->second;
    return isClear && !isNearCut;
}

bool WrittenRing::alter() {
    int number = 0;
    WrittenFile &file = *someFile(&number);
    if (file.empty()) {
        return true;
    }
    const int place = pick(0, static_cast<int>(file.size()) - 1);
    WrittenLine &line = file[static_cast<size_t>(place)];
    const bool isClear =
        !hasNear(file, place, place + 1, [](const WrittenLine &near) { return near.id < 0; });
    if (line.id >= 0) {
        line.bytes[line.bytes.size() - 2] ^= 1;
        altered_.insert(line.id);
    }
    writeChanged();
    const auto at = static_cast<size_t>(place);
    const bool isNearCut = &file == &files_[latest_] && at < left_ && at + kNear >= left_;
    return isClear && !isNearCut && mended_.count(generations_[number]) == 0;
}

void WrittenRing::turnReadable() {
    if (!unreadable_.empty()) {
        const int number = *unreadable_.begin();
        fs::remove_all(path(number));
        unreadable_.erase(number);
        changed_.insert(number);
        return writeChanged();
    }
    auto chosen = files_.begin();
    std::advance(chosen, pick(0, static_cast<int>(files_.size()) - 1));
    if (chosen->first == latest_ && former_ > 0) {
        return;  // Nobody could know later whether it was started afresh.
    }
    fs::remove(path(chosen->first));
    fs::create_directory(path(chosen->first));
    unreadable_.insert(chosen->first);
}

void WrittenRing::grow(int files) {
    const int size = size_ + files;
    if (hasIndex_ && size <= 8 && unreadable_.empty()) {
        tidy(size);
    }
}

/// As the store does when it starts.
void WrittenRing::tidy(int size) {
    tool::FilePresence presence{};
    for (const auto &[number, file] : files_) {
        presence[static_cast<size_t>(number)] = true;
    }
    const jorn::TidyingPlan plan = tool::tidyingPlanOf(presence, {oldest_, latest_}, size);
    std::map<int, WrittenFile> moved;
    std::map<int, int64_t> generations;
    for (const auto &[number, file] : files_) {
        fs::remove(path(number));
        moved[plan.moveTable[number]] = file;
        generations[plan.moveTable[number]] = generations_[number];
        changed_.insert(plan.moveTable[number]);
    }
    files_ = moved;
    generations_ = generations;
    size_ = size;
    oldest_ = plan.oldest;
    latest_ = plan.latest;
    before_.reset();
    writeChanged();
}

bool WrittenRing::vanish() {
    constexpr size_t kMany = 64;
    auto chosen = files_.begin();
    std::advance(chosen, pick(0, static_cast<int>(files_.size()) - 1));
    const int number = chosen->first;
    const bool isClosed = number != latest_ && !isToBegin_;
    if (!isClosed || !hasClock_ || !hasIndex_ || !unreadable_.empty()) {
        return true;
    }
    fs::remove(path(number));
    files_.erase(number);
    generations_.erase(number);
    before_.reset();
    if (pick(0, 1) == 0) {
        tidy(size_);
    }
    size_t left = 0;
    for (const auto &[other, file] : files_) {
        left += file.size();
    }
    return left >= kMany;
}

bool WrittenRing::takeBack() {
    constexpr size_t kMany = 64;
    if (!before_ || !hasClock_ || !hasIndex_ || !unreadable_.empty()) {
        return true;
    }
    const Before before = *before_;
    begin(latest_);
    changed_.erase(latest_);
    if (before.generation == 0) {
        fs::remove(path(latest_));
        files_.erase(latest_);
        generations_.erase(latest_);
    } else {
        files_[latest_] = before.file;
        generations_[latest_] = before.generation;
        changed_.insert(latest_);
    }
    oldest_ = before.oldest;
    latest_ = before.latest;
    left_ = files_[latest_].size();
    time_ += 5;
    writeChanged();
    return files_[latest_].size() >= kMany;
}

void WrittenRing::repair() {
    const auto isJunk = [](const WrittenLine &line) { return line.id < 0; };
    for (auto &[number, file] : files_) {
        if (std::any_of(file.begin(), file.end(), isJunk)) {
            mended_.insert(generations_[number]);
            file.erase(std::remove_if(file.begin(), file.end(), isJunk), file.end());
        }
    }
    hasIndex_ = true;
    copy();
}

void WrittenRing::copy() {
    fs::rename(directory_, directory_ + ".old");
    fs::create_directories(directory_);
    unreadable_.clear();
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
        const auto file = files_.find(number);
        for (const WrittenLine &line :
             file != files_.end() && isReadable(number) ? file->second : WrittenFile()) {
            if (line.id >= 0) {
                ids.push_back(line.id);
            }
        }
        if (number == latest_) {
            return ids;
        }
    }
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

bool WrittenRing::hasGeneration(int64_t generation) const {
    return std::any_of(generations_.begin(), generations_.end(),
                       [generation](const auto &known) { return known.second == generation; });
}

}  // namespace test
