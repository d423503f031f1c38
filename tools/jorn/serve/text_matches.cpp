// SPDX-License-Identifier: Apache-2.0
#include "serve/text_matches.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <string_view>
#include <system_error>
#include <thread>

#include "log/segment_reader.h"
#include "query/expression_pool.h"
#include "query/piece_filter.h"
#include "system/file_bytes.h"

namespace tool {
namespace {

using Bits = std::shared_ptr<const RowBits>;

/// Bytes of a file that are read at once; far more than a line.
constexpr size_t kWindow = size_t{256} * 1024;

/// What is remembered of a block besides its bits, and of an expression besides its text.
constexpr size_t kBesides = 128;

size_t bytesOf(const LogBlock &block) { return RowBits::bytesFor(block.size()) + kBesides; }

/// Looks through the lines of blocks' items. That the columns say where they are makes it faster than to look
/// for their ends: most lines are passed over by the place of the next word that a match must have.
class BlockSearch {
public:
    BlockSearch(std::shared_ptr<const RE2> pattern, const Deadline &deadline)
        : wanted_(filterOf(std::move(pattern))), deadline_(deadline) {
        buffer_.resize(kWindow);
    }

    Bits run(const LogBlock &block) {
        const BlockReader reader(block);
        auto bits = std::make_shared<RowBits>(block.size());
        for (size_t row = 0; row < block.size();) {
            const uint64_t begin = beginOf(block, row);
            const std::string_view window = read(reader, begin, block.readTo);
            filter_.enter(window);
            const size_t first = row;
            for (; row < block.size() && beginOf(block, row + 1) - begin <= kWindow; ++row) {
                const std::string_view piece =
                    window.substr(beginOf(block, row) - begin, beginOf(block, row + 1) - beginOf(block, row));
                if (!filter_.isOut(piece) && passes(piece)) {
                    bits->set(row);
                }
            }
            if (row == first) {
                ++row;  // Damage of such a size between two items that the first of them is looked at alone.
                if (passes(window)) {
                    bits->set(first);
                }
            }
        }
        if (!reader.isStill()) {
            throw StaleView();
        }
        return bits;
    }

private:
    static ItemFilter filterOf(std::shared_ptr<const RE2> pattern) {
        ItemFilter filter;
        filter.pattern = std::move(pattern);
        return filter;
    }

    /// Where an item's line begins; after the last one, where the block ends.
    static uint64_t beginOf(const LogBlock &block, size_t row) {
        return row < block.size() ? block.columns->offsets[row] : block.readTo;
    }

    /// Of an item's line with what may follow it. There are expressions that take a tenth of a second for it.
    bool passes(std::string_view piece) {
        constexpr size_t kBetweenChecks = 8;
        if (++looked_ % kBetweenChecks == 0) {
            deadline_.check();
        }
        return filter_.passes(piece.substr(0, lineLength(piece, Zeros::InLine)), LineNumbers{});
    }

    std::string_view read(const BlockReader &reader, uint64_t begin, uint64_t end) {
        const auto size = static_cast<size_t>(std::min<uint64_t>(kWindow, end - begin));
        int error = 0;
        const size_t length = readAt(reader.file().file.get(), begin, buffer_.data(), size, &error);
        if (length < size) {
            throw StaleView();
        }
        return {buffer_.data(), length};
    }

    const ItemFilter wanted_;
    const Deadline &deadline_;
    PieceFilter filter_{wanted_};
    std::vector<char> buffer_;
    size_t looked_ = 0;
};

/// Looks through many blocks with two threads, as many as there is time for.
class BlocksSearch {
public:
    BlocksSearch(const std::shared_ptr<const RE2> &pattern, const std::vector<const LogBlock *> &blocks,
                 const Deadline &deadline)
        : pattern_(pattern), blocks_(blocks), deadline_(deadline), bits_(blocks.size()) {}

    /// Null for blocks that were not looked through.
    std::vector<Bits> run() {
        std::thread helper = helperIfWorthIt();
        work(pattern_);
        if (helper.joinable()) {
            helper.join();
        }
        if (failure_ != nullptr) {
            std::rethrow_exception(failure_);
        }
        return std::move(bits_);
    }

private:
    std::thread helperIfWorthIt() {
        constexpr uint64_t kWorthIt = uint64_t{1} << 20;
        uint64_t bytes = 0;
        for (const LogBlock *const block : blocks_) {
            bytes += block->readTo;
        }
        if (blocks_.size() < 2 || bytes < kWorthIt) {
            return {};
        }
        try {
            return std::thread([this] { work(ownPattern()); });
        } catch (const std::system_error &) {
            return {};
        }
    }

    /// Threads that use the same expression wait for each other at each line. A large one is not worth its
    /// memory.
    std::shared_ptr<const RE2> ownPattern() const {
        const bool isLarge = pattern_->options().max_mem() > ExpressionPool::kUsualBytes;
        return isLarge ? pattern_ : std::make_shared<const RE2>(pattern_->pattern(), pattern_->options());
    }

    void work(const std::shared_ptr<const RE2> &pattern) {
        try {
            BlockSearch search(pattern, deadline_);
            for (size_t i = next_++; i < blocks_.size() && hasTimeFor(i); i = next_++) {
                deadline_.check();
                bits_[i] = search.run(*blocks_[i]);
            }
        } catch (...) {
            const std::lock_guard lock(mutex_);
            failure_ = std::current_exception();
            next_ = blocks_.size();
        }
    }

    /// The first block is always looked through.
    bool hasTimeFor(size_t i) const { return i == 0 || Clock::now() < end_; }

    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kUsualTurn{500};

