// SPDX-License-Identifier: Apache-2.0

#include "EventFd.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "LogWrapper.h"

namespace velo {

EventFd::EventFd() : mFd(clearOfStandardStreams(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))) {
    if (mFd == -1) {
        logLine(LogLevel::Error, "Cannot create eventfd instance");
        std::abort();
    }
}

EventFd::~EventFd() {
    close(mFd);
}

ssize_t EventFd::signal() const {
    const std::uint64_t one = 1;
    return write(mFd, &one, sizeof one);
}

bool EventFd::drain(int fd) {
    // One read takes the whole counter; a second one would only say so.
    std::uint64_t counter = 0;
    const ssize_t got = read(fd, &counter, sizeof counter);
    return got == static_cast<ssize_t>(sizeof counter) || (got == -1 && errno == EAGAIN);
}

int EventFd::clearOfStandardStreams(int fd) {
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    close(fd);
    return moved;
}

}  // namespace velo
