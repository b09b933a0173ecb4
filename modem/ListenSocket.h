// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/socket.h>

#include <string>

#include "host/mox/Descriptor.h"

namespace velo::modem {

/// The socket that clients connect to, for this user alone. Its file is taken over from a modem
/// that died, never from one that lives, and goes with the object.
class ListenSocket {
public:
    ListenSocket() = default;

    /// A packet socket for clients or, by another type, a stream socket for controllers.
    ///
    /// @throws std::system_error when it cannot be made; EADDRINUSE when a live modem has it
    explicit ListenSocket(const std::string& path, int type = SOCK_SEQPACKET);
    ~ListenSocket() { close(); }
    ListenSocket(ListenSocket&& other) noexcept = default;
    ListenSocket& operator=(ListenSocket&& other) noexcept;

    int fd() const { return mSocket.get(); }
    bool isOpen() const { return static_cast<bool>(mSocket); }
    void close();

private:
    mox::Descriptor mSocket;
    std::string mPath;
};

}  // namespace velo::modem
