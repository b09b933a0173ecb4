// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace velo::mox {

/// One message on its way between a client and the modem: one packet of the socket. A value type.
///
/// On the wire, little-endian: kind (u8), transaction (u32), message id (u16), length of the
/// payload (u32), payload. A response carries the transaction of its request; an indication carries
/// 0.
struct Frame {
    static constexpr std::size_t kHeaderSize = 11;

    std::uint8_t kind = 0;  ///< a mox_message_kind
    std::uint32_t transaction = 0;
    std::uint16_t messageId = 0;
    std::vector<std::uint8_t> payload;

    std::array<std::uint8_t, kHeaderSize> header() const;

    /// The whole packet.
    std::vector<std::uint8_t> pack() const;

    /// Empty when the bytes are not exactly one frame of a known kind.
    static std::optional<Frame> unpack(std::span<const std::uint8_t> bytes);
};

}  // namespace velo::mox
