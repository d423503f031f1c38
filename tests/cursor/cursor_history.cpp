// SPDX-License-Identifier: Apache-2.0
#include "cursor/cursor_history.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>

#include "cursor/cursor_text.h"
#include "cursor/log_pull.h"

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr char kCleared[] = "Log all cleared!";
constexpr char kStarted[] = "Log start init!";

void writeBytes(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

}  // namespace

KnownRing::KnownRing(std::string directory, std::mt19937 *random, int64_t *nextId)
    : directory_(std::move(directory)),
      random_(random),
      nextId_(nextId),
      size_(pick(2, 5)),
      itemsOfFile_(pick(6, 70)),
      hasClock_(pick(0, 3) > 0),
      time_(hasClock_ ? 1700000000U + static_cast<uint32_t>(pick(0, 1000000)) : 0) {
    fs::create_directories(directory_);
    files_[0] = {};
    writeAll();
    restart();
}

void KnownRing::writeFile(int number) const {
    std::string bytes;
    for (const KnownLine &line : files_.at(number)) {
        bytes += line.bytes;
    }
    writeBytes(directory_ + "/" + std::to_string(number) + ".csv", bytes);
}

void KnownRing::writeIndex() const {
    if (hasIndex_) {
        writeBytes(directory_ + "/index.new",
                   "version:1\n" + std::to_string(oldest_) + "," + std::to_string(latest_) + "\n");
        fs::rename(directory_ + "/index.new", directory_ + "/index.csv");
    }
}

void KnownRing::writeAll() const {
    for (const auto &[number, file] : files_) {
        writeFile(number);
    }
    writeIndex();
}

void KnownRing::moveOn() {
    latest_ = (latest_ + 1) % size_;
    oldest_ = latest_ == oldest_ ? (oldest_ + 1) % size_ : oldest_;
    files_[latest_] = {};
    lost_.clear();
}

void KnownRing::add(const std::string &text) {
    KnownFile &file = files_[latest_];
    const auto items =
        std::count_if(file.begin(), file.end(), [](const KnownLine &line) { return line.id >= 0; });
    if (items >= itemsOfFile_) {
        moveOn();
    }
    time_ += pick(0, 2) == 0 ? 1 : 0;
    KnownLine line{std::to_string(time_) + ",1,0," + text + "\n", -1};
    const bool isSame = !lost_.empty() && lost_.back().bytes == line.bytes;
    line.id = isSame ? lost_.back().id : (*nextId_)++;
    if (isSame) {
        lost_.pop_back();
    } else {
        lost_.clear();
    }
    files_[latest_].push_back(line);
}

void KnownRing::append(int count) {
    for (int i = 0; i < count; ++i) {
        add("text " + std::to_string(pick(0, 9)));
    }
    writeAll();
}

void KnownRing::clear() {
    latest_ = oldest_ = (latest_ + 1) % size_;
    files_[latest_] = {};
    lost_.clear();
    add(kCleared);
    writeAll();
}

/// A device without a clock begins with the same time and the same texts each time, after a clearing.
void KnownRing::restart() {
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
    writeAll();
}

void KnownRing::crash(int count) {
    KnownFile &file = files_[latest_];
    lost_.clear();
    for (int i = 0; i < count && !file.empty(); ++i) {
        if (file.back().id >= 0) {
            lost_.push_back(file.back());
        }
        file.pop_back();
    }
    time_ += hasClock_ ? 5 : 0;
    restart();
}

void KnownRing::damage() {
    auto chosen = files_.begin();
    std::advance(chosen, pick(0, static_cast<int>(files_.size()) - 1));
    KnownFile &file = chosen->second;
    const std::string bytes =
        pick(0, 1) == 0 ? "junk\n" : std::string(static_cast<size_t>(pick(1, 300)), '\0');
    // The store itself would not take what follows zeros at the very end for an item.
    const int last = static_cast<int>(file.size()) - (bytes.back() == '\n' ? 0 : 1);
    if (last >= 0) {
        file.insert(file.begin() + pick(0, last), KnownLine{bytes, -1});
        writeFile(chosen->first);
    }
}

