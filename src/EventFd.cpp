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
    // One read takes the whole counter, however many signals it holds. Another would cost each call
    // 0.1 us, and find nothing but a signal that came in between, which is an event of its own.
    std::uint64_t counter = 0;
    const ssize_t got = read(fd, &counter, sizeof counter);
    if (got == static_cast<ssize_t>(sizeof counter) || (got == -1 && errno == EAGAIN)) {
        return;
    }
    logLine(LogLevel::Error, "Error while clearing the read buffer on fd %d", fd);
}

}  // namespace velo
