// SPDX-License-Identifier: Apache-2.0
#include "ring_model.h"

namespace flash {

namespace {

constexpr char kDirectory[] = "log";
constexpr int kSlots = 8;
constexpr JORN_REQUIRE kEverything = {20, 1, -1, -1, 3, 0, -1};

}  // namespace

void RingModel::start(const Directory &files) {
    store_ = test::StoreModel();
    for (const auto &[name, bytes] : files) {
        store_.put(std::string(kDirectory) + "/" + name, bytes);
    }
    handle_ = store_.start(kDirectory, csvNum_, kSlots);
    const bool wasThere = files.count("index.csv") != 0 || files.count("index.bak") != 0;
    wasIndexLost_ = wasThere && store_.at(handle_).isIndexRefused;
    removed_.clear();
    for (const test::ModelRemoval &removal : store_.removals()) {
        for (const Line &line : ledger_->parse(removal.bytes)->lines) {
            if (line.item != kUnknownItem) {
                removed_[line.item] = removal.isRenamedOver ? Reason::RenamedOver : Reason::DeletedAsSurplus;
            }
        }
    }
}

void RingModel::append(uint32_t time, int level, const std::string &text) {
    store_.setTime(time);
    store_.add(handle_, level, 0, text);
    store_.settle();
}

void RingModel::clear() { store_.clear(handle_, false); }

Directory RingModel::files() const { return store_.filesIn(kDirectory); }

bool RingModel::refusesQueries() const {
    return test::StoreModel::dayRange(store_.at(handle_), kEverything).empty();
}

View RingModel::view() const {
    View view;
    for (const int position : store_.at(handle_).newestFirst()) {
        view.files.push_back(ledger_->parse(store_.bytesOf(handle_, position)));
        const std::vector<Line> &lines = view.files.back()->lines;
        for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
            if (line->isItem && line->isShown) {
                view.items.push_back(&*line);
            }
        }
    }
    return view;
}

}  // namespace flash
