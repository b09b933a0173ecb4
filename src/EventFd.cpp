// SPDX-License-Identifier: Apache-2.0

#include "EventFd.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "LogWrapper.h"

namespace velo {

EventFd::EventFd() : mFd(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd") {}

ssize_t EventFd::signal() const {
    const std::uint64_t one = 1;
    return write(get(), &one, sizeof one);
}

void EventFd::drain(int fd) {
    std::uint64_t counter = 0;
    ssize_t got = 0;
    do {
        got = read(fd, &counter, sizeof counter);
    } while (got > 0);
    if (got == 0 || errno != EAGAIN) {
        logLine(LogLevel::Error, "Error while clearing the read buffer on fd %d", fd);
    }
}

}  // namespace velo
