// SPDX-License-Identifier: Apache-2.0
// The calls that the store makes to its medium.
#include <algorithm>

#include "model/store_model.h"

namespace test {

using probe::Way;

namespace {

std::string_view nameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

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

std::optional<Way> StoreModel::fault(Pieces call, const char *role) {
    if (listener_ == nullptr) {
        return std::nullopt;
    }
    std::string whole;
    for (const std::string_view piece : call) {
        whole += piece;
    }
    return listener_->onCall(whole, role);
}

void StoreModel::put(const std::string &path, const std::string &bytes) {
    const std::string dir = path.substr(0, path.find('/'));
    if (std::count(dirs_.begin(), dirs_.end(), dir) == 0) {
        dirs_.push_back(dir);
    }
    files_[path] = bytes;
}

NamedFiles StoreModel::filesIn(const std::string &dir) const {
    NamedFiles found;
    const std::string start = dir + "/";
    for (auto file = files_.lower_bound(start);
         file != files_.end() && file->first.compare(0, start.size(), start) == 0; ++file) {
        found[file->first.substr(start.size())] = file->second;
    }
    return found;
}

const std::string &StoreModel::bytesOf(int32_t handle, int32_t position) const {
    static const std::string nothing;
    const auto found = files_.find(at(handle).path(position));
    return found == files_.end() ? nothing : found->second;
}

void StoreModel::giveRoom(const std::string &path) {
    const auto found = files_.find(path);
    if (room_ != probe::Probe::kUnlimited && found != files_.end()) {
        room_ += static_cast<int64_t>(found->second.size());
    }
}

bool StoreModel::open(const std::string &path, const char *mode, const char *role) {
    const bool isThere = files_.count(path) != 0;
    if (!passes({"fopen ", nameOf(path), " ", mode}, role)) {
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

void StoreModel::write(Stream *stream, std::string_view bytes, const char *role) {
    const auto way = fault({"fwrite ", std::to_string(bytes.size()), "x1"}, role);
    size_t taken = way ? bytesThrough(*way, bytes.size()) : bytes.size();
    if (room_ != probe::Probe::kUnlimited) {
        taken = std::min(taken, static_cast<size_t>(std::max<int64_t>(room_, 0)));
        room_ -= static_cast<int64_t>(taken);
    }
    stream->pending += bytes.substr(0, taken);
}

void StoreModel::close(Stream *stream, const char *role) {
    if (fault({"fclose"}, role) != Way::kDropped) {
        files_[stream->path] += stream->pending;
    }
}

bool StoreModel::exists(const std::string &path, const char *role) {
    if (!open(path, "r", role)) {
        return false;
    }
    fault({"fclose"}, "close a file that was read");
    return true;
}

void StoreModel::removeFile(const std::string &path, const char *role) {
    if (passes({"rm ", nameOf(path)}, role)) {
        giveRoom(path);
        files_.erase(path);
    }
}

void StoreModel::renameFile(const std::string &from, const std::string &to, const char *role) {
    const bool passed = passes({"yaffs_rename ", nameOf(from), " ", nameOf(to)}, role);
    const auto source = files_.find(from);
    if (!passed || source == files_.end()) {
        return;
    }
    giveRoom(to);
    std::string bytes = std::move(source->second);
    files_.erase(source);
    files_[to] = std::move(bytes);
}

/// Reads lines until `most` of them have been taken.
void StoreModel::readLines(const std::string &path, const char *role, int32_t most, const IsTaken &isTaken) {
    const std::shared_ptr<const ModelText> text = modelText(files_[path]);
    int32_t taken = 0;
    for (size_t i = 0; taken < most; ++i) {
        if (!passes({"fgets 257"}, role) || i == text->lines.size()) {
            break;
        }
        taken += isTaken(text->lines[i]) ? 1 : 0;
    }
    fault({"fclose"}, "close a file that was read");
}

}  // namespace test
