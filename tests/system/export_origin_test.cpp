// SPDX-License-Identifier: Apache-2.0
// What exported items tell of where they come from.
#include <gmock/gmock.h>

#include <string>

#include "database.h"
#include "exported_log.h"

namespace test {
namespace {

using ::testing::ElementsAre;

class ExportOriginTest : public ExportTest {
protected:
    ExportOriginTest() {
        writeLog("unit1/door", dataLine(kMidnight, 1, 5, "a"));
        writeLog("unit2/door", dataLine(kMidnight, 2, 0, "b"));
    }
};

TEST_F(ExportOriginTest, Device_JsonLines_HasDeviceAndLogAfterTheText) {
    EXPECT_EQ(exportLog({"--device", "gr\xc3\xbc\xc3\x9f \"1\"", "unit1/door"}).out,
              "{\"time\":1700006400,\"iso\":\"2023-11-15T00:00:00Z\",\"level\":1,\"slot\":5,\"text\":\"a\","
              "\"device\":\"gr\xc3\xbc\xc3\x9f \\\"1\\\"\",\"log\":\"door\"}\n");
}

TEST_F(ExportOriginTest, Device_Csv_HasColumns) {
    EXPECT_EQ(exportLog({"--device", "u,1", "-o", "csv", "unit1/door/."}).out,
              "time,level,slot,text,device,log\n1700006400,1,5,a,\"u,1\",door\n");
}

TEST_F(ExportOriginTest, Device_Syslog_IsHostAndParameter) {
    EXPECT_EQ(exportLog({"--device", "unit-1", "-o", "syslog", "unit1/door"}).out,
              "<132>1 2023-11-15T00:00:00Z unit-1 door - - "
              "[jorn@32473 level=\"1\" slot=\"5\" device=\"unit-1\" log=\"door\"] a\n");
    EXPECT_EQ(exportLog({"--device", "unit 1]", "-o", "syslog", "unit1/door"}).out,
              "<132>1 2023-11-15T00:00:00Z - door - - "
              "[jorn@32473 level=\"1\" slot=\"5\" device=\"unit 1\\]\" log=\"door\"] a\n");
    EXPECT_EQ(exportLog({"--device", "unit-1", "--hostname", "hub", "-o", "syslog", "unit1/door"}).out,
              "<132>1 2023-11-15T00:00:00Z hub door - - "
              "[jorn@32473 level=\"1\" slot=\"5\" device=\"unit-1\" log=\"door\"] a\n");
}

TEST_F(ExportOriginTest, Device_Sqlite_HasColumnsInTableAndView) {
    const std::string file = path("out/x.db");
    ASSERT_EQ(
        exportLog({"--to", file, "--device", "it's", "--log", "gate", "--table", "t", "unit1/door"}).err,
        "1 item\n");
    EXPECT_THAT(rowsOf(file, "SELECT * FROM t"), ElementsAre("1|1700006400|1|5|a|it's|gate"));
    EXPECT_THAT(rowsOf(file, "SELECT * FROM t_readable"),
                ElementsAre("1|2023-11-15T00:00:00Z|1|5|a|it's|gate"));
}

TEST_F(ExportOriginTest, DeviceByParent_SeveralLogs_EachHasTheDirectoryAboveIt) {
    const std::string expected =
        "time,level,slot,text,device,log\n1700006400,1,5,a,unit1,door\n1700006400,2,0,b,unit2,door\n";
    EXPECT_EQ(exportLog({"--device-by-parent", "-o", "csv", "unit1/door", "unit2/door"}).out, expected);
}

TEST_F(ExportOriginTest, Log_OneLog_IsItsName) {
    EXPECT_EQ(exportLog({"--log", "gate", "-o", "csv", "unit1/door"}).out,
              "time,level,slot,text,log\n1700006400,1,5,a,gate\n");
}

TEST_F(ExportOriginTest, SeveralLogsOfOneName_InAnyOrder_HaveTheSameNames) {
    const std::string heading = "time,level,slot,text,log\n";
    const std::string first = "1700006400,1,5,a,unit1/door\n";
    const std::string second = "1700006400,2,0,b,unit2/door\n";
    EXPECT_EQ(exportLog({"-o", "csv", "unit1/door", "unit2/door"}).out, heading + first + second);
    EXPECT_EQ(exportLog({"-o", "csv", "unit2/door", "unit1/door"}).out, heading + second + first);
}

TEST_F(ExportOriginTest, OneDeviceWithLogsOfOneName_AnyForm_IsRefused) {
    const Outcome run = exportLog({"--device", "u", "unit1/door", "unit2/door"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(
        run.err,
        "jorn: unit1/door and unit2/door have the same name, door; export them one by one with --log\n");
}

TEST_F(ExportOriginTest, NamesThatNoItemCanBear_AnyForm_AreRefused) {
    const std::string problem = ": the name is not 1 to 255 bytes of UTF-8 without control characters\n";
    for (const char *const option : {"--device", "--log"}) {
        for (const std::string &name : {std::string("a\nb"), std::string("\xff"), std::string(256, 'x')}) {
            const Outcome run = exportLog({option, name, "unit1/door"});
            EXPECT_EQ(run.status, 2);
            EXPECT_EQ(run.err, "jorn: " + std::string(option) + problem);
        }
        EXPECT_EQ(exportLog({option, std::string(255, 'x'), "unit1/door"}).status, 0);
    }
    EXPECT_EQ(exportLog({"--log", "x", "unit1/door", "unit2/door"}).err,
              "jorn: --log is for one DIR; several logs have the names of their directories\n");
}

}  // namespace
}  // namespace test
