// SPDX-License-Identifier: Apache-2.0
#include "serve/text_matches.h"

#include <algorithm>

#include "log/segment_reader.h"
#include "query/piece_filter.h"
#include "system/file_bytes.h"

namespace tool {
namespace {

/// Bytes of a file that are read at once; far more than a line.
constexpr size_t kWindow = size_t{256} * 1024;

/// Looks through the lines of a block's items. That the columns say where they are makes it faster than to
/// look for their ends: most lines are passed over by the place of the next word that a match must have.
class BlockSearch {
public:
    /// The buffer is lent, as it is the same for many blocks.
    BlockSearch(const std::shared_ptr<const RE2> &pattern, const LogBlock &block, std::vector<char> *buffer)
        : block_(block), reader_(block), buffer_(*buffer) {
        wanted_.pattern = pattern;
        buffer_.resize(kWindow);
    }

    std::shared_ptr<const RowBits> run() {
        auto bits = std::make_shared<RowBits>(block_.size());
        PieceFilter filter(wanted_);
        for (size_t row = 0; row < block_.size();) {
            const uint64_t begin = beginOf(row);
            const std::string_view window = read(begin);
            filter.enter(window);
            const size_t first = row;
            for (; row < block_.size() && isWithin(row, begin); ++row) {
                const std::string_view piece =
                    window.substr(beginOf(row) - begin, beginOf(row + 1) - beginOf(row));
                if (!filter.isOut(piece) &&
                    filter.passes(piece.substr(0, lineLength(piece, Zeros::InLine)), LineNumbers{})) {
                    bits->set(row);
                }
            }
            if (row == first) {
                ++row;  // Damage of such a size between two items that the first of them is looked at alone.
                const std::string_view piece = window.substr(0, lineLength(window, Zeros::InLine));
                if (filter.passes(piece, LineNumbers{})) {
                    bits->set(first);
                }
            }
        }
        if (!reader_.isStill()) {
            throw StaleView();
        }
        return bits;
    }

private:
    /// Where an item's line begins; after the last one, where the block ends.
    uint64_t beginOf(size_t row) const {
        return row < block_.size() ? block_.columns->offsets[row] : block_.readTo;
    }
    bool isWithin(size_t row, uint64_t begin) const { return beginOf(row + 1) - begin <= kWindow; }

    std::string_view read(uint64_t begin) {
        const auto size = static_cast<size_t>(std::min<uint64_t>(kWindow, block_.readTo - begin));
        int error = 0;
        const size_t length = readAt(reader_.file().file.get(), begin, buffer_.data(), size, &error);
        if (length < size) {
            throw StaleView();
        }
        return {buffer_.data(), length};
    }

    const LogBlock &block_;
    const BlockReader reader_;
    std::vector<char> &buffer_;
    ItemFilter wanted_;
};

}  // namespace

std::shared_ptr<TextMatches::Found> TextMatches::foundFor(const ViewFilter &filter) {
    const std::lock_guard lock(mutex_);
    const std::string &pattern = filter.pattern->pattern();
    const auto known = std::find_if(found_.begin(), found_.end(), [&](const auto &found) {
        return found->pattern == pattern && found->isCaseIgnored == filter.isCaseIgnored;
    });
    if (known != found_.end()) {
        found_.splice(found_.begin(), found_, known);
        return found_.front();
    }
    auto found = std::make_shared<Found>();
    found->pattern = pattern;
    found->isCaseIgnored = filter.isCaseIgnored;
    found_.push_front(found);
    if (found_.size() > kMostPatterns) {
        found_.pop_back();
    }
    return found;
}

std::shared_ptr<const RowBits> TextMatches::of(const ViewFilter &filter, const LogBlock &block) {
    const std::shared_ptr<Found> found = foundFor(filter);
    const std::lock_guard lock(found->mutex);
    const auto known = found->blocks.find(block.columns->id);
    if (known != found->blocks.end()) {
        return known->second;
    }
    std::shared_ptr<const RowBits> bits = BlockSearch(filter.pattern, block, &found->buffer).run();
    if (found->bytes + bits->bytes() > kMostBytesEach) {
        // Mostly those of blocks that have grown or gone since.
        found->blocks.clear();
        found->bytes = 0;
    }
    found->bytes += bits->bytes();
    found->blocks.emplace(block.columns->id, bits);
    return bits;
}

}  // namespace tool
