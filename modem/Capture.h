// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/mox/Descriptor.h"
#include "modem/CapturedFrame.h"

namespace velo::modem {

/// Writes frames to a pcapng file. Each block is written whole and at once, so the file is good at
/// every instant, also when the process is killed. Owned by the server and touched on its thread
/// only.
///
/// A file that cannot be written any more ends with its last whole block: one line on standard
/// error says so, and nothing is recorded from then on.
class Capture {
public:
    /// Starts the file anew: what it held is gone. A file that is made is for this user alone, and
    /// it is locked while the object lives.
    ///
    /// @throws std::system_error when it cannot be made
    /// @throws ModemError, and leaves it as it is, when another live capture has it
    explicit Capture(const std::string& path);
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// Appends one packet with the current time.
    void record(std::uint32_t client, Direction direction, std::optional<std::uint8_t> subscription,
                std::span<const std::uint8_t> packet);

private:
    int startAnew();
    std::uint64_t now() const;
    int write(std::span<const std::uint8_t> block);

    const std::string mPath;
    mox::Descriptor mFile;
    std::uint64_t mSize = 0;  ///< of the whole blocks
    std::vector<std::uint8_t> mBlock;
    // The wall clock may be set back; the times in a file never go back.
    const std::chrono::system_clock::time_point mStarted = std::chrono::system_clock::now();
    const std::chrono::steady_clock::time_point mStartedSteady = std::chrono::steady_clock::now();
};

}  // namespace velo::modem