void KnownRing::repair() {
    for (auto &[number, file] : files_) {
        file.erase(
            std::remove_if(file.begin(), file.end(), [](const KnownLine &line) { return line.id < 0; }),
            file.end());
    }
    hasIndex_ = true;
    copy();
}

void KnownRing::copy() {
    fs::rename(directory_, directory_ + ".old");
    fs::create_directories(directory_);
    writeAll();
    fs::remove_all(directory_ + ".old");
}

void KnownRing::loseIndex() {
    hasIndex_ = false;
    fs::remove(directory_ + "/index.csv");
}

void KnownRing::mendIndex() {
    hasIndex_ = true;
    writeIndex();
}

void KnownRing::stepClock() {
    if (hasClock_) {
        time_ += static_cast<uint32_t>(pick(-100000, 100000));
    }
}

std::vector<int64_t> KnownRing::inView() const {
    std::vector<int64_t> ids;
    for (int number = oldest_;; number = (number + 1) % size_) {
        for (const KnownLine &line : files_.at(number)) {
            if (line.id >= 0) {
                ids.push_back(line.id);
            }
        }
        if (number == latest_) {
            return ids;
        }
    }
}

int64_t KnownRing::idAt(int number, uint64_t offset) const {
    uint64_t begin = 0;
    for (const KnownLine &line : files_.at(number)) {
        if (begin == offset) {
            return line.id;
        }
        begin += line.bytes.size();
    }
    return -1;
}

bool KnownRing::hasId(int number, int64_t id) const {
    const auto file = files_.find(number);
    return file != files_.end() && std::any_of(file->second.begin(), file->second.end(),
                                               [id](const KnownLine &line) { return line.id == id; });
}

std::string KnownRing::linesUpTo(int number, int64_t id) const {
    std::string lines;
    for (const KnownLine &line : files_.at(number)) {
        lines += line.id >= 0 ? line.bytes : "";
        if (line.id == id) {
            break;
        }
    }
    return lines;
}

namespace {

using Key = std::pair<uint64_t, uint64_t>;

/// Stores each item under its key, and finds what must not be.
class Engine {
public:
    void store(const Key &key, int64_t id) {
        const auto [at, isNew] = items_.emplace(key, id);
        if (!isNew && at->second != id) {
            wrong_ = "key " + text(key) + " has items " + std::to_string(at->second) + " and " +
                     std::to_string(id);
        }
        const auto [known, isFirst] = keys_.emplace(id, key);
        if (!isFirst && known->second != key) {
            wrong_ = "item " + std::to_string(id) + " has keys " + text(known->second) + " and " + text(key);
        }
    }

    bool has(int64_t id) const { return keys_.count(id) > 0; }
    const Key *keyOf(int64_t id) const {
        const auto found = keys_.find(id);
        return found == keys_.end() ? nullptr : &found->second;
    }
    size_t size() const { return keys_.size(); }
    const std::string &wrong() const { return wrong_; }

private:
    static std::string text(const Key &key) {
        return std::to_string(key.first % 1000) + "/" + std::to_string(key.second);
    }

    std::map<Key, int64_t> items_;
    std::map<int64_t, Key> keys_;
    std::string wrong_;
};

struct SentItem {
    Key key;
    int64_t id = -1;
};

/// What is known of a place besides what its cursor keeps.
struct KnownPlace {
    int64_t id = -1;    ///< Of the item before it.
    std::string lines;  ///< Of its file up to there.
};

class History {
public:
    History(uint32_t seed, const std::string &directory, HistoryCounts *counts)
        : random_(seed), directory_(directory), counts_(*counts) {
        ring_ = std::make_unique<KnownRing>(directory_, &random_, &nextId_);
        cursor_.device = "unit";
        cursor_.log = "log";
    }

