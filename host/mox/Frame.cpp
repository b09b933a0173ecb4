// SPDX-License-Identifier: Apache-2.0

#include "host/mox/Frame.h"

#include <algorithm>

#include "mox/mox_client.h"

namespace velo::mox {

namespace {

void put(std::uint8_t* at, std::uint32_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        at[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

std::uint32_t get(const std::uint8_t* at, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        value |= static_cast<std::uint32_t>(at[i]) << (8 * i);
    }
    return value;
}

}  // namespace

std::array<std::uint8_t, Frame::kHeaderSize> Frame::header() const {
    std::array<std::uint8_t, kHeaderSize> bytes{};
    bytes[0] = kind;
    put(&bytes[1], transaction, 4);
    put(&bytes[5], messageId, 2);
    put(&bytes[7], static_cast<std::uint32_t>(payload.size()), 4);
    return bytes;
}

std::vector<std::uint8_t> Frame::pack() const {
    const auto head = header();
    std::vector<std::uint8_t> bytes(head.size() + payload.size());
    std::copy(payload.begin(), payload.end(), std::copy(head.begin(), head.end(), bytes.begin()));
    return bytes;
}

std::optional<Frame> Frame::unpack(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kHeaderSize || bytes[0] > MOX_MESSAGE_INDICATION ||
        get(&bytes[7], 4) != bytes.size() - kHeaderSize) {
        return std::nullopt;
    }
    return Frame{bytes[0], get(&bytes[1], 4), static_cast<std::uint16_t>(get(&bytes[5], 2)),
                 std::vector<std::uint8_t>(bytes.begin() + kHeaderSize, bytes.end())};
}

}  // namespace velo::mox
