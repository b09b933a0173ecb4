// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace velo::mox {

/// Moves a new descriptor out of the range of the standard streams, so that a process that runs
/// with one of them closed does not print into it. Negative, and errno set, when there is none.
inline int clearOfStandardStreams(int fd) {
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const int moved = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(fd);
    return moved;
}

/// Owns one file descriptor and closes it. Move-only; as thread-safe as an int.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : mFd(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : mFd(std::exchange(other.mFd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            mFd = std::exchange(other.mFd, -1);
        }
        return *this;
    }

    int get() const { return mFd; }
    explicit operator bool() const { return mFd >= 0; }

    void reset() {
        if (mFd >= 0) {
            ::close(std::exchange(mFd, -1));
        }
    }

private:
    int mFd = -1;
};

}  // namespace velo::mox