    std::string run(int pulls) {
        for (int i = 0; i < pulls; ++i) {
            for (int events = pick(0, 3); events > 0; --events) {
                happen();
            }
            if (isInDoubt_) {
                break;
            }
            if (isAmbiguous()) {
                ++counts_.ambiguous;
                break;
            }
            const std::string wrong = pull();
            if (!wrong.empty()) {
                return "pull " + std::to_string(i) + ": " + wrong;
            }
        }
        counts_.items += static_cast<uint64_t>(nextId_);
        counts_.arrived += engine_.size();
        return "";
    }

private:
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }

    void happen() {
        switch (pick(0, 19)) {
            case 0:
                return ring_->clear();
            case 1:
                return ring_->restart();
            case 2:
                return ring_->crash(pick(1, 30));
            case 3:
                return ring_->damage();
            case 4:
                return ring_->repair();
            case 5:
                return ring_->copy();
            case 6:
                return ring_->stepClock();
            case 7:
                return ring_->append(pick(100, 500));
            case 8:
                return ring_->hasIndex() ? ring_->loseIndex() : ring_->mendIndex();
            case 9:
                return pick(0, 3) == 0 ? changeLog() : ring_->append(1);
            default:
                return ring_->append(pick(1, 40));
        }
    }

    /// Another log takes the place; the one that was there may come back.
    void changeLog() {
        const std::string aside = directory_ + ".aside";
        if (other_) {
            fs::rename(directory_, directory_ + ".third");
            fs::rename(aside, directory_);
            fs::rename(directory_ + ".third", aside);
            std::swap(ring_, other_);
            isForgotten_ = isForgotten_ || isMixed_ || hasSmallPlace();
        } else {
            fs::rename(directory_, aside);
            other_ = std::move(ring_);
            ring_ = std::make_unique<KnownRing>(directory_, &random_, &nextId_);
        }
        isMixed_ = false;
    }

    /// A log that comes back is not known by less.
    bool hasSmallPlace() const {
        constexpr uint64_t kFewest = 8;
        return std::any_of(
            cursor_.epochs.begin(), cursor_.epochs.end(), [](const tool::Numbering &numbering) {
                return (numbering.place && numbering.place->before.items < kFewest) ||
                       std::any_of(
                           numbering.attempts.begin(), numbering.attempts.end(),
                           [](const tool::Attempt &attempt) { return attempt.place.before.items < kFewest; });
            });
    }

    /// Whether some place that is kept is, byte for byte, where other items are now.
    bool isAmbiguous() const { return isForgotten_ || isForgotten() || isAnyTaken(); }

    /// Whether a log has come back after more epochs of others than are kept.
    bool isForgotten() const {
        std::set<uint64_t> epochs;
        for (const int64_t id : ring_->inView()) {
            if (const Key *const key = engine_.keyOf(id)) {
                epochs.insert(key->first);
            }
        }
        return !epochs.empty() && std::none_of(cursor_.epochs.begin(), cursor_.epochs.end(),
                                               [&epochs](const tool::Numbering &numbering) {
                                                   return epochs.count(numbering.epoch) > 0;
                                               });
    }

    bool isAnyTaken() const {
        for (const tool::Numbering &numbering : cursor_.epochs) {
            if (numbering.place && isTaken(numbering.epoch, numbering.seq, *numbering.place)) {
                return true;
            }
            for (const tool::Attempt &attempt : numbering.attempts) {
                if (isTaken(numbering.epoch, attempt.last, attempt.place)) {
                    return true;
                }
            }
        }
        return false;
    }

    bool isTaken(uint64_t epoch, uint64_t seq, const tool::Place &place) const {
        const KnownPlace &known = places_.at({epoch, seq});
        if (ring_->hasId(place.file, known.id)) {
            return false;
        }
        for (int number = 0; number < 5; ++number) {
            if (beginsWith(number, place, known.lines)) {
                return true;
            }
        }
        return false;
    }

    /// Whether a file begins with the lines before a place, or, where no file was before its own, with some.
    bool beginsWith(int number, const tool::Place &place, const std::string &lines) const {
        std::string all;
        for (const KnownLine &line : fileOf(number)) {
            all += line.id >= 0 ? line.bytes : "";
        }
        const std::string some = place.former ? lines : lines.substr(0, lines.find('\n') + 1);
        return all.compare(0, some.size(), some) == 0;
    }

