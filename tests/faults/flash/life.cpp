// SPDX-License-Identifier: Apache-2.0
#include "life.h"

#include <jorn.h>
#include <msgQLib.h>
#include <posixPort.h>
#include <tickLib.h>

#include <algorithm>
#include <set>

#include "file_calls.h"
#include "model/line_model.h"
#include "registry/registry.h"

namespace flash {

namespace {

constexpr int kSlots = 8;
constexpr int kDebugLevel = 3;
constexpr size_t kItemsPerPage = 20;

JORN_REQUIRE everything(size_t page) {
    return {static_cast<int32_t>(kItemsPerPage), static_cast<int32_t>(page), -1, -1, kDebugLevel, 0, -1};
}

bool shows(const JORN_LOG_DISP &record, const Line &line) {
    const test::ModelRecord expected = test::modelRecord(std::string(line.seen));
    // A line that was not submitted as it is, two halves of lines run together, may have any time.
    const bool isTimeShown = line.item == kUnknownItem || expected.time == record.timeStr;
    return isTimeShown && expected.level == record.levelStr && expected.slot == record.slotStr &&
           expected.text == record.logStr;
}

/// Numbers of the pages to compare, of `pages`.
std::set<size_t> chosenPages(size_t pages, const View &view, const PageSample &sample) {
    std::set<size_t> chosen;
    if (pages <= sample.fullUpTo) {
        for (size_t page = 1; page <= pages; ++page) {
            chosen.insert(page);
        }
        return chosen;
    }
    chosen = {1, pages, sample.number % pages + 1};
    size_t before = 0;
    for (const auto &file : view.files) {
        before += file->lines.size();
        chosen.insert(std::min(before / kItemsPerPage + 1, pages));
    }
    return chosen;
}

/// Adds an event that is not a file call to the history.
void note(Event::Kind kind, size_t object, size_t itemsBefore) {
    const Surroundings &around = surroundings();
    if (around.history == nullptr) {
        return;
    }
    Event event;
    event.kind = kind;
    event.object = object;
    event.itemsBefore = itemsBefore;
    event.begin = event.end = around.chip->operations();
    around.history->push_back(event);
}

std::string comparePage(int32_t handle, size_t page, const View &view) {
    JORN_LOG_PAGE out;
    const int32_t shown = JORN_GetRequireLog(handle, everything(page), &out);
    const std::string where = "page " + std::to_string(page);
    if (shown != static_cast<int32_t>(page)) {
        return where + " is answered with " + std::to_string(shown);
    }
    const size_t first = (page - 1) * kItemsPerPage;
    const size_t expected = std::min(kItemsPerPage, view.items.size() - first);
    if (out.itemsNum != static_cast<int32_t>(expected)) {
        return where + " has " + std::to_string(out.itemsNum) + " items, not " + std::to_string(expected);
    }
    for (size_t i = 0; i < expected; ++i) {
        if (!shows(out.disp[i], *view.items[first + i])) {
            return where + " shows \"" + out.disp[i].logStr + "\" for " +
                   std::string(view.items[first + i]->text);
        }
    }
    return "";
}

}  // namespace

Life::~Life() {
    for (size_t object = 0; object < members_.size(); ++object) {
        destroy(object);
    }
}

void Life::expect(size_t object, int level, const std::string &text) {
    const uint32_t now = surroundings().time;
    const std::string line = std::to_string(now) + "," + std::to_string(level) + ",0," + text + "\n";
    ledger_->submit(object, line);
    note(Event::Submit, object, 0);
    members_[object].model.append(now, level, text);
}

void Life::report(const std::string &fault) {
    if (fault_.empty()) {
        fault_ = fault;
    }
}

void Life::create(size_t object, const ObjectShape &shape) {
    while (members_.size() <= object) {
        members_.push_back({0, "", RingModel(*ledger_, shape.csvNum), RingModel(*ledger_, shape.csvNum)});
    }
    Member &member = members_[object];
    member.directory = shape.directory;
    member.model = RingModel(*ledger_, shape.csvNum);
    member.model.start(Volume::readAll(shape.directory));
    ++surroundings().time;
    member.handle = JORN_Create(shape.directory.c_str(), kSlots, shape.csvNum);
    if (member.handle <= 0) {
        report("creation on " + shape.directory + " failed");
    }
    compare(object);
    member.created = member.model;
    expect(object, kDebugLevel, "Log start init!");
}

void Life::compare(size_t object) {
    const Member &member = members_[object];
    const bool isLive = member.handle > 0;
    for (const std::string &difference :
         {compareFiles(member), isLive ? comparePages(member) : std::string()}) {
        if (!difference.empty()) {
            report(member.directory + " " + difference);
        }
    }
}

void Life::destroy(size_t object) {
    if (members_[object].handle > 0) {
        JORN_Destroy(members_[object].handle);
        members_[object].handle = 0;
    }
}

void Life::add(size_t object, int level, const std::string &text) {
    ++surroundings().time;
    expect(object, level, text);
    if (JORN_AddOneLog(members_[object].handle, level, 0, text.c_str()) != 0) {
        report("item refused: " + text);
    }
}

void Life::clear(size_t object, bool isLogged) {
    note(Event::Clear, object, ledger_->itemsOf(object));
    ++surroundings().time;
    members_[object].model.clear();
    if (JORN_ClearAllLog(members_[object].handle, isLogged ? 1 : 0) != 0) {
        report("clearing failed");
    }
    if (isLogged) {
        expect(object, kDebugLevel, "Log all cleared!");
    }
}

std::string Life::compareFiles(const Member &member) const {
    const Directory present = Volume::readAll(member.directory);
    const Directory expected = member.model.files();
    if (present == expected) {
        return "";
    }
    std::string difference = "holds";
    for (const auto &[name, bytes] : present) {
        const auto found = expected.find(name);
        if (found == expected.end()) {
            difference += " " + name + ", which should not be there;";
        } else if (found->second != bytes) {
            difference += " another " + name + " than it should;";
        }
    }
    for (const auto &[name, bytes] : expected) {
        if (present.count(name) == 0) {
            difference += " no " + name + ";";
        }
    }
    return difference;
}

void Life::pass() {
    posixPortSettle();
    for (int tick = 0; tick < JORN_STORE_TICKS; ++tick) {
        tickAnnounce();
    }
    posixPortSettle();
}

void Life::settle() {
    while (msgQNumMsgs(logMsgCsvStore_ID) > 0) {
        pass();
    }
    pass();
}

std::string Life::comparePages(const Member &member) const {
    const bool isRefused = member.model.refusesQueries();
    const View view = member.model.view();
    const int32_t counted = JORN_CountRequireTotalNum(member.handle, everything(1));
    const int32_t expected = isRefused ? -1 : static_cast<int32_t>(view.items.size());
    if (counted != expected) {
        return "counts " + std::to_string(counted) + " items, not " + std::to_string(expected);
    }
    if (isRefused || view.items.empty()) {
        JORN_LOG_PAGE out;
        return JORN_GetRequireLog(member.handle, everything(1), &out) == -1
                   ? ""
                   : "a page without items is answered";
    }
    const size_t pages = (view.items.size() + kItemsPerPage - 1) / kItemsPerPage;
    for (const size_t page : chosenPages(pages, view, sample_)) {
        std::string difference = comparePage(member.handle, page, view);
        if (!difference.empty()) {
            return difference;
        }
    }
    return "";
}

}  // namespace flash
