// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <deque>

#include "host/mox/Descriptor.h"
#include "host/mox/Frame.h"
#include "modem/Session.h"

namespace velo::modem {

/// One client's connection, with what could not be sent yet. Owned by the server and touched on its
/// thread only. A closed connection stays until the server sweeps it.
class Connection {
public:
    explicit Connection(mox::Descriptor socket) : mSocket(std::move(socket)) {}

    int fd() const { return mSocket.get(); }
    bool isOpen() const { return static_cast<bool>(mSocket); }
    bool waiting() const { return !mQueue.empty(); }

    /// Sends a frame, or keeps it until flush(). False when the client is lost or so far behind
    /// that it must be given up.
    bool send(mox::Frame frame);

    /// Sends what waits, as far as the client takes it. False when the client is lost.
    bool flush();

    void close();

    Session session;

private:
    mox::Descriptor mSocket;
    std::deque<mox::Frame> mQueue;
    std::size_t mQueuedBytes = 0;
};

}  // namespace velo::modem
