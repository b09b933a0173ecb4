// SPDX-License-Identifier: Apache-2.0

#include "modem/Connection.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "host/mox/Socket.h"

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
        mQueuedBytes -= footprint(mQueue.front());
        mQueue.pop_front();
    }
    return true;
}

void Connection::close() {
    // A forked child may hold the same socket: closing it here alone would not reach the client.
    ::shutdown(mSocket.get(), SHUT_RDWR);
    mSocket.reset();
    mQueue.clear();
}

}  // namespace velo::modem
