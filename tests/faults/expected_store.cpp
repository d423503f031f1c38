// SPDX-License-Identifier: Apache-2.0
#include "faults/expected_store.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <utility>

namespace faults {

using probe::Way;

namespace {

constexpr uint32_t kNow = 1700000000;
constexpr size_t kQueueSize = 512;
constexpr int32_t kFullFile = 5000;
constexpr int kSurvey = 90;
constexpr size_t kTimeField = 28;

std::string number(int64_t value) { return std::to_string(value); }

std::string nameOf(const std::string &path) { return path.substr(path.rfind('/') + 1); }

/// The fields between commas, empty ones not counting, the first three of them; then the rest.
std::vector<std::string> fieldsOf(const std::string &line) {
    std::vector<std::string> fields;
    size_t position = 0;
    while (fields.size() < 3 && (position = line.find_first_not_of(',', position)) != line.npos) {
        const size_t comma = std::min(line.find(',', position), line.size());
        fields.push_back(line.substr(position, comma - position));
        position = std::min(comma + 1, line.size());
    }
    fields.push_back(line.substr(std::min(position, line.size())));
    return fields;
}

/// The lines of a file, each with its line feed.
std::vector<std::string> split(const std::string &bytes) {
    std::vector<std::string> lines;
    for (size_t start = 0; start < bytes.size();) {
        const size_t end = std::min(bytes.find('\n', start), bytes.size() - 1) + 1;
        lines.push_back(bytes.substr(start, end - start));
        start = end;
    }
    return lines;
}

bool isBlank(const std::string &line) { return line[0] == '\r' || line[0] == '\n'; }

size_t bytesThrough(Way way, size_t bytes) {
    switch (way) {
        case Way::kOneByte:
            return 1;
        case Way::kHalf:
            return bytes / 2;
        case Way::kAllButOne:
            return bytes - 1;
        default:
            return 0;
    }
}

}  // namespace

// ---- Calls and the medium

std::optional<Way> ExpectedStore::fault(const std::string &call, const std::string &role) {
    calls_.push_back(call);
    roles_.push_back(role);
    for (Fault &fault : faults_) {
        if (call.compare(0, fault.call.size(), fault.call) != 0 || fault.count == 0) {
            continue;
        }
        if (fault.skip > 0) {
            --fault.skip;
            continue;
        }
        --fault.count;
        return fault.way;
    }
    return std::nullopt;
}

void ExpectedStore::clearLog() {
    calls_.clear();
    roles_.clear();
    messages_.clear();
}

std::vector<std::string> ExpectedStore::memory() const {
    std::vector<std::string> all;
    for (const auto &obj : objects_) {
        all.push_back("range " + number(obj->oldest) + " to " + number(obj->latest));
        for (const Summary &file : obj->files) {
            all.push_back(number(file.items) + " items, " + number(file.ofLevels) + " of levels, " +
                          number(file.timeMin) + " to " + number(file.timeMax));
        }
    }
    return all;
}

void ExpectedStore::giveRoom(const std::string &path) {
    const auto found = files_.find(path);
    if (room_ != probe::Probe::kUnlimited && found != files_.end()) {
        room_ += static_cast<int64_t>(found->second.size());
    }
}

bool ExpectedStore::open(const std::string &path, const char *mode, const std::string &role) {
    const bool isThere = files_.count(path) != 0;
    if (!passes("fopen " + nameOf(path) + " " + mode, role)) {
        return false;
    }
    if (*mode == 'r') {
        return isThere;
    }
    if (!isThere && room_ <= 0) {
        return false;
    }
    if (*mode == 'w') {
        giveRoom(path);
        files_[path].clear();
    }
    files_[path];
    return true;
}

void ExpectedStore::write(Stream *stream, const std::string &bytes, const std::string &role) {
    const auto way = fault("fwrite " + number(static_cast<int64_t>(bytes.size())) + "x1", role);
    size_t taken = way ? bytesThrough(*way, bytes.size()) : bytes.size();
    if (room_ != probe::Probe::kUnlimited) {
        taken = std::min(taken, static_cast<size_t>(std::max<int64_t>(room_, 0)));
        room_ -= static_cast<int64_t>(taken);
    }
    stream->pending += bytes.substr(0, taken);
}

void ExpectedStore::close(Stream *stream, const std::string &role) {
    if (fault("fclose", role) != Way::kDropped) {
        files_[stream->path] += stream->pending;
    }
}

bool ExpectedStore::exists(const std::string &path, const std::string &role) {
    if (!open(path, "r", role)) {
        return false;
    }
    fault("fclose", "close a file that was read");
    return true;
}

void ExpectedStore::removeFile(const std::string &path, const std::string &role) {
    if (passes("rm " + nameOf(path), role)) {
        giveRoom(path);
        files_.erase(path);
    }
}

void ExpectedStore::renameFile(const std::string &from, const std::string &to, const std::string &role) {
    if (!passes("yaffs_rename " + nameOf(from) + " " + nameOf(to), role) || files_.count(from) == 0) {
        return;
    }
    giveRoom(to);
    files_[to] = files_[from];
    files_.erase(from);
}

/// The lines that are taken, until `most` have been found.
std::vector<std::string> ExpectedStore::readLines(const std::string &path, const std::string &role,
                                                  int32_t most,
                                                  const std::function<bool(const std::string &)> &isTaken) {
    const std::vector<std::string> lines = split(files_[path]);
    std::vector<std::string> read;
    for (size_t i = 0; static_cast<int32_t>(read.size()) < most; ++i) {
        if (!passes("fgets 257", role) || i == lines.size()) {
            break;
        }
        if (isTaken(lines[i])) {
            read.push_back(lines[i]);
        }
    }
    fault("fclose", "close a file that was read");
    return read;
}

// ---- Objects

ExpectedStore::Object *ExpectedStore::find(int32_t handle) {
    for (const auto &obj : objects_) {
        if (obj->handle == handle) {
            return obj.get();
        }
    }
    return nullptr;
}

bool ExpectedStore::startService() {
    if (!passes("semMCreate 9", "create the mutex")) {
        say("Sem CsvRW_ID create failed!\n");
        return false;
    }
    if (!passes("msgQCreate 512 272 1", "create the queue")) {
        say("failed to creat logInfoQID!\n");
        fault("semDelete", "delete the mutex");
        return false;
    }
    queue_.clear();
    served_ = nullptr;
    servedHandle_ = 0;
    hasTask_ = passes("taskSpawn tLogStore 250 0 4096", "spawn the store task");
    pass();
    return true;
}

void ExpectedStore::stopService() {
    fault("semTake -1", "wait for the last batch");
    fault("semGive", "give the mutex");
    fault("semDelete", "delete the mutex");
    fault("msgQDelete", "delete the queue");
    fault("taskDelete", "delete the store task");
    queue_.clear();
    hasTask_ = false;
}

int32_t ExpectedStore::create(const std::string &dir, int32_t csvNum) {
    const std::string what = "create " + dir;
    if (!passes("calloc object", "allocate the object")) {
        return report(what, -1);
    }
    const bool isThere = std::count(dirs_.begin(), dirs_.end(), dir) != 0;
    if (passes("opendir " + dir, "look for the directory") && isThere) {
        fault("closedir", "close the directory");
    } else if (!passes("jorn_MakeDirectory " + dir, "make the directory") || isThere) {
        say("Create " + full(dir) + " failed!");
        say("DirName invalid!");
        fault("free object", "free");
        return report(what, -1);
    } else {
        dirs_.push_back(dir);
    }
    if (csvNum > 90 - filesCounted_) {
        say("Error csv file number!");
        fault("free object", "free");
        return report(what, -1);
    }
    filesCounted_ += csvNum;
    if (!passes("calloc info[" + number(csvNum) + "]", "allocate the summaries")) {
        say("Not enough memory for csv Info!");
        fault("free object", "free");
        return report(what, -1);
    }
    if (objects_.empty() && !startService()) {
        fault("free info[" + number(csvNum) + "]", "free");
        fault("free object", "free");
        return report(what, -1);
    }
    const int32_t handle = (objects_.empty() ? 0 : objects_.front()->handle) + 1;
    objects_.push_front(std::make_unique<Object>(
        Object{handle, dir, csvNum, 0, 0, 0, std::vector<Summary>(static_cast<size_t>(csvNum))}));
    Object *const obj = objects_.front().get();
    fault("semTake -1", "lock the analysis");
    analyse(obj);
    fault("semGive", "give the mutex");
    submit(handle, 3, 0, "Log start init!");
    return report(what, handle);
}

int32_t ExpectedStore::destroy(int32_t handle) {
    Object *const obj = find(handle);
    if (obj == nullptr) {
        return report("destroy", -1);
    }
    filesCounted_ -= obj->csvNum;
    fault("semTake -1", "lock the letting go");
    if (served_ == obj) {
        closeCurrent("close the data file");
        served_ = nullptr;
        servedHandle_ = 0;
    }
    fault("semGive", "give the mutex");
    fault("free info[" + number(obj->csvNum) + "]", "free");
    fault("free object", "free");
    objects_.erase(
        std::find_if(objects_.begin(), objects_.end(), [&](const auto &o) { return o.get() == obj; }));
    if (objects_.empty()) {
        stopService();
        if (filesCounted_ != 0) {
            say("jorn_csv_cnt != 0, error!");
            filesCounted_ = 0;
        }
    }
    return report("destroy", 0);
}

// ---- Index and start-up

int32_t ExpectedStore::readIndex(Object *obj) {
    const std::string indexPath = obj->dir + "/index.csv";
    const std::string backupPath = obj->dir + "/index.bak";
    std::string path = indexPath;
    if (!open(path, "r", "open the index")) {
        say(full(obj->dir) + ": Open index file error!");
        path = backupPath;
        if (!open(path, "r", "open the backup")) {
            say("Open index backup file error!");
            return -1;
        }
    }
    const std::string bytes = files_[path];
    long version = obj->version;
    const bool isScanned =
        passes("fscanf", "read the version") && sscanf(bytes.c_str(), "version:%ld", &version) > 0;
    obj->version = static_cast<int32_t>(version);
    if (!isScanned || version != 1) {
        fault("fclose", "close a file that was read");
        say(full(obj->dir) + ": index.csv version error!");
        return -1;
    }
    long oldest = obj->oldest;
    long latest = obj->latest;
    int32_t numbers = -1;
    const auto way = fault("fscanf", "read the positions");
    if (!way) {
        numbers = sscanf(bytes.c_str(), "version:%*d %ld,%ld", &oldest, &latest);
    } else if (way == Way::kShort) {
        numbers = sscanf(bytes.c_str(), "version:%*d %ld", &oldest);
    }
    obj->oldest = static_cast<int32_t>(oldest);
    obj->latest = static_cast<int32_t>(latest);
    if (numbers <= 0 || oldest >= kSurvey || latest >= kSurvey) {
        numbers = -1;
        say(full(obj->dir) + ": read index error!");
    }
    fault("fclose", "close a file that was read");
    if (path == backupPath) {
        renameFile(backupPath, indexPath, "make the backup the index");
    }
    return numbers;
}

int32_t ExpectedStore::rewriteIndex(const Object &obj, int32_t oldest, int32_t latest) {
    const std::string indexPath = obj.dir + "/index.csv";
    const std::string backupPath = obj.dir + "/index.bak";
    if (exists(indexPath, "look for the index")) {
        if (exists(backupPath, "look for the backup")) {
            removeFile(backupPath, "delete the former backup");
        }
        renameFile(indexPath, backupPath, "keep the index as backup");
    }
    if (!open(indexPath, "w", "create the index")) {
        say("Create index.csv error!");
        return -1;
    }
    Stream stream{indexPath, ""};
    write(&stream, "version:1\n" + number(oldest) + "," + number(latest) + "\n", "write the index");
    close(&stream, "close the index");
    removeFile(backupPath, "delete the backup");
    return 0;
}

void ExpectedStore::tidy(Object *obj) {
    const int32_t formerOldest = obj->oldest;
    const int32_t formerLatest = obj->latest;
    const int32_t span = (formerLatest - formerOldest + kSurvey) % kSurvey;
    obj->latest = std::min(formerLatest, obj->csvNum - 1);
    obj->oldest = obj->latest;
    std::array<int32_t, kSurvey> target{};
    int32_t next = obj->latest;
    int32_t found = 0;
    for (int32_t k = 0; k < kSurvey; ++k) {
        const int32_t position = (formerLatest - k + kSurvey) % kSurvey;
        int32_t &moved = target[static_cast<size_t>(position)];
        if (!exists(obj->path(position), "look for a data file")) {
            moved = position;
        } else if (found >= obj->csvNum) {
            moved = kSurvey;
        } else {
            ++found;
            if (k <= span) {
                obj->oldest = next;
            }
            moved = next;
            next = (next + obj->csvNum - 1) % obj->csvNum;
        }
    }
    for (int32_t k = 1; k <= kSurvey; ++k) {
        const int32_t position = (formerLatest + k) % kSurvey;
        const int32_t moved = target[static_cast<size_t>(position)];
        if (moved == kSurvey) {
            removeFile(obj->path(position), "delete a surplus data file");
        } else if (moved != position) {
            renameFile(obj->path(position), obj->path(moved), "move a data file");
        }
    }
    if (obj->latest != formerLatest || obj->oldest != formerOldest) {
        rewriteIndex(*obj, obj->oldest, obj->latest);
    }
}

void ExpectedStore::analyseFile(Object *obj, int32_t position) {
    Summary summary;
    if (!open(obj->path(position), "r", "open a data file to summarise it")) {
        say("Open file error: " + number(position) + ".csv!");
    } else {
        const auto isAnything = [](const std::string &) { return true; };
        for (const std::string &line :
             readLines(obj->path(position), "read a line to summarise it", kFullFile * 2, isAnything)) {
            const auto item = isBlank(line) ? std::nullopt : parse(line);
            if (item) {
                summary.timeMin = summary.timeMin == 0 ? item->time : std::min(summary.timeMin, item->time);
                summary.timeMax = std::max(summary.timeMax, item->time);
                ++summary.items;
                summary.ofLevels += item->level >= 0 && item->level < 4 ? 1 : 0;
            }
        }
    }
    obj->at(position) = summary;
    if (summary.items == 0) {
        say("Error: analyse " + number(position) + ".csv failed!");
    }
}

void ExpectedStore::analyse(Object *obj) {
    if (readIndex(obj) < 0 && rewriteIndex(*obj, 0, 0) >= 0) {
        obj->version = 1;
        obj->oldest = 0;
        obj->latest = 0;
    }
    tidy(obj);
    const int32_t latest = obj->latest + (obj->latest < obj->oldest ? obj->csvNum : 0);
    for (int32_t i = latest; i >= obj->oldest; --i) {
        analyseFile(obj, i % obj->csvNum);
    }
}

// ---- Submission and the store task

int32_t ExpectedStore::submit(int32_t handle, int32_t level, int32_t slot, const std::string &text) {
    if (find(handle) == nullptr) {
        say("hanld_id = " + number(handle) + ", not found!");
        return -1;
    }
    const auto way = fault("time", "stamp an item");
    const uint32_t time = !way ? kNow : way == Way::kBack ? kNow - 3600 : UINT32_MAX;
    const std::string message =
        number(handle) + "," + number(time) + "," + number(level) + "," + number(slot) + "," + text + "\n";
    const std::string call =
        "msgQSend " + number(static_cast<int64_t>(message.size()) + 1) + " 0 0 " + message;
    if (passes(call, "queue an item") && queue_.size() < kQueueSize) {
        queue_.push_back(message);
        return 0;
    }
    fault("printErrno 3997698", "tell why");
    say(std::string(probe::kBare) + "errno 0x3D0002\r\n");
    say("Msg send error = 0x3D0002, " + message);
    return -1;
}

int32_t ExpectedStore::add(int32_t handle, const std::string &text) {
    const int32_t result = submit(handle, 1, 2, text);
    if (result == 0) {
        accepted_.push_back(text);
    }
    return report("add " + text, result);
}

void ExpectedStore::pass() {
    while (hasTask_) {
        const bool isKnown = passes("msgQNumMsgs", "count the waiting messages");
        if (isKnown && !queue_.empty()) {
            batch(static_cast<int>(queue_.size()));
        } else {
            closeCurrent("close the data file");
        }
        if (passes("taskDelay 100", "wait for the next pass")) {
            return;
        }
    }
}

void ExpectedStore::batch(int messages) {
    fault("semTake -1", "lock a batch");
    while (messages > 0 && storeMessage()) {
        --messages;
    }
    fault("semGive", "give the mutex");
}

bool ExpectedStore::storeMessage() {
    const auto way = fault("msgQReceive 272 -1", "receive a message");
    if (way == Way::kPlain) {
        say("msg receive eror!");
        return true;
    }
    std::string message = queue_.front();
    queue_.pop_front();
    if (way && way != Way::kCut) {
        say("msg receive eror!");
        return true;
    }
    if (way) {
        message.resize(probe::kCutLength);
    }
    const size_t comma = message.find(',');
    if (!select(atoi(message.c_str()))) {
        return true;
    }
    const std::string line = message.substr(comma + 1);
    int32_t position = 0;
    if (!chooseFile(&position)) {
        return false;
    }
    write(&*current_, line, "write an item");
    const auto item = parse(line);
    if (!item) {
        say(" Error: update CSV info failed!");
        return true;
    }
    Summary &summary = served_->at(position);
    summary.timeMin = summary.items == 0 ? item->time : std::min(summary.timeMin, item->time);
    summary.timeMax = summary.items == 0 ? item->time : std::max(summary.timeMax, item->time);
    ++summary.items;
    summary.ofLevels += item->level >= 0 && item->level < 4 ? 1 : 0;
    if (summary.items >= kFullFile) {
        closeCurrent("close the full data file");
    }
    return true;
}

bool ExpectedStore::select(int32_t handle) {
    if (handle == servedHandle_ && served_ != nullptr) {
        return true;
    }
    closeCurrent("close the data file");
    served_ = find(handle);
    servedHandle_ = served_ != nullptr ? handle : 0;
    if (served_ == nullptr) {
        say("handle_id = " + number(handle) + ", not found!");
    }
    return served_ != nullptr;
}

void ExpectedStore::closeCurrent(const std::string &role) {
    if (current_) {
        close(&*current_, role);
        current_.reset();
    }
}

bool ExpectedStore::openForItems(int32_t position, const char *mode, const std::string &role) {
    const std::string path = served_->path(position);
    if (!open(path, mode, role)) {
        return false;
    }
    current_ = Stream{path, ""};
    return true;
}

bool ExpectedStore::chooseFile(int32_t *position) {
    *position = served_->latest;
    Summary &summary = served_->at(*position);
    if (summary.items >= kFullFile) {
        return rotate(position);
    }
    if (current_) {
        return true;
    }
    if (summary.items == 0) {
        if (openForItems(*position, "w", "start a data file")) {
            return true;
        }
    } else if (openForItems(*position, "a", "go on with a data file")) {
        return true;
    } else if (openForItems(*position, "w", "start afresh a data file that cannot be gone on with")) {
        summary = Summary{};
        return true;
    }
    say("Create " + number(*position) + ".csv failed!");
    return false;
}

bool ExpectedStore::rotate(int32_t *position) {
    closeCurrent("close the full data file");
    const int32_t next = served_->next(*position);
    if (!openForItems(next, "w", "start the next data file")) {
        say("Create " + number(next) + ".csv failed!");
        return false;
    }
    served_->latest = next;
    if (served_->oldest == next) {
        served_->oldest = served_->next(next);
    }
    rewriteIndex(*served_, served_->oldest, served_->latest);
    served_->at(next) = Summary{};
    *position = next;
    return true;
}

// ---- Queries and clearing

std::optional<ExpectedStore::Item> ExpectedStore::parse(const std::string &line) {
    static const char *const kMissing[] = {"Time info error!", "Level info error!", "Slot info error!"};
    const std::vector<std::string> fields = fieldsOf(line);
    if (fields.size() < 4) {
        say(kMissing[fields.size() - 1]);
        return std::nullopt;
    }
    return Item{static_cast<uint32_t>(atoll(fields[0].c_str())), atoi(fields[1].c_str()),
                atoi(fields[2].c_str()), fields[3]};
}

bool ExpectedStore::isWanted(const std::string &line) {
    if (isBlank(line)) {
        return false;
    }
    const auto item = parse(line);
    if (!item) {
        say("Error: item info analyse failed: " + line);
        return false;
    }
    return item->level <= 3;
}

bool ExpectedStore::isDayRangeGood(Object *obj) {
    const int32_t first = static_cast<int32_t>(obj->at(obj->oldest).timeMin / 86400);
    const int32_t last = static_cast<int32_t>(obj->at(obj->latest).timeMax / 86400);
    if (last >= first) {
        return true;
    }
    say("dayUpLimit=" + number(last) + ", dayDwLimit=" + number(first));
    say(std::string(probe::kBare) + "Error! Required date is not exist!\r\n");
    return false;
}

int32_t ExpectedStore::countFile(Object *obj, int32_t position) {
    if (!open(obj->path(position), "r", "open a data file to count its items")) {
        say("Open file error: " + number(position) + ".csv!\n");
        return 0;
    }
    const auto isTaken = [this](const std::string &line) { return isWanted(line); };
    return static_cast<int32_t>(
        readLines(obj->path(position), "read a line to count it", kFullFile * 2, isTaken).size());
}

int32_t ExpectedStore::countAll(Object *obj, Tally *tally) {
    if (!isDayRangeGood(obj)) {
        return -1;
    }
    const int32_t latest = obj->latest + (obj->latest < obj->oldest ? obj->csvNum : 0);
    const auto add = [&](int32_t i, int32_t items) {
        tally->inFile[static_cast<size_t>(i % obj->csvNum)] = items;
        tally->total += items;
    };
    add(latest, countFile(obj, latest % obj->csvNum));
    if (latest > obj->oldest) {
        add(obj->oldest, countFile(obj, obj->oldest));
    }
    for (int32_t i = latest - 1; i > obj->oldest; --i) {
        add(i, obj->at(i % obj->csvNum).ofLevels);
    }
    for (int32_t i = latest; i >= obj->oldest; --i) {
        if (tally->inFile[static_cast<size_t>(i % obj->csvNum)] > 0) {
            tally->oldest = i;
            tally->latest = tally->latest < 0 ? i : tally->latest;
        }
    }
    return tally->total;
}

int32_t ExpectedStore::count(int32_t handle) {
    Object *const obj = find(handle);
    if (obj == nullptr) {
        say("hanld_id = " + number(handle) + ", not found!");
        return report("count", -1);
    }
    Tally tally;
    fault("semTake -1", "lock a query");
    const int32_t total = countAll(obj, &tally);
    fault("semGive", "give the mutex");
    return report("count", total);
}

int32_t ExpectedStore::page(int32_t handle, int32_t page, int32_t itemsPerPage) {
    lastPage_.clear();
    Object *const obj = find(handle);
    if (obj == nullptr) {
        say(" hanld_id = " + number(handle) + ", not found!");
        return report("page", -1);
    }
    Tally tally;
    fault("semTake -1", "lock a query");
    const int32_t total = countAll(obj, &tally);
    int32_t result = -1;
    if (total <= 0) {
        say(" error: totalItem = " + number(total) + "!");
    } else {
        result = std::min(page, (total + itemsPerPage - 1) / itemsPerPage);
        const int32_t start = (result - 1) * itemsPerPage + 1;
        fillPage(obj, tally, start, std::min(start + itemsPerPage - 1, total));
    }
    fault("semGive", "give the mutex");
    return report("page", result);
}

void ExpectedStore::fillPage(Object *obj, const Tally &tally, int32_t start, int32_t end) {
    int32_t base = 1;
    for (int32_t i = tally.latest; i >= tally.oldest && base <= end; --i) {
        const int32_t items = tally.inFile[static_cast<size_t>(i % obj->csvNum)];
        const int32_t last = base > start ? items : items - (start - base);
        const int32_t first = std::max(items - (end - base), 1);
        if (last > 0) {
            readRecords(obj, i % obj->csvNum, first, last);
        }
        base += items;
    }
}

/// Items `first` to `last` of a file, newest first. Those that the file does not give any more are missing.
void ExpectedStore::readRecords(Object *obj, int32_t position, int32_t first, int32_t last) {
    if (!open(obj->path(position), "r", "open a data file of the page")) {
        say("Open file error: " + number(position) + ".csv!\n");
        return;
    }
    std::vector<std::pair<std::string, std::string>> records;
    int32_t found = 0;
    readLines(obj->path(position), "read a line of the page", last, [&](const std::string &line) {
        const bool isTaken = isWanted(line);
        found += isTaken ? 1 : 0;
        if (isTaken && found >= first) {
            records.emplace_back(record(line), fieldsOf(line)[3]);
        }
        return isTaken;
    });
    for (auto shown = records.rbegin(); shown != records.rend(); ++shown) {
        reportRecord(shown->first, shown->second);
    }
}

std::string ExpectedStore::record(const std::string &line) {
    const std::vector<std::string> fields = fieldsOf(line);
    const time_t time = static_cast<time_t>(atoll(fields[0].c_str()));
    const char *const text = passes("ctime", "show a time") ? ctime(&time) : nullptr;
    std::string shown = std::string(text != nullptr ? text : "").substr(0, kTimeField);
    if (!shown.empty()) {
        shown.pop_back();
    }
    return shown + "|" + fields[1].substr(0, 15) + "|" + fields[2].substr(0, 11) + "|" +
           fields[3].substr(0, 199);
}

int32_t ExpectedStore::clear(int32_t handle) {
    Object *const obj = find(handle);
    if (obj == nullptr) {
        say("hanld_id = " + number(handle) + ", not found!");
        return report("clear", -1);
    }
    const int32_t position = obj->next(obj->latest);
    fault("semTake -1", "lock the clearing");
    const int32_t result = rewriteIndex(*obj, position, position);
    fault("semGive", "give the mutex");
    if (result < 0) {
        return report("clear", -1);
    }
    obj->latest = position;
    obj->oldest = position;
    obj->version = 1;
    std::fill(obj->files.begin(), obj->files.end(), Summary{});
    submit(handle, 3, 0, "Log all cleared!");
    return report("clear", 0);
}

// ---- What a script prepares

void ExpectedStore::put(const std::string &path, const std::string &bytes) {
    const std::string dir = path.substr(0, path.find('/'));
    if (std::count(dirs_.begin(), dirs_.end(), dir) == 0) {
        dirs_.push_back(dir);
    }
    files_[path] = bytes;
}

void ExpectedStore::setCount(int32_t handle, int32_t position, int32_t items) {
    find(handle)->at(position).items = items;
}

void ExpectedStore::fillQueue(int32_t handle, int waiting) {
    while (queue_.size() < static_cast<size_t>(waiting)) {
        queue_.push_back(number(handle) + ",1700000000,1,2,waiting\n");
    }
}

}  // namespace faults
