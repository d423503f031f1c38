// SPDX-License-Identifier: Apache-2.0
// The server of `jorn serve`, which starts it.
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Error.hpp>
#include <CLI/Formatter.hpp>
#include <array>
#include <chrono>
#include <iostream>
#include <memory>
#include <system_error>
#include <thread>

#include "diagnostics.h"
#include "http/access.h"
#include "http/http_server.h"
#include "live/change_watch.h"
#include "merge/log_names.h"
#include "options/serve_options.h"
#include "query/near_logs.h"
#include "serve/api.h"
#include "serve/first_look.h"
#include "serve/served_logs.h"
#include "serve/site.h"
#include "system/descriptor.h"
#include "system/failure.h"
#include "system/stop_signals.h"
#include "terminal/number_text.h"
#include "terminal/time_text.h"

namespace tool {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr char kDefaultAddress[] = "127.0.0.1";
constexpr int kDefaultPort = 8642;
constexpr int kPortsTried = 100;
constexpr int kPortLimit = 65536;

struct Address {
    std::string host = kDefaultAddress;
    int port = kDefaultPort;
    bool isGiven = false;
};

Address addressOf(const std::string &text) {
    Address address;
    if (text.empty()) {
        return address;
    }
    const size_t colon = text.rfind(':');
    const std::optional<int> port =
        colon == std::string::npos ? std::nullopt : numberBelow(text.substr(colon + 1), kPortLimit);
    std::string host = text.substr(0, std::min(colon, text.size()));
    const bool isBracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    host = isBracketed ? host.substr(1, host.size() - 2) : host;
    if (!port || host.empty() || (!isBracketed && host.find_first_of(":[]") != std::string::npos)) {
        refuse("--listen: '" + text + "' is not ADDRESS:PORT, such as 127.0.0.1:8642 or [::1]:0");
    }
    return {host, *port, true};
}

/// Opens the port that was asked for, or the first free one from the usual one on; which it is.
int openPort(HttpServer *server, const Address &address) {
    for (int port = address.port; port < address.port + kPortsTried; ++port) {
        const int opened = server->open(address.host, port);
        if (opened >= 0) {
            return opened;
        }
        if (address.isGiven || errno != EADDRINUSE) {
            break;
        }
    }
    const std::string name = bracketed(address.host) + ":" + std::to_string(address.port);
    throw errno != 0 ? systemFailure(name, errno) : Failure(name + ": cannot listen there");
}

/// Following a log goes on from a position, which has to fit in a request.
void requirePositions(const std::vector<std::string> &names) {
    const size_t bytes = StreamPosition::mostBytesFor(names);
    if (bytes > StreamPosition::kMostBytes) {
        refuse("too many logs for one server: a position in all of them would take " + std::to_string(bytes) +
               " bytes, more than the " + std::to_string(StreamPosition::kMostBytes) +
               " that a request can carry");
    }
}

std::vector<ServedLog> logsOf(const ServeOptions &options) {
    refuseSameDirectory(options.directories);
    const std::vector<std::string> names = distinctLogNames(options.directories);
    requirePositions(names);
    std::vector<ServedLog> logs;
    for (size_t i = 0; i < names.size(); ++i) {
        const StoreDirectory directory = StoreDirectory::openForReading(options.directories[i]);
        requireLog(directory);
        ServedLog log;
        log.name = names[i];
        log.path = options.directories[i];
        log.ringSize = options.files;
        try {
            log.names = !options.namesFile.empty() ? readNames(options.namesFile)
                                                   : namesBeside(directory).value_or(Names{});
        } catch (const Failure &failure) {
            if (!options.namesFile.empty()) {
                throw;
            }
            printMessage("note: " + std::string(failure.what()) + "; no names are used");
        }
        logs.push_back(std::move(log));
    }
    return logs;
}

/// Waits for a signal; true when one has come.
bool waitForStop(const StopSignals &signals, milliseconds longest) {
    pollfd signal = {signals.descriptor(), POLLIN, 0};
    return poll(&signal, 1, static_cast<int>(longest.count())) > 0;
}

/// Looks at a log whenever it changes, until a signal comes or the logs are stopped.
void watchLog(ServedLogs *logs, size_t log, const StopSignals &signals, bool isPolling) {
    constexpr milliseconds kLeastPause(20);
    ChangeWatch watch({logs->now()->logs[log]->log->path}, signals, isPolling, ChangeWatch::Reader::Ignored);
    for (;;) {
        watch.arm();
        const bool isSeen = logs->refresh(log);
        const bool isMissing = logs->now()->logs[log]->isMissing;
        // A writer that appends all the time is looked at now and then.
        if (logs->isStopped() || waitForStop(signals, kLeastPause) ||
            watch.wait(!isSeen || isMissing, std::nullopt) == ChangeWatch::Reason::Stop) {
            return;
        }
    }
}

/// Checks each log that has changed since its last check, now and then.
void checkLogs(ServedLogs *logs, const StopSignals &signals) {
    constexpr milliseconds kBetweenChecks(20000);
    constexpr milliseconds kBeforeTheFirst(
        2000);  // For a page that is opened at once: a check reads everything.
    if (waitForStop(signals, kBeforeTheFirst)) {
        return;
    }
    for (;;) {
        for (size_t log = 0; log < logs->now()->logs.size() && !signals.hasCome(); ++log) {
            logs->check(log);
        }
        if (waitForStop(signals, kBetweenChecks)) {
            return;
        }
    }
}

/// A text as it stands in HTML, within quotes too.
std::string markup(const std::string &text) {
    std::string html;
    for (const char c : text) {
        html += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '"' ? "&quot;" : std::string(1, c);
    }
    return html;
}

/// A page that leads to a URL, in a directory that only its owner may enter. Browsers are given this instead:
/// their command lines are shown to every user of the machine, and the URL holds the token.
class EntryPage {
public:
    /// Throws Failure.
    explicit EntryPage(const std::string &url)
        : directory_(newDirectory()), path_(directory_ + "/page.html") {
        const std::string html =
            "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>jorn serve</title>"
            "<meta name=\"referrer\" content=\"no-referrer\"><meta http-equiv=\"refresh\" content=\"0;url=" +
            markup(url) + "\"></head>\n<body><p><a href=\"" + markup(url) +
            "\">To the page of jorn serve</a></p></body></html>\n";
        const Descriptor file(
            open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!file.isOpen() ||
            write(file.get(), html.data(), html.size()) != static_cast<ssize_t>(html.size())) {
            const int error = errno;
            remove();
            throw systemFailure(path_, error);
        }
    }
    ~EntryPage() { remove(); }
    EntryPage(const EntryPage &) = delete;
    EntryPage &operator=(const EntryPage &) = delete;

