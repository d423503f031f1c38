// SPDX-License-Identifier: Apache-2.0
// `jorn record` where names of the store's files refer to something else: it writes only to files of the
// log's own directory.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "damaged_log.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr char kLink[] = "is a link, which the store would write through";
constexpr char kShared[] =
    "has a hard link elsewhere, so items would be written there too; replace it with a copy";

/// Something that has the name of a store's file.
struct Foreign {
    const char *kind;
    std::function<void(const std::string &outside, const std::string &name)> make;
    const char *flaw;
};

const Foreign kForeign[] = {
    {"a link to a file",
     [](const std::string &outside, const std::string &name) { fs::create_symlink(outside, name); }, kLink},
    {"a dangling link",
     [](const std::string &outside, const std::string &name) { fs::create_symlink(outside + ".new", name); },
     kLink},
    {"a FIFO", [](const std::string &, const std::string &name) { EXPECT_EQ(mkfifo(name.c_str(), 0600), 0); },
     "is neither a file nor a directory"},
    {"a directory", [](const std::string &, const std::string &name) { fs::create_directory(name); },
     "is a directory, where the store needs a file"},
    {"a further name of a file",
     [](const std::string &outside, const std::string &name) { fs::create_hard_link(outside, name); },
     kShared},
};

class RecordEntriesTest : public DamagedLogTest {
protected:
    RecordEntriesTest() { write("outside", kOutside); }

    void expectOutsideUntouched() const {
        EXPECT_EQ(read("outside"), kOutside);
        EXPECT_FALSE(exists("outside.new"));
    }

    const std::string kOutside = items(900, 901);
};

TEST_F(RecordEntriesTest, Record_NameOfTheStoreIsNoFileOfItsOwn_RefusedAndNothingChanged) {
    for (const Foreign &foreign : kForeign) {
        for (const std::string name : {"0.csv", "1.csv", "2.csv", "89.csv", "index.csv", "index.bak"}) {
            const bool isIndex = name[0] == 'i';
            if (isIndex && foreign.flaw == kShared) {
                continue;
            }
            fs::remove_all(path("log"));
            makeDirectory("log");
            writeFiles({0, 1});
            writeIndex("0,1");
            fs::remove(path("log/" + name));
            foreign.make(path("outside"), path("log/" + name));
            const std::string before = stateOf(path("log"));
            const Outcome run = jorn({"record", "log"}, {"new\n", "", {}, {}});
            EXPECT_EQ(run.status, 4) << foreign.kind << ' ' << name;
            EXPECT_EQ(run.err, "jorn: log/" + name + ": " + foreign.flaw + "\n") << foreign.kind;
            EXPECT_TRUE(stateOf(path("log")) == before) << foreign.kind << ' ' << name;
            expectOutsideUntouched();
        }
    }
}

/// Nothing is written into an existing index, so its other names do not concern the recorder.
TEST_F(RecordEntriesTest, Record_IndexHasAnotherNameElsewhere_ThatKeepsItsContent) {
    writeFiles({0});
    write("other", "version:1\n0,0\n");
    fs::create_hard_link(path("other"), path("log/index.csv"));
    EXPECT_EQ(jorn({"record", "log"}, {numberedLines("line", kFull), "", {}, {}}).status, 0);
    EXPECT_EQ(read("log/index.csv"), "version:1\n0,1\n");
    EXPECT_EQ(read("other"), "version:1\n0,0\n");
}

TEST_F(RecordEntriesTest, Record_DirectoryIsALink_Recorded) {
    fs::create_symlink(path("log"), path("link"));
    EXPECT_EQ(jorn({"record", "link"}, {"new\n", "", {}, {}}).status, 0);
    EXPECT_EQ(textsIn("log/0.csv").back(), "new");
}

/// Planted while it records: the current file is filled, and then the next one is checked.
TEST_F(RecordEntriesTest, Record_NextNameIsNoFileOfItsOwnAtRotation_RefusedWithTheFileFilled) {
    for (const Foreign &foreign : kForeign) {
        for (const std::string name : {"1.csv", "index.csv", "index.bak"}) {
            if (name != "1.csv" && foreign.flaw == kShared) {
                continue;
            }
            fs::remove_all(path("log"));
            makeDirectory("log");
            RunningTool tool(root_, {"record", "log"});
            CloseWatch watch(path("log"));
            tool.feed(numberedLines("line", 4900));
            watch.waitUntil([this] { return exists("log/0.csv") && textsIn("log/0.csv").size() == 4901; });
            fs::remove(path("log/" + name));
            foreign.make(path("outside"), path("log/" + name));
            tool.feed(numberedLines("more", 300));
            tool.endInput();
            const Outcome run = tool.wait();
            EXPECT_EQ(run.status, 4) << foreign.kind << ' ' << name;
            EXPECT_EQ(run.err, "jorn: log/" + name + ": " + foreign.flaw +
                                   "; 201 of the lines read are not in the files\n");
            EXPECT_EQ(textsIn("log/0.csv").size(), 5000U);
            EXPECT_EQ(textsIn("log/0.csv").back(), "more0000099");
            expectOutsideUntouched();
        }
    }
}

TEST_F(RecordEntriesTest, Check_FileHasAnotherNameElsewhere_IsNoted) {
    writeFiles({0});
    writeIndex("0,0");
    fs::create_hard_link(path("log/0.csv"), path("other"));
    const Outcome run = check();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, StartsWith("log/0.csv:0: note: has a hard link elsewhere"));
}

}  // namespace
}  // namespace test
