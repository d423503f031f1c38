// SPDX-License-Identifier: Apache-2.0
#include "kills/ring_states.h"

#include <cstdint>
#include <filesystem>
#include <fstream>

#include "kills/ring_files.h"

namespace test {
namespace {

constexpr int kFull = 5000;
constexpr int64_t kFirstTime = 1700000000;

std::string lineOf(int number) { return std::to_string(kFirstTime + number) + ",2,0," + itemText(number); }

void write(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

/// Writes full files, the oldest at a position, and the newest with the items that are left.
void writeRing(const std::string &directory, int oldest, int items, int full = kFull) {
    std::filesystem::create_directory(directory);
    int position = oldest;
    for (int first = 1; first <= items; first += full) {
        std::string lines;
        for (int number = first; number < first + full && number <= items; ++number) {
            lines += lineOf(number) + "\n";
        }
        write(directory + "/" + std::to_string(position) + ".csv", lines);
        position = (position + 1) % 4;
    }
}

void writeIndex(const std::string &directory, const std::string &positions, const char *name = "index.csv") {
    write(directory + "/" + name, "version:1\n" + positions + "\n");
}

std::function<void(const std::string &)> ring(int oldest, int items, const std::string &positions) {
    return [=](const std::string &directory) {
        writeRing(directory, oldest, items);
        writeIndex(directory, positions);
    };
}

void appendPiece(const std::string &path, int number, size_t length) {
    std::ofstream(path, std::ios::binary | std::ios::app) << lineOf(number).substr(0, length);
}

/// A kill within the rewrite of the index: the next file has been emptied.
void makeInterruptedRotation(const std::string &directory) {
    writeRing(directory, 2, 4 * kFull);
    write(directory + "/2.csv", "");
    write(directory + "/index.csv", "");
    writeIndex(directory, "2,1", "index.bak");
}

void makeLostIndex(const std::string &directory) {
    writeRing(directory, 0, 15901);
    write(directory + "/index.csv", "");
}

constexpr int kNearlyFull = 4 * kFull - 15;

}  // namespace

const RingState &wholeRing() {
    static const RingState state = {"come round", kNearlyFull, 40, ring(2, kNearlyFull, "2,1")};
    return state;
}

const RingState &smallRing() {
    static const RingState state = {"small", 400, 10, [](const std::string &directory) {
                                        writeRing(directory, 2, 400, 100);
                                        writeIndex(directory, "2,1");
                                    }};
    return state;
}

const RingState &ringWithoutIndex() {
    static const RingState state = {"index lost", 15901, 20, makeLostIndex};
    return state;
}

const std::vector<RingState> &ringStates() {
    static const std::vector<RingState> states = {
        {"first start", 0, 30, [](const std::string &) {}},
        {"appending", 7000, 30, ring(0, 7000, "0,1")},
        {"next file", 2 * kFull - 15, 40, ring(0, 2 * kFull - 15, "0,1")},
        {"coming round first", kNearlyFull, 40, ring(0, kNearlyFull, "0,3")},
        wholeRing(),
        {"newest file full", 4 * kFull, 40, ring(2, 4 * kFull, "2,1")},
        {"many blocks", 4 * kFull - 300, 700, ring(1, 4 * kFull - 300, "1,0")},
        ringWithoutIndex(),
        {"killed in the index's rewrite", 4 * kFull, 20, makeInterruptedRotation},
        {"torn last line", 7001, 20,
         [](const std::string &directory) {
             ring(0, 7000, "0,1")(directory);
             appendPiece(directory + "/1.csv", 7001, 14);
         }},
        {"last line without its end", 7001, 20,
         [](const std::string &directory) {
             ring(0, 7000, "0,1")(directory);
             appendPiece(directory + "/1.csv", 7001, lineOf(7001).size());
         }},
        {"torn line, index lost", 15902, 20,
         [](const std::string &directory) {
             makeLostIndex(directory);
             appendPiece(directory + "/3.csv", 15902, 8);
         }},
    };
    return states;
}

}  // namespace test
