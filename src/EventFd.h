// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include "OwnedFd.h"

namespace velo {

/// A non-blocking wake-up descriptor, closed with its owner. Any thread may signal it while the
/// owner lives; only the event loop's thread drains it.
class EventFd {
public:
    /// Ends the process when the system has no descriptor left: nothing works without wake-ups.
    EventFd();

    int get() const { return mFd.get(); }

    /// Adds one to the counter; what write(2) returned, 8 when all is well.
    ssize_t signal() const;

    /// Empties the counter of `fd`, or logs that it cannot be read.
    static void drain(int fd);

private:
    OwnedFd mFd;
};

}  // namespace velo
