// SPDX-License-Identifier: Apache-2.0
#include "file_calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <posixPort.h>
#include <taskLib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "volume.h"

namespace flash {

namespace {

/// A start-up over 90 positions and all pages of a few hundred items stay far below this.
constexpr size_t kCallsMax = 2000000;

std::map<FILE *, std::string> writers;

/// Counts a call of the module, so that an endless loop is detected whatever the machine's speed.
void countCall() {
    if (++surroundings().calls > kCallsMax) {
        fprintf(stderr, "the module makes calls without end\n");
        abort();
    }
}

size_t operations() { return surroundings().chip->operations(); }

void note(Event::Kind kind, const std::string &path, const std::string &target, size_t begin) {
    if (surroundings().history != nullptr) {
        Event event;
        event.kind = kind;
        event.path = path;
        event.target = target;
        event.begin = begin;
        event.end = operations();
        surroundings().history->push_back(event);
    }
}

bool isSabotage(Sabotage sabotage) { return surroundings().sabotage == sabotage; }

bool isDataFile(const std::string &path) {
    const char first = path[path.rfind('/') + 1];
    return first >= '0' && first <= '9';
}

/// A stream's file and, where the device's size is wanted, its buffer: the C library keeps its own size
/// unless it is given the memory too.
struct Cookie {
    int file;
    std::vector<char> buffer;
};

int fileOf(void *cookie) { return static_cast<Cookie *>(cookie)->file; }

ssize_t readCookie(void *cookie, char *buffer, size_t size) {
    const ssize_t got = Volume::read(fileOf(cookie), buffer, size);
    if (isSabotage(Sabotage::AlterRead) && got > 20) {
        buffer[got - 2] ^= 1;
    }
    return got;
}

/// A full chip takes fewer bytes than given, and then none; stdio treats 0 as an error.
ssize_t writeCookie(void *cookie, const char *bytes, size_t size) {
    if (isSabotage(Sabotage::LoseClose)) {
        return static_cast<ssize_t>(size);
    }
    const ssize_t taken = Volume::write(fileOf(cookie), bytes, size);
    if (taken != static_cast<ssize_t>(size)) {
        ++surroundings().shortWrites;
    }
    return taken < 0 ? 0 : taken;
}

int seekCookie(void *cookie, off64_t *offset, int whence) {
    const off_t place = Volume::seek(fileOf(cookie), static_cast<off_t>(*offset), whence);
    *offset = place;
    return place < 0 ? -1 : 0;
}

/// By then the C library no longer uses the buffer.
int closeCookie(void *cookie) {
    const std::unique_ptr<Cookie> owned(static_cast<Cookie *>(cookie));
    return Volume::close(owned->file);
}

/// The flags of the three modes that the module opens files with.
int flagsOf(const char *mode) {
    if (mode[0] == 'r') {
        return O_RDONLY;
    }
    return O_WRONLY | O_CREAT | (mode[0] == 'w' ? O_TRUNC : O_APPEND);
}

FILE *openStream(const char *path, const char *mode) {
    const int file = Volume::open(path, flagsOf(mode));
    if (file < 0) {
        return nullptr;
    }
    if (mode[0] == 'a') {
        Volume::seek(file, 0, SEEK_END);
    }
    auto cookie = std::make_unique<Cookie>(Cookie{file, std::vector<char>(surroundings().deviceBuffer)});
    FILE *const stream = fopencookie(cookie.get(), mode, {readCookie, writeCookie, seekCookie, closeCookie});
    if (stream == nullptr) {
        Volume::close(file);
        return nullptr;
    }
    if (!cookie->buffer.empty()) {
        setvbuf(stream, cookie->buffer.data(), _IOFBF, cookie->buffer.size());
    }
    static_cast<void>(cookie.release());  // closeCookie takes it
    return stream;
}

/// A line as a faulty module would write it. The fault shows once, at the second line that is written.
std::string sabotaged(const std::string &bytes) {
    Surroundings &around = surroundings();
    const size_t number = ++around.linesWritten;
    switch (around.sabotage) {
        case Sabotage::DropLine:
            return number == 2 ? "" : bytes;
        case Sabotage::DuplicateLine:
            return number == 2 ? bytes + bytes : bytes;
        case Sabotage::AlterLine:
            return number == 2 ? bytes.substr(0, bytes.size() - 2) + "~\n" : bytes;
        case Sabotage::SwapLines:
            if (number == 2) {
                around.heldLine = bytes;
                return "";
            }
            return number == 3 ? bytes + around.heldLine : bytes;
        default:
            return bytes;
    }
}

std::string asWritten(const std::string &path, const std::string &bytes) {
    if (isDataFile(path)) {
        return sabotaged(bytes);
    }
    return isSabotage(Sabotage::WrongIndex) ? "version:1\n1,1\n" : bytes;
}

}  // namespace

Surroundings &surroundings() {
    static Surroundings present;
    return present;
}

}  // namespace flash

