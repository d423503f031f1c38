// SPDX-License-Identifier: Apache-2.0
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>
#include <usrFsLib.h>
#include <yaffsfs.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "port_test.h"

namespace {

using namespace port_test;
namespace fs = std::filesystem;

void write(const fs::path &path, const char *text) { std::ofstream(path) << text; }

std::string contentOf(const fs::path &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return fs::exists(path) ? text.str() : "-";
}

Outcome yaffsRename(const fs::path &from, const fs::path &to) {
    return outcomeOf([&] { return yaffs_rename(from.c_str(), to.c_str()); });
}

Outcome removeFile(const fs::path &path) {
    return outcomeOf([&] { return rm(path.c_str()); });
}

Outcome makeDirectory(const fs::path &path) {
    return outcomeOf([&] { return jorn_MakeDirectory(path.c_str()); });
}

/// Sets the umask for a scope.
class Umask {
public:
    explicit Umask(mode_t mask) : before_(umask(mask)) {}
    ~Umask() { umask(before_); }
    Umask(const Umask &) = delete;
    Umask &operator=(const Umask &) = delete;

private:
    mode_t before_;
};

class FileSystemTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "jorn_port_XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        directory_ = name;
    }
    void TearDown() override { fs::remove_all(directory_); }

    fs::path at(const char *name) const { return directory_ / name; }

private:
    fs::path directory_;
};

/// Creates a directory "/yaffs" on the host for the duration of a test, where there is none and it may be
/// made.
class MountedFileSystemTest : public FileSystemTest {
protected:
    void SetUp() override {
        FileSystemTest::SetUp();
        if (mkdir(kMount, 0700) != 0) {
            GTEST_SKIP() << kMount << " exists or may not be made here";
        }
        mounted_ = true;
    }
    void TearDown() override {
        if (mounted_) {
            fs::remove_all(kMount);
        }
        FileSystemTest::TearDown();
    }

    static constexpr const char *kMount = "/yaffs";

private:
    bool mounted_ = false;
};

unsigned permissionsOf(const fs::path &path) {
    struct stat entry;
    return stat(path.c_str(), &entry) == 0 ? entry.st_mode & 07777u : 0;
}

TEST_F(FileSystemTest, Rename_HostPaths_MovesTheFile) {
    write(at("old"), "content");
    EXPECT_EQ(yaffsRename(at("old"), at("new")), kDone);
    EXPECT_EQ(contentOf(at("old")), "-");
    EXPECT_EQ(contentOf(at("new")), "content");
}

TEST_F(FileSystemTest, Rename_ExistingTarget_IsReplaced) {
    write(at("old"), "content");
    write(at("new"), "replaced");
    EXPECT_EQ(yaffsRename(at("old"), at("new")), kDone);
    EXPECT_EQ(contentOf(at("new")), "content");
}

TEST_F(FileSystemTest, Rename_MissingFile_FailsWithEnoent) {
    EXPECT_EQ(yaffsRename(at("old"), at("new")), failed(ENOENT));
}

TEST_F(FileSystemTest, Rename_NullPath_FailsWithEinval) {
    EXPECT_EQ(outcomeOf([] { return yaffs_rename(nullptr, "/a"); }), failed(EINVAL));
    EXPECT_EQ(outcomeOf([] { return yaffs_rename("/a", nullptr); }), failed(EINVAL));
}

TEST_F(FileSystemTest, Rename_PathTooLong_FailsWithEnametoolong) {
    const std::string tooLong = "/" + std::string(5000, 'x');
    EXPECT_EQ(yaffsRename(tooLong, at("new")), failed(ENAMETOOLONG));
}

TEST_F(MountedFileSystemTest, Rename_FileBelowTheMountPoint_MovesItThere) {
    write("/yaffs/old.csv", "content");
    EXPECT_EQ(yaffsRename("/old.csv", "/new.csv"), kDone);
    EXPECT_EQ(contentOf("/yaffs/old.csv"), "-");
    EXPECT_EQ(contentOf("/yaffs/new.csv"), "content");
}

