// SPDX-License-Identifier: Apache-2.0
#include "cursor/cursor_history.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "cursor/cursor_text.h"
#include "cursor/log_pull.h"
#include "cursor/written_ring.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using Key = std::pair<uint64_t, uint64_t>;

/// Stores each item under its key, and finds what must not be. An item may stand for one with the same bytes
/// that is gone: nobody can tell them apart.
class Engine {
public:
    void store(const Key &key, int64_t id, const std::string &bytes) {
        const auto [at, isNew] = items_.emplace(key, id);
        if (isNew) {
            ids_[bytes].push_back(id);
        } else if (at->second != id) {
            const std::vector<int64_t> &twins = ids_[bytes];
            if (std::find(twins.begin(), twins.end(), at->second) != twins.end()) {
                ++twins_;
                return;
            }
            wrong_ = "key " + text(key) + " has items " + std::to_string(at->second) + " and " +
                     std::to_string(id);
        }
        const auto [known, isFirst] = keys_.emplace(id, key);
        if (!isFirst && known->second != key) {
            wrong_ = "item " + std::to_string(id) + " has keys " + text(known->second) + " and " + text(key);
        }
    }

    bool has(int64_t id) const { return keys_.count(id) > 0; }
    std::optional<Key> keyOf(int64_t id) const {
        const auto key = keys_.find(id);
        return key == keys_.end() ? std::nullopt : std::optional(key->second);
    }
    /// The items that have the same bytes.
    std::vector<int64_t> twinsOf(const std::string &bytes) const {
        const auto twins = ids_.find(bytes);
        return twins == ids_.end() ? std::vector<int64_t>() : twins->second;
    }
    size_t size() const { return keys_.size(); }
    uint64_t twins() const { return twins_; }
    const std::string &wrong() const { return wrong_; }

private:
    static std::string text(const Key &key) {
        return std::to_string(key.first % 1000) + "/" + std::to_string(key.second);
    }

    std::map<Key, int64_t> items_;
    std::map<int64_t, Key> keys_;
    std::map<std::string, std::vector<int64_t>> ids_;
    uint64_t twins_ = 0;
    std::string wrong_;
};

struct SentItem {
    Key key;
    int64_t id = -1;
};

/// What was truly in a file when a cursor began to know it as it does.
struct TrueFile {
    tool::FileSum sum;
    int64_t generation = 0;
    std::vector<std::string> lines;
};

class History {
public:
    History(uint32_t seed, const std::string &directory, HistoryCounts *counts)
        : random_(seed), directory_(directory), counts_(*counts), isFiltered_(seed % 8 == 0) {
        ring_ = std::make_unique<WrittenRing>(directory_, &random_, &nextId_);
        cursor_.device = "unit";
        cursor_.log = "log";
    }

