// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

namespace velo::tool {

class Interruption;

/// Reads lines from a pipe or a file that somebody else opened, and stops waiting for them when the
/// program is asked to stop. Used by one thread.
class LineReader {
public:
    LineReader(int fd, const Interruption& interruption) : mFd(fd), mInterruption(interruption) {}

    /// The next line without its end; nothing when the input has ended, or on an interruption.
    std::optional<std::string> read();

private:
    /// @return false at the end
    bool fill();

    int mFd;
    const Interruption& mInterruption;
    std::string mBuffer;
};

}  // namespace velo::tool
