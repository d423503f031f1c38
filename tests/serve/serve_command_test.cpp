// SPDX-License-Identifier: Apache-2.0
// `jorn serve` as users run it, and the examples of its document.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

#include "served_ring.h"
#include "system/piped_tool.h"

namespace test {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr char kToken[] = "0123456789abcdef0123456789abcdef";

class ServeCommandTest : public ServeTest {
protected:
    ServeCommandTest() {
        makeLog(line("power on", kTime, 2, 5) + line("door open", kTime + 60, 0, 5));
        write("token", std::string(kToken) + "\n");
        chmod(path("token").c_str(), 0600);
    }

    /// What a shell command prints.
    std::string shell(const std::string &command) const {
        write("script", command + "\n");
        const std::string run = "cd '" + root_ + "' && timeout 60 sh script >out.txt 2>&1";
        const int status = system(run.c_str());
        return read("out.txt") + (status == 0 ? "" : "(failed)");
    }

    static std::string baseOf(const std::string &url) { return url.substr(0, url.find("/?")); }

    std::string get(const std::string &url, const std::string &target) const {
        return shell("curl -s -H 'Authorization: Bearer " + url.substr(url.find("token=") + 6) + "' '" +
                     baseOf(url) + target + "'");
    }
};

TEST_F(ServeCommandTest, Start_AnyPort_PrintsTheUrlAndAnswersUntilASignal) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        PipedTool tool(root_, {"serve", "--listen", "127.0.0.1:0", "--utc", "log"});
        const std::string url = tool.nextLine();
        EXPECT_THAT(url, MatchesRegex("http://127.0.0.1:[0-9]+/\\?token=[0-9a-f]+"));
        EXPECT_THAT(get(url, "/api/items?q=door"), HasSubstr("\"iso\":\"2023-11-14T22:14:20Z\""));
        EXPECT_THAT(get(url, "/"), HasSubstr("<html"));
        EXPECT_THAT(shell("curl -s '" + baseOf(url) + "/api/items'"), HasSubstr("the token is missing"));
        EXPECT_EQ(tool.end(number), 0);
    }
}

/// A field of a process in a file of its directory in /proc: what comes after its name.
std::string fieldOf(pid_t process, const std::string &file, const std::string &name) {
    std::ifstream stream("/proc/" + std::to_string(process) + "/" + file);
    std::string text((std::istreambuf_iterator<char>(stream)), {});
    const size_t begin = text.find(name);
    return begin == std::string::npos ? "" : text.substr(begin + name.size());
}

/// Waits for something that comes soon.
void waitUntil(const std::function<bool()> &hasCome) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!hasCome() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(hasCome());
}

TEST_F(ServeCommandTest, Stop_SecondSignal_EndsAtOnce) {
    std::string bytes;
    for (int i = 0; i < 100; ++i) {
        bytes += line(std::string(180, 'x'));
    }
    makeLog(bytes);
    PipedTool tool(root_, {"serve", "--listen", "127.0.0.1:0", "log"});
    const std::string url = tool.nextLine();
    // A search that does not look whether it is to end before it has looked at some items, each for long.
    std::string expression;
    for (int i = 0; i < 70; ++i) {
        expression += "(%3F:%5CC%3F)%7B1000%7D";
    }
    std::thread client([&] { get(url, "/api/items?q=" + expression + "%5Cx01"); });
    const auto ticksUsed = [&] {
        std::istringstream fields(fieldOf(tool.process(), "stat", ") "));
        std::string ignored;
        for (int i = 0; i < 11; ++i) {
            fields >> ignored;
        }
        long ticks = 0;
        fields >> ticks;
        return ticks;
    };
    waitUntil([&] { return ticksUsed() >= 20; });
    kill(tool.process(), SIGTERM);
    waitUntil([&] {
        const std::string blocked = fieldOf(tool.process(), "status", "SigBlk:\t").substr(0, 16);
        return (strtoull(blocked.c_str(), nullptr, 16) >> (SIGTERM - 1) & 1) == 0;
    });
    EXPECT_EQ(tool.end(SIGTERM), 128 + SIGTERM);
    client.join();
}

