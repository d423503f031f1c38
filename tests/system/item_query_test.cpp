// SPDX-License-Identifier: Apache-2.0
// Compares every way to an answer with a slow reading of the same files that shares no code with the tool,
// over rings of random and damaged files.
#include "query/item_query.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "common_values.h"
#include "csvfile/file_analysis.h"
#include "tool_run.h"

namespace test {
namespace {

using ::testing::Each;
using tool::ItemFilter;
using tool::LevelSet;
using tool::Order;

/// An item as plain code sees it.
struct PlainItem {
    uint32_t time = 0;
    int32_t level = 0;
    int32_t slot = 0;
    std::string text;
};

bool operator==(const PlainItem &a, const PlainItem &b) {
    return a.time == b.time && a.level == b.level && a.slot == b.slot && a.text == b.text;
}

std::ostream &operator<<(std::ostream &stream, const PlainItem &item) {
    return stream << item.time << ',' << item.level << ',' << item.slot << ',' << item.text;
}

/// The first three fields that are not empty, and what follows the comma after the third.
bool plainParse(const std::string &line, PlainItem *item) {
    std::vector<std::string> fields;
    std::string rest;
    size_t at = 0;
    while (fields.size() < 3) {
        at = line.find_first_not_of(',', at);
        if (at == std::string::npos) {
            return false;
        }
        const size_t end = std::min(line.find(',', at), line.size());
        fields.push_back(line.substr(at, end - at));
        at = std::min(end + 1, line.size());
    }
    rest = line.substr(at, 199);
    if (!rest.empty() && rest.back() == '\n') {
        rest.pop_back();
    }
    *item = {static_cast<uint32_t>(strtoll(fields[0].c_str(), nullptr, 10)),
             static_cast<int32_t>(strtol(fields[1].c_str(), nullptr, 10)),
             static_cast<int32_t>(strtol(fields[2].c_str(), nullptr, 10)), rest};
    return true;
}

struct PlainFile {
    std::vector<PlainItem> items;
    uint64_t badLines = 0;
};

PlainFile plainRead(const std::string &bytes, bool isNewest) {
    PlainFile file;
    for (size_t at = 0; at < bytes.size();) {
        std::string piece;
        while (at < bytes.size() && piece.size() < 256 && (piece.empty() || piece.back() != '\n')) {
            piece += bytes[at++];
        }
        const bool isUnfinished = isNewest && at == bytes.size() && piece.back() != '\n';
        piece = piece.substr(0, piece.find('\0'));
        PlainItem item;
        if (plainParse(piece, &item)) {
            file.items.push_back(item);
        } else if (!isUnfinished && (piece.empty() || (piece[0] != '\n' && piece[0] != '\r'))) {
            ++file.badLines;
        }
    }
    return file;
}

PlainItem plain(const tool::Item &item) {
    return {static_cast<uint32_t>(item.seconds), item.level, item.slot, item.text};
}

/// Random files and filters; everything follows from the seed.
class Dice {
public:
    explicit Dice(uint32_t seed) : engine_(seed) {}

    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(engine_() % limit); }
    bool oneIn(uint32_t chances) { return below(chances) == 0; }

    std::string line(uint32_t time) {
        if (oneIn(damageChance)) {
            return damagedLine();
        }
        const int level = oneIn(strayChance) ? static_cast<int>(below(9)) - 3 : static_cast<int>(below(4));
        const auto slot = static_cast<int>(below(8));
        return dataLine(time, level, slot, text());
    }

    std::string text() {
        std::string text = "t" + std::to_string(below(50));
        return oneIn(5) ? text + ", and more" + std::string(below(180), 'x') : text;
    }

    std::string damagedLine() {
        static const std::vector<std::string> kKinds = {"\n",
                                                        "\r\n",
                                                        ",,,\n",
                                                        "no fields\n",
                                                        "1,2\n",
                                                        ",1700000000,,1,2,x\n",
                                                        "1700000000,1,5\n",
                                                        "17000000001700000000,1,5,far\n",
                                                        "x,y,z,w\n",
                                                        "-1,-1,-1,negative\n",
                                                        " 5, 1, 2, blanks\n",
                                                        "1700000000,01,+2,odd\n"};
        std::string line = kKinds[below(static_cast<uint32_t>(kKinds.size()))];
        if (oneIn(4)) {
            line.insert(below(static_cast<uint32_t>(line.size())), 1, '\0');
        }
        if (oneIn(6)) {
            line.insert(0, "1700000000,1,2," + std::string(below(1200), 'y'));
        }
        return line;
    }

