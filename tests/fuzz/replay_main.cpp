// SPDX-License-Identifier: Apache-2.0
// Main program of a fuzzing target in ordinary builds: replays the inputs kept in the directories and files
// given. The input that fails is the last one printed.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

namespace fs = std::filesystem;

std::set<fs::path> inputsOf(int argc, char **argv) {
    std::set<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            inputs.insert(argv[i]);
            continue;
        }
        for (const auto &entry : fs::directory_iterator(argv[i])) {
            inputs.insert(entry.path());
        }
    }
    return inputs;
}

bool replay(const fs::path &path) {
    fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open()) {
        fprintf(stderr, "cannot be read\n");
        return false;
    }
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char **argv) {
    const std::set<fs::path> inputs = inputsOf(argc, argv);
    if (inputs.empty()) {
        fprintf(stderr, "no input\n");
        return 1;
    }
    for (const fs::path &input : inputs) {
        if (!replay(input)) {
            return 1;
        }
    }
    fprintf(stderr, "%zu inputs replayed\n", inputs.size());
    return 0;
}
