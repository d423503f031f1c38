// SPDX-License-Identifier: Apache-2.0
// Exit codes, and how a part of the tool gives up.
#ifndef JORN_TOOLS_FAILURE_H
#define JORN_TOOLS_FAILURE_H

#include <stdexcept>
#include <string>

namespace tool {

inline constexpr int kExitDone = 0;
inline constexpr int kExitNoMatch = 1;  ///< Only where --grep or --quiet asked whether anything matches.
inline constexpr int kExitUsage = 2;
inline constexpr int kExitDamage = 3;  ///< Damage was found; everything possible in spite of it was done.
inline constexpr int kExitInputOutput = 4;

/// Ends a command with a message for the user and an exit code.
class Failure : public std::runtime_error {
public:
    explicit Failure(const std::string &message, int exitCode = kExitInputOutput)
        : std::runtime_error(message), exitCode_(exitCode) {}

    int exitCode() const { return exitCode_; }

private:
    int exitCode_;
};

/// A failure of an operation on something named, with the system's reason: "name: reason".
Failure systemFailure(const std::string &name, int error);

/// Throws Failure with the exit code of a usage error.
[[noreturn]] void refuse(const std::string &message);

/// Prints "jorn: message" on standard error, escaped so that names and arguments cannot control a terminal.
void printMessage(const std::string &message);

}  // namespace tool

#endif
