// SPDX-License-Identifier: Apache-2.0
// A log object for as long as a measurement needs it.
#ifndef JORN_BENCH_CREATED_RING_H
#define JORN_BENCH_CREATED_RING_H

#include <cstdint>
#include <string>

namespace bench {

class Ring {
public:
    /// Creates an object with 8 slots on a directory; ends the process when that fails.
    Ring(const std::string &directory, int32_t files);
    ~Ring();
    Ring(const Ring &) = delete;
    Ring &operator=(const Ring &) = delete;

    int32_t handle() const { return handle_; }

private:
    int32_t handle_;
};

}  // namespace bench

#endif
