// SPDX-License-Identifier: Apache-2.0
#include "cut_run.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <set>

#include "volume.h"

namespace flash {

namespace {

constexpr uint32_t kFirstLife = 1700000000;
constexpr uint32_t kSecondLife = 1800000000;
constexpr uint32_t kThirdLife = 1900000000;

constexpr size_t kItemsAfterCut = 3;

/// Rings up to this many pages are read in full: at the start after the cut, and in all other lives.
constexpr size_t kPagesAfterCut = 12;
constexpr size_t kPagesLater = 4;

/// The items of a few files.
std::set<int> itemsIn(const Ledger &ledger, const Directory &files) {
    std::set<int> items;
    for (const auto &[name, bytes] : files) {
        for (const Line &line : ledger.parse(bytes)->lines) {
            if (line.item != kUnknownItem) {
                items.insert(items.end(), line.item);
            }
        }
    }
    return items;
}

std::set<int> itemsIn(const View &view) {
    std::set<int> items;
    for (const Line *line : view.items) {
        if (line->item != kUnknownItem) {
            items.insert(items.begin(), line->item);
        }
    }
    return items;
}

bool isDataFile(const std::string &path) {
    const char first = path[path.rfind('/') + 1];
    return first >= '0' && first <= '9';
}

bool hasTornLine(const Directory &chip) {
    return std::any_of(chip.begin(), chip.end(), [](const auto &file) {
        const std::string &bytes = file.second;
        const bool isTorn = !bytes.empty() && (bytes.back() != '\n' || bytes.find('\0') != bytes.npos);
        return isDataFile(file.first) && isTorn;
    });
}

void putText(std::array<char, 1024> *field, const std::string &text) {
    snprintf(field->data(), field->size(), "%s", text.c_str());
}

}  // namespace

std::string textOf(const CutPlace &place) {
    if (place.operation == 0) {
        return "--nested-every 0";  // found before any cut
    }
    std::string text = "--cut " + std::to_string(place.operation) + ":" + nameOf(place.torn);
    if (place.nestedOperation != 0) {
        text += " --again " + std::to_string(place.nestedOperation) + ":" + nameOf(place.nestedTorn);
    }
    return text;
}

CutRun::CutRun(const Workload &workload, const Platform &platform, const CutOptions &options,
               Figures *figures)
    : workload_(workload),
      platform_(platform),
      options_(options),
      figures_(figures),
      image_(workload.blocks),
      chip_(workload.blocks) {}

void CutRun::report(Check check, const std::string &fault) {
    if (figures_->fault[0] == '\0') {
        putText(&figures_->fault, fault);
        figures_->faultPlace = figures_->place;
    }
    ++figures_->faults[static_cast<size_t>(check)];
}

void CutRun::lookForBrokenRules() {
    if (!chip_.brokenRules().empty()) {
        report(Check::ChipRules, "the file system broke the chip's rules: " + chip_.brokenRules());
    }
}

bool CutRun::powerOn(Nand *chip) {
    surroundings() = Surroundings{};
    surroundings().chip = chip;
    surroundings().deviceBuffer = platform_.deviceBuffer;
    surroundings().sabotage = options_.sabotage;
    if (!Volume::powerOn(chip, platform_.caches)) {
        report(Check::Medium, "the chip cannot be mounted");
        return false;
    }
    return true;
}

PageSample CutRun::sample(size_t fullUpTo) const {
    return {options_.isEveryPage ? SIZE_MAX : fullUpTo, figures_->images + figures_->nestedImages};
}

Directory CutRun::readChip() const {
    Directory files;
    for (const ObjectShape &object : workload_.objects) {
        for (auto &[name, bytes] : Volume::readAll(object.directory)) {
            files[object.directory + "/" + name] = std::move(bytes);
        }
    }
    return files;
}

void CutRun::setScene() {
    powerOn(&image_);
    Scene scene(&ledger_);
    workload_.setScene(scene);
    scene_ = readChip();
    for (size_t object = 0; object < workload_.objects.size(); ++object) {
        const ObjectShape &shape = workload_.objects[object];
        const Directory files = Volume::readAll(shape.directory);
        RingModel model(ledger_, shape.csvNum);
        model.start(files);
        isIndexLost_.push_back(model.wasIndexLost() || (!files.empty() && files.count("index.csv") == 0 &&
                                                        files.count("index.bak") == 0));
        firstOrdinals_.push_back(ledger_.itemsOf(object));
    }
    Volume::powerOff();
}

/// The first life, without a cut. Destruction comes after the last operation that counts: what it programs is
/// undone.
void CutRun::record() {
    chip_ = image_;
    chip_.restore(image_);
    chip_.record(&first_.operations);
    powerOn(&chip_);
    surroundings().history = &first_.history;
    {
        Life life(&ledger_, kFirstLife, sample(kPagesLater));
        workload_.run(life);
        for (size_t object = 0; object < workload_.objects.size(); ++object) {
            life.compare(object);
        }
        if (!life.fault().empty()) {
            report(Check::Life, "without a cut: " + life.fault());
        }
        if (surroundings().shortWrites != 0) {
            report(Check::Room, "without a cut: the chip is full");
        }
        chip_.record(nullptr);
        surroundings().history = nullptr;
    }
    Volume::powerOff();
    lookForBrokenRules();
    figures_->operations = first_.operations.size();
    figures_->erases = static_cast<size_t>(std::count_if(first_.operations.begin(), first_.operations.end(),
                                                         [](const Operation &one) { return one.isErase; }));
    figures_->items = ledger_.items();
    for (size_t object = 0; object < workload_.objects.size(); ++object) {
        secondOrdinals_.push_back(ledger_.itemsOf(object));
    }
    chip_.restore(image_);
}

bool CutRun::isWanted(size_t operation, Torn torn) const {
    const CutPlace &only = options_.only;
    return only.operation == 0 || (only.operation == operation && only.torn == torn);
}

bool CutRun::isWantedAgain(size_t operation, Torn torn) const {
    const CutPlace &only = options_.only;
    if (only.operation != 0) {
        return only.nestedOperation == operation && only.nestedTorn == torn;
    }
    return true;
}

void CutRun::run() {
    setScene();
    record();
    ShadowWalk walk(Shadow(ledger_, scene_, firstOrdinals_), first_.history);
    for (size_t operation = 1; operation <= first_.operations.size() + 1; ++operation) {
        walk.advanceTo(operation - 1);
        cutAt(operation, &walk);
        if (operation <= first_.operations.size()) {
            goOn(first_.operations[operation - 1], operation);
        }
    }
    const bool isAgainWanted = options_.only.nestedOperation != 0;
    if (figures_->images == 0 || (isAgainWanted && figures_->nestedImages == 0)) {
        report(Check::Life, "there is no such cut");
    }
    if (!walk.before().fault().empty()) {
        report(Check::Order, walk.before().fault());
    }
    for (size_t object = 0; object < workload_.objects.size(); ++object) {
        if (walk.before().next(object) != secondOrdinals_[object]) {
            report(Check::Order, "not every item was written and its file closed");
        }
    }
}

/// Completes the operation in both chips.
void CutRun::goOn(const Operation &done, size_t number) {
    const bool isLost = options_.losesOperations && number > first_.operations.size() / 4 * 3;
    if (!isLost) {
        image_.perform(done);
        chip_.perform(done);
    }
    chip_.restore(image_);
}

void CutRun::cutAt(size_t operation, ShadowWalk *walk) {
    const bool isAtRest = operation > first_.operations.size();
    const std::vector<Torn> ways =
        isAtRest ? std::vector<Torn>{Torn::Nothing} : waysToTear(first_.operations[operation - 1]);
    for (const Torn torn : ways) {
        if (!isWanted(operation, torn)) {
            continue;
        }
        figures_->place = {operation, torn, 0, Torn::Nothing};
        const bool isNested = options_.only.operation != 0
                                  ? options_.only.nestedOperation != 0
                                  : options_.nestedEvery != 0 && figures_->images % options_.nestedEvery == 0;
        ++figures_->images;
        if (!isAtRest) {
            chip_.tear(first_.operations[operation - 1], torn);
        }
        examine(*walk, isNested);
        chip_.restore(image_);
    }
}

void CutRun::examine(const ShadowWalk &walk, bool isNested) {
    const Nand torn = isNested ? chip_ : Nand(0);
    Recording second;
    chip_.record(isNested ? &second.operations : nullptr);
    if (!powerOn(&chip_)) {
        return;
    }
    if (!checkChip(walk)) {
        Volume::powerOff();
        return;
    }
    surroundings().history = isNested ? &second.history : nullptr;
    const Sight sight = lifeAfterCut(walk);
    secondStart(sight.isGapLeft);
    lookForBrokenRules();
    if (isNested) {
        Shadow start(ledger_, found_, secondOrdinals_);
        start.inheritClearings(walk.after());
        const Nand lived = image_;
        const std::vector<bool> lostBefore = isIndexLost_;
        isIndexLost_ = sight.isIndexLost;
        image_ = torn;
        chip_ = torn;
        chip_.restore(image_);
        cutAgain(second, start);
        image_ = lived;
        chip_ = lived;
        isIndexLost_ = lostBefore;
    }
}

/// What is on the chip must be what the module's calls up to the cut leave.
bool CutRun::checkChip(const ShadowWalk &walk) {
    found_ = readChip();
    std::string difference;
    if (!walk.agrees(found_, &difference)) {
        report(Check::Medium, "on the chip: " + difference);
        return false;
    }
    figures_->tornLines += hasTornLine(found_) ? 1 : 0;
    return true;
}

void CutRun::createAll(Life *life) {
    for (size_t object = 0; object < workload_.objects.size(); ++object) {
        life->create(object, workload_.objects[object]);
    }
}

/// The first start after the cut, a look at everything, and some more work.
CutRun::Sight CutRun::lifeAfterCut(const ShadowWalk &walk) {
    Sight sight;
    {
        Life life(&ledger_, kSecondLife, sample(kPagesAfterCut));
        createAll(&life);
        sight = countLosses(walk, life);
        for (size_t number = 0; number < kItemsAfterCut; ++number) {
            for (size_t object = 0; object < workload_.objects.size(); ++object) {
                life.add(object, static_cast<int>(number), "after the cut " + std::to_string(number));
            }
            if (number == 1) {
                Life::pass();
            }
        }
        Life::settle();
        for (size_t object = 0; object < workload_.objects.size(); ++object) {
            life.compare(object);
        }
        if (!life.fault().empty()) {
            report(Check::Life, "after the cut: " + life.fault());
        }
        chip_.record(nullptr);
        surroundings().history = nullptr;
    }
    if (surroundings().shortWrites != 0) {
        report(Check::Room, "after the cut: the chip is full");
    }
    Volume::powerOff();
    return sight;
}

/// The start after that must find what the first one left, and change nothing except for its own first item.
/// Only where tidying renamed over a file is there a gap again, which one more start closes.
void CutRun::secondStart(bool isGapPossible) {
    if (!powerOn(&chip_)) {
        return;
    }
    const Directory before = readChip();
    const size_t operations = chip_.operations();
    bool isChanged = false;
    {
        Life life(&ledger_, kThirdLife, sample(kPagesLater));
        createAll(&life);
        isChanged = chip_.operations() != operations || readChip() != before;
        if (isChanged && !isGapPossible) {
            report(Check::SecondStart, "the second start changed the chip");
        }
        Life::settle();
        for (size_t object = 0; object < workload_.objects.size(); ++object) {
            life.compare(object);
        }
        if (!life.fault().empty()) {
            report(Check::SecondStart, "at the second start: " + life.fault());
        }
    }
    Volume::powerOff();
    if (isChanged && isGapPossible) {
        secondStart(false);
    }
}

void CutRun::cutAgain(const Recording &recording, const Shadow &start) {
    const CutPlace place = figures_->place;
    ShadowWalk walk(start, recording.history);
    for (size_t operation = 1; operation <= recording.operations.size(); ++operation) {
        const Operation &met = recording.operations[operation - 1];
        walk.advanceTo(operation - 1);
        for (const Torn torn : waysToTear(met)) {
            if (!isWantedAgain(operation, torn)) {
                continue;
            }
            figures_->place = {place.operation, place.torn, operation, torn};
            ++figures_->nestedImages;
            chip_.tear(met, torn);
            examineAgain(walk);
            chip_.restore(image_);
        }
        goOn(met, 0);
    }
    figures_->place = place;
}

/// The start after the second cut.
void CutRun::examineAgain(const ShadowWalk &walk) {
    if (!powerOn(&chip_)) {
        return;
    }
    const Directory found = found_;
    if (checkChip(walk)) {
        Life life(&ledger_, kThirdLife, sample(kPagesLater));
        createAll(&life);
        countLosses(walk, life);
        if (!life.fault().empty()) {
            report(Check::Life, "after the second cut: " + life.fault());
        }
    }
    found_ = found;
    Volume::powerOff();
}

Reason CutRun::reasonFor(int item, const ShadowWalk &walk, const RingModel &model, bool isInFiles) const {
    const size_t object = ledger_.item(item).object;
    const bool isCleared = ledger_.item(item).ordinal < walk.after().clearedItems(object);
    const bool isIndexLost = model.wasIndexLost() || isIndexLost_[object];
    if (isInFiles) {
        if (isIndexLost) {
            return Reason::IndexLostStillInFiles;
        }
        return isCleared ? Reason::Cleared : Reason::Count;
    }
    const auto byStart = model.removed().find(item);
    const auto byModule = walk.after().removed().find(item);
    if (byStart == model.removed().end() && byModule == walk.after().removed().end()) {
        return Reason::Count;
    }
    const Reason reason = byStart != model.removed().end() ? byStart->second : byModule->second;
    const bool isByTidying = reason == Reason::RenamedOver || reason == Reason::DeletedAsSurplus;
    if (isByTidying && isIndexLost) {
        return Reason::IndexLostOverwritten;
    }
    if (isByTidying && isCleared) {
        return Reason::Cleared;
    }
    return isByTidying && !workload_.tidies ? Reason::Count : reason;
}

/// What the start after a cut shows for all objects.
CutRun::Sight CutRun::look(const Life &life) const {
    Sight sight;
    for (size_t object = 0; object < workload_.objects.size(); ++object) {
        const RingModel &model = life.created(object);
        sight.isIndexLost.push_back(isIndexLost_[object] || model.wasIndexLost());
        sight.inSight.merge(itemsIn(model.view()));
        sight.inFiles.merge(itemsIn(ledger_, model.files()));
        sight.isRefused = sight.isRefused || model.refusesQueries();
        for (const auto &[item, reason] : model.removed()) {
            sight.isGapLeft = sight.isGapLeft || reason == Reason::RenamedOver;
        }
    }
    return sight;
}

/// Every item that was in a closed file is visible, or there is a reason why not.
CutRun::Sight CutRun::countLosses(const ShadowWalk &walk, const Life &life) {
    Sight sight = look(life);
    std::array<size_t, kReasons> lost{};
    bool isSeenAgain = false;
    for (const int number : walk.before().closed()) {
        const Item &item = ledger_.item(number);
        if (sight.inSight.count(number) != 0) {
            isSeenAgain = isSeenAgain || item.ordinal < walk.before().clearedItems(item.object);
            continue;
        }
        const RingModel &model = life.created(item.object);
        const Reason reason = reasonFor(number, walk, model, sight.inFiles.count(number) != 0);
        if (reason == Reason::Count) {
            report(Check::Loss, "lost without a reason: " + item.line);
            return sight;
        }
        ++lost[static_cast<size_t>(reason)];
    }
    for (size_t reason = 0; reason < kReasons; ++reason) {
        figures_->lossImages[reason] += lost[reason] != 0 ? 1 : 0;
        figures_->mostLost[reason] = std::max(figures_->mostLost[reason], lost[reason]);
    }
    figures_->refusals += sight.isRefused ? 1 : 0;
    figures_->seenAgain += isSeenAgain ? 1 : 0;
    figures_->openItems =
        std::max(figures_->openItems, walk.before().submitted() - walk.before().closed().size());
    return sight;
}

}  // namespace flash