    uint32_t damageChance = 12;
    uint32_t strayChance = 20;

private:
    std::mt19937 engine_;
};

class ItemQueryTest : public ToolTest {
protected:
    ItemQueryTest() { makeDirectory("log"); }

    /// Files of random lines; in half of the rings times only rise.
    void writeRing(Dice *dice, int files, uint32_t lines) {
        const bool isRising = dice->oneIn(2);
        if (dice->oneIn(3)) {
            dice->damageChance = dice->strayChance = UINT32_MAX;
        }
        uint32_t time = dice->oneIn(8) ? 0 : kMidnight;
        model_.clear();
        for (int file = 0; file < files; ++file) {
            std::string bytes;
            for (uint32_t i = dice->below(lines); i > 0; --i) {
                time += dice->below(kDay * 4 / lines);
                const bool isBack = !isRising && dice->oneIn(lines) && time > 3 * kDay;
                time -= isBack ? dice->below(3 * kDay) : 0;
                bytes += dice->line(time);
            }
            if (dice->oneIn(4) && !bytes.empty()) {
                bytes.pop_back();
            }
            write("log/" + std::to_string(file) + ".csv", bytes);
            model_.push_back(plainRead(bytes, file == files - 1));
        }
        write("log/index.csv", "version:1\n0," + std::to_string(files - 1) + "\n");
    }

    static ItemFilter randomFilter(Dice *dice) {
        ItemFilter filter;
        const auto second = [&] {
            const uint32_t day = kMidnight + dice->below(12) * kDay;
            return dice->oneIn(2) ? day : day + dice->below(kDay);
        };
        if (dice->oneIn(2)) {
            filter.since = second();
        }
        if (dice->oneIn(2)) {
            filter.until = std::max(filter.since, second() - 1);
        }
        if (dice->oneIn(3)) {
            filter.levels = LevelSet::upTo(static_cast<int>(dice->below(4)));
        } else if (dice->oneIn(2)) {
            const auto first = static_cast<int>(dice->below(2));
            filter.levels = LevelSet::range(first, 1 + static_cast<int>(dice->below(3)));
        }
        for (uint32_t i = dice->below(3); i > 0; --i) {
            filter.slots.add(static_cast<int>(dice->below(8)));
        }
        if (dice->oneIn(4)) {
            filter.pattern = std::make_shared<const RE2>("t[1-3]\\b|more");
        }
        return filter;
    }

    /// Implemented a second time, so that a mistake in the filter itself is found.
    static bool passes(const ItemFilter &filter, const PlainItem &item) {
        const bool isFound = item.text.find("more") != std::string::npos || hasShortNumber(item.text);
        return item.time >= filter.since && item.time <= filter.until && filter.levels.has(item.level) &&
               filter.slots.has(item.slot) && (filter.pattern == nullptr || isFound);
    }

    static bool hasShortNumber(const std::string &text) {
        for (size_t at = text.find('t'); at != std::string::npos; at = text.find('t', at + 1)) {
            const bool isDigit = at + 1 < text.size() && text[at + 1] >= '1' && text[at + 1] <= '3';
            if (isDigit &&
                (at + 2 >= text.size() || isalnum(static_cast<unsigned char>(text[at + 2])) == 0)) {
                return true;
            }
        }
        return false;
    }

    std::vector<PlainItem> expected(const ItemFilter &filter) const {
        std::vector<PlainItem> items;
        for (const PlainFile &file : model_) {
            std::copy_if(file.items.begin(), file.items.end(), std::back_inserter(items),
                         [&](const PlainItem &item) { return passes(filter, item); });
        }
        return items;
    }

    tool::StoreDirectory open() const { return tool::StoreDirectory::openForReading(path("log")); }