    const std::shared_ptr<const RE2> pattern_;
    const std::vector<const LogBlock *> &blocks_;
    const Clock::time_point end_ = Clock::now() + kUsualTurn;
    const Deadline &deadline_;
    std::atomic<size_t> next_{0};  ///< The first block that nobody looks through yet.
    std::vector<Bits> bits_;
    std::mutex mutex_;
    std::exception_ptr failure_;
};

}  // namespace

/// The right to search, during its lifetime.
class TextMatches::Turn {
public:
    Turn(TextMatches *matches, const Deadline &deadline) : Turn(matches) {
        while (!hasCome()) {
            deadline.check();
        }
    }
    ~Turn() {
        const std::lock_guard lock(matches_.mutex_);
        matches_.queue_.erase(place_);
        matches_.free_.notify_all();
    }
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

private:
    explicit Turn(TextMatches *matches) : matches_(*matches) {
        const std::lock_guard lock(matches_.mutex_);
        place_ = matches_.queue_.insert(matches_.queue_.end(), 0);
    }

    bool hasCome() const {
        constexpr std::chrono::milliseconds kLookAtClock(50);
        std::unique_lock lock(matches_.mutex_);
        return matches_.free_.wait_for(lock, kLookAtClock,
                                       [this] { return place_ == matches_.queue_.begin(); });
    }

    TextMatches &matches_;
    std::list<char>::iterator place_;
};

std::shared_ptr<const RowBits> TextMatches::of(const ViewFilter &filter, const std::vector<LogBlock> &blocks,
                                               size_t index, const Deadline &deadline) {
    if (Bits bits = known(filter, blocks[index])) {
        return bits;
    }
    const Turn turn(this, deadline);
    // Another may have looked for the same meanwhile.
    if (Bits bits = known(filter, blocks[index])) {
        return bits;
    }
    const Blocks unknown = unknownOf(filter, blocks, index);
    const Deadline own(longestTurn_, [&deadline] { deadline.check(); });
    const std::vector<Bits> bits = BlocksSearch(filter.pattern, unknown, own).run();
    keep(filter, unknown, bits);
    return bits.front();
}

size_t TextMatches::bytes() const {
    const std::lock_guard lock(mutex_);
    return bytes_;
}

std::shared_ptr<const RowBits> TextMatches::known(const ViewFilter &filter, const LogBlock &block) {
    const std::lock_guard lock(mutex_);
    const Found *const found = foundFor(filter);
    const auto bits = found->blocks.find(block.columns->id);
    return bits != found->blocks.end() ? bits->second : nullptr;
}

/// What is remembered of the filter's expression, which is now the one used last.
TextMatches::Found *TextMatches::foundFor(const ViewFilter &filter) {
    const std::string &pattern = filter.pattern->pattern();
    const auto known = std::find_if(found_.begin(), found_.end(), [&](const Found &found) {
        return found.pattern == pattern && found.isCaseIgnored == filter.isCaseIgnored;
    });
    if (known != found_.end()) {
        found_.splice(found_.begin(), found_, known);
        return &found_.front();
    }
    found_.push_front({pattern, filter.isCaseIgnored, {}, pattern.size() + kBesides});
    bytes_ += found_.front().bytes;
    makeRoom(&found_.front(), 0);
    return &found_.front();
}

/// The block and those after it that are asked for next and not known, as many as can be remembered with
/// ease.
TextMatches::Blocks TextMatches::unknownOf(const ViewFilter &filter, const std::vector<LogBlock> &blocks,
                                           size_t index) {
    const std::lock_guard lock(mutex_);
    const Found &found = *foundFor(filter);
    Blocks unknown = {&blocks[index]};
    size_t bytes = bytesOf(blocks[index]);
    for (size_t i = index + 1; i < blocks.size() && bytes + bytesOf(blocks[i]) <= most_ / 4; ++i) {
        const ItemColumns &columns = *blocks[i].columns;
        const bool isAskedFor = columns.latest >= filter.first() && columns.earliest <= filter.last();
        if (isAskedFor && found.blocks.find(columns.id) == found.blocks.end()) {
            unknown.push_back(&blocks[i]);
            bytes += bytesOf(blocks[i]);
        }
    }
    return unknown;
}

void TextMatches::keep(const ViewFilter &filter, const Blocks &blocks, const std::vector<Bits> &bits) {
    const std::lock_guard lock(mutex_);
    Found *const found = foundFor(filter);
    size_t bytes = 0;
    for (size_t i = 0; i < blocks.size(); ++i) {
        bytes += bits[i] != nullptr ? bytesOf(*blocks[i]) : 0;
    }
    if (!makeRoom(found, bytes)) {
        return;
    }
    for (size_t i = 0; i < blocks.size(); ++i) {
        if (bits[i] != nullptr) {
            found->blocks.emplace(blocks[i]->columns->id, bits[i]);
        }
    }
    found->bytes += bytes;
    bytes_ += bytes;
}

/// Forgets other expressions, those first that were used longest ago. One that leaves no room for itself
/// loses its blocks: most of them have grown or gone since.
bool TextMatches::makeRoom(Found *found, size_t bytes) {
    while ((bytes_ + bytes > most_ || found_.size() > kMostExpressions) && &found_.back() != found) {
        bytes_ -= found_.back().bytes;
        found_.pop_back();
    }
    if (bytes_ + bytes > most_) {
        found->blocks.clear();
        found->bytes = found->pattern.size() + kBesides;
        bytes_ = found->bytes;
    }
    return bytes_ + bytes <= most_;
}

}  // namespace tool
