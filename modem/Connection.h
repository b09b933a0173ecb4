// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <utility>

#include "host/mox/Descriptor.h"
#include "host/mox/Frame.h"
#include "modem/Capture.h"
#include "modem/Session.h"

namespace velo::modem {

/// One client's connection, with what could not be sent yet. Owned by the server and touched on its
/// thread only. A closed connection stays until the server sweeps it.
class Connection {
public:
    /// `capture`, if any, hears of every frame that really went over the socket.
    Connection(mox::Descriptor socket, std::uint64_t number, Capture* capture)
        : mSocket(std::move(socket)), mNumber(number), mCapture(capture) {}

    /// Which client it is: they are counted from 1 as they connect, and no number comes twice.
    std::uint64_t number() const { return mNumber; }

    int fd() const { return mSocket.get(); }
    bool isOpen() const { return static_cast<bool>(mSocket); }
    bool waiting() const { return !mQueue.empty(); }

    /// For the capture: what has arrived here.
    void recordReceived(std::span<const std::uint8_t> packet) const;

    /// Sends a frame, or keeps it until flush(). False when the client is lost or so far behind
    /// that it must be given up.
    bool send(mox::Frame frame);

    /// Sends what waits, as far as the client takes it. False when the client is lost.
    bool flush();

    void close();

    Session session;

private:
    void record(Direction direction, std::span<const std::uint8_t> packet) const;

    mox::Descriptor mSocket;
    const std::uint64_t mNumber;
    Capture* const mCapture;
    std::deque<mox::Frame> mQueue;
    std::size_t mQueuedBytes = 0;
};

}  // namespace velo::modem