    std::vector<PlainFile> model_;
};

std::vector<PlainItem> scanned(const tool::RingView &view, const ItemFilter &filter, Order order,
                               const tool::ScanStart &start = {}) {
    std::vector<PlainItem> items;
    tool::DamageLog damage;
    tool::ItemScanner scanner(view, filter, order, &damage, start);
    while (const tool::Item *const item = scanner.next()) {
        items.push_back(plain(*item));
    }
    return items;
}

TEST_F(ItemQueryTest, EveryAnswer_RandomRingsAndFilters_IsThatOfPlainReading) {
    std::array<int, 2> routes{};
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        writeRing(&dice, 5, 60);
        const auto directory = open();
        const tool::RingView view(directory, std::nullopt);
        for (int round = 0; round < 20; ++round) {
            const ItemFilter filter = randomFilter(&dice);
            const std::vector<PlainItem> items = expected(filter);
            ASSERT_EQ(scanned(view, filter, Order::OldestFirst), items);
            auto newestFirst = scanned(view, filter, Order::NewestFirst);
            std::reverse(newestFirst.begin(), newestFirst.end());
            ASSERT_EQ(newestFirst, items);
            tool::DamageLog damage;
            EXPECT_EQ(tool::hasMatch(view, filter, &damage), !items.empty());
            const tool::CountAnswer count = tool::countItems(view, filter, &damage);
            ++routes[static_cast<size_t>(count.route)];
            ASSERT_EQ(count.tally.total(), items.size()) << count.explanation();
            for (int32_t level = 0; level < 4; ++level) {
                const auto ofLevel = std::count_if(
                    items.begin(), items.end(), [&](const PlainItem &item) { return item.level == level; });
                EXPECT_EQ(count.tally.levels[static_cast<size_t>(level)], static_cast<uint64_t>(ofLevel));
            }
            const uint64_t most = 1 + dice.below(30);
            const auto start = tool::startOfNewest(view, filter, {most}, &damage).start;
            const auto tail = static_cast<std::ptrdiff_t>(std::min<uint64_t>(most, items.size()));
            ASSERT_EQ(scanned(view, filter, Order::OldestFirst, start),
                      std::vector<PlainItem>(items.end() - tail, items.end()));
        }
    }
    // Each way was used.
    EXPECT_THAT(routes, Each(::testing::Gt(0)));
}

/// Whether the newest file ends before the day on which the oldest begins; the device then finds nothing.
bool isTurnedRound(const tool::RingView &view) {
    tool::DamageLog damage;
    const std::vector<tool::FileDigest> digests = tool::digestsOf(view, &damage);
    return digests.back().info.timeMax / kDay < digests.front().info.timeMin / kDay;
}

TEST_F(ItemQueryTest, Pages_RandomRingsInWhichTimesRise_AreThoseOfPlainReading) {
    int rings = 0;
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        writeRing(&dice, 4, 40);
        const auto directory = open();
        const tool::RingView view(directory, std::nullopt);
        if (isTurnedRound(view)) {
            continue;
        }
        ++rings;
        for (int round = 0; round < 10; ++round) {
            ItemFilter filter = randomFilter(&dice);
            // With these limits the device's answer may differ on purpose.
            filter.since = 0;
            filter.until = UINT32_MAX;
            if (filter.levels.hasStray() && !filter.levels.isAll()) {
                filter.levels = LevelSet::range(0, 2);
            }
            std::vector<PlainItem> items = expected(filter);
            std::reverse(items.begin(), items.end());
            const tool::PageWish wish = {static_cast<int32_t>(dice.below(9)) - 2,
                                         1 + static_cast<int32_t>(dice.below(20))};
            if (wish.number == 0) {
                continue;
            }
            tool::DamageLog damage;
            const tool::PageAnswer page = tool::pageOf(view, filter, wish, &damage);
            ASSERT_EQ(page.total, items.size());
            const auto perPage = static_cast<size_t>(wish.perPage);
            const size_t pages = (items.size() + perPage - 1) / perPage;
            const size_t number = wish.number < 0 ? pages : std::min(pages, static_cast<size_t>(wish.number));
            ASSERT_EQ(page.number, static_cast<int64_t>(number));
            const size_t first = number == 0 ? 0 : (number - 1) * perPage;
            std::vector<PlainItem> wanted(
                items.begin() + static_cast<std::ptrdiff_t>(first),
                items.begin() + static_cast<std::ptrdiff_t>(std::min(items.size(), first + perPage)));
            std::vector<PlainItem> got;
            std::transform(page.items.begin(), page.items.end(), std::back_inserter(got), plain);
            ASSERT_EQ(got, wanted);
        }
    }
    EXPECT_GT(rings, 40);
}

TEST_F(ItemQueryTest, Digest_RandomFiles_IsTheModulesSummary) {
    for (uint32_t seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        writeRing(&dice, 2, 200);
        const auto directory = open();
        const tool::RingView view(directory, std::nullopt);
        JORN_OBJ object = {};
        object.level_max = JORN_LEVEL_MAX;
        object.slot_max = JORN_SLOT_MAX;
        directory.shortName().copy(object.dirName, sizeof object.dirName - 1);
        tool::DamageLog damage;
        for (size_t file = 0; file < 2; ++file) {
            JORN_CSV_INFO summary = {};
            ASSERT_EQ(jorn_AnalyseOneCsvInfo(&object, static_cast<int32_t>(file), &summary), 0);
            const tool::FileDigest digest = tool::digestOf(view.files()[file], &damage);
            EXPECT_EQ(memcmp(&digest.info, &summary, sizeof summary), 0);
            EXPECT_EQ(digest.info.itemCount, model_[file].items.size());
        }
        uint64_t badLines = model_[0].badLines + model_[1].badLines;
        EXPECT_EQ(damage.isEmpty(), badLines == 0);
    }
}

