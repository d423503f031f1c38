// SPDX-License-Identifier: Apache-2.0
// Every command over any kind of directory: what it must not take, and must not change.
#ifndef JORN_TESTS_SYSTEM_DIRECTORY_MATRIX_H
#define JORN_TESTS_SYSTEM_DIRECTORY_MATRIX_H

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "damaged_log.h"

namespace test {

/// Where an instruction costs ten or more, a file has to be shorter to be read in the same time.
inline constexpr int64_t kSparseSize = JORN_IS_SLOW ? int64_t{16} << 20 : int64_t{1} << 30;

class DirectoryMatrixTest;

/// Exit codes by kind of command: those that read items, `check`, and `repair` without --yes.
struct Verdicts {
    int reading;
    int checking;
    int repairing;
};

/// A directory, or what is in its place.
struct Kind {
    const char *name;
    Verdicts verdicts;
    const char *named;  ///< What messages with an exit code above 2 contain besides DIR; may be empty.
    std::function<void(const DirectoryMatrixTest &)> make;
    bool obeysPermissions = false;  ///< Even when root runs the tests.
};

struct Command {
    const char *name;
    std::vector<std::string> arguments;  ///< Before DIR.
    int Verdicts::*verdict;
    bool isOutputEscaped;    ///< Otherwise the items' bytes pass unchanged.
    bool isWaiting = false;  ///< Waits for a missing DIR: here without end.
};

inline const std::vector<Command> &commands() {
    static const std::vector<Command> all = [] {
        std::vector<Command> list = {
            {"show a page", {"show", "--page", "1", "--escape"}, &Verdicts::reading, true},
            {"show all", {"show"}, &Verdicts::reading, false},
            {"count a slot's", {"count", "-s", "2", "-S", "@1", "-o", "json"}, &Verdicts::reading, true},
            {"stats", {"stats", "--disk-usage"}, &Verdicts::reading, true},
            {"export", {"export"}, &Verdicts::reading, false},
            {"follow to a time", {"follow", "--escape", "-U", "@1700000009"}, &Verdicts::reading, true, true},
            {"check", {"check"}, &Verdicts::checking, true},
            {"repair", {"repair"}, &Verdicts::repairing, true},
        };
        const std::vector<Command> variants = {
            {"show a page of some",
             {"show", "--page", "1", "--escape", "-s", "2", "-s", "5"},
             &Verdicts::reading,
             true},
            {"show the newest", {"show", "-n", "25", "--escape"}, &Verdicts::reading, true},
            {"show all as JSON", {"show", "-r", "-o", "json", "--escape"}, &Verdicts::reading, true},
            {"count", {"count"}, &Verdicts::reading, true},
            {"stats as JSON", {"stats", "-o", "json"}, &Verdicts::reading, true},
            {"export as CSV", {"export", "-o", "csv"}, &Verdicts::reading, false},
            {"export as syslog", {"export", "-o", "syslog"}, &Verdicts::reading, false},
            {"check as JSON", {"check", "-o", "json"}, &Verdicts::checking, true},
        };
        if (!JORN_IS_SLOW) {
            list.insert(list.end(), variants.begin(), variants.end());
        }
        return list;
    }();
    return all;
}

/// Time and memory that no command needs, whatever it is given; sanitizers take a multiple of both.
inline constexpr rlim_t kMostSeconds = 100;
inline constexpr long kMostKibibytes = JORN_IS_SLOW ? 1024 * 1024 : 48 * 1024;

class DirectoryMatrixTest : public DamagedLogTest, public ::testing::WithParamInterface<int> {
public:
    using DamagedLogTest::age;
    using DamagedLogTest::fileName;
    using DamagedLogTest::items;
    using DamagedLogTest::makeDirectory;
    using DamagedLogTest::path;
    using DamagedLogTest::write;
    using DamagedLogTest::writeFiles;
    using DamagedLogTest::writeIndex;

    /// Three files of ten items.
    void writeLog() const {
        writeFiles({0, 1, 2});
        writeIndex("0,2");
    }

    /// A log with one entry removed, to be made anew.
    void writeLogWithout(const std::string &name) const {
        writeLog();
        std::filesystem::remove(path("log/" + name));
    }

