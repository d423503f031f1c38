// SPDX-License-Identifier: Apache-2.0
// Executes each hot path of the module often enough to count its instructions, and marks for callgrind where
// one path ends and the next begins. For scripts/instructions: hot_paths DIRECTORY. The lines are the same in
// every run, ticks pass by hand, and everything that is not part of the path happens before it begins.
#include <jorn.h>
#include <posixPort.h>
#include <sysLib.h>
#include <tickLib.h>
#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "csvfile/file_analysis.h"
#include "csvfile/item_parser.h"
#include "query/counting.h"
#include "registry/registry.h"

namespace instructions {
namespace {

constexpr int kItems = 400;  // fit the queue
constexpr int kLines = 5000;

/// Counts what is done during its lifetime, as `times` executions of the path of that name.
class Counted {
public:
    Counted(const char *path, int times) : label_(path + (" " + std::to_string(times))) {
        CALLGRIND_ZERO_STATS;
    }
    ~Counted() { CALLGRIND_DUMP_STATS_AT(label_.c_str()); }
    Counted(const Counted &) = delete;
    Counted &operator=(const Counted &) = delete;

private:
    std::string label_;
};

[[noreturn]] void fail(const char *what) {
    fprintf(stderr, "hot_paths: %s\n", what);
    exit(1);
}

void expect(bool holds, const char *what) {
    if (!holds) {
        fail(what);
    }
}

void passOfStoreTask() {
    for (int tick = 0; tick < JORN_STORE_TICKS; ++tick) {
        tickAnnounce();
    }
    posixPortSettle();
}

void submitItems(int32_t handle, const std::string &text) {
    for (int i = 0; i < kItems; ++i) {
        expect(JORN_AddOneLog(handle, i % 3, i % 8, text.c_str()) == 0, "an item was refused");
    }
}

std::string lineOf(int number) {
    return std::to_string(1700000000 + number * 7) + "," + std::to_string(number % 4) + "," +
           std::to_string(number % 8) + "," + std::string(static_cast<size_t>(40 + number % 60), 'x') + "\n";
}

void writeFile(const std::string &path, int firstLine) {
    std::ofstream file(path);
    for (int line = firstLine; line < firstLine + kLines; ++line) {
        file << lineOf(line);
    }
    expect(file.good(), "cannot write a file");
}

void submission(int32_t handle) {
    for (const auto &[path, size] :
         {std::pair{"submission-20", 20}, {"submission-100", 100}, {"submission-198", 198}}) {
        const std::string text(static_cast<size_t>(size), 'x');
        {
            const Counted counted(path, kItems);
            submitItems(handle, text);
        }
        passOfStoreTask();
    }
}

void store(int32_t handle) {
    passOfStoreTask();  // closes the file
    submitItems(handle, std::string(80, 'x'));
    const Counted counted("store-an-item", kItems);
    passOfStoreTask();
}

void parse() {
    const std::string line = lineOf(1);
    JORN_ITEM_INFO item;
    const Counted counted("parse-a-line", kLines);
    for (int i = 0; i < kLines; ++i) {
        expect(jorn_AnalyseOneItemInfo(line.c_str(), &item) == 0, "a line was refused");
    }
}

void readFiles(JORN_OBJ *obj) {
    JORN_REQUIRE require = {20, 1, -1, -1, 1, 1, -1};
    {
        JORN_CSV_INFO info;
        const Counted counted("start-up-a-line", kLines);
        expect(jorn_AnalyseOneCsvInfo(obj, 0, &info) == 0, "a file was refused");
    }
    {
        const Counted counted("count-a-line-read", kLines);
        expect(jorn_CountRequireNumInOneCsv(obj, 0, &require) == kLines / 4, "a wrong count");
    }
    JORN_LOG_PAGE page;
    const Counted counted("first-page-of-three-files", 1);
    expect(JORN_GetRequireLog(obj->handle_id, require, &page) == 1 && page.itemsNum == 20, "a wrong page");
}

void run(const std::string &directory) {
    sysClkDisable();
    const std::string ring = directory + "/r";
    const std::string written = directory + "/w";
    std::filesystem::create_directory(ring);
    std::ofstream(ring + "/index.csv") << "version:1\n0,2\n";
    for (int position = 0; position < 3; ++position) {
        writeFile(ring + "/" + std::to_string(position) + ".csv", position * kLines);
    }
    jorn_SetDebugPrintLevel(0);
    const int32_t reader = JORN_Create(ring.c_str(), 8, 4);
    const int32_t writer = JORN_Create(written.c_str(), 8, 4);
    expect(reader > 0 && writer > 0, "cannot create an object");
    parse();
    readFiles(FindObj(reader));
    passOfStoreTask();
    submission(writer);
    store(writer);
}

}  // namespace
}  // namespace instructions

int main(int argc, char **argv) {
    if (argc != 2) {
        instructions::fail("give it an empty directory");
    }
    instructions::run(argv[1]);
    return 0;
}
