// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <csignal>

namespace velo::tool {

/// While it lives, an interrupt or a request to terminate makes a descriptor readable in place of
/// what it did before; so whoever polls for something else notices it, whichever thread the signal
/// reached. One at a time in a process.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Readable from the first signal on.
    int fd() const;

private:
    struct sigaction mInterruptBefore {};
    struct sigaction mTerminateBefore {};
};

}  // namespace velo::tool
