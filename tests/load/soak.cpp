// SPDX-License-Identifier: Apache-2.0
// Stores very many items while the rings wrap many times, then compares every page of what is left, for
// several page sizes and requirements, with the store's model, which was given the same items; before and
// after a restart. Ends with an exit code of 1 at the first difference.
#include <sysLib.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "load/plain_store.h"
#include "load/soak_items.h"
#include "model/line_model.h"
#include "model/store_model.h"

namespace {

using test::ModelLine;
using test::ModelText;

struct Options {
    uint32_t items = 1000000;
    int32_t objects = 1;
    int32_t files = 90;
    uint64_t seed = 1;
    bool isQuick = false;
};

/// A requirement of which every page is compared.
struct Walk {
    std::string name;
    JORN_REQUIRE require;
};

class Stopwatch {
public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

template <class... Arguments>
[[noreturn]] void fail(const char *format, Arguments... arguments) {
    fprintf(stderr, format, arguments...);
    fprintf(stderr, "\n");
    exit(EXIT_FAILURE);
}

void compareRecord(const JORN_LOG_DISP &shown, const ModelLine &line, const std::string &where) {
    const std::string stored(line.seen);
    const test::ModelRecord record = test::modelRecord(stored);
    const bool isSame = shown.timeStr == record.time && shown.levelStr == record.level &&
                        shown.slotStr == record.slot && shown.logStr == record.text;
    if (!isSame) {
        fail("%s: shown \"%s\" %s %s %s, stored %s", where.c_str(), shown.timeStr, shown.levelStr,
             shown.slotStr, shown.logStr, stored.c_str());
    }
}

/// What an object keeps: its lines, newest first, and their bytes.
struct Kept {
    std::vector<std::shared_ptr<const ModelText>> files;
    std::vector<const ModelLine *> lines;
};

Kept keptOf(const test::StoreModel &model, int32_t handle) {
    Kept kept;
    for (const int32_t position : model.at(handle).newestFirst()) {
        kept.files.push_back(test::modelText(model.bytesOf(handle, position)));
        const std::vector<ModelLine> &lines = kept.files.back()->lines;
        for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
            kept.lines.push_back(&*line);
        }
    }
    return kept;
}

std::vector<const ModelLine *> matching(const Kept &kept, const JORN_REQUIRE &require) {
    std::vector<const ModelLine *> found;
    for (const ModelLine *const line : kept.lines) {
        if (test::modelAccepts(line->item(), require)) {
            found.push_back(line);
        }
    }
    return found;
}

class Soak {
public:
    explicit Soak(const Options &options)
        : options_(options),
          source_(options.seed),
          handles_(static_cast<size_t>(options.objects)),
          stored_(handles_.size()) {}

    void run() {
        sysClkDisable();
        jorn_SetDebugPrintLevel(0);
        createAll(0);
        storeAll();
        checkAll();
        restart();
        checkAll();
        printf("compared %zu pages, %zu records\n", pages_, records_);
    }

private:
    void createAll(uint32_t nextNumber) {
        setTime(source_.timeOf(nextNumber));
        for (size_t i = 0; i < handles_.size(); ++i) {
            const std::string path = directory_.sub(std::to_string(i));
            const int32_t files = options_.files / options_.objects;
            handles_[i] = JORN_Create(path.c_str(), JORN_SLOT_MAX, files);
            if (handles_[i] < 1 || model_.create(std::to_string(i), files, JORN_SLOT_MAX) != handles_[i]) {
                fail("%s cannot be created", path.c_str());
            }
            ++stored_[i];
        }
        settle();
    }

    void setTime(uint32_t seconds) {
        load::setTime(seconds);
        model_.setTime(seconds);
    }

    void settle() {
        load::settle();
        model_.settle();
    }

    void storeAll() {
        const Stopwatch watch;
        for (uint32_t number = 0; number < options_.items; ++number) {
            const test::ModelItem item = source_.item(number);
            const size_t object = source_.objectOf(number, handles_.size());
            setTime(item.time);
            if (JORN_AddOneLog(handles_[object], item.level, item.slot, item.text.c_str()) != 0) {
                fail("item %u was refused", number);
            }
            model_.add(handles_[object], item.level, item.slot, item.text);
            ++stored_[object];
            if (load::isQueueFull()) {
                load::pass();
                model_.pass();
            }
        }
        settle();
        const double seconds = watch.seconds();
        printf("stored %u items in %.1f s, %.0f items/s\n", options_.items, seconds,
               options_.items / seconds);
        for (size_t i = 0; i < handles_.size(); ++i) {
            printf("an object of %d files was given %zu items and keeps %zu\n",
                   options_.files / options_.objects, stored_[i], keptOf(model_, handles_[i]).lines.size());
        }
    }

