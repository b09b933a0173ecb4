// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

namespace velo {

/// A non-blocking wake-up descriptor, closed with its owner. Any thread may signal it while the
/// owner lives; only the event loop's thread drains it.
class EventFd {
public:
    /// Ends the process when the system has no descriptor left: nothing works without wake-ups.
    EventFd();
    ~EventFd();
    EventFd(const EventFd&) = delete;
    EventFd& operator=(const EventFd&) = delete;

    int get() const { return mFd; }

    /// Adds one to the counter; what write(2) returned, 8 when all is well.
    ssize_t signal() const;

    /// Empties the counter of `fd`; false, with errno set, when it cannot be read.
    static bool drain(int fd);

    /// Moves a new descriptor out of the range of the standard streams, so that a process that runs
    /// with a closed standard output does not print into it.
    static int clearOfStandardStreams(int fd);

private:
    int mFd;
};

}  // namespace velo