TEST_F(MountedFileSystemTest, Rename_SamePathOnTheHost_PrefersTheMountPoint) {
    const std::string below = kMount + at("").string();
    fs::create_directories(below);
    write(at("old"), "of the host");
    write(below + "old", "below the mount point");
    write(below + "new", "replaced");
    EXPECT_EQ(yaffsRename(at("old"), at("new")), kDone);
    EXPECT_EQ(contentOf(at("old")), "of the host");
    EXPECT_EQ(contentOf(at("new")), "-");
    EXPECT_EQ(contentOf(below + "old"), "-");
    EXPECT_EQ(contentOf(below + "new"), "below the mount point");
}

TEST_F(MountedFileSystemTest, Rename_FileOfTheHostOnly_MovesItOnTheHost) {
    write(at("old"), "content");
    EXPECT_EQ(yaffsRename(at("old"), at("new")), kDone);
    EXPECT_EQ(contentOf(at("new")), "content");
}

TEST_F(MountedFileSystemTest, Rename_PathWithThePrefix_IsAHostPath) {
    write("/yaffs/old.csv", "content");
    EXPECT_EQ(yaffsRename("/yaffs/old.csv", "/yaffs/new.csv"), kDone);
    EXPECT_EQ(contentOf("/yaffs/new.csv"), "content");
}

TEST_F(MountedFileSystemTest, Rename_NewPathTooLongWithThePrefix_FailsAndKeepsTheFile) {
    write("/yaffs/old.csv", "content");
    // Fits without the prefix, but not with it.
    std::string newPath(4091, 'x');
    for (size_t at = 0; at < newPath.size(); at += 100) {
        newPath[at] = '/';
    }
    EXPECT_EQ(yaffsRename("/old.csv", newPath), failed(ENAMETOOLONG));
    EXPECT_EQ(contentOf("/yaffs/old.csv"), "content");
}

TEST_F(FileSystemTest, Rm_File_RemovesIt) {
    write(at("file"), "content");
    EXPECT_EQ(removeFile(at("file")), kDone);
    EXPECT_FALSE(fs::exists(at("file")));
}

TEST_F(FileSystemTest, Rm_MissingFileAndNull_Fail) {
    EXPECT_EQ(removeFile(at("file")), failed(ENOENT));
    EXPECT_EQ(outcomeOf([] { return rm(nullptr); }), failed(EINVAL));
}

TEST_F(FileSystemTest, Rm_Directory_FailsAndKeepsIt) {
    ASSERT_EQ(makeDirectory(at("directory")), kDone);
    EXPECT_EQ(removeFile(at("directory")).result, ERROR);
    EXPECT_TRUE(fs::is_directory(at("directory")));
}

TEST_F(FileSystemTest, MakeDirectory_UsualUmasks_Gives0750) {
    for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{027}}) {
        const Umask scope(mask);
        EXPECT_EQ(makeDirectory(at("directory")), kDone);
        EXPECT_EQ(permissionsOf(at("directory")), 0750u);
        fs::remove(at("directory"));
    }
}

TEST_F(FileSystemTest, MakeDirectory_StricterUmask_GivesNoMoreThanItAllows) {
    const Umask scope(077);
    EXPECT_EQ(makeDirectory(at("directory")), kDone);
    EXPECT_EQ(permissionsOf(at("directory")), 0700u);
}

TEST_F(FileSystemTest, MakeDirectory_MissingParent_FailsAndMakesNothing) {
    EXPECT_EQ(makeDirectory(at("parent") / "directory"), failed(ENOENT));
    EXPECT_FALSE(fs::exists(at("parent")));
}

TEST_F(FileSystemTest, MakeDirectory_ExistingPath_FailsAndKeepsIt) {
    write(at("file"), "content");
    EXPECT_EQ(makeDirectory(at("file")), failed(EEXIST));
    EXPECT_EQ(contentOf(at("file")), "content");
    ASSERT_EQ(makeDirectory(at("directory")), kDone);
    EXPECT_EQ(makeDirectory(at("directory")), failed(EEXIST));
}

TEST_F(FileSystemTest, MakeDirectory_Null_FailsWithEinval) {
    EXPECT_EQ(outcomeOf([] { return jorn_MakeDirectory(nullptr); }), failed(EINVAL));
}

}  // namespace
