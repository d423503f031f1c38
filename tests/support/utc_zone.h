// SPDX-License-Identifier: Apache-2.0
// Shows times as UTC for a scope.
#ifndef JORN_TESTS_SUPPORT_UTC_ZONE_H
#define JORN_TESTS_SUPPORT_UTC_ZONE_H

#include <cstdlib>
#include <ctime>
#include <string>

namespace test {

class UtcZone {
public:
    UtcZone() {
        const char *const zone = getenv("TZ");
        hadZone_ = zone != nullptr;
        former_ = hadZone_ ? zone : "";
        setenv("TZ", "UTC0", 1);
        tzset();
    }
    ~UtcZone() {
        if (hadZone_) {
            setenv("TZ", former_.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    UtcZone(const UtcZone &) = delete;
    UtcZone &operator=(const UtcZone &) = delete;

private:
    bool hadZone_;
    std::string former_;
};

}  // namespace test

#endif
