// SPDX-License-Identifier: Apache-2.0
//
// The local packet socket between clients and the modem. Free functions on descriptors that the
// caller owns; any thread.

#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/mox/Descriptor.h"
#include "host/mox/Frame.h"

namespace velo::mox {

/// Longest frame that is received; the rest of a longer one is lost.
inline constexpr std::size_t kMaxFrameSize = std::size_t{64} * 1024;

/// Fills the address of a socket's path. False when the path is empty or does not fit.
bool makeAddress(const std::string& path, sockaddr_un& address);

/// A socket that does not block; without a descriptor, and errno set, when there is none.
Descriptor makeSocket();

/// A connection that does not block; without a descriptor, and errno set, when nobody listens.
Descriptor connectTo(const std::string& path);

/// Sends one frame and never blocks. Zero, or the errno: EAGAIN when the socket is full.
int sendFrame(int fd, const Frame& frame);

enum class Received { Whole, Damaged, Nothing, Lost };

/// Receives one frame through `buffer`, which is kept by the caller so that it is allocated once.
/// Of a damaged frame the header is told as far as it came. `packet`, if given, is set to the bytes
/// as they came, within `buffer`.
Received receiveFrame(int fd, std::vector<std::uint8_t>& buffer, Frame& frame,
                      std::span<const std::uint8_t>* packet = nullptr);

}  // namespace velo::mox
