// SPDX-License-Identifier: Apache-2.0
// What a look at a log's directory records, and how readers use it.
#include <gmock/gmock.h>

#include <filesystem>

#include "log/directory_look.h"
#include "log/disk_usage.h"
#include "log/ring_look.h"
#include "system/failure.h"
#include "tool_run.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;
using tool::Entry;
using tool::Extent;

/// A directory "log" to be examined.
class LookTest : public ToolTest {
protected:
    LookTest() { makeDirectory("log"); }

    void link(const std::string &target, const std::string &name) const {
        std::filesystem::create_symlink(target, path("log/" + name));
    }

    tool::StoreDirectory open() const { return tool::StoreDirectory::openForReading(path("log")); }
};

class DirectoryLookTest : public LookTest {
protected:
    tool::DirectoryLook look(Extent extent) const { return tool::lookAt(open(), extent); }
};

TEST_F(DirectoryLookTest, Look_Links_RecordsThemAndWhatTheyLeadTo) {
    write("elsewhere", "12345");
    link("../elsewhere", "0.csv");
    link("gone", "1.csv");
    link("2.csv", "2.csv");
    makeDirectory("log/3.csv");
    const tool::DataFileEntries files = look(Extent::Ring).files;
    EXPECT_EQ(files[0].itself.kind, Entry::Kind::Link);
    EXPECT_EQ(files[0].target.kind, Entry::Kind::File);
    EXPECT_EQ(files[0].target.mark.size, 5);
    EXPECT_EQ(files[1].itself.kind, Entry::Kind::Link);
    EXPECT_EQ(files[1].target.kind, Entry::Kind::Missing);
    EXPECT_EQ(files[2].target.kind, Entry::Kind::Link);
    EXPECT_EQ(files[3].itself.kind, Entry::Kind::Directory);
    EXPECT_TRUE(files[3].target == files[3].itself);
    EXPECT_FALSE(files[4].itself.isPresent());
    EXPECT_EQ(tool::highestOf(presenceOf(files, &tool::NamedEntry::itself)), 3);
    const tool::FilePresence targets = presenceOf(files, &tool::NamedEntry::target);
    EXPECT_TRUE(targets[0]);
    EXPECT_FALSE(targets[1]) << "leads nowhere";
    EXPECT_FALSE(targets[2]) << "leads round in a circle";
}

TEST_F(DirectoryLookTest, Look_IndexThatIsALink_ReadForReadersOnly) {
    write("elsewhere", "version:1\n3,7\n");
    link("../elsewhere", "index.csv");
    const tool::DirectoryLook found = look(Extent::All);
    EXPECT_EQ(found.positions(), (tool::IndexPositions{3, 7}));
    EXPECT_EQ(found.index.positions(), std::nullopt) << "for those who trust no link";
    std::filesystem::remove(path("log/index.csv"));
    write("log/index.csv", "version:1\n3,7\n!");
    EXPECT_EQ(look(Extent::All).index.positions(), (tool::IndexPositions{3, 7}));
    EXPECT_EQ(look(Extent::All).index.surplus(), 1);
}

TEST_F(DirectoryLookTest, Look_OfRing_OpensBackupForWantOfIndexOnly) {
    write("log/index.csv", "version:1\n0,1\n");
    write("log/index.bak", "version:1\n0,0\n");
    tool::DirectoryLook found = look(Extent::Ring);
    EXPECT_EQ(found.positions(), (tool::IndexPositions{0, 1}));
    EXPECT_FALSE(found.isOfBackup());
    EXPECT_TRUE(found.backup.entry.isFile());
    EXPECT_EQ(found.backup.opened, nullptr);
    EXPECT_NE(look(Extent::All).backup.opened, nullptr);
    std::filesystem::remove(path("log/index.csv"));
    EXPECT_FALSE(found.isStill(open()));
    found = look(Extent::Ring);
    EXPECT_EQ(found.positions(), (tool::IndexPositions{0, 0}));
    EXPECT_TRUE(found.isOfBackup());
    EXPECT_TRUE(found.isStill(open()));
    write("log/index.bak", "version:1\n0,0\n\n");
    EXPECT_FALSE(found.isStill(open()));
}

