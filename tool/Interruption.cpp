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

constexpr std::array<int, 3> kSignals{SIGINT, SIGTERM, SIGHUP};

/// Kept until the process ends: a handler may still be running on another thread when its signal is
/// nobody's business any more.
std::atomic<int> signalFd = -1;
std::atomic<int> signalSeen = 0;
static_assert(std::atomic<int>::is_always_lock_free);

void handleSignal(int number) {
    const int error = errno;
    int none = 0;
    // An interrupt gives way to a request to end the program, not the other way round.
    if (!signalSeen.compare_exchange_strong(none, number) && number != SIGINT) {
        signalSeen = number;
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalFd, &one, sizeof one);
    errno = error;
}

void drain() {
    std::uint64_t earlier = 0;
    [[maybe_unused]] const ssize_t drained = ::read(signalFd, &earlier, sizeof earlier);
}

struct sigaction noting(int flags) {
    struct sigaction action {};
    action.sa_handler = handleSignal;
    action.sa_flags = flags;
    return action;
}

/// Changes how the signals that are noted affect system calls.
void changeFlags(int flags) {
    const struct sigaction action = noting(flags);
    for (const int number : kSignals) {
        struct sigaction current {};
        ::sigaction(number, nullptr, &current);
        if (current.sa_handler == handleSignal) {
            ::sigaction(number, &action, nullptr);
        }
    }
}

}  // namespace

Interruption::Breaking::Breaking() {
    changeFlags(0);
}

Interruption::Breaking::~Breaking() {
    changeFlags(SA_RESTART);
}

Interruption::Interruption() {
    static const int kFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (kFd < 0) {
        throw CommandError(kFailed, "there is no descriptor left to wait for signals with");
    }
    signalFd = kFd;
    signalSeen = 0;
    drain();
    const struct sigaction action = noting(SA_RESTART);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], nullptr, &mBefore[i]);
        // Whoever started the program to outlive its terminal has that signal ignored.
        if (kSignals[i] != SIGHUP || mBefore[i].sa_handler != SIG_IGN) {
            ::sigaction(kSignals[i], &action, nullptr);
        }
    }
}

Interruption::~Interruption() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], &mBefore[i], nullptr);
    }
}

int Interruption::fd() const {
    return signalFd;
}

bool Interruption::isRaised() const {
    return signalSeen != 0;
}

void Interruption::check() const {
    if (isRaised()) {
        throw Raised{};
    }
}

int Interruption::status() const {
    return 128 + signalSeen;
}

void Interruption::forgetInterrupt() {
    int interrupt = SIGINT;
    if (signalSeen.compare_exchange_strong(interrupt, 0)) {
        drain();
    }
}

}  // namespace velo::tool
