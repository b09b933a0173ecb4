// SPDX-License-Identifier: Apache-2.0

#include "host/mox/Handle.h"

#include <csignal>
#include <utility>

namespace velo::mox {

namespace {

class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &mBefore);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }

private:
    sigset_t mBefore{};
};

}  // namespace

std::thread Handle::startThread(std::function<void()> body) {
    // A thread inherits the mask of its maker.
    const SignalsBlocked blocked;
    return std::thread(std::move(body));
}

void Handle::finish(std::thread& thread) {
    if (!thread.joinable()) {
        return;
    }
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();
    } else {
        thread.join();
    }
}

}  // namespace velo::mox
