// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "modem/CapturedFrame.h"

namespace velo::modem {

/// Reads a capture packet by packet, also one that another tool has written anew: blocks and
/// options that mean nothing here are skipped, damage is refused. Owned by its user; one thread at
/// a time.
class CaptureReader {
public:
    /// @throws ModemError when the file cannot be read or does not begin as a capture
    explicit CaptureReader(const std::string& path);

    /// The next packet; nullopt at the end of the file.
    ///
    /// @throws ModemError for the first damage, in one sentence with its place
    std::optional<CapturedFrame> next();

private:
    struct Block {
        std::uint32_t type;
        std::span<const std::uint8_t> body;
    };

    bool readBlock(Block& block);
    std::uint32_t checkedLength(std::span<const std::uint8_t> head) const;
    void readSection(std::span<const std::uint8_t> body);
    void readInterface(std::span<const std::uint8_t> body);
    CapturedFrame readPacket(std::span<const std::uint8_t> body) const;
    [[noreturn]] void fail(const std::string& what) const;

    const std::string mPath;
    std::ifstream mFile;
    std::uint64_t mBlockAt = 0;  ///< where the current block begins
    std::uint64_t mNextAt = 0;
    std::uint32_t mInterfaces = 0;
    std::vector<std::uint8_t> mBytes;
};

}  // namespace velo::modem
