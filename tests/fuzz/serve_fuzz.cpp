// SPDX-License-Identifier: Apache-2.0
// The server of the page over the bytes of connections, without sockets: every answer is whole and has the
// headers that protect, nobody without the token gets anything of the log, no request makes the server fail,
// and what is said to be JSON is.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "fuzz/byte_reader.h"
#include "fuzz/finding.h"
#include "http/access.h"
#include "http/http_server.h"
#include "serve/api.h"
#include "serve/site.h"

namespace fuzz {
namespace {

constexpr char kToken[] = "0123456789abcdef0123456789abcdef";
constexpr char kSecret[] = "only in the log";

/// A log in a directory that goes with the process.
class Log {
public:
    Log() {
        char name[] = "/tmp/jorn-fuzz-serve-XXXXXX";
        expectThat(mkdtemp(name) != nullptr, "a directory can be made");
        path_ = name;
        std::ofstream(path_ + "/index.csv") << "version:1\n0,1\n";
        std::ofstream first(path_ + "/0.csv");
        for (int i = 0; i < 300; ++i) {
            first << 1700000000 + i << "," << i % 4 << "," << i % 8 << "," << kSecret << " " << i << "\n";
        }
        std::ofstream(path_ + "/1.csv") << "1700000300,0,0,<b>\xff</b>\nno item\n1700000301,9,-1,\x1b[0m\n";
    }
    ~Log() { std::filesystem::remove_all(path_); }
    Log(const Log &) = delete;
    Log &operator=(const Log &) = delete;

    const std::string &path() const { return path_; }

private:
    std::string path_;
};

class Served {
public:
    Served()
        : logs_({{"log", log_.path(), {}, std::nullopt}}),
          api_(&logs_, {"1", {true, ""}}),
          site_(tool::Access({kToken, "127.0.0.1", 1}), &api_, &look_, {{"index.html", "<p>", "1"}}),
          server_({[this](const tool::WebRequest &request) { return site_.answer(request); },
                   [](const tool::WebRequest &request) { return tool::Api::kindOf(request.path); }}) {
        logs_.refreshAll();
        look_.end();
        // Bodies that are sent bit by bit are sent only by a server that has a port.
        expectThat(server_.open("127.0.0.1", 0) > 0, "a port can be opened");
    }

    std::string answerTo(const std::string &bytes) { return server_.answerTo(bytes); }

private:
    Log log_;
    tool::ServedLogs logs_;
    tool::Api api_;
    tool::FirstLook look_;
    tool::Site site_;
    tool::HttpServer server_;
};

/// The value of a header in an answer's head; empty where there is none.
std::string header(const std::string &head, const std::string &name) {
    const size_t at = head.find("\r\n" + name + ": ");
    if (at == std::string::npos) {
        return "";
    }
    const size_t begin = at + name.size() + 4;
    return head.substr(begin, head.find("\r\n", begin) - begin);
}

/// Checks the first answer on a connection.
void checkAnswer(const std::string &request, const std::string &sent) {
    expectThat(sent.compare(0, 9, "HTTP/1.1 ") == 0 || sent.compare(0, 9, "HTTP/1.0 ") == 0,
               "an answer begins with its version: " + readable(sent.substr(0, 100)));
    const size_t end = sent.find("\r\n\r\n");
    expectThat(end != std::string::npos, "an answer's head is whole");
    const std::string head = sent.substr(0, end + 2);
    for (const char *const name : {"Content-Security-Policy", "X-Content-Type-Options", "Referrer-Policy",
                                   "Cache-Control", "Cross-Origin-Resource-Policy", "X-Frame-Options"}) {
        expectThat(!header(head, name).empty(), std::string(name) + " is there: " + readable(head));
    }
    expectThat(head.compare(9, 3, "500") != 0, "the server does not fail: " + readable(request));
    const std::string length = header(head, "Content-Length");
    if (length.empty() || request.compare(0, 4, "HEAD") == 0) {
        return;
    }
    const std::string body = sent.substr(end + 4, std::stoul(length));
    expectThat(body.size() == std::stoul(length), "a body is whole");
    if (header(head, "Content-Type") == "application/json" && !body.empty()) {
        expectThat(nlohmann::json::accept(body), "JSON is valid: " + readable(body));
    }
}

std::string withHead(const std::string &target, const std::string &more) {
    return "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:1\r\n" + more + "\r\n";
}

/// A target of the interface, without what would end it.
std::string targetOf(ByteReader *input) {
    constexpr const char *kNames[] = {"logs",     "histogram", "facets",   "items",   "item",
                                      "findings", "stream",    "download", "command", "check-filter"};
    std::string rest = input->rest();
    for (char &c : rest) {
        c = c == ' ' || c == '\r' || c == '\n' || c == '\0' ? '+' : c;
    }
    const std::string name = kNames[rest.size() % std::size(kNames)];
    return rest.empty() || rest[0] != '/' ? "/api/" + name + "?" + rest : rest;
}

void run(ByteReader *input) {
    static Served served;
    constexpr int kKinds = 3;
    const int kind = input->below(kKinds);
    std::string request;
    if (kind == 0) {
        request = input->rest();
    } else if (kind == 1) {
        request = withHead(targetOf(input), "");
    } else {
        request = withHead(targetOf(input), "Authorization: Bearer " + std::string(kToken) + "\r\n");
    }
    const std::string sent = served.answerTo(request);
    if (!sent.empty()) {
        checkAnswer(request, sent);
    }
    expectThat(
        kind == 2 || request.find(kToken) != std::string::npos || sent.find(kSecret) == std::string::npos,
        "nothing is shown without the token: " + readable(request));
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::ByteReader input(data, size);
    fuzz::run(&input);
    return 0;
}
