// SPDX-License-Identifier: Apache-2.0
// What a program is started with: its files, its arguments and its environment.
#ifndef JORN_TESTS_TRACE_PROGRAM_START_H
#define JORN_TESTS_TRACE_PROGRAM_START_H

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace test {

class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() { reset(); }
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    int get() const { return fd_; }
    void reset() {
        if (fd_ >= 0) {
            close(std::exchange(fd_, -1));
        }
    }

private:
    int fd_;
};

inline std::string contentOf(const Fd &file) {
    std::string content;
    char block[65536];
    for (ssize_t length = 0;
         (length = pread(file.get(), block, sizeof block, static_cast<off_t>(content.size()))) > 0;) {
        content.append(block, static_cast<size_t>(length));
    }
    return content;
}

inline void fill(const Fd &file, const std::string &content) {
    for (size_t done = 0; done < content.size();) {
        const ssize_t written = write(file.get(), content.data() + done, content.size() - done);
        if (written <= 0) {
            return;
        }
        done += static_cast<size_t>(written);
    }
    lseek(file.get(), 0, SEEK_SET);
}

/// The arguments of exec, made before fork: the child of a program with threads must not allocate.
class Texts {
public:
    explicit Texts(std::vector<std::string> texts) : texts_(std::move(texts)) {
        for (std::string &text : texts_) {
            pointers_.push_back(text.data());
        }
        pointers_.push_back(nullptr);
    }
    char *const *get() const { return pointers_.data(); }

private:
    std::vector<std::string> texts_;
    std::vector<char *> pointers_;
};

inline std::vector<std::string> environmentWith(
    const std::vector<std::pair<std::string, std::string>> &variables) {
    std::map<std::string, std::string> all;
    for (char **entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const size_t equals = text.find('=');
        all[text.substr(0, equals)] = equals == std::string::npos ? "" : text.substr(equals + 1);
    }
    for (const auto &[name, value] : variables) {
        all[name] = value;
    }
    // The leak sanitizer traces the program itself, and only one tracer can.
    std::string &asan = all["ASAN_OPTIONS"];
    asan += asan.empty() ? "detect_leaks=0" : ":detect_leaks=0";
    std::vector<std::string> entries(all.size());
    std::transform(all.begin(), all.end(), entries.begin(),
                   [](const auto &variable) { return variable.first + "=" + variable.second; });
    return entries;
}

}  // namespace test

#endif
