// SPDX-License-Identifier: Apache-2.0
//
// What a capture file consists of: the numbers that its writer, its reader and the dissector must
// agree on. Constants: any thread.
//
// A capture is pcapng, little-endian: a section header, one interface, and one enhanced packet
// block for each frame. A packet is a small header (client u32, direction u8, subscription u8),
// then the frame as it went over the socket.

#pragma once

#include <cstddef>
#include <cstdint>

namespace velo::modem::capture {

inline constexpr std::uint32_t kSectionHeader = 0x0A0D0D0A;
inline constexpr std::uint32_t kInterfaceDescription = 1;
inline constexpr std::uint32_t kEnhancedPacket = 6;

inline constexpr std::uint32_t kByteOrderMagic = 0x1A2B3C4D;
inline constexpr std::uint16_t kMajorVersion = 1;
inline constexpr std::uint16_t kLinkType = 147;  ///< LINKTYPE_USER0
inline constexpr std::uint8_t kNanoseconds = 9;  ///< the negative power of ten of the times' unit

inline constexpr std::uint16_t kEndOfOptions = 0;
inline constexpr std::uint16_t kInterfaceName = 2;
inline constexpr std::uint16_t kPacketFlags = 2;
inline constexpr std::uint16_t kTimeResolution = 9;

inline constexpr std::uint32_t kInbound = 1;
inline constexpr std::uint32_t kOutbound = 2;

inline constexpr std::size_t kBlockFrame = 12;  ///< type and length before, length again after
inline constexpr std::size_t kPacketHead = 20;  ///< of an enhanced packet, before its bytes

inline constexpr std::size_t kPseudoHeader = 6;
inline constexpr std::uint8_t kNoSubscription = 0xFF;

/// What follows a part of `size` bytes, so that the next one is aligned.
constexpr std::size_t padding(std::size_t size) {
    return (4 - size % 4) % 4;
}

}  // namespace velo::modem::capture
