// SPDX-License-Identifier: Apache-2.0
#include "http/access.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>

#include "system/descriptor.h"
#include "system/failure.h"
#include "system/file_bytes.h"

namespace tool {
namespace {

constexpr size_t kLeastToken = 16;
constexpr size_t kMostToken = 256;

/// The port that URLs of HTTP mean without one.
constexpr int kUsualPort = 80;

/// The status with which the page is entered.
constexpr int kSeeOther = 303;

/// The parameter of the page's URL.
constexpr char kTokenName[] = "token";

bool isTokenText(const std::string &text) {
    const std::string allowed = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-_";
    return text.size() >= kLeastToken && text.size() <= kMostToken &&
           text.find_first_not_of(allowed) == std::string::npos;
}

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

/// The values of all cookies of a name.
std::vector<std::string> cookiesNamed(const WebRequest &request, const std::string &name) {
    std::vector<std::string> values;
    const auto [first, last] = request.headers.equal_range("cookie");
    for (auto header = first; header != last; ++header) {
        const std::string &text = header->second;
        for (size_t begin = 0; begin < text.size();) {
            const size_t end = std::min(text.find(';', begin), text.size());
            const size_t start = std::min(text.find_first_not_of(' ', begin), end);
            if (text.compare(start, name.size() + 1, name + "=") == 0) {
                values.push_back(text.substr(start + name.size() + 1, end - start - name.size() - 1));
            }
            begin = end + 1;
        }
    }
    return values;
}

/// The query without the parameter "token", however its name is written.
std::string withoutToken(const std::string &query) {
    std::string rest;
    for (const QueryPart &part : partsOfQuery(query)) {
        if (part.name != kTokenName) {
            rest += (rest.empty() ? "?" : "&") + part.text;
        }
    }
    return rest;
}

/// Only characters that may stand in a header.
bool isPlainQuery(const std::string &query) {
    return std::all_of(query.begin(), query.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

bool isAnyAddress(const std::string &host) { return host == "0.0.0.0" || host == "::"; }

/// Whether a host is given by a numeric address, which no name server can have a say in.
bool isAddressWith(const std::string &host, int port) {
    const std::string end = ":" + std::to_string(port);
    const bool isPortGiven =
        host.size() > end.size() && host.compare(host.size() - end.size(), end.size(), end) == 0;
    // Browsers leave the usual port out.
    if (!isPortGiven && port != kUsualPort) {
        return false;
    }
    const std::string address = isPortGiven ? host.substr(0, host.size() - end.size()) : host;
    std::array<unsigned char, sizeof(in6_addr)> ignored{};
    const bool isBracketed = address.size() > 2 && address.front() == '[' && address.back() == ']';
    return inet_pton(AF_INET, address.c_str(), ignored.data()) == 1 ||
           (isBracketed &&
            inet_pton(AF_INET6, address.substr(1, address.size() - 2).c_str(), ignored.data()) == 1);
}

WebAnswer unauthorized(const std::string &path) {
    if (path.compare(0, 5, "/api/") == 0) {
        WebAnswer answer = answerOf(
            RequestError(401, "the token is missing or wrong; it is in the URL that jorn serve printed"));
        answer.add("WWW-Authenticate", "Bearer");
        return answer;
    }
    WebAnswer answer;
    answer.status = 401;
    answer.type = "text/html; charset=utf-8";
    answer.body =
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>jorn serve</title></head>\n"
        "<body><h1>A token is needed</h1>\n<p>Open the whole URL that <code>jorn serve</code> printed when "
        "it was started: it ends with <code>?token=</code> and the token.</p></body></html>\n";
    answer.add("WWW-Authenticate", "Bearer");
    return answer;
}

}  // namespace

std::string newToken() {
    std::array<unsigned char, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw systemFailure("random numbers for the token", errno);
    }
    constexpr char kDigits[] = "0123456789abcdef";
    std::string token;
    for (const unsigned char byte : bytes) {
        token += kDigits[byte >> 4];
        token += kDigits[byte & 0xf];
    }
    return token;
}

std::string tokenFrom(const std::string &path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!file.isOpen() || fstat(file.get(), &status) < 0) {
        throw systemFailure(path, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        refuse(path + ": not a regular file");
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        refuse(path + ": other users can access this token; run chmod 600 on the file");
    }
    const std::string bytes = bytesAt(file.get(), 0, kMostToken + 2);
    std::string token = bytes.substr(0, bytes.find_first_of("\r\n"));
    if (!isTokenText(token)) {
        refuse(path + ": the first line is not a token (16 to 256 letters, digits, - and _)");
    }
    return token;
}

bool isSameToken(const std::string &a, const std::string &b) {
    // The length of the right one is no secret.
    if (a.size() != b.size()) {
        return false;
    }
    unsigned different = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        different |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]);
    }
    return different == 0;
}

