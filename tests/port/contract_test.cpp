// SPDX-License-Identifier: Apache-2.0
// The port is held to the tables that every platform of the module is held to.
#include "contract.h"

#include <stdlib.h>

#include <filesystem>
#include <string>

#include "port_test.h"

namespace {

class ContractTest : public port_test::PortTest, public ::testing::WithParamInterface<size_t> {
protected:
    void SetUp() override {
        port_test::PortTest::SetUp();
        char name[] = "/tmp/jXXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        directory() = name;
    }
    void TearDown() override {
        std::filesystem::remove_all(directory());
        port_test::PortTest::TearDown();
    }

    static std::string &directory() {
        static std::string path;
        return path;
    }

    /// Here the file system's own calls take the same paths as all others.
    static void makePath(char *path, size_t size, const char *relative, bool /*isOwn*/) {
        snprintf(path, size, "%s/%s", directory().c_str(), relative);
    }
};

TEST_P(ContractTest, Calls_OfTheTable_GiveWhatItSays) {
    const char *const found =
        contract::play(contract::kScenarios[GetParam()], {tickAnnounce, posixPortSettle, makePath});
    EXPECT_EQ(found, nullptr) << found;
}

INSTANTIATE_TEST_SUITE_P(Tables, ContractTest, ::testing::Range(size_t{0}, contract::kScenarioCount),
                         [](const auto &each) { return contract::kScenarios[each.param].name; });

}  // namespace
