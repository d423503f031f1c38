// SPDX-License-Identifier: Apache-2.0
// Files that can no longer be read, or not all of them.
#include <gmock/gmock.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

#include "served_ring.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// Takes from this thread, for as long as it lives, root's right to read whatever it likes.
class ObeyingPermissions {
public:
    ObeyingPermissions() {
        EXPECT_EQ(syscall(SYS_capget, &header_, former_.data()), 0);
        auto less = former_;
        less[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
        EXPECT_EQ(syscall(SYS_capset, &header_, less.data()), 0);
    }
    ~ObeyingPermissions() { syscall(SYS_capset, &header_, former_.data()); }
    ObeyingPermissions(const ObeyingPermissions &) = delete;
    ObeyingPermissions &operator=(const ObeyingPermissions &) = delete;

private:
    __user_cap_header_struct header_{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> former_{};
};

class FileFailureTest : public ServeTest {
protected:
    FileFailureTest() {
        start(0, line("one") + line("two"));
        start(1, line("three"));
        writeIndex("0,1");
        serve();
        logs_->check(0);
    }

    void allow(int number, mode_t mode) const {
        EXPECT_EQ(chmod(path("log/" + std::to_string(number) + ".csv").c_str(), mode), 0);
    }

    const ObeyingPermissions obeying_;
};

TEST_F(FileFailureTest, File_MayNotBeReadAnyMore_LeavesTheViewUntilItMay) {
    EXPECT_THAT(texts(), ElementsAre("three", "two", "one"));
    allow(0, 0);
    EXPECT_THAT(texts(), ElementsAre("three"));
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("three"));
    allow(0, 0600);
    logs_->refreshAll();
    EXPECT_THAT(texts(), ElementsAre("three", "two", "one"));
}

TEST_F(FileFailureTest, Search_FileMayNotBeRead_IsOfTheOthers) {
    allow(0, 0);
    EXPECT_THAT(texts({{"q", "t"}}), ElementsAre("three"));
}

TEST_F(FileFailureTest, Check_FileMayNotBeRead_IsNamed) {
    EXPECT_EQ(json("findings")["logs"][0]["state"], "ok");
    allow(0, 0);
    logs_->check(0);
    const Json found = json("findings")["logs"][0];
    EXPECT_EQ(found["state"], "damaged");
    EXPECT_THAT(found["findings"].dump(), HasSubstr("0.csv"));
}

TEST_F(FileFailureTest, Items_LineInTheMiddleIsNotWhatItWas_IsLeftOut) {
    const std::string other(10000, '.');
    start(0, line("begin" + other) + line("two") + line("end" + other));
    logs_->refreshAll();
    const std::string whole = read("log/0.csv");
    const auto time = std::filesystem::last_write_time(path("log/0.csv"));
    const size_t items = json("items")["total"];
    std::string altered = whole;
    altered.replace(whole.find("1700000000,1,0,two"), 18, 18, '\0');
    write("log/0.csv", altered);
    std::filesystem::last_write_time(path("log/0.csv"), time);
    EXPECT_EQ(json("items")["total"], items - 1);
}

}  // namespace
}  // namespace test
