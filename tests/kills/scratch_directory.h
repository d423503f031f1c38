// SPDX-License-Identifier: Apache-2.0
#ifndef JORN_TESTS_KILLS_SCRATCH_DIRECTORY_H
#define JORN_TESTS_KILLS_SCRATCH_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace test {

/// A temporary directory, removed with the object.
class ScratchDirectory {
public:
    ScratchDirectory() {
        char name[] = "/tmp/jorn-kills-XXXXXX";
        if (mkdtemp(name) == nullptr) {
            abort();  // Nothing can be tested.
        }
        path_ = std::filesystem::canonical(name).string();
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory &) = delete;
    ScratchDirectory &operator=(const ScratchDirectory &) = delete;

    std::string path(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

/// Replaces what is there.
inline void copyTree(const std::string &from, const std::string &to) {
    namespace fs = std::filesystem;
    fs::remove_all(to);
    if (fs::exists(from)) {
        fs::copy(from, to, fs::copy_options::recursive);
    }
}

}  // namespace test

#endif