TEST_F(DirectoryLookTest, Look_OtherNames_ListedWhenAllIsLookedAt) {
    write("log/007.csv", "");
    write("log/90.csv", "");
    write("log/notes.csv", "");
    makeDirectory("log/aside-20261122T101500Z");
    EXPECT_THAT(look(Extent::Ring).otherNames, IsEmpty());
    EXPECT_THAT(look(Extent::All).otherNames, ElementsAre("007.csv", "90.csv"));
    EXPECT_THAT(look(Extent::All).asides, ElementsAre("aside-20261122T101500Z"));
}

TEST_F(DirectoryLookTest, LookAtAll_LinkToWhatIsNoFile_IsNoFailure) {
    makeDirectory("log/inner");
    link("inner", "index.csv");
    EXPECT_EQ(tool::lookAtAll(open()).index.entry.kind, Entry::Kind::Link);
}

TEST_F(DirectoryLookTest, DiskUsage_FilesAndWhatLinksLeadTo_Counted) {
    write("elsewhere", "12345");
    link("../elsewhere", "0.csv");
    write("log/89.csv", "123");
    write("log/90.csv", "not the store's");
    makeDirectory("log/1.csv");
    write("log/index.csv", "version:1\n0,1\n");
    write("log/index.bak", "version:1\n");
    const tool::DiskUsage usage = tool::diskUsageOf(look(Extent::Ring));
    EXPECT_EQ(usage.files, 4U);
    EXPECT_EQ(usage.bytes, 5U + 3U + 14U + 10U);
    EXPECT_GE(usage.allocated, usage.bytes);
}

class RingLookTest : public LookTest {
protected:
    tool::RingLook look() const { return tool::RingLook::ofReadable(open()); }
};

TEST_F(RingLookTest, Look_EmptyDirectory_IsFresh) {
    EXPECT_TRUE(look().isFresh());
    EXPECT_EQ(look().smallestRing(), 2);
}

TEST_F(RingLookTest, Look_FilesAndIndex_GiveSmallestRing) {
    write("log/3.csv", "");
    EXPECT_EQ(look().smallestRing(), 4);
    write("log/index.csv", "version:1\n5,89\n");
    EXPECT_EQ(look().smallestRing(), 90);
    EXPECT_FALSE(look().hasWrapped());
    write("log/index.csv", "version:1\n5,4\n");
    EXPECT_EQ(look().smallestRing(), 6);
    EXPECT_TRUE(look().hasWrapped());
}

TEST_F(RingLookTest, OfReadable_NameOfNoFile_Refused) {
    const auto looking = [this] { look(); };
    makeDirectory("log/3.csv");
    EXPECT_THAT(looking, ThrowsMessage<tool::Failure>(path("log/3.csv") + ": not a regular file"));
    EXPECT_EQ(tool::RingLook(open()).highestFile(), 3) << "the others keep their places";
    std::filesystem::remove(path("log/3.csv"));
    link("4.csv", "4.csv");
    EXPECT_THAT(looking,
                ThrowsMessage<tool::Failure>(path("log/4.csv") + ": Too many levels of symbolic links"));
    std::filesystem::remove(path("log/4.csv"));
    makeDirectory("log/index.csv");
    EXPECT_THAT(looking, ThrowsMessage<tool::Failure>(path("log/index.csv") + ": not a regular file"));
}

TEST_F(RingLookTest, OfReadable_LinkThatLeadsNowhere_NoFile) {
    link("gone", "4.csv");
    EXPECT_TRUE(look().isFresh());
}

TEST_F(RingLookTest, ReadIndex_AnyNumbers_ReadAsTheStoreReadsThem) {
    const auto read = [&](const std::string &text) {
        write("log/index.csv", text);
        return look().index().positions();
    };
    EXPECT_EQ(read("version:1\n-1,3\n"), (tool::IndexPositions{-1, 3}));
    EXPECT_EQ(read("version: 1 \n 3,  7"), (tool::IndexPositions{3, 7}));
    EXPECT_EQ(read("version:1\n3;7"), (tool::IndexPositions{3, 0}));
    EXPECT_EQ(read("version:1\n89,89"), (tool::IndexPositions{89, 89}));
    EXPECT_EQ(read("version:1\n90,0"), std::nullopt);
    EXPECT_EQ(read("version:1\n0,4294967296"), std::nullopt);
    EXPECT_EQ(read("version:1\n-4294967296,0"), (tool::IndexPositions{INT32_MIN, 0}));
    EXPECT_EQ(read("version:4294967297\n0,0"), std::nullopt);
    EXPECT_EQ(read("version:1\n,3"), std::nullopt);
}

}  // namespace
}  // namespace test