    const std::string &path() const { return path_; }

private:
    /// In the user's own directory for such files, or in that of all temporary files.
    static std::string newDirectory() {
        const char *const temporary = getenv("TMPDIR");
        const char *const own = getenv("XDG_RUNTIME_DIR");
        const std::string usual = temporary != nullptr && temporary[0] == '/' ? temporary : "/tmp";
        std::string name = std::string(own != nullptr ? own : "") + kNameForm;
        if (own != nullptr && own[0] == '/' && mkdtemp(name.data()) != nullptr) {
            return name;
        }
        name = usual + kNameForm;
        if (mkdtemp(name.data()) == nullptr) {
            throw systemFailure(usual + kNameForm, errno);
        }
        return name;
    }

    void remove() const {
        unlink(path_.c_str());
        rmdir(directory_.c_str());
    }

    static constexpr char kNameForm[] = "/jorn-serve-XXXXXX";

    const std::string directory_;
    const std::string path_;
};

/// Starts whatever opens pages here, in a session of its own, so that a signal from the keyboard does not end
/// it, and with no signal held back or ignored. Throws Failure.
void startOpener(const std::string &path) {
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    std::string program = "xdg-open";
    std::string argument = path;
    const std::array<char *, 3> words = {program.data(), argument.data(), nullptr};
    pid_t child = 0;
    const int error = posix_spawnp(&child, program.c_str(), nullptr, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        throw systemFailure(program, error);
    }
}

/// Opens the page in the browser; what it returns is to be kept until the server ends. A page that cannot be
/// opened is noted.
std::unique_ptr<EntryPage> openPage(const std::string &url) {
    // The opener is not waited for.
    struct sigaction unwaited = {};
    unwaited.sa_handler = SIG_DFL;
    unwaited.sa_flags = SA_NOCLDWAIT;
    sigaction(SIGCHLD, &unwaited, nullptr);
    try {
        auto page = std::make_unique<EntryPage>(url);
        startOpener(page->path());
        return page;
    } catch (const Failure &failure) {
        printMessage("note: cannot open the page: " + std::string(failure.what()));
        return nullptr;
    }
}

/// Threads that end when a signal comes. Throws Failure when they cannot be made.
class Watchers {
public:
    Watchers(ServedLogs *logs, const StopSignals &signals, bool isPolling) {
        const size_t count = logs->now()->logs.size();
        try {
            for (size_t log = 0; log < count; ++log) {
                threads_.emplace_back([=, &signals] { watchLog(logs, log, signals, isPolling); });
            }
            threads_.emplace_back([=, &signals] { checkLogs(logs, signals); });
        } catch (const std::system_error &error) {
            logs->stop();
            joinAll();
            throw systemFailure("cannot watch " + std::to_string(count) + " logs", error.code().value());
        }
    }
    ~Watchers() { joinAll(); }
    Watchers(const Watchers &) = delete;
    Watchers &operator=(const Watchers &) = delete;

private:
    void joinAll() {
        for (std::thread &thread : threads_) {
            thread.join();
        }
    }

