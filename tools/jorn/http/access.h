// SPDX-License-Identifier: Apache-2.0
// Who may ask. Any user of the machine reaches the loopback interface, and any page in the user's browser can
// send requests there: so each request has to show the token, to name the host that it meant to reach, and
// not to come from another site.
#ifndef JORN_TOOLS_ACCESS_H
#define JORN_TOOLS_ACCESS_H

#include <sys/socket.h>

#include <optional>
#include <string>
#include <vector>

#include "http/request.h"

namespace tool {

/// 128 bits from the system, in hexadecimal. Throws Failure.
std::string newToken();

/// The first line of a file: 16 to 256 letters, digits, "-" and "_". Throws Failure, as a usage error for a
/// file that others may read or that holds something else.
std::string tokenFrom(const std::string &path);

/// Whether both are the same, in a time that does not show where they differ.
bool isSameToken(const std::string &a, const std::string &b);

struct AccessTerms {
    std::string token;
    std::string host;  ///< The address that was listened at.
    int port = 0;
};

class Access {
public:
    explicit Access(AccessTerms terms);

    /// The answer to a request that is not to be let through: nothing else of it has been looked at. Nothing
    /// where it may pass.
    std::optional<WebAnswer> refusalOf(const WebRequest &request) const;

private:
    bool isForThisHost(const WebRequest &request) const;
    static bool isFromElsewhere(const WebRequest &request);
    bool hasToken(const WebRequest &request) const;
    bool hasCookie(const WebRequest &request, const std::string &name) const;
    std::optional<WebAnswer> refusalOrEntry(const WebRequest &request) const;
    std::optional<WebAnswer> entry(const WebRequest &request) const;

    const AccessTerms terms_;
    const std::string cookie_;        ///< The names of that which browsers send with the page's own requests,
    const std::string pageCookie_;    ///< and of that which they send with links on other sites too.
    std::vector<std::string> hosts_;  ///< As the header names them, in lower case.
};

/// Whether only this machine reaches an address.
bool isLoopback(const sockaddr &address);

/// "[::1]" for "::1"; any other address as it is.
std::string bracketed(const std::string &host);

}  // namespace tool

#endif