    void restart() {
        const Stopwatch watch;
        for (size_t i = handles_.size(); i > 0; --i) {
            if (JORN_Destroy(handles_[i - 1]) != 0 || model_.destroy(handles_[i - 1]) != 0) {
                fail("object %zu cannot be destroyed", i - 1);
            }
        }
        createAll(options_.items);
        printf("restarted in %.2f s\n", watch.seconds());
    }

    void checkAll() {
        for (size_t i = 0; i < handles_.size(); ++i) {
            const Kept kept = keptOf(model_, handles_[i]);
            for (const Walk &walk : walksOf(kept)) {
                checkWalk(handles_[i], kept, walk);
            }
        }
    }

    /// Requirements of each kind; the days are taken from the middle of what is kept.
    std::vector<Walk> walksOf(const Kept &kept) const {
        const auto day = static_cast<int32_t>(kept.lines[kept.lines.size() / 2]->item().time / 86400U);
        std::vector<Walk> walks = {{"all, 20 a page", {20, 0, -1, -1, 3, 0, -1}},
                                   {"level 1 only, slot 3", {20, 0, -1, -1, 1, 1, 3}},
                                   {"levels 0 and 1, one day", {20, 0, day, day, 1, 0, -1}}};
        if (!options_.isQuick) {
            walks.push_back({"all, 7 a page", {7, 0, -1, -1, 3, 0, -1}});
            walks.push_back({"below the debug level", {20, 0, -1, -1, -1, 0, -1}});
            walks.push_back({"slot 5", {20, 0, -1, -1, 3, 0, 5}});
            walks.push_back({"debug level only", {13, 0, -1, -1, 3, 1, -1}});
            walks.push_back({"up to a day", {20, 0, -1, day, 2, 0, 7}});
            walks.push_back({"from a day on", {20, 0, day, -1, 2, 1, -1}});
        }
        return walks;
    }

    void checkWalk(int32_t handle, const Kept &kept, const Walk &walk) {
        const Stopwatch watch;
        const std::vector<const ModelLine *> expected = matching(kept, walk.require);
        const auto total = static_cast<int32_t>(expected.size());
        const int32_t counted = JORN_CountRequireTotalNum(handle, walk.require);
        if (counted != total) {
            fail("%s: counted %d, stored %d", walk.name.c_str(), counted, total);
        }
        const int32_t perPage = walk.require.itemsPerPage;
        const int32_t pages = (total + perPage - 1) / perPage;
        for (int32_t number = 1; number <= pages; ++number) {
            checkPage(handle, walk, number, expected);
        }
        printf("%-26s %6d items, %5d pages in %5.1f s\n", walk.name.c_str(), total, pages, watch.seconds());
        fflush(stdout);
    }

    void checkPage(int32_t handle, const Walk &walk, int32_t number,
                   const std::vector<const ModelLine *> &expected) {
        const std::string where = walk.name + ", page " + std::to_string(number);
        JORN_REQUIRE require = walk.require;
        require.pageDisp = number;
        JORN_LOG_PAGE page;
        const int32_t result = JORN_GetRequireLog(handle, require, &page);
        const auto perPage = static_cast<size_t>(require.itemsPerPage);
        const size_t first = static_cast<size_t>(number - 1) * perPage;
        const size_t count = std::min(perPage, expected.size() - first);
        if (result != number || page.itemsNum != static_cast<int32_t>(count)) {
            fail("%s: page %d with %d records", where.c_str(), result, page.itemsNum);
        }
        for (size_t i = 0; i < count; ++i) {
            compareRecord(page.disp[i], *expected[first + i], where);
        }
        ++pages_;
        records_ += count;
    }

    Options options_;
    load::ItemSource source_;
    load::Directory directory_;
    std::vector<int32_t> handles_;
    std::vector<size_t> stored_;  ///< Items that each object was given.
    test::StoreModel model_;
    size_t pages_ = 0;
    size_t records_ = 0;
};

int soak(int argc, char **argv) {
    Options options;
    CLI::App app("Stores many items and compares every page of what is left with a model.");
    app.add_option("--items", options.items, "items to store")
        ->check(CLI::Range(1, 1 << 30))
        ->capture_default_str();
    app.add_option("--objects", options.objects, "log objects that share the files")
        ->check(CLI::Range(1, 45))
        ->capture_default_str();
    app.add_option("--files", options.files, "data files of all objects together")
        ->check(CLI::Range(JORN_CSV_NUM_MIN, JORN_CSV_NUM_MAX))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "what the items are made of")->capture_default_str();
    app.add_flag("--quick", options.isQuick, "fewer requirements");
    CLI11_PARSE(app, argc, argv);
    load::useUtc();
    const Stopwatch watch;
    Soak(options).run();
    printf("%.1f s altogether\n", watch.seconds());
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return soak(argc, argv);
    } catch (const std::exception &error) {
        fail("%s", error.what());
    }
}