    std::vector<std::thread> threads_;
};

void announce(const std::string &url, const HttpServer &server) {
    if (server.isReachedFromElsewhere()) {
        printMessage("note: other machines can reach this address; nothing is encrypted");
    }
    std::cout << url << std::endl;
    if (!std::cout) {
        throw systemFailure("standard output", errno);
    }
}

/// Lets nobody wait for logs that are not read after all.
class LookGuard {
public:
    explicit LookGuard(FirstLook *look) : look_(*look) {}
    ~LookGuard() { look_.giveUp(); }
    LookGuard(const LookGuard &) = delete;
    LookGuard &operator=(const LookGuard &) = delete;

private:
    FirstLook &look_;
};

int serve(const ServeOptions &options) {
    if (options.isUtc) {
        useUtc();
    }
    tzset();
    jorn_SetDebugPrintLevel(0);  // The module's parser prints on standard output.
    const Address address = addressOf(options.listen);
    const std::string token = options.tokenFile.empty() ? newToken() : tokenFrom(options.tokenFile);
    ServedLogs logs(logsOf(options));
    StopSignals signals;
    Api api(&logs, {JORN_VERSION, {options.isUtc, options.namesFile}});
    FirstLook look;
    std::unique_ptr<Site> site;
    HttpServer server({[&site](const WebRequest &request) { return site->answer(request); },
                       [](const WebRequest &request) { return Api::kindOf(request.path); }});
    const int port = openPort(&server, address);
    site = std::make_unique<Site>(Access({token, address.host, port}), &api, &look, pageFiles());
    const LookGuard guard(&look);
    server.start();
    const std::string url =
        "http://" + bracketed(address.host) + ":" + std::to_string(port) + "/?token=" + token;
    announce(url, server);
    const std::unique_ptr<EntryPage> entry = options.isOpened ? openPage(url) : nullptr;
    // While the browser starts and loads the page.
    logs.refreshAll();
    look.end();
    {
        const Watchers watchers(&logs, signals, options.isPolling);
        pollfd signal = {signals.descriptor(), POLLIN, 0};
        while (poll(&signal, 1, -1) < 0 && errno == EINTR) {
        }
        logs.stop();
    }
    signals.accept();  // Whatever the server still waits for, the next signal ends it.
    server.stop();
    return kExitDone;
}

int run(int argc, char **argv) {
    signal(SIGPIPE, SIG_IGN);
    CLI::App app("Shows logs in a browser; jorn serve starts it.", "jorn serve");
    ServeOptions options;
    addServeOptions(&app, &options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? kExitDone : kExitUsage;
    }
    return serve(options);
}

}  // namespace
}  // namespace tool

int main(int argc, char **argv) {
    try {
        return tool::run(argc, argv);
    } catch (const tool::Failure &failure) {
        tool::printMessage(failure.what());
        return failure.exitCode();
    } catch (const std::exception &error) {
        tool::printMessage(error.what());
        return tool::kExitInputOutput;
    }
}