TEST_F(ItemQueryTest, Segments_LongLinesAndSmallOnes_SamePiecesFromBothEnds) {
    constexpr size_t kSize = tool::SegmentReader::kSegmentSize;
    const std::vector<std::string> contents = {"",
                                               "x",
                                               "\n",
                                               std::string(kSize, '\n'),
                                               std::string(kSize + 1, 'x'),
                                               std::string(3 * kSize, 'x') + "\n",
                                               std::string(kSize - 1, 'x') + "\n" + "y",
                                               "y\n" + std::string(2 * kSize + 77, 'x') + "\nz\n",
                                               numberedLines("line", 60000),
                                               numberedLines("line", 100) + std::string(5 * kSize + 3, 'x') +
                                                   "\n" + numberedLines("l", 40000) + "end"};
    for (const std::string &bytes : contents) {
        write("log/0.csv", bytes);
        write("log/index.csv", "version:1\n0,0\n");
        const auto directory = open();
        const tool::RingView view(directory, std::nullopt);
        const tool::RingFile &file = view.files().front();
        std::vector<uint64_t> whole;
        tool::forEachLine({bytes, 0}, [&](const tool::Line &line) {
            whole.push_back(line.offset);
            return true;
        });
        for (const Order order : {Order::OldestFirst, Order::NewestFirst}) {
            std::vector<uint64_t> pieces;
            tool::SegmentReader reader(file.file.get(), file.size, order);
            for (tool::Segment segment; reader.next(&segment);) {
                ASSERT_LE(segment.bytes.size(), kSize);
                ASSERT_EQ(
                    bytes.compare(static_cast<size_t>(segment.offset), segment.bytes.size(), segment.bytes),
                    0);
                std::vector<uint64_t> ofSegment;
                tool::forEachLine(segment, [&](const tool::Line &line) {
                    ofSegment.push_back(line.offset);
                    return true;
                });
                pieces.insert(order == Order::OldestFirst ? pieces.end() : pieces.begin(), ofSegment.begin(),
                              ofSegment.end());
            }
            EXPECT_EQ(pieces, whole);
        }
    }
}

TEST_F(ItemQueryTest, LinesToEnd_ZerosAnywhere_CutAsIfReadAtOnce) {
    constexpr size_t kSize = tool::SegmentReader::kSegmentSize;
    const std::string zeros(100, '\0');
    const std::string item = dataLine(kMidnight, 1, 5, "door");
    const std::vector<std::string> contents = {
        "",
        zeros,
        zeros + std::string(kSize, 'x') + "\n" + item,
        zeros + std::string(2 * kSize + 77, 'x'),
        item + std::string(2 * kSize + 1, '\0') + item,
        std::string(kSize - 5, '\0') + item,
        std::string(kSize - 300, 'x') + std::string(200, '\0') + item + item,
        item + zeros,
    };
    using Begins = std::vector<std::pair<uint64_t, tool::LineKind>>;
    for (const std::string &bytes : contents) {
        Begins whole;
        tool::forEachLine({bytes, 0, tool::Zeros::Apart}, [&](const tool::Line &line) {
            whole.emplace_back(line.offset, line.kind);
            return true;
        });
        write("log/0.csv", bytes);
        const tool::Descriptor file(::open(path("log/0.csv").c_str(), O_RDONLY));
        Begins read;
        uint64_t end = 0;
        tool::forEachLineToEnd(file.get(), 0, [&](const tool::Line &line) {
            EXPECT_EQ(line.offset, end);
            end = line.end();
            // A run that is split at the end of a segment is one run when read at once.
            const bool goesOn = line.kind == tool::LineKind::Zeros && !read.empty() &&
                                read.back().second == tool::LineKind::Zeros;
            if (!goesOn) {
                read.emplace_back(line.offset, line.kind);
            }
        });
        EXPECT_EQ(end, bytes.size());
        EXPECT_EQ(read, whole);
    }
}

}  // namespace
}  // namespace test
