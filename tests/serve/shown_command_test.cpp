// SPDX-License-Identifier: Apache-2.0
// The command that is copied from the page: run by a shell, it prints what the interface answers.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <iterator>
#include <sstream>

#include "served_ring.h"
#include "system/piped_tool.h"

namespace test {
namespace {

using ::testing::HasSubstr;

/// Two logs whose names need care in a shell and in a URL, served by the tool itself.
class ShownCommandTest : public ServeTest {
protected:
    ShownCommandTest() {
        write("names file", "[levels]\n0 = error\n1 = warning\n3 = debug\n[slots]\n1 = motor\n2 = door\n");
        makeLog(line("door \"x\" it's $HOME `id`", kTime, 0, 2) + line("DOOR open", kTime + 60, 1, 2) +
                    line("a.b literal", kTime + 60, 2, 1) + line("odd", kTime + 70, -1, 0) +
                    line("h\xc3\xb6her \xff", kTime + 7200, 3, 7),
                "unit 1");
        makeLog(line("escape \x1b[31m and \x03", kTime + 60, 1, 0) + line("gate shut", kTime + 61, 0, 5) +
                    line("high", kTime + 86400, 9, 11),
                "-it's,b");
        // Names beside the log are others than those of the file.
        write("unit 1/jorn.names", "[levels]\n2 = error\n");
    }

    /// What a shell command prints, here and in some time zone. Exit codes are left to the commands.
    std::string shell(const std::string &script, const std::string &zone = "UTC") const {
        write("script", script);
        const std::string run = "cd '" + root_ + "' && TZ='" + zone + "' timeout 60 sh script >out.txt 2>&1";
        EXPECT_EQ(system(run.c_str()), 0) << script;
        return read("out.txt");
    }

    /// Answers of the server to a question with each of the filters.
    std::vector<Json> answers(const std::string &url, const std::string &question,
                              const std::vector<std::string> &filters) const {
        std::string script = "curl -sS --globoff";
        const std::string base = url.substr(0, url.find("/?"));
        script += " -H 'Authorization: Bearer " + url.substr(url.find("token=") + 6) + "'";
        for (const std::string &filter : filters) {
            script += " '" + base + "/api/" + question + filter + "'";
        }
        std::vector<Json> all;
        for (const std::string &answer : linesOf(shell(script + "\n"))) {
            if (!answer.empty()) {
                all.push_back(Json::parse(answer));
            }
        }
        EXPECT_EQ(all.size(), filters.size());
        return all;
    }

    /// Items as `jorn show -o json` prints them. Only where it reads several logs does it name them.
    static std::string itemsOf(const Json &answer, bool areNamed) {
        std::string lines;
        for (Json item : answer["items"]) {
            item.erase("cursor");
            item.erase("marks");
            if (!areNamed) {
                item.erase("log");
            }
            lines += item.dump() + "\n";
        }
        return lines;
    }

    static std::string normalized(const std::string &printed) {
        std::string lines;
        for (const std::string &item : linesOf(printed)) {
            const Json json = Json::parse(item, nullptr, false);
            lines += item.empty() ? "" : (json.is_discarded() ? item : json.dump()) + "\n";
        }
        return lines;
    }

