// SPDX-License-Identifier: Apache-2.0

#include "modem/Connection.h"

#include <sys/socket.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "host/mox/Socket.h"
#include "modem/CaptureFormat.h"

namespace velo::modem {

namespace {

/// More than any client that reads at all ever leaves; a client that does not must not eat the
/// memory.
constexpr std::size_t kQueueLimit = std::size_t{1024} * 1024;

std::size_t footprint(const mox::Frame& frame) {
    return sizeof(frame) + frame.payload.size();
}

}  // namespace

bool Connection::send(mox::Frame frame) {
    mQueuedBytes += footprint(frame);
    mQueue.push_back(std::move(frame));
    return flush() && mQueuedBytes <= kQueueLimit;
}

bool Connection::flush() {
    while (!mQueue.empty()) {
        const int error = mox::sendFrame(mSocket.get(), mQueue.front());
        if (error == EAGAIN) {
            return true;
        }
        // What no socket can carry is dropped; the client is none the worse for it.
        if (error != 0 && error != EMSGSIZE) {
            return false;
        }
        if (error == 0 && mCapture != nullptr) {
            record(Direction::FromModem, mQueue.front().pack());
        }
        mQueuedBytes -= footprint(mQueue.front());
        mQueue.pop_front();
    }
    return true;
}

void Connection::recordReceived(std::span<const std::uint8_t> packet) const {
    if (mCapture != nullptr) {
        record(Direction::ToModem, packet);
    }
}

void Connection::record(Direction direction, std::span<const std::uint8_t> packet) const {
    std::optional<std::uint8_t> subscription;
    if (session.active && session.subscription < capture::kNoSubscription) {
        subscription = static_cast<std::uint8_t>(session.subscription);
    }
    mCapture->record(static_cast<std::uint32_t>(mNumber), direction, subscription, packet);
}

void Connection::close() {
    // A forked child may hold the same socket: closing it here alone would not reach the client.
    ::shutdown(mSocket.get(), SHUT_RDWR);
    mSocket.reset();
    mQueue.clear();
}

}  // namespace velo::modem