    std::string run(int pulls) {
        for (int i = 0; i < pulls; ++i) {
            for (int events = pick(0, 3); events > 0; --events) {
                happen();
            }
            if (std::exchange(isInDoubt_, false) || isAmbiguous()) {
                beginAnew();
            }
            const std::string wrong = pull();
            if (!wrong.empty()) {
                return "pull " + std::to_string(i) + ": " + wrong;
            }
        }
        counts_.items += static_cast<uint64_t>(nextId_);
        countEngine();
        return "";
    }

private:
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }

    void countEngine() {
        counts_.arrived += engine_.size();
        counts_.twins += engine_.twins();
    }

    void happen() {
        switch (pick(0, 26)) {
            case 0:
                return pick(0, 3) == 0 ? ring_->clearSilently() : ring_->clear();
            case 1:
                return ring_->restart();
            case 2:
                isInDoubt_ = !ring_->crash(pick(1, 30)) || isInDoubt_;
                return;
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
            case 10:
                isInDoubt_ = !ring_->destroy(pick(0, 2) == 0 ? pick(1, 50) : 1) || isInDoubt_;
                return;
            case 11:
                isInDoubt_ = !ring_->alter() || isInDoubt_;
                return;
            case 12:
                return ring_->turnReadable();
            case 13:
                return pick(0, 2) == 0 ? ring_->grow(pick(1, 3)) : ring_->append(1);
            case 14:
                isInDoubt_ = !(pick(0, 3) == 0 ? ring_->vanish() : true) || isInDoubt_;
                return;
            case 15:
                isInDoubt_ = !ring_->takeBack() || hasUnknownBefore() || isInDoubt_;
                return;
            default:
                return ring_->append(pick(1, 40));
        }
    }

    /// Whether items that are not known stand before others that are: these have higher numbers already.
    bool hasUnknownBefore() const {
        const std::vector<int64_t> ids = ring_->inView();
        const auto isKnown = [this](int64_t id) { return engine_.has(id); };
        const auto unknown = std::find_if_not(ids.begin(), ids.end(), isKnown);
        return std::any_of(unknown, ids.end(), isKnown);
    }

    /// Another log takes the place; the one that was there may come back.
    void changeLog() {
        const std::string aside = directory_ + ".aside";
        if (other_) {
            fs::rename(directory_, directory_ + ".third");
            fs::rename(aside, directory_);
            fs::rename(directory_ + ".third", aside);
            std::swap(ring_, other_);
        } else {
            fs::rename(directory_, aside);
            other_ = std::move(ring_);
            ring_ = std::make_unique<WrittenRing>(directory_, &random_, &nextId_);
        }
    }

    /// After what files alone cannot tell, another engine is fed from the begin.
    void beginAnew() {
        countEngine();
        engine_ = {};
        truth_.clear();
        cursor_.epochs.clear();
    }

    bool isAmbiguous() {
        const bool isTaken = std::any_of(cursor_.epochs.begin(), cursor_.epochs.end(),
                                         [this](const auto &numbering) { return isMistakable(numbering); });
        const bool isKept = cursor_.epochs.empty() || isTaken;
        const bool isForgotten = !isKept && (isFaint() || isFewElsewhere() || (other_ && isLogForgotten()));
        counts_.ambiguous += isTaken ? 1 : 0;
        counts_.forgotten += isForgotten ? 1 : 0;
        return isTaken || isForgotten;
    }

    /// Whether so few items are known that the loss of one leaves nothing to know the log by.
    bool isFaint() const {
        constexpr size_t kFewest = 16;
        size_t left = 0;
        bool isDamaged = false;
        for (const tool::KnownFile &known : cursor_.current().files) {
            const std::vector<std::string> &before = truthOf(cursor_.current(), known).lines;
            if (isTrulyThere(cursor_.current(), known)) {
                left += linesInCommon(ring_->lines(known.number), before);
                isDamaged = isDamaged || ring_->lines(known.number, before.size()) != before;
            }
        }
        return isDamaged && left < kFewest;
    }

    /// Whether the newest known file has another name, or stands where the writer will begin next or near to
    /// files that are gone, and so few items that any file may begin with them.
    bool isFewElsewhere() const {
        constexpr uint64_t kFewest = 8;
        const tool::KnownFile *const newest = cursor_.current().newest();
        const bool isFew = newest != nullptr && newest->sum.items < kFewest;
        return isFew && isTrulyThere(cursor_.current(), *newest) &&
               (ring_->isToBegin() || ring_->hasHole() ||
                ring_->generation(newest->number) != truthOf(cursor_.current(), *newest).generation);
    }

    /// Whether the log has come back after it was passed over for another one, or knows less than a former
    /// log must be known by.
    bool isLogForgotten() {
        constexpr uint64_t kFewest = 8;
        const std::vector<int64_t> ids = ring_->inView();
        const bool isKnown =
            std::any_of(ids.begin(), ids.end(), [this](int64_t id) { return engine_.has(id); });
        return isKnown && std::none_of(cursor_.epochs.begin(), cursor_.epochs.end(), [&](auto &numbering) {
                   const tool::KnownFile *const newest = numbering.newest();
                   const bool isCurrent = &numbering == &cursor_.current();
                   return newest != nullptr && isTrulyThere(numbering, *newest) &&
                          (isCurrent || linesLeft(numbering, *newest) >= kFewest);
               });
    }

    const TrueFile &truthOf(const tool::Numbering &numbering, const tool::KnownFile &known) const {
        return truth_.at({numbering.epoch, known.number});
    }

    bool isTrulyThere(const tool::Numbering &numbering, const tool::KnownFile &known) const {
        return ring_->hasGeneration(truthOf(numbering, known).generation);
    }

    /// How many of the lines that were known in a file are still there.
    size_t linesLeft(const tool::Numbering &numbering, const tool::KnownFile &known) const {
        const std::vector<std::string> &before = truthOf(numbering, known).lines;
        const std::vector<std::string> now = ring_->lines(known.number, before.size());
        return static_cast<size_t>(std::mismatch(now.begin(), now.end(), before.begin()).first - now.begin());
    }

    /// Whether a file may be another one, of which some lines were damaged.
    static bool isLike(const std::vector<std::string> &now, const std::vector<std::string> &before) {
        const size_t common = linesInCommon(now, before);
        return now.size() <= before.size() && (2 * common >= before.size() || common == now.size());
    }

    /// Of the longest common subsequence.
    static size_t linesInCommon(const std::vector<std::string> &a, const std::vector<std::string> &b) {
        std::vector<size_t> common(b.size() + 1);
        for (const std::string &line : a) {
            size_t diagonal = 0;
            for (size_t j = 0; j < b.size(); ++j) {
                const size_t above = std::exchange(diagonal, common[j + 1]);
                common[j + 1] = line == b[j] ? above + 1 : std::max(common[j + 1], common[j]);
            }
        }
        return common.back();
    }

    /// Whether the files are as if the writer had not come round, or another log taken the place: it has, and
    /// yet all files to which it would not have come look like those that were there, and the newest one may
    /// be, had it lost its end. Files that cannot be read look like any.
    bool isMistakable(const tool::Numbering &numbering) const {
        const tool::KnownFile *const newest = numbering.newest();
        if (newest == nullptr) {
            return false;
        }
        bool isOther = !isTrulyThere(numbering, *newest);
        bool isLikely = linesLeft(numbering, *newest) > 0;
        for (int number = 0; number < ring_->size(); ++number) {
            if (ring_->age(number) <= ring_->age(newest->number) || !ring_->isReadable(number)) {
                continue;
            }
            const auto known = std::find_if(numbering.files.begin(), numbering.files.end(),
                                            [number](const auto &file) { return file.number == number; });
            if (known == numbering.files.end() && ring_->isInView(number)) {
                return false;
            }
            if (known != numbering.files.end()) {
                if (!isLike(ring_->lines(number), truthOf(numbering, *known).lines)) {
                    return false;
                }
                isOther = isOther || !isTrulyThere(numbering, *known);
                isLikely = true;
            }
        }
        return isOther && isLikely;
    }

    std::string pull() {
        ++counts_.pulls;
        const tool::StoreDirectory directory = tool::StoreDirectory::openForReading(directory_);
        const std::map<int, WrittenFile> files = ring_->files();
        const std::vector<int64_t> inView = ring_->inView();
        tool::LogPull pull(directory, std::nullopt, cursor_, ++fresh_);
        isInDoubt_ = isDoubtful(pull);
        const tool::ItemFilter filter = someFilter();
        const uint64_t batch = static_cast<uint64_t>(pick(1, 200));
        std::vector<SentItem> items;
        bool isGoingOn = true;
        pull.run(filter, [&](const tool::Item &item) {
            const int64_t id = idAt(files.at(pull.fileNumber()), item.offset);
            items.push_back({{pull.epoch(), item.seq}, id});
            if (items.size() == batch) {
                isGoingOn = send(items, pull.reached());
                pull.markArrived();
                items.clear();
            }
            if (pick(0, 200) == 0) {
                ring_->append(pick(1, 100));  // The writer moves on meanwhile.
            }
            return isGoingOn;
        });
        if (isGoingOn && !items.empty()) {
            isGoingOn = send(items, pull.reached());
        } else if (isGoingOn && cursor_.hasBegun()) {
            keep(tool::arrived(pull.reached()));
        }
        counts_.doubtful += isInDoubt_ ? 1 : 0;
        counts_.waiting += isWaiting(pull) ? 1 : 0;
        ring_->forgetLost();
        const bool isAllSent =
            isGoingOn && ring_->hasIndex() && !isInDoubt_ && !isWaiting(pull) && !pull.isOvertaken();
        return engine_.wrong().empty() && isAllSent ? missing(inView, filter) : engine_.wrong();
    }

    tool::ItemFilter someFilter() {
        tool::ItemFilter filter;
        if (isFiltered_) {
            filter.levels = tool::LevelSet::upTo(1);
        }
        return filter;
    }

    static bool isWaiting(const tool::LogPull &pull) {
        const std::vector<std::string> &texts = pull.damage().texts();
        return std::any_of(texts.begin(), texts.end(), [](const std::string &text) {
            return text.find("new items wait") != std::string::npos;
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
            if (!ring_->isAltered(items[i].id)) {
                engine_.store(items[i].key, items[i].id, ring_->bytesOf(items[i].id));
            }
        }
        if (luck <= 4) {
            ++counts_.failures;
            return false;  // Within, or after all was stored.
        }
        keep(tool::arrived(reached));
        return true;
    }

    /// By way of the file.
    void keep(const tool::LogCursor &cursor) {
        cursor_ = tool::parseCursors(tool::cursorText({cursor}), "cursors").front();
        for (const tool::KnownFile &known : cursor_.current().files) {
            TrueFile &truth = truth_[{cursor_.current().epoch, known.number}];
            if (!(truth.sum == known.sum)) {
                truth = {known.sum, ring_->generation(known.number),
                         ring_->lines(known.number, known.sum.items)};
            }
        }
    }

    /// Whether so much is gone from a file that some items had to be left out.
    static bool isDoubtful(const tool::LogPull &pull) {
        return std::any_of(pull.notes().begin(), pull.notes().end(), [](const std::string &note) {
            return note.find("may be new or not") != std::string::npos ||
                   note.find("damaged after") != std::string::npos;
        });
    }

    /// After a pull that arrived, the engine has all that was in view, under numbers that rise with the
    /// place.
    std::string missing(const std::vector<int64_t> &inView, const tool::ItemFilter &filter) {
        Key last(0, 0);
        for (const int64_t id : inView) {
            const auto key = engine_.keyOf(id);
            if (!key && isWanted(id, filter) && !hasTwin(id, inView)) {
                return "item " + std::to_string(id) + " was in view and was not sent";
            }
            if (key && key->first == last.first && key->second <= last.second) {
                return "item " + std::to_string(id) + " has number " + std::to_string(key->second) +
                       " after " + std::to_string(last.second);
            }
            last = key.value_or(last);
        }
        return "";
    }

    bool isWanted(int64_t id, const tool::ItemFilter &filter) const {
        return !ring_->isAltered(id) &&
               (filter.levels.isAll() || ring_->bytesOf(id).find(",3,0,") == std::string::npos);
    }

    /// Whether the engine has an item with the same bytes that is gone from the files.
    bool hasTwin(int64_t id, const std::vector<int64_t> &inView) {
        const std::vector<int64_t> twins = engine_.twinsOf(ring_->bytesOf(id));
        const bool isThere = std::any_of(twins.begin(), twins.end(), [&](int64_t twin) {
            return std::find(inView.begin(), inView.end(), twin) == inView.end();
        });
        counts_.twins += isThere ? 1 : 0;
        return isThere;
    }

    std::mt19937 random_;
    const std::string directory_;
    HistoryCounts &counts_;
    int64_t nextId_ = 0;
    uint64_t fresh_ = 1000;
    std::unique_ptr<WrittenRing> ring_;
    std::unique_ptr<WrittenRing> other_;
    bool isInDoubt_ = false;
    tool::LogCursor cursor_;
    std::map<std::pair<uint64_t, int>, TrueFile> truth_;  ///< By epoch and number of the file.
    Engine engine_;
    const bool isFiltered_;
};

}  // namespace

std::string runHistory(uint32_t seed, int pulls, const std::string &directory, HistoryCounts *counts) {
    fs::remove_all(directory);
    fs::remove_all(directory + ".aside");
    return History(seed, directory, counts).run(pulls);
}

}  // namespace test
