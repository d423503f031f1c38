// SPDX-License-Identifier: Apache-2.0
// `jorn export --cursor-file`: what the command line says, and what follows from it.
#ifndef JORN_TOOLS_SHIPPING_OPTIONS_H
#define JORN_TOOLS_SHIPPING_OPTIONS_H

#include <chrono>
#include <optional>
#include <string>

namespace tool {

/// As given on the command line.
struct ShippingOptions {
    std::string cursorFile;
    std::string file;  ///< Of --to.
    std::string command;
    std::optional<int> batch;
    std::optional<int> retries;
    std::string every;
    std::string timeout;
    bool isDry = false;
    bool isStatus = false;
    bool isJson = false;  ///< Of the status.
    bool isUtc = false;
    bool isQuiet = false;
};

/// A span of time such as "5s", "2m", "1h", "500ms" or "5", from 1 ms to 24 hours, nothing
/// for anything else.
std::optional<std::chrono::milliseconds> parseInterval(const std::string &text);

}  // namespace tool

#endif