    KnownFile fileOf(int number) const {
        try {
            return ring_->file(number);
        } catch (const std::out_of_range &) {
            return {};
        }
    }

    std::string pull() {
        ++counts_.pulls;
        const tool::StoreDirectory directory = tool::StoreDirectory::openForReading(directory_);
        tool::LogPull pull(directory, std::nullopt, cursor_, ++fresh_);
        isMixed_ = isMixed_ || (other_ && isOverrun(pull));
        const uint64_t batch = static_cast<uint64_t>(pick(1, 200));
        std::vector<SentItem> items;
        bool isGoingOn = true;
        pull.run({}, [&](const tool::Item &item) {
            const tool::LogCursor reached = pull.reached();
            const int file = reached.current().place->file;
            items.push_back({{pull.epoch(), item.seq}, ring_->idAt(file, item.offset)});
            places_[items.back().key] = {items.back().id, ring_->linesUpTo(file, items.back().id)};
            if (items.size() == batch) {
                isGoingOn = send(items, reached);
                items.clear();
            }
            return isGoingOn;
        });
        if (isGoingOn && !items.empty()) {
            isGoingOn = send(items, pull.reached());
        }
        if (!engine_.wrong().empty() || !isGoingOn || !ring_->hasIndex()) {
            return engine_.wrong();
        }
        return missing(pull);
    }

    /// Whether numbers go on although no place was found: then the log that was here before is forgotten.
    static bool isOverrun(const tool::LogPull &pull) {
        return std::any_of(pull.notes().begin(), pull.notes().end(), [](const std::string &note) {
            return note.find("written faster") != std::string::npos;
        });
    }

    /// A transfer that may fail before, within and after the engine has stored it; false when it did.
    bool send(const std::vector<SentItem> &items, const tool::LogCursor &reached) {
        const int luck = pick(0, 9);
        if (luck == 0) {
            ++counts_.failures;
            return false;  // Before anything was written.
        }
        keep(tool::attempted(cursor_, reached));
        const size_t stored =
            luck <= 2 ? static_cast<size_t>(pick(0, static_cast<int>(items.size()))) : items.size();
        for (size_t i = 0; i < stored; ++i) {
            engine_.store(items[i].key, items[i].id);
        }
        if (luck <= 4) {
            ++counts_.failures;
            return false;  // Within, or after all was stored.
        }
        keep(tool::arrived(cursor_, reached));
        return true;
    }

    /// By way of the file.
    void keep(const tool::LogCursor &cursor) {
        cursor_ = tool::parseCursors(tool::cursorText({cursor}), "cursors").front();
    }

    /// After a pull that arrived, the engine has all that is in view.
    std::string missing(const tool::LogPull &pull) {
        if (!pull.notes().empty() && pull.notes().back().find("nobody knows") != std::string::npos) {
            ++counts_.doubtful;
            isInDoubt_ = true;
            return "";
        }
        for (const int64_t id : ring_->inView()) {
            if (!engine_.has(id)) {
                return "item " + std::to_string(id) + " is in view and was not sent";
            }
        }
        return "";
    }

    std::mt19937 random_;
    const std::string directory_;
    HistoryCounts &counts_;
    int64_t nextId_ = 0;
    uint64_t fresh_ = 1000;
    std::unique_ptr<KnownRing> ring_;
    std::unique_ptr<KnownRing> other_;
    bool isMixed_ = false;
    bool isForgotten_ = false;
    bool isInDoubt_ = false;
    tool::LogCursor cursor_;
    std::map<Key, KnownPlace> places_;
    Engine engine_;
};

}  // namespace

std::string runHistory(uint32_t seed, int pulls, const std::string &directory, HistoryCounts *counts) {
    fs::remove_all(directory);
    fs::remove_all(directory + ".aside");
    return History(seed, directory, counts).run(pulls);
}

}  // namespace test
