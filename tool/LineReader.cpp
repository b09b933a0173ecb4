// SPDX-License-Identifier: Apache-2.0

#include "tool/LineReader.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tool/CommandError.h"
#include "tool/Interruption.h"

namespace velo::tool {

std::optional<std::string> LineReader::read() {
    std::size_t end = mBuffer.find('\n');
    while (end == std::string::npos) {
        const std::size_t searched = mBuffer.size();
        if (!fill()) {
            // The last line may lack its end.
            const bool isLine = !mBuffer.empty() && !mInterruption.isRaised();
            return isLine ? std::optional(std::exchange(mBuffer, {})) : std::nullopt;
        }
        end = mBuffer.find('\n', searched);
    }
    if (mInterruption.isRaised()) {
        return std::nullopt;
    }
    std::string line = mBuffer.substr(0, end);
    mBuffer.erase(0, end + 1);
    return line;
}

bool LineReader::fill() {
    for (;;) {
        std::array<pollfd, 2> waited{{{mInterruption.fd(), POLLIN, 0}, {mFd, POLLIN, 0}}};
        if (::poll(waited.data(), waited.size(), -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw CommandError(
                kFailed, std::string("the commands cannot be waited for: ") + std::strerror(errno));
        }
        if (mInterruption.isRaised()) {
            return false;
        }
        std::array<char, 4096> bytes;
        const ssize_t got = ::read(mFd, bytes.data(), bytes.size());
        if (got >= 0) {
            mBuffer.append(bytes.data(), static_cast<std::size_t>(got));
            return got > 0;
        }
        if (errno != EINTR && errno != EAGAIN) {
            throw CommandError(kUsage,
                               std::string("the commands cannot be read: ") + std::strerror(errno));
        }
    }
}

}  // namespace velo::tool