TEST_F(ServeCommandTest, Start_AddressThatOthersReach_IsNoted) {
    const auto noteAt = [&](const std::string &address) {
        PipedTool tool(root_, {"serve", "--listen", address, "log"});
        tool.nextLine();
        EXPECT_EQ(tool.end(SIGTERM), 0);
        return tool.restOfNotes();
    };
    EXPECT_EQ(noteAt("0.0.0.0:0"),
              "jorn: note: other machines can reach this address; nothing is encrypted\n");
    EXPECT_EQ(noteAt("127.0.0.2:0"), "");
    EXPECT_EQ(noteAt("localhost:0"), "");
}

/// A value of an environment variable for as long as it lives.
class Environment {
public:
    Environment(const std::string &name, const std::string &value)
        : name_(name), former_(getenv(name.c_str()) != nullptr ? getenv(name.c_str()) : "") {
        setenv(name.c_str(), value.c_str(), 1);
    }
    ~Environment() { setenv(name_.c_str(), former_.c_str(), 1); }
    Environment(const Environment &) = delete;
    Environment &operator=(const Environment &) = delete;

private:
    std::string name_;
    std::string former_;
};

class OpenedPageTest : public ServeCommandTest {
protected:
    OpenedPageTest() { makeDirectory("bin"); }

    /// What opens pages here: it keeps what it was given, and how.
    void makeOpener() const {
        write("bin/xdg-open",
              "#!/bin/bash\n"  // Unlike other shells, it holds back what it was started with.
              "printf '%s\\n' \"$@\" >arguments\n"
              "env >environment\n"
              "grep -E '^Sig(Blk|Ign)' /proc/self/status >signals\n"
              "stat -c %a \"$1\" \"${1%/*}\" >modes\n"
              "echo $$ $(cut -d ' ' -f 6 /proc/$$/stat) >session\n"
              "cat \"$1\" >page\n"
              "mv page opened\n");
        chmod(path("bin/xdg-open").c_str(), 0700);
    }

