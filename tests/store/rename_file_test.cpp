// SPDX-License-Identifier: Apache-2.0
// Renaming on the device's file system, whose paths start at its root.
#include <filesystem>

#include "store/index_file.h"
#include "support/module_test.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Makes a directory the current one for a scope, so that paths without a leading slash lead into it.
class CurrentDirectory {
public:
    explicit CurrentDirectory(const TempDir &dir) : former_(std::filesystem::current_path()) {
        std::filesystem::current_path(dir.path());
    }
    ~CurrentDirectory() { std::filesystem::current_path(former_); }
    CurrentDirectory(const CurrentDirectory &) = delete;
    CurrentDirectory &operator=(const CurrentDirectory &) = delete;

private:
    std::filesystem::path former_;
};

class RenameFileTest : public ModuleTest {
protected:
    std::string pathOf(const std::string &name) const { return dir_.path() + "/" + name; }
};

TEST_F(RenameFileTest, Rename_PathsOutsideTheRoot_ArePassedAsTheyAre) {
    dir_.write("a", "bytes");
    EXPECT_EQ(jorn_RenameFile(pathOf("a").c_str(), pathOf("b").c_str()), 0);
    EXPECT_THAT(dir_.names(), ElementsAre("b"));
    EXPECT_EQ(dir_.read("b"), "bytes");
}

TEST_F(RenameFileTest, Rename_BothPathsBelowTheRoot_AreBothShortened) {
    // After the root's six characters these begin without a slash, so they show what was removed.
    std::filesystem::create_directory(pathOf("2"));
    dir_.write("2/a", "bytes");
    const CurrentDirectory current(dir_);
    EXPECT_EQ(jorn_RenameFile("/yaffs2/a", "/yaffs2/b"), 0);
    EXPECT_EQ(dir_.read("2/b"), "bytes");
    EXPECT_FALSE(dir_.has("2/a"));
}

TEST_F(RenameFileTest, Rename_SourceAloneBelowTheRoot_IsShortenedByItself) {
    dir_.write("a", "bytes");
    const CurrentDirectory current(dir_);
    EXPECT_EQ(jorn_RenameFile("/yaffsa", pathOf("b").c_str()), 0);
    EXPECT_THAT(dir_.names(), ElementsAre("b"));
}

TEST_F(RenameFileTest, Rename_DestinationAloneBelowTheRoot_IsShortenedByItself) {
    dir_.write("a", "bytes");
    const CurrentDirectory current(dir_);
    EXPECT_EQ(jorn_RenameFile(pathOf("a").c_str(), "/yaffsb"), 0);
    EXPECT_THAT(dir_.names(), ElementsAre("b"));
}

TEST_F(RenameFileTest, Rename_RootInTheMiddleOfAPath_IsNoPrefix) {
    std::filesystem::create_directory(pathOf("yaffs"));
    dir_.write("yaffs/a", "bytes");
    EXPECT_EQ(jorn_RenameFile(pathOf("yaffs/a").c_str(), pathOf("yaffs/b").c_str()), 0);
    EXPECT_TRUE(dir_.has("yaffs/b"));
}

TEST_F(RenameFileTest, Rename_OneCharacterShortOfTheRoot_IsNoPrefix) {
    platform().fail("yaffs_rename");
    jorn_RenameFile("/yaff", "/Yaffs");
    EXPECT_THAT(platform().calls(), ElementsAre("yaffs_rename yaff Yaffs"));
}

TEST_F(RenameFileTest, Rename_Fails_IsStillASuccess) {
    EXPECT_EQ(jorn_RenameFile(pathOf("missing").c_str(), pathOf("b").c_str()), 0);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(RenameFileTest, Rename_NullPath_RenamesNothing) {
    EXPECT_EQ(jorn_RenameFile(nullptr, pathOf("b").c_str()), 0);
    EXPECT_EQ(jorn_RenameFile(pathOf("a").c_str(), nullptr), 0);
    EXPECT_THAT(platform().calls(), IsEmpty());
}

}  // namespace
}  // namespace test