    /// Compares each filter's items with what its command prints.
    void compare(const std::vector<std::string> &options, const std::vector<std::string> &filters,
                 const std::string &zone) {
        std::vector<std::string> arguments = {"serve", "--listen", "127.0.0.1:0"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        PipedTool tool(root_, arguments);
        const std::string url = tool.nextLine();
        const std::vector<Json> items = answers(url, "items?after=1000", filters);
        const std::vector<Json> commands = answers(url, "command?", filters);
        ASSERT_EQ(items.size(), commands.size());
        for (size_t i = 0; i < items.size(); ++i) {
            ASSERT_TRUE(commands[i].contains("command")) << filters[i] << commands[i];
            const std::string command = commands[i]["command"];
            const bool areNamed =
                command.find("./-it") != std::string::npos && command.find("unit 1'") != std::string::npos;
            // Without a match the exit code is 1.
            const std::string printed = shell(
                "jorn() { " JORN_TOOL_COMMAND " \"$@\"; }\n" + command + " -o json 2>notes || true\n", zone);
            EXPECT_EQ(normalized(printed), itemsOf(items[i], areNamed)) << filters[i] << "\n" << command;
            EXPECT_EQ(read("notes").find("jorn: level"), std::string::npos) << read("notes");
        }
        EXPECT_EQ(tool.end(SIGINT), 0);
    }

    const std::vector<std::string> filters_ = {
        "",
        "&order=oldest",
        "&level=0",
        "&level=0,1",
        "&level=error&level=3",
        "&level=0..1",
        "&level=3..1&order=oldest",
        "&level=..1",
        "&level=..error",
        "&slot=2",
        "&slot=0,5&slot=7",
        "&since=%401700000060",
        "&until=2023-11-14%2022:14:30",
        "&since=2023-11-14&until=2023-11-15%2000:30",
        "&q=door",
        "&q=door&case=ignore",
        "&q=door&invert=1",
        "&q=door&case=ignore&invert=1&order=oldest",
        "&q=door&q=gate",
        "&q=^d..r&q=%5CQa.b&q=odd",
        "&q=%5CQa.b",
        "&q=it%27s%20%5C%24HOME%20%60",
        "&q=%22x%22",
        "&q=",
        "&q=&invert=1",
        "&q=%1B%5C[31m",
        "&q=%03%7C%0A%7C%25",
        "&q=h%C3%B6",
        "&q=%C2%85%7C%C2%9B%7Codd",
        "&log=unit%201",
        "&log=-it%27s,b",
        "&log=unit%201&log=-it%27s,b&order=oldest",
        "&log=-it%27s,b&level=..1&q=shut&since=2023-11-14",
        "&q=nothing",
    };
};

TEST_F(ShownCommandTest, Command_PlainServer_PrintsTheItemsOfEachFilter) {
    compare({"--", "unit 1", "-it's,b"}, filters_, "UTC");
}

TEST_F(ShownCommandTest, Command_ServerWithEveryOption_PrintsTheItemsOfEachFilter) {
    std::vector<std::string> filters = filters_;
    for (const std::string named : {"&level=error&slot=motor", "&slot=door,motor", "&level=debug..warning"}) {
        filters.push_back(named);
    }
    compare({"--utc", "--names", "names file", "--files", "5", "--poll", "--", "unit 1", "-it's,b"}, filters,
            "IST-05:30");
}

TEST_F(ShownCommandTest, Command_OneLog_PrintsTheItemsOfEachFilter) {
    compare({"--names=names file", "unit 1"}, {"", "&level=error", "&slot=motor&order=oldest", "&q=door"},
            "UTC");
}

TEST_F(ShownCommandTest, Command_OnATerminal_PrintsAllItemsToo) {
    std::string bytes;
    for (int i = 1; i <= 1100; ++i) {
        bytes += line(numberedText("n", i), kTime);
    }
    makeLog(bytes);
    serve();
    Setting setting;
    setting.variables = {{"JORN_PAGER", ""}, {"NO_COLOR", "1"}};
    for (const std::string order : {"newest", "oldest"}) {
        std::istringstream words(std::string(json("command", {{"order", order}})["command"]));
        const std::vector<std::string> all{std::istream_iterator<std::string>(words), {}};
        const Outcome run = runOnTerminal({all.begin() + 1, all.end()}, setting);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(linesOf(run.out).size(), 1100U) << order;
    }
}

TEST_F(ShownCommandTest, Command_BytesThatTerminalsObey_AreNotInIt) {
    serve({"unit 1"});
    const auto command = [&](const std::string &pattern) {
        return std::string(json("command", {{"q", pattern}})["command"]);
    };
    EXPECT_THAT(command("a\x03; date #"), HasSubstr(R"x( '--grep=a'"$(printf '\003')"'; date #' )x"));
    EXPECT_THAT(command("\x1b]\x7f"), HasSubstr(R"x( '--grep='"$(printf '\033')"']'"$(printf '\177')"'' )x"));
    EXPECT_THAT(command("\xc2\x9b"), HasSubstr(R"x('"$(printf '\302\233')"')x"));
    EXPECT_THAT(command("a\nb"), HasSubstr("'--grep=a\nb'"));
}

}  // namespace
}  // namespace test