    /// Waits until a condition holds, but not for ever.
    static bool comesTrue(const std::function<bool()> &condition) {
        constexpr int kTries = 20000;
        for (int tries = 0; tries < kTries && !condition(); ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return condition();
    }

    std::vector<std::string> linesIn(const std::string &name) const { return linesOf(read(name)); }

    const Environment path_{"PATH", path("bin") + ":" + getenv("PATH")};
};

TEST_F(OpenedPageTest, Open_ByAPrivateFile_LeadsToTheUrlAndShowsTheTokenToNobody) {
    makeOpener();
    makeDirectory("run");
    const Environment base("XDG_RUNTIME_DIR", path("run"));
    PipedTool tool(root_, {"serve", "--open", "--listen", "127.0.0.1:0", "log"});
    const std::string url = tool.nextLine();
    const std::string token = url.substr(url.find("token=") + 6);
    ASSERT_TRUE(comesTrue([&] { return exists("opened"); }));
    const std::vector<std::string> arguments = linesIn("arguments");
    EXPECT_THAT(arguments[0], MatchesRegex(path("run") + "/jorn-serve-[A-Za-z0-9]{6}/page.html"));
    EXPECT_EQ(arguments.size(), 1U);
    EXPECT_EQ(read("environment").find(token), std::string::npos);
    EXPECT_THAT(read("opened"), HasSubstr("<meta http-equiv=\"refresh\" content=\"0;url=" + url + "\">"));
    EXPECT_EQ(read("modes"), "600\n700\n");
    // SIGPIPE, the 13th signal, as everything expects it, and none held back.
    EXPECT_THAT(read("signals"), MatchesRegex("SigBlk:\t0+\nSigIgn:\t[0-9a-f]+[02468ace][0-9a-f]{3}\n"));
    // Of a session of its own, which no key pressed at the server ends; and nothing is left of it when it
    // ends.
    const std::string opener = read("session").substr(0, read("session").find(' '));
    EXPECT_EQ(read("session"), opener + " " + opener + "\n");
    EXPECT_TRUE(comesTrue([&] { return !std::filesystem::exists("/proc/" + opener); }));
    EXPECT_TRUE(std::filesystem::exists(arguments[0]));
    EXPECT_EQ(tool.end(SIGTERM), 0);
    EXPECT_TRUE(std::filesystem::is_empty(path("run")));
}

TEST_F(OpenedPageTest, Open_NoRuntimeDirectory_UsesThatOfTemporaryFiles) {
    makeOpener();
    makeDirectory("temporary");
    const Environment base("XDG_RUNTIME_DIR", path("nowhere"));
    const Environment temporary("TMPDIR", path("temporary"));
    PipedTool tool(root_, {"serve", "--open", "--listen", "127.0.0.1:0", "log"});
    tool.nextLine();
    ASSERT_TRUE(comesTrue([&] { return exists("opened"); }));
    EXPECT_THAT(linesIn("arguments")[0], StartsWith(path("temporary") + "/jorn-serve-"));
    EXPECT_EQ(read("modes"), "600\n700\n");
    EXPECT_EQ(tool.end(SIGTERM), 0);
    EXPECT_TRUE(std::filesystem::is_empty(path("temporary")));
}

TEST_F(OpenedPageTest, Open_NothingThatOpensPages_IsNotedAndServed) {
    const Environment none("PATH", path("bin"));
    const Environment base("XDG_RUNTIME_DIR", root_);
    PipedTool tool(root_, {"serve", "--open", "--listen", "127.0.0.1:0", "log"});
    tool.nextLine();
    EXPECT_EQ(tool.nextNote(), "jorn: note: cannot open the page: xdg-open: No such file or directory");
    EXPECT_EQ(tool.end(SIGTERM), 0);
}

TEST_F(OpenedPageTest, Open_NoPlaceForTheFile_IsNotedAndServed) {
    makeOpener();
    const Environment base("XDG_RUNTIME_DIR", "");
    const Environment temporary("TMPDIR", path("nowhere"));
    PipedTool tool(root_, {"serve", "--open", "--listen", "127.0.0.1:0", "log"});
    tool.nextLine();
    EXPECT_EQ(tool.nextNote(), "jorn: note: cannot open the page: " + path("nowhere") +
                                   "/jorn-serve-XXXXXX: No such file or directory");
    EXPECT_EQ(tool.end(SIGTERM), 0);
    EXPECT_FALSE(exists("opened"));
}

TEST_F(ServeCommandTest, Start_UsualPortIsTaken_TakesTheNextThatIsFree) {
    PipedTool first(root_, {"serve", "log"});
    const std::string one = baseOf(first.nextLine());
    PipedTool second(root_, {"serve", "log"});
    const std::string two = baseOf(second.nextLine());
    const int port = std::stoi(one.substr(one.rfind(':') + 1));
    const int next = std::stoi(two.substr(two.rfind(':') + 1));
    EXPECT_GE(port, 8642);
    EXPECT_GT(next, port);
    EXPECT_LT(next, 8742);
    EXPECT_EQ(first.end(SIGINT), 0);
    EXPECT_EQ(second.end(SIGINT), 0);
}

TEST_F(ServeCommandTest, Start_GivenPortIsTaken_FailsWith4) {
    PipedTool first(root_, {"serve", "--listen", "127.0.0.1:0", "log"});
    const std::string address = baseOf(first.nextLine()).substr(7);
    const Outcome second = jorn({"serve", "--listen", address, path("log")});
    EXPECT_EQ(second.status, 4);
    EXPECT_EQ(second.out, "");
    EXPECT_EQ(second.err, "jorn: " + address + ": Address already in use\n");
}

TEST_F(ServeCommandTest, Start_BadArguments_SayWhatIsWrong) {
    const auto outcome = [&](const std::vector<std::string> &words) {
        std::vector<std::string> all = {"serve"};
        all.insert(all.end(), words.begin(), words.end());
        const Outcome got = jorn(all);
        return std::to_string(got.status) + " " + got.err;
    };
    const std::string log = path("log");
    for (const std::string listen :
         {"8642", ":1", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:x", "::1:80", "[]:1"}) {
        EXPECT_EQ(
            outcome({"--listen", listen, log}),
            "2 jorn: --listen: '" + listen + "' is not ADDRESS:PORT, such as 127.0.0.1:8642 or [::1]:0\n");
    }
    EXPECT_THAT(outcome({"--listen", "no.such.host.invalid:0", log}),
                StartsWith("4 jorn: no.such.host.invalid:0"));
    EXPECT_THAT(outcome({path("none")}), StartsWith("4 jorn: " + path("none")));
    makeDirectory("empty");
    EXPECT_THAT(outcome({path("empty")}), StartsWith("2 jorn: " + path("empty") + ": no log here"));
    EXPECT_THAT(outcome({"--files", "1", log}), StartsWith("2 "));
    EXPECT_EQ(jorn({"serve"}).status, 2);
    chmod(path("token").c_str(), 0644);
    EXPECT_EQ(
        outcome({"--token-file", path("token"), log}),
        "2 jorn: " + path("token") + ": other users can access this token; run chmod 600 on the file\n");
}

TEST_F(ServeCommandTest, Follow_ManyLogsWithLongNames_GoesOnFromThePosition) {
    std::vector<std::string> arguments = {"serve", "--listen", "127.0.0.1:0"};
    for (int i = 0; i < 200; ++i) {
        const std::string name = "unit" + std::to_string(i) + "/door-controller";
        std::filesystem::create_directories(path(name));
        makeLog(line("one"), name);
        arguments.push_back(name);
    }
    PipedTool tool(root_, arguments);
    const std::string url = tool.nextLine();
    const std::string position = Json::parse(get(url, "/api/items?after=0"))["position"];
    EXPECT_GT(position.size(), 8192U);
    append(0, line("two"), "unit7/door-controller");
    const std::string ask = "timeout 2 curl -sN -H 'Authorization: Bearer " +
                            url.substr(url.find("token=") + 6) + "' '" + baseOf(url) + "/api/stream";
    const auto isSent = HasSubstr("\"text\":\"two\"");
    EXPECT_THAT(shell(ask + "?position=" + position + "' | grep -m1 two"), isSent);
    EXPECT_THAT(shell(ask + "' -H 'Last-Event-ID: " + position + "' | grep -m1 two"), isSent);
    for (int i = 200; i < 300; ++i) {
        const std::string name = "unit" + std::to_string(i) + "/door-controller";
        std::filesystem::create_directories(path(name));
        makeLog("", name);
        arguments.push_back(name);
    }
    Setting here;
    here.directory = root_;
    const Outcome refused = jorn(arguments, here);
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(
        refused.err,
        "jorn: too many logs for one server: a position in all of them would take 17890 bytes, more than the "
        "16384 that a request can carry\n");
}

TEST_F(ServeCommandTest, Start_NotEnoughThreads_FailsWith4) {
    if (JORN_IS_SLOW) {
        GTEST_SKIP() << "memory cannot be limited here";
    }
    std::vector<std::string> arguments = {"serve", "--listen", "127.0.0.1:0"};
    for (int i = 0; i < 100; ++i) {
        const std::string name = "log" + std::to_string(i);
        makeLog(line("one"), name);
        arguments.push_back(path(name));
    }
    Setting setting;
    setting.memoryLimit = uint64_t{500} << 20;  // The stack of a thread takes 8 MiB of addresses.
    const Outcome run = jorn(arguments, setting);
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "jorn: cannot watch 100 logs: Resource temporarily unavailable\n");
}

TEST_F(ServeCommandTest, TokenFile_KeepsTheUrlAndIsNotShownElsewhere) {
    PipedTool tool(root_, {"serve", "--token-file", "token", "--listen", "127.0.0.1:0", "log"});
    const std::string url = tool.nextLine();
    EXPECT_THAT(url, MatchesRegex("http://127.0.0.1:[0-9]+/\\?token=" + std::string(kToken)));
    std::ifstream arguments("/proc/" + std::to_string(tool.process()) + "/cmdline");
    std::stringstream words;
    words << arguments.rdbuf();
    EXPECT_THAT(words.str(), HasSubstr("--token-file=token"));
    EXPECT_EQ(words.str().find(kToken), std::string::npos);
    EXPECT_THAT(get(url, "/api/logs"), HasSubstr("\"items\":2"));
    EXPECT_EQ(tool.end(SIGTERM), 0);
}

TEST_F(ServeCommandTest, Follow_RecorderBesideIt_SendsItsItemsAndEndsInOrder) {
    PipedTool tool(root_, {"serve", "--listen", "127.0.0.1:0", "log"});
    const std::string url = tool.nextLine();
    const std::string stream = "curl -sN -H 'Authorization: Bearer " + url.substr(url.find("token=") + 6) +
                               "' '" + baseOf(url) + "/api/stream?q=new' > stream.txt & ";
    // The recorder begins when the stream has, and the server is stopped when the item has come.
    const std::string script = stream +
                               "while ! grep -qs '^event: change' stream.txt; do sleep 0.01; done; " +
                               "echo new item | " JORN_TOOL_COMMAND " record --files 10 log; " +
                               "while ! grep -qs 'new item' stream.txt; do sleep 0.01; done; kill -INT " +
                               std::to_string(tool.process()) + "; wait";
    EXPECT_EQ(shell(script), "");
    EXPECT_EQ(tool.end(), 0);
    const std::vector<std::string> lines = linesOf(read("stream.txt"));
    EXPECT_EQ(lines.at(0), "event: change");
    // The end of the first check may be reported before it.
    const auto items = std::find(lines.begin(), lines.end(), "event: items");
    ASSERT_GE(lines.end() - items, 3);
    EXPECT_THAT(items[2], HasSubstr("\"text\":\"new item\""));
}

TEST_F(ServeCommandTest, Directory_WhileServed_IsNotChanged) {
    const std::string before = stateOf(path("log"));
    PipedTool tool(root_, {"serve", "--listen", "127.0.0.1:0", "log"});
    const std::string url = tool.nextLine();
    get(url, "/api/items?q=door");
    get(url, "/api/download");
    while (get(url, "/api/logs").find("checking") != std::string::npos) {
    }
    EXPECT_EQ(tool.end(SIGINT), 0);
    EXPECT_EQ(stateOf(path("log")), before);
}

/// The shell commands in the document's blocks, each with what follows it up to the next one.
std::vector<std::pair<std::string, std::string>> examplesIn(const std::string &path) {
    std::ifstream file(path);
    std::vector<std::pair<std::string, std::string>> examples;
    bool isInBlock = false;
    for (std::string text; std::getline(file, text);) {
        if (text.compare(0, 3, "```") == 0) {
            isInBlock = text == "```console";
        } else if (isInBlock && text.compare(0, 2, "$ ") == 0) {
            examples.emplace_back(text.substr(2), "");
        } else if (isInBlock && !examples.empty()) {
            examples.back().second += text + "\n";
        }
    }
    return examples;
}

TEST_F(ServeCommandTest, Document_Examples_PrintWhatItSays) {
    makeLog(line("power on", kTime, 2, 5) + line("door open", kTime + 60, 0, 5) +
                line("door shut", kTime + 3600, 1, 5),
            "door");
    write("door/jorn.names", "[levels]\n0 = error\n1 = warning\n");
    PipedTool tool(root_, {"serve", "--token-file", "token", "--utc", "--listen", "127.0.0.1:0", "door"});
    const std::string url = tool.nextLine();
    const std::string base = baseOf(url);
    // A check that ends makes a new revision.
    while (get(url, "/api/logs").find("checking") != std::string::npos) {
    }
    const auto examples = examplesIn(JORN_SERVE_DOCUMENT);
    EXPECT_GE(examples.size(), 8U);
    for (const auto &[command, expected] : examples) {
        std::string here = command;
        const std::string shown = "http://127.0.0.1:8642";
        const size_t at = here.find(shown);
        ASSERT_NE(at, std::string::npos) << command;
        here.replace(at, shown.size(), base);
        EXPECT_EQ(shell("TOKEN=" + std::string(kToken) + "; " + here), expected) << command;
    }
}

}  // namespace
}  // namespace test