    void makePipe(const std::string &name) const { ASSERT_EQ(mkfifo(path(name).c_str(), 0600), 0); }

    void makeLink(const std::string &target, const std::string &name) const {
        std::filesystem::create_symlink(target, path(name));
    }

    void makeSocket(const std::string &name) const {
        const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ASSERT_GE(socket, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path(name).copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        close(socket);
    }

    void permit(const std::string &name, mode_t mode) const { ASSERT_EQ(chmod(path(name).c_str(), mode), 0); }

protected:
    ~DirectoryMatrixTest() override {
        std::error_code ignored;
        std::filesystem::permissions(path("log"), std::filesystem::perms::owner_all, ignored);
    }

    /// Sets times long past, for what is reported about the newest file.
    void makeOld() const {
        const timespec longAgo[2] = {{kFirstTime, 0}, {kFirstTime + 1, 0}};
        for (const std::string &name : names()) {
            utimensat(AT_FDCWD, name.c_str(), longAgo, AT_SYMLINK_NOFOLLOW);
        }
    }

    void expectOutcome(const Kind &kind, const Command &command, const std::string &before) const {
        SCOPED_TRACE(std::string(command.name) + " on " + kind.name);
        std::vector<std::string> arguments = command.arguments;
        arguments.emplace_back("log");
        Setting setting;
        setting.variables = {{"TZ", "UTC"}, {"LC_ALL", "C"}};
        setting.obeysPermissions = kind.obeysPermissions;
        setting.processorSeconds = kMostSeconds;
        setting.isMeasured = true;
        const Outcome run = jorn(arguments, setting);
        const bool hasWaited = command.isWaiting && !std::filesystem::exists(path("log"));
        EXPECT_EQ(run.status, hasWaited ? 0 : kind.verdicts.*command.verdict) << run.out << run.err;
        EXPECT_GT(run.peakKibibytes, 0);
        EXPECT_LT(run.peakKibibytes, kMostKibibytes);
        if (run.status > 2) {
            EXPECT_THAT(run.out + run.err, ::testing::HasSubstr("log"));
            // `repair` refers to `check` for what is in its way.
            EXPECT_THAT(run.out + run.err,
                        ::testing::HasSubstr(command.verdict == &Verdicts::repairing ? "log" : kind.named));
        }
        expectNoControls(run.err);
        expectNoControls(command.isOutputEscaped ? run.out : "");
        EXPECT_TRUE(namesAndTimes() == before) << before << namesAndTimes();
    }

    static void expectNoControls(const std::string &text) {
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            ASSERT_TRUE(c == '\n' || (byte >= ' ' && byte != 0x7f && byte < 0x80)) << text;
        }
    }

    /// Names and times of DIR and all that is in it.
    std::string namesAndTimes() const {
        std::ostringstream state;
        for (const std::string &name : names()) {
            struct stat status = {};
            if (lstat(name.c_str(), &status) == 0) {
                state << name << ' ' << status.st_ino << ' ' << status.st_mode << ' ' << status.st_size;
                for (const timespec &time : {status.st_mtim, status.st_ctim}) {
                    state << ' ' << time.tv_sec << '.' << time.tv_nsec;
                }
                state << '\n';
            }
        }
        return state.str();
    }

    /// The bytes of all files that are not of extreme size, in the order of their names.
    std::string contents() const {
        std::string all;
        for (const std::string &name : names()) {
            struct stat status = {};
            if (lstat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size < 1 << 20) {
                std::array<char, 1 << 20> bytes;
                const int file = open(name.c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC);
                const ssize_t length = ::read(file, bytes.data(), bytes.size());
                all.append(bytes.data(), static_cast<size_t>(std::max<ssize_t>(length, 0)));
                close(file);
            }
        }
        return all;
    }

private:
    std::vector<std::string> names() const {
        std::vector<std::string> all = {path("log")};
        std::error_code unreadable;
        for (const auto &entry : std::filesystem::directory_iterator(path("log"), unreadable)) {
            all.push_back(entry.path().string());
        }
        std::sort(all.begin(), all.end());
        return all;
    }
};

}  // namespace test

#endif
