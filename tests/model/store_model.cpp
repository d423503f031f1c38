// SPDX-License-Identifier: Apache-2.0
// Objects, submission and the store task.
#include "model/store_model.h"

#include <algorithm>

#include "model/ring_files.h"
#include "model/summary_model.h"

namespace test {

using probe::Way;

namespace {

constexpr size_t kQueueSize = 512;
constexpr size_t kBufferSize = 274;
constexpr size_t kMessageMax = 271;
constexpr size_t kLineMax = 256;
constexpr uint32_t kFullFile = 5000;

std::string number(int64_t value) { return std::to_string(value); }

/// The C string in a buffer, from a position on.
std::string_view untilNul(const std::string &buffer, size_t position = 0) {
    return std::string_view(buffer).substr(position, buffer.find('\0', position) - position);
}

}  // namespace

std::vector<int32_t> ModelObject::newestFirst() const {
    std::vector<int32_t> positions = {index.latest};
    while (positions.back() != index.oldest) {
        positions.push_back((positions.back() + csvNum - 1) % csvNum);
    }
    return positions;
}

StoreModel::StoreModel(const std::map<int32_t, ModelStoreObject> &objects)
    : hasTask_(true), buffer_(kBufferSize, '\0') {
    for (const auto &[handle, object] : objects) {
        const ModelIndex index = {1, object.oldest, object.latest};
        const ModelObject live = {
            handle, number(handle), object.csvNum, object.slotMax, index, object.summaries, 0, false};
        for (const auto &[name, bytes] : object.files) {
            put(live.dir + std::string("/").append(name), bytes);
        }
        objects_.insert(objects_.begin(), live);
    }
}

// ---- Objects

const ModelObject *StoreModel::find(int32_t handle) const {
    const auto found = std::find_if(objects_.begin(), objects_.end(),
                                    [handle](const ModelObject &object) { return object.handle == handle; });
    return found == objects_.end() ? nullptr : &*found;
}

ModelStoreObject StoreModel::object(int32_t handle) const {
    const ModelObject &found = at(handle);
    return {found.csvNum,       found.slotMax,   found.index.oldest,
            found.index.latest, found.summaries, filesIn(found.dir)};
}

bool StoreModel::startService() {
    if (!passes({"semMCreate 9"}, "create the mutex")) {
        say("Sem CsvRW_ID create failed!\n");
        return false;
    }
    if (!passes({"msgQCreate 512 272 1"}, "create the queue")) {
        say("failed to creat logInfoQID!\n");
        fault({"semDelete"}, "delete the mutex");
        return false;
    }
    queue_.clear();
    served_ = 0;
    buffer_.assign(kBufferSize, '\0');
    hasTask_ = passes({"taskSpawn tLogStore 250 0 4096"}, "spawn the store task");
    pass();
    return true;
}

void StoreModel::stopService() {
    fault({"semTake -1"}, "wait for the last batch");
    fault({"semGive"}, "give the mutex");
    fault({"semDelete"}, "delete the mutex");
    fault({"msgQDelete"}, "delete the queue");
    fault({"taskDelete"}, "delete the store task");
    queue_.clear();
    hasTask_ = false;
}

bool StoreModel::provideDirectory(const std::string &dir) {
    const bool isThere = std::count(dirs_.begin(), dirs_.end(), dir) != 0;
    if (passes({"opendir ", dir}, "look for the directory") && isThere) {
        fault({"closedir"}, "close the directory");
        return true;
    }
    if (!passes({"jorn_MakeDirectory ", dir}, "make the directory") || isThere) {
        say("Create " + full(dir) + " failed!");
        say("DirName invalid!");
        return false;
    }
    dirs_.push_back(dir);
    return true;
}

int32_t StoreModel::start(const std::string &dir, int32_t csvNum, int32_t slotMax) {
    if (!passes({"calloc object"}, "allocate the object")) {
        return -1;
    }
    if (!provideDirectory(dir)) {
        fault({"free object"}, "free");
        return -1;
    }
    if (csvNum > 90 - filesCounted_) {
        say("Error csv file number!");
        fault({"free object"}, "free");
        return -1;
    }
    filesCounted_ += csvNum;
    if (!passes({"calloc info[", number(csvNum), "]"}, "allocate the summaries")) {
        say("Not enough memory for csv Info!");
        fault({"free object"}, "free");
        return -1;
    }
    if (objects_.empty() && !startService()) {
        fault({"free info[", number(csvNum), "]"}, "free");
        fault({"free object"}, "free");
        return -1;
    }
    const int32_t handle = (objects_.empty() ? 0 : objects_.front().handle) + 1;
    objects_.insert(objects_.begin(), {handle, dir, csvNum, slotMax, {0, 0, 0}, {}, 0, false});
    objects_.front().summaries.resize(static_cast<size_t>(csvNum));
    fault({"semTake -1"}, "lock the analysis");
    analyse(&objects_.front());
    fault({"semGive"}, "give the mutex");
    return handle;
}

int32_t StoreModel::create(const std::string &dir, int32_t csvNum, int32_t slotMax) {
    const int32_t handle = start(dir, csvNum, slotMax);
    if (handle > 0) {
        add(handle, 3, 0, "Log start init!");
    }
    return handle;
}

int32_t StoreModel::destroy(int32_t handle) {
    ModelObject *const object = change(handle);
    if (object == nullptr) {
        return -1;
    }
    filesCounted_ -= object->csvNum;
    fault({"semTake -1"}, "lock the letting go");
    if (served_ == handle) {
        closeCurrent("close the data file");
        served_ = 0;
    }
    fault({"semGive"}, "give the mutex");
    fault({"free info[", number(object->csvNum), "]"}, "free");
    fault({"free object"}, "free");
    objects_.erase(objects_.begin() + (object - objects_.data()));
    if (objects_.empty()) {
        stopService();
        if (filesCounted_ != 0) {
            say("jorn_csv_cnt != 0, error!");
            filesCounted_ = 0;
        }
    }
    return 0;
}

int32_t StoreModel::clear(int32_t handle, bool isLogged) {
    ModelObject *const object = change(handle);
    if (object == nullptr) {
        say("hanld_id = " + number(handle) + ", not found!");
        return -1;
    }
    const int32_t position = object->next(object->index.latest);
    fault({"semTake -1"}, "lock the clearing");
    const int32_t result = rewriteIndex(*object, position, position);
    fault({"semGive"}, "give the mutex");
    if (result < 0) {
        return -1;
    }
    object->index = {1, position, position};
    std::fill(object->summaries.begin(), object->summaries.end(), JORN_CSV_INFO{});
    if (isLogged) {
        add(handle, 3, 0, "Log all cleared!");
    }
    return 0;
}

// ---- Submission and the store task

int32_t StoreModel::add(int32_t handle, int32_t level, int32_t slot, const std::string &text) {
    if (find(handle) == nullptr) {
        say("hanld_id = " + number(handle) + ", not found!");
        return -1;
    }
    const auto way = fault({"time"}, "stamp an item");
    const uint32_t time = !way ? now_ : way == Way::kBack ? now_ - 3600 : UINT32_MAX;
    std::string message =
        number(handle) + "," + number(time) + "," + number(level) + "," + number(slot) + "," + text + "\n";
    const bool isSent = passes(
        {"msgQSend ", number(static_cast<int64_t>(message.size()) + 1), " 0 0 ", message}, "queue an item");
    if (isSent && queue_.size() < kQueueSize) {
        queue_.push_back(message + '\0');
        return 0;
    }
    fault({"printErrno 3997698"}, "tell why");
    say(std::string(probe::kBare) + "errno 0x3D0002\r\n");
    say("Msg send error = 0x3D0002, " + message);
    return -1;
}

void StoreModel::fillQueue(int32_t handle, int waiting) {
    while (queue_.size() < static_cast<size_t>(waiting)) {
        queue_.push_back(number(handle) + ",1700000000,1,2,waiting\n" + '\0');
    }
}

void StoreModel::pass() {
    while (hasTask_) {
        const bool isKnown = passes({"msgQNumMsgs"}, "count the waiting messages");
        if (isKnown && !queue_.empty()) {
            batch(queue_.size());
        } else {
            closeCurrent("close the data file");
        }
        if (passes({"taskDelay 100"}, "wait for the next pass")) {
            return;
        }
    }
}

void StoreModel::pass(const std::vector<std::string> &waiting) {
    queue_.assign(waiting.begin(), waiting.end());
    pass();
}

void StoreModel::settle() {
    while (!queue_.empty()) {
        pass();
    }
    pass();
}

void StoreModel::batch(size_t messages) {
    fault({"semTake -1"}, "lock a batch");
    while (messages > 0 && storeMessage()) {
        --messages;
    }
    fault({"semGive"}, "give the mutex");
}

/// Returns whether the batch continues.
bool StoreModel::storeMessage() {
    const auto way = fault({"msgQReceive 272 -1"}, "receive a message");
    if (way == Way::kPlain) {
        say("msg receive eror!");
        return true;
    }
    std::string message = std::move(queue_.front());
    queue_.pop_front();
    std::copy(message.begin(), message.end(), buffer_.begin());
    if ((way && way != Way::kCut) || message.empty() || message.size() > kMessageMax) {
        say("msg receive eror!");
        return true;
    }
    if (way) {
        message.resize(probe::kCutLength);
        buffer_[message.size()] = '\0';
    }
    return handle(message);
}

bool StoreModel::handle(const std::string &message) {
    const std::string_view text = untilNul(buffer_);
    const size_t start = text.find_first_not_of(',');
    if (start == text.npos) {
        buffer_[message.size()] = '\0';
        say("msg handle_id eror: " + std::string(untilNul(buffer_)));
        return true;
    }
    const size_t end = std::min(text.find(',', start), text.size());
    buffer_[end] = '\0';
    const std::string_view line = untilNul(buffer_, end + 1);
    if (line.empty() || line.size() > kLineMax) {
        say("msg eror: " + std::string(line));
        return true;
    }
    return !select(modelNumber(std::string(text.substr(start, end - start)))) || storeLine(line);
}

bool StoreModel::select(int32_t handle) {
    if (handle == served_ && served_ != 0) {
        return true;
    }
    closeCurrent("close the data file");
    served_ = find(handle) != nullptr ? handle : 0;
    if (served_ == 0) {
        say("handle_id = " + number(handle) + ", not found!");
    }
    return served_ != 0;
}

bool StoreModel::storeLine(std::string_view line) {
    if (!chooseFile()) {
        return false;
    }
    write(&*current_, line, "write an item");
    const ModelParse item = modelParse(std::string(line));
    if (!item.isItem()) {
        say(item.message);
        say(" Error: update CSV info failed!");
        return true;
    }
    JORN_CSV_INFO &summary = served().at(served().index.latest);
    modelAppend({*item.time, *item.level, *item.slot, {}}, served().slotMax, &summary);
    if (summary.itemCount >= kFullFile) {
        closeCurrent("close the full data file");
    }
    return true;
}

void StoreModel::closeCurrent(const char *role) {
    if (current_) {
        close(&*current_, role);
        current_.reset();
    }
}

bool StoreModel::openForItems(int32_t position, const char *mode, const char *role) {
    const std::string path = served().path(position);
    if (!open(path, mode, role)) {
        return false;
    }
    current_ = Stream{path, ""};
    return true;
}

bool StoreModel::chooseFile() {
    const int32_t position = served().index.latest;
    JORN_CSV_INFO &summary = served().at(position);
    if (summary.itemCount >= kFullFile) {
        return rotate();
    }
    if (current_) {
        return true;
    }
    if (summary.itemCount == 0) {
        if (openForItems(position, "w", "start a data file")) {
            return true;
        }
    } else if (openForItems(position, "a", "go on with a data file")) {
        return true;
    } else if (openForItems(position, "w", "start afresh a data file that cannot be gone on with")) {
        summary = {};
        return true;
    }
    say("Create " + csvName(position) + " failed!");
    return false;
}

bool StoreModel::rotate() {
    closeCurrent("close the full data file");
    ModelIndex &index = served().index;
    const int32_t next = served().next(index.latest);
    if (!openForItems(next, "w", "start the next data file")) {
        say("Create " + csvName(next) + " failed!");
        return false;
    }
    index.latest = next;
    if (index.oldest == next) {
        index.oldest = served().next(next);
    }
    rewriteIndex(served(), index.oldest, index.latest);
    served().at(next) = {};
    return true;
}

}  // namespace test
