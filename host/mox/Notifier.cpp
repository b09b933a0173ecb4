// SPDX-License-Identifier: Apache-2.0

#include "host/mox/Notifier.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

#include "host/mox/Socket.h"

namespace velo::mox {

namespace {

constexpr int kShortestPauseMs = 5;
constexpr int kLongestPauseMs = 100;
constexpr std::chrono::milliseconds kLasting{kLongestPauseMs};

}  // namespace

Notifier::Notifier(mox_client_type self, mox_service_object_type service, std::string modemPath)
    : mSelf(self),
      mService(service),
      mModemPath(std::move(modemPath)),
      mStop(clearOfStandardStreams(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))) {
    if (!mStop) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

int Notifier::registerCallback(mox_client_notify_cb callback, void* data) {
    const std::lock_guard lock(mMutex);
    if (callback == nullptr || mRegistered) {
        return MOX_INVALID_ARGUMENT_ERR;
    }
    if (mReleased) {
        return MOX_CLIENT_ERR;
    }
    mThread = startThread(
        [self = shared_from_this(), callback, data] { self->watchLoop(callback, data); });
    mRegistered = true;
    return MOX_NO_ERR;
}

void Notifier::release() {
    std::thread thread;
    {
        const std::lock_guard lock(mMutex);
        mReleased = true;
        ::eventfd_write(mStop.get(), 1);
        thread = std::move(mThread);
    }
    finish(thread);
}

void Notifier::watchLoop(mox_client_notify_cb callback, void* data) const {
    // A service that goes as soon as it has come is met with pauses, too.
    int pauseMs = kShortestPauseMs;
    while (wait(-1, 0)) {
        if (const Descriptor connection = connectTo(mModemPath)) {
            const auto came = std::chrono::steady_clock::now();
            callback(mSelf, mService, MOX_SERVICE_AVAILABLE, data);
            if (!wait(connection.get(), -1)) {
                return;
            }
            if (std::chrono::steady_clock::now() - came > kLasting) {
                pauseMs = kShortestPauseMs;
            }
        }
        if (!wait(-1, pauseMs)) {
            return;
        }
        pauseMs = std::min(2 * pauseMs, kLongestPauseMs);
    }
}

bool Notifier::wait(int fd, int timeoutMs) const {
    // Nothing is expected on the connection but its end, which needs no asking for.
    pollfd watched[] = {{mStop.get(), POLLIN, 0}, {fd, 0, 0}};
    while (::poll(watched, 2, timeoutMs) < 0 && errno == EINTR) {
    }
    return (watched[0].revents & POLLIN) == 0;
}

}  // namespace velo::mox
