// SPDX-License-Identifier: Apache-2.0
// Owner of a file descriptor.
#ifndef JORN_TOOLS_DESCRIPTOR_H
#define JORN_TOOLS_DESCRIPTOR_H

#include <unistd.h>

#include <string>
#include <utility>

namespace tool {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    bool isOpen() const { return fd_ >= 0; }
    int get() const { return fd_; }

private:
    int fd_ = -1;
};

/// A path by which this process reaches what a descriptor refers to.
inline std::string descriptorName(int fd) { return "/proc/self/fd/" + std::to_string(fd); }

}  // namespace tool

#endif