bool isLoopback(const sockaddr &address) {
    constexpr unsigned char kLoopbackNet = 127;
    if (address.sa_family == AF_INET) {
        const auto &own = reinterpret_cast<const sockaddr_in &>(address);
        return ntohl(own.sin_addr.s_addr) >> 24 == kLoopbackNet;
    }
    if (address.sa_family != AF_INET6) {
        return false;
    }
    const in6_addr &own = reinterpret_cast<const sockaddr_in6 &>(address).sin6_addr;
    return IN6_IS_ADDR_LOOPBACK(&own) || (IN6_IS_ADDR_V4MAPPED(&own) && own.s6_addr[12] == kLoopbackNet);
}

std::string bracketed(const std::string &host) {
    return host.find(':') != std::string::npos ? "[" + host + "]" : host;
}

Access::Access(AccessTerms terms)
    : terms_(std::move(terms)),
      cookie_("jorn_" + std::to_string(terms_.port)),
      pageCookie_("jorn_page_" + std::to_string(terms_.port)) {
    for (const std::string &host :
         {bracketed(terms_.host), std::string("localhost"), std::string("127.0.0.1"), std::string("[::1]")}) {
        hosts_.push_back(lowered(host) + ":" + std::to_string(terms_.port));
        if (terms_.port == kUsualPort) {
            hosts_.push_back(lowered(host));
        }
    }
}

bool Access::isForThisHost(const WebRequest &request) const {
    const std::optional<std::string> host = request.header("host");
    if (!host) {
        return false;
    }
    return std::find(hosts_.begin(), hosts_.end(), lowered(*host)) != hosts_.end() ||
           (isAnyAddress(terms_.host) && isAddressWith(*host, terms_.port));
}

bool Access::isFromElsewhere(const WebRequest &request) {
    const std::string site = request.header("sec-fetch-site").value_or("");
    const bool isSiteGiven = request.headers.count("sec-fetch-site") > 0;
    // A link to the page may be followed from anywhere.
    const bool isLink = request.path == "/" && request.header("sec-fetch-mode").value_or("") == "navigate";
    if (isSiteGiven && site != "same-origin" && site != "none" && !isLink) {
        return true;
    }
    const std::string own = "http://" + lowered(request.header("host").value_or(""));
    return request.headers.count("origin") > 0 && lowered(request.header("origin").value_or("")) != own;
}

bool Access::hasToken(const WebRequest &request) const {
    const std::string bearer = request.header("authorization").value_or("");
    return (bearer.compare(0, 7, "Bearer ") == 0 && isSameToken(bearer.substr(7), terms_.token)) ||
           hasCookie(request, cookie_) || (request.path == "/" && hasCookie(request, pageCookie_));
}

bool Access::hasCookie(const WebRequest &request, const std::string &name) const {
    bool isShown = false;
    for (const std::string &cookie : cookiesNamed(request, name)) {
        isShown = isSameToken(cookie, terms_.token) || isShown;
    }
    return isShown;
}

/// The page asked for with the token in its URL: the token becomes a cookie, and leaves the URL.
std::optional<WebAnswer> Access::entry(const WebRequest &request) const {
    const auto given = std::find_if(request.parameters.begin(), request.parameters.end(),
                                    [](const auto &parameter) { return parameter.first == kTokenName; });
    if (request.path != "/" || given == request.parameters.end()) {
        return std::nullopt;
    }
    if (!isSameToken(given->second, terms_.token) || !isPlainQuery(request.query)) {
        return unauthorized(request.path);
    }
    WebAnswer answer;
    answer.status = kSeeOther;
    answer.type = "text/plain; charset=utf-8";
    answer.add("Location", "/" + withoutToken(request.query));
    // A link on another site brings only the second one along. It opens the page, which holds nothing of the
    // log; all that the page then asks for comes from itself, with the first one.
    answer.add("Set-Cookie", cookie_ + "=" + terms_.token + "; HttpOnly; SameSite=Strict; Path=/");
    answer.add("Set-Cookie", pageCookie_ + "=" + terms_.token + "; HttpOnly; SameSite=Lax; Path=/");
    return answer;
}

std::optional<WebAnswer> Access::refusalOf(const WebRequest &request) const {
    std::optional<WebAnswer> refusal = refusalOrEntry(request);
    if (refusal) {
        refusal->isForStranger = refusal->status != kSeeOther;
    }
    return refusal;
}

std::optional<WebAnswer> Access::refusalOrEntry(const WebRequest &request) const {
    if (!isForThisHost(request)) {
        return answerOf(RequestError(421, "the request names another host than this server"));
    }
    if (request.method != "GET" && request.method != "HEAD") {
        WebAnswer answer = answerOf(RequestError(405, "only GET and HEAD are allowed"));
        answer.add("Allow", "GET, HEAD");
        return answer;
    }
    if (isFromElsewhere(request)) {
        return answerOf(RequestError(403, "requests from other sites are refused"));
    }
    if (std::optional<WebAnswer> answer = entry(request)) {
        return answer;
    }
    return hasToken(request) ? std::nullopt : std::optional(unauthorized(request.path));
}

}  // namespace tool
