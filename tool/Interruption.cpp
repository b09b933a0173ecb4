// SPDX-License-Identifier: Apache-2.0

#include "tool/Interruption.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "tool/CommandError.h"

namespace velo::tool {

namespace {

/// Kept until the process ends: a handler may still be running on another thread when its signal is
/// nobody's business any more.
std::atomic<int> signalFd = -1;

void handleSignal(int) {
    const int error = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalFd, &one, sizeof one);
    errno = error;
}

}  // namespace

Interruption::Interruption() {
    static const int kFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (kFd < 0) {
        throw CommandError(kFailed, "there is no descriptor left to wait for signals with");
    }
    signalFd = kFd;
    std::uint64_t earlier = 0;
    [[maybe_unused]] const ssize_t drained = ::read(kFd, &earlier, sizeof earlier);

    struct sigaction action {};
    action.sa_handler = handleSignal;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, &mInterruptBefore);
    ::sigaction(SIGTERM, &action, &mTerminateBefore);
}

Interruption::~Interruption() {
    ::sigaction(SIGTERM, &mTerminateBefore, nullptr);
    ::sigaction(SIGINT, &mInterruptBefore, nullptr);
}

int Interruption::fd() const {
    return signalFd;
}

}  // namespace velo::tool
