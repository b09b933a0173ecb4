// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace velo::modem {

enum class Direction : std::uint8_t { ToModem = 0, FromModem = 1 };

/// One packet of a capture. A value type.
struct CapturedFrame {
    std::uint64_t time = 0;    ///< nanoseconds since 1970, UTC
    std::uint32_t client = 0;  ///< counted from 1 as they connect
    Direction direction = Direction::ToModem;
    /// The client's subscription at that moment; none before its first request was carried out.
    std::optional<std::uint8_t> subscription;
    std::vector<std::uint8_t> bytes;  ///< as they went over the socket
};

}  // namespace velo::modem