using flash::Event;
using flash::Sabotage;
using flash::Volume;

extern "C" {

FILE *flashFopen(const char *path, const char *mode) {
    flash::countCall();
    const size_t begin = flash::operations();
    FILE *const stream = flash::openStream(path, mode);
    if (stream != nullptr && mode[0] != 'r') {
        flash::writers[stream] = path;
        flash::note(mode[0] == 'w' ? Event::OpenTruncated : Event::OpenToAppend, path, "", begin);
    }
    return stream;
}

size_t flashFwrite(const void *data, size_t size, size_t count, FILE *stream) {
    flash::countCall();
    const std::string &path = flash::writers[stream];
    const std::string bytes =
        flash::asWritten(path, std::string(static_cast<const char *>(data), size * count));
    const size_t begin = flash::operations();
    const size_t written = fwrite(bytes.data(), 1, bytes.size(), stream);
    flash::note(Event::Write, path, bytes, begin);
    return written == bytes.size() ? count : 0;
}

int flashFclose(FILE *stream) {
    flash::countCall();
    while (flash::isSabotage(Sabotage::Spin)) {
        flash::countCall();
    }
    const auto writer = flash::writers.find(stream);
    const size_t begin = flash::operations();
    const int result = fclose(stream);
    if (writer != flash::writers.end()) {
        flash::note(Event::Close, writer->second, "", begin);
        if (flash::isSabotage(Sabotage::ExtraFile)) {
            Volume::write(writer->second + "~", "");
        }
        flash::writers.erase(writer);
    }
    return result;
}

DIR *flashOpendir(const char *name) {
    flash::countCall();
    if (flash::isSabotage(Sabotage::RestlessStart)) {
        Volume::write(std::string(name) + "/started", std::to_string(flash::surroundings().time));
    }
    return static_cast<DIR *>(Volume::openDirectory(name));
}

int flashClosedir(DIR *directory) { return Volume::closeDirectory(directory); }

STATUS flashRm(const char *path) {
    flash::countCall();
    const size_t begin = flash::operations();
    const int result = Volume::remove(path);
    if (result >= 0) {
        flash::note(Event::Remove, path, "", begin);
    }
    return result < 0 ? ERROR : OK;
}

/// The device's call takes paths below the mount point.
int flashRename(const char *from, const char *to) {
    flash::countCall();
    const std::string source = std::string("/yaffs") + from;
    const std::string target = std::string("/yaffs") + to;
    const size_t begin = flash::operations();
    const int result = Volume::rename(source.c_str(), target.c_str());
    if (result >= 0) {
        flash::note(Event::Rename, source, target, begin);
    }
    return result;
}

int flashMakeDirectory(const char *name) {
    flash::countCall();
    return Volume::makeDirectory(name);
}

time_t flashTime(time_t *out) {
    const auto now = static_cast<time_t>(flash::surroundings().time);
    if (out != nullptr) {
        *out = now;
    }
    return now;
}

/// Returns once the task has made its first pass, so that no run depends on which task is faster.
TASK_ID flashTaskSpawn(char *name, int priority, int options, int stack, FUNCPTR entry, _Vx_usr_arg_t a1,
                       _Vx_usr_arg_t a2, _Vx_usr_arg_t a3, _Vx_usr_arg_t a4, _Vx_usr_arg_t a5,
                       _Vx_usr_arg_t a6, _Vx_usr_arg_t a7, _Vx_usr_arg_t a8, _Vx_usr_arg_t a9,
                       _Vx_usr_arg_t a10) {
    const TASK_ID task =
        taskSpawn(name, priority, options, stack, entry, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10);
    posixPortSettle();
    return task;
}

// The names that the C library's headers give some calls on 32-bit hosts.
FILE *flashFopen64(const char *path, const char *mode) __attribute__((alias("flashFopen")));
time_t flashTime64(time_t *out) __attribute__((alias("flashTime")));
}
